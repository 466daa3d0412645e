// What the example does once its process stands in the phone's "/".
#pragma once

// 0 everything passed, 1 something failed, 3 the phone could not be reached; standard output says which and why.
int factory_app();
