// `sensorcal`, the factory test application, as a phone gets it.
#include "commands/phone/commands.h"

int main(int argc, char** argv) { return factory::run_program(argc, argv, {}); }
