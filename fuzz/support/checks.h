// What all fuzz targets share: properties whose failure ends the process, and values drawn from the input.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <string>

// A property that must hold for every input; libFuzzer keeps the input that breaks it.
#define HOLDS(condition) ((condition) ? static_cast<void>(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

// Log lines go nowhere. Every eighth input size formats them first, the others cost a comparison a line.
void quiet_log(size_t input_size);

// Small and special numbers often, any bits now and then.
float any_float(FuzzedDataProvider* in);
int any_int(FuzzedDataProvider* in);
// A type that the library knows, mostly.
int any_type(FuzzedDataProvider* in);

}  // namespace fuzz
