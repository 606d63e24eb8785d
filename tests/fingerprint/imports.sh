#!/usr/bin/env bash
# imports.sh LIBRARY...: no result may hang on what rounds otherwise from processor to processor or C library to C library.
# Of the C library's mathematics the libraries ask what is exact or rounded once by standard; of OpenCV's functions those
# that move, compare or check pixels, sum whole numbers, or scale them by one rounded product.
set -euo pipefail
exact='^(ceil|copysign|fabs|floor|fmax|fmin|fmod|frexp|ilogb|ldexp|l?lrint|l?lround|logb|modf|nearbyint|nextafter|remainder|rint|round|scalbl?n|sqrt|trunc)[fl]?$'
pixels='^cv::(abs|addWeighted|error|flip|format|minMaxIdx|mixChannels|noArray|pyrDown|pyrUp|typeToString)[[(]'

mathematics=$(ldd "$1" | sed -nE 's/.*libm\.so\.6 => ([^ ]+).*/\1/p')
names() { nm -D --format=posix "$@" | cut -d' ' -f1 | sed 's/@.*//' | sort -u; }

failed=0
for library in "$@"; do
    asked=$({ comm -12 <(names --undefined-only "$library") <(names --defined-only "$mathematics") | grep -vE "$exact"
        names --undefined-only "$library" | c++filt | grep -E '^cv::(operator|[a-z]\w*[[(])' | grep -vE "$pixels"; } || true)
    if [[ -n $asked ]]; then
        echo "$(basename "$library") asks for:"
        echo "$asked"
        failed=1
    fi
done
exit $failed
