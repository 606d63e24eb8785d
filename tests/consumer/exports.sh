#!/usr/bin/env bash
# exports.sh LIBRARY HEADERS BUILD: compares the names a shared library exports with those that the installed headers
# (HEADERS lists them) mark by PIXMILL_API, both ways, and with what the tests' own objects ask of the library.
set -euo pipefail
library=$1 headers=$2 build=$3
work=$build/consumer/exports
mkdir -p "$work"

# The class or function that a demangled symbol belongs to: vtable for TLut2D -> TLut2D, TPImage::MatRoi(...) -> TPImage.
owners() {
    sed -E 's/^(vtable|typeinfo|typeinfo name|VTT|guard variable) for //; s/\(.*//; s/<.*//; s/^.* //; s/^pixmill:://; s/::.*//' | sort -u
}

nm -DC --defined-only --format=posix "$library" | sed -E 's/ [A-Za-z] [0-9a-f]+( [0-9a-f]*)?$//' | owners >"$work/exported"

# `class PIXMILL_API TLut2D : public ...` and `PIXMILL_API int MatRoi(...)`: the last word before : ( { or ;
grep -v '/Export\.h$' "$headers" | xargs cat |
    sed -E 's,//.*,,; s/::/@/g' | tr '\n' ' ' | grep -oE '\bPIXMILL_API [^:({;]*' |
    sed -E 's/ *(=.*)?$//; s/.*[ *&]//; s/.*@//' | sort -u >"$work/marked"

if ! diff -u "$work/marked" "$work/exported"; then
    echo "(-) marked by PIXMILL_API but not exported, (+) exported but not marked"
    exit 1
fi

# Linked statically, a test would not notice that a function it calls lacks its mark.
nm -D --defined-only --format=posix "$library" | cut -d' ' -f1 | sort -u >"$work/symbols"
nm --defined-only --format=posix "$build"/pixmill/libpixmill_testable.a 2>/dev/null | awk 'NF > 1 && $2 != "W" && $2 != "V" {print $1}' |
    sort -u >"$work/defined"
find "$build/tests" -name '*.o' -exec nm -u --format=posix {} + | awk 'NF > 1 {print $1}' | sort -u |
    comm -12 - "$work/defined" | comm -23 - "$work/symbols" | grep -vE "7pixmill[0-9]+(rows|primitives|core|filters|resample|multiscale|curves|planar|adjust|mask|engine)" >"$work/missing" || true
if [[ -s $work/missing ]]; then
    echo "not exported, though a test calls it:"
    c++filt <"$work/missing"
    exit 1
fi
