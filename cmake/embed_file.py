#!/usr/bin/env python3
"""Writes a C++ source that holds the bytes of a file, for every build of the application.

embed_file.py NAME FILE SOURCE: `extern const std::string_view NAME` of namespace factory::assets.
"""
import sys

name, file, source = sys.argv[1:]
with open(file, 'rb') as stream:
    text = ''.join(f'\\x{byte:02x}' for byte in stream.read())
with open(source, 'w', encoding='ascii') as stream:
    stream.write(f'''#include <string_view>

namespace factory::assets {{
extern const std::string_view {name};
static constexpr char kBytes[] = "{text}";
constinit const std::string_view {name}{{kBytes, sizeof kBytes - 1}};
}}  // namespace factory::assets
''')
