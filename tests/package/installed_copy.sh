#!/usr/bin/env bash
# Installs the build into a prefix and uses it from there as a stranger would: by CMake, by pkg-config, and the program.
#   installed_copy.sh BUILD_DIR SOURCE_DIR VERSION
set -euo pipefail
build=$1 source=$2 version=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "installed_copy: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; fail "cmake --install"; }
libdir=$(dirname "$(find "$prefix" -name libsensor_cal.so)")
# The same compiler and sanitizer as the copy's.
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[^=]*=//p' "$build/CMakeCache.txt")
sanitize=$(sed -n 's/^SENSOR_CAL_SANITIZE:[^=]*=//p' "$build/CMakeCache.txt")
flags=${sanitize:+-fsanitize=$sanitize}

cmake -S "$source/tests/package/consumer" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DWANTED_VERSION="$version" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" --log-level=WARNING >"$work/consumer.log" &&
  cmake --build "$work/consumer" >>"$work/consumer.log" || { cat "$work/consumer.log"; fail "the CMake package"; }
"$work/consumer/consumer" 2>/dev/null | grep -q '^Acc 72 bytes, 2.5, initCheck -19$' || fail "the consumer by CMake"

export PKG_CONFIG_PATH=$libdir/pkgconfig
"$compiler" $flags -std=c++17 "$source/tests/package/consumer/main.cpp" -o "$work/by_pkg_config" \
  $(pkg-config --cflags --libs sensor_cal) -Wl,-rpath,"$libdir"
"$work/by_pkg_config" 2>/dev/null | grep -q '^Acc 72 bytes' || fail "the consumer by pkg-config"

# Without the platform component the package says which one is missing.
mv "$libdir/cmake/sensor_cal/sensor_platform-targets.cmake" "$work/"
cmake -S "$source/tests/package/consumer" -B "$work/without" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DWANTED_VERSION="$version" >"$work/without.log" 2>&1 &&
  fail "a copy without its platform was taken"
grep -q 'component platform' "$work/without.log" || fail "the missing component is not named"

cd "$work"
"$prefix/bin/sensorcal" --version | grep -Eq '^libsensor_cal [0-9.]+, build [0-9a-f]{40}$' || fail "sensorcal --version"
"$prefix/bin/sensorcal" run "$prefix/share/sensorcal/plans/inertial.json" --phone "$work/phone" --speed max >run.log ||
  { cat run.log; fail "a plan on the installed program"; }
[ "$(find "$prefix" -name 'sensorcal.1' -size +2k | wc -l)" = 1 ] || fail "the man page"
bash -n "$prefix/share/bash-completion/completions/sensorcal"
