// How deep a JSON text is nested, for a reader that ends the process where a text is too deep for it.
#pragma once

#include <stddef.h>

#include <string>

// Whether jsoncpp's reader, with its default settings, reads the text's first value without more than `limit` values
// inside each other; what follows that value it does not read. A text with so many brackets that the reader would
// refuse for another reason may be called too deep.
bool json_nested_within(const std::string& text, size_t limit);
