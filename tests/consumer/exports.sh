#!/usr/bin/env bash
# exports.sh LIBRARY HEADERS MARK ARCHIVE BUILD [LENT]: compares the names a shared library exports with those that the
# installed headers (HEADERS lists them) mark by MARK, both ways, and with what the tests' own objects ask of it; ARCHIVE
# has the same objects, open. What the core lends its sisters stands in LENT, and they borrow all of it.
set -euo pipefail
library=$1 headers=$2 mark=$3 archive=$4 build=$5 lent=${6:-}
work=$build/consumer/exports/$(basename "$library")
mkdir -p "$work"

# The class or function that a demangled symbol belongs to: vtable for TLut2D -> TLut2D, TPImage::MatRoi(...) -> TPImage.
owners() {
    sed -E 's/^(vtable|typeinfo|typeinfo name|VTT|guard variable) for //; s/\(.*//; s/<.*//; s/\[abi:.*//; s/^.* //; s/^pixmill:://; s/::.*//' | sort -u
}

nm -D --defined-only --with-symbol-versions --format=posix "$library" >"$work/all"
grep '@@PIXMILL_PRIVATE_' "$work/all" | sed 's/@.*//' | sort >"$work/lent" || true
grep -vE '@@PIXMILL_PRIVATE_|^PIXMILL_PRIVATE_' "$work/all" | cut -d' ' -f1 | sort -u >"$work/symbols"
c++filt <"$work/symbols" | owners >"$work/exported"

# `class PIXMILL_API TLut2D : public ...` and `PIXMILL_API int MatRoi(...)`: the last word before : ( { or ;
grep -v '/Export\.h$' "$headers" | xargs cat |
    sed -E 's,//.*,,; s/::/@/g' | tr '\n' ' ' | grep -oE "\b$mark [^:({;]*" |
    sed -E 's/ *(=.*)?$//; s/.*[ *&]//; s/.*@//' | sort -u >"$work/marked"

if ! diff -u "$work/marked" "$work/exported"; then
    echo "(-) marked by $mark but not exported, (+) exported but not marked"
    exit 1
fi

if [[ -n $lent ]]; then
    grep -v '^#' "$lent" | sort | diff -u - "$work/lent" || { echo "(-) listed in $lent, (+) lent"; exit 1; }
    find "$build/pixmill/develop" -name 'libpixmill_*.so' -exec nm -D --undefined-only --format=posix {} + |
        grep -oE '^[^ @]+(@PIXMILL_PRIVATE_)' | sed 's/@.*//' | sort -u >"$work/borrowed" || true
    if [[ -s $work/borrowed ]]; then
        diff -u "$work/lent" "$work/borrowed" || { echo "(-) lent, (+) borrowed by pixmill::develop and pixmill::photo"; exit 1; }
    fi
fi

# Linked statically, a test would not notice that a function it calls lacks its mark.
[[ -f $archive ]] || exit 0
nm --defined-only --format=posix "$archive" 2>/dev/null | awk 'NF > 1 && $2 != "W" && $2 != "V" {print $1}' |
    sort -u >"$work/defined"
find "$build/tests" -name '*.o' -exec nm -u --format=posix {} + | awk 'NF > 1 {print $1}' | sort -u |
    comm -12 - "$work/defined" | comm -23 - "$work/symbols" | grep -vE "7pixmill[0-9]+(rows|primitives|core|filters|resample|multiscale|curves|planar|adjust|mask|engine|develop)" >"$work/missing" || true
if [[ -s $work/missing ]]; then
    echo "not exported, though a test calls it:"
    c++filt <"$work/missing"
    exit 1
fi
