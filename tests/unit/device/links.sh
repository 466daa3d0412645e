#!/usr/bin/env bash
# The application for a real phone links what an Android tree has for it, and asks no class of the platform or of the JSON
# library for type information, which their libraries are built without there.
set -euo pipefail
program=$1
allowed='libsensor_cal|libsensor_platform|libjsoncpp|libstdc\+\+|libm|libgcc_s|libc|ld-linux.*'
linked=$(readelf -d "$program" | sed -n 's/.*(NEEDED).*\[\(.*\)\.so.*/\1/p')
[ "$(grep -c . <<<"$linked")" -ge 4 ] || { echo "not what it links: $linked"; exit 1; }
if grep -vxE "$allowed" <<<"$linked"; then echo "is linked"; exit 1; fi
if nm -C "$program" | grep -E 'typeinfo for (android|Json)::'; then echo "is asked for"; exit 1; fi
