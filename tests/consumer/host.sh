#!/usr/bin/env bash
# Builds and runs the host program against the library of a build tree.
#   host.sh shared|static|subproject BUILD SOURCE COMPILER [ARCHIVE]
# The static library to install is ARCHIVE, made of the build's own objects, so that nothing is compiled twice.
set -euo pipefail
kind=$1 build=$2 source=$3 compiler=$4 archive=${5:-}
host=$source/tests/consumer/host
work=$build/consumer/$kind
prefix=$work/prefix
mkdir -p "$work"

# Both compilers, the build's own first.
other=clang++
"$compiler" -dM -E -x c++ /dev/null | grep -q __clang__ && other=g++
compilers=("$compiler" "$other")
command -v "$other" >/dev/null || {
    echo "Left out: $other is not installed"
    compilers=("$compiler")
}

by_cmake() { # NAME COMPILER [-D...]
    local tree=$work/$1 cxx=$2
    shift 2
    cmake -S "$host" -B "$tree" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" "$@" >"$tree.log" || { cat "$tree.log"; return 1; }
    cmake --build "$tree"
    "$tree/consumer17"
    "$tree/consumer20"
}

by_pkg_config() { # COMPILER [--static]
    local cxx=$1 flags standard
    shift
    flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name pixmill.pc)") pkg-config --cflags --libs "$@" pixmill)
    for standard in 17 20; do
        # shellcheck disable=SC2086 # flags are words
        "$cxx" -std=c++$standard -Wall -Wextra -Werror "$host/main.cpp" -o "$work/by-pkg-config" $flags \
            -Wl,-rpath,"$(dirname "$(find "$prefix" -name 'libpixmill.*' | head -1)")"
        "$work/by-pkg-config"
    done
}

has_openmp() { "$1" -fopenmp -x c++ - -o "$work/openmp" <<<'int main() {}' 2>/dev/null; }

case $kind in
subproject) # optimisation is not the matter, and the host sets no build type
    by_cmake build "$compiler" -DPIXMILL_SOURCE="$source"
    DESTDIR=$work/installed cmake --install "$work/build" >/dev/null
    [[ ! -e $work/installed ]] || { echo "the subproject installs files of its own"; exit 1; }
    ;;
shared)
    rm -rf "$prefix"
    cmake --install "$build" --prefix "$prefix" >/dev/null
    for cxx in "${compilers[@]}"; do
        by_cmake "$(basename "$cxx")" "$cxx" -DCMAKE_PREFIX_PATH="$prefix"
        by_pkg_config "$cxx"
    done
    by_cmake no-opencv-package "$compiler" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_DISABLE_FIND_PACKAGE_OpenCV=ON
    ;;
static)
    if [[ $other == g++ ]]; then
        echo "Left out: g++ with an archive made by clang++, whose OpenMP runtime it does not link"
        compilers=("$compiler")
    fi
    rm -rf "$prefix"
    cmake -S "$source" -B "$work/tree" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DBUILD_SHARED_LIBS=OFF \
        -DBUILD_TESTING=OFF -DPIXMILL_WITH_DEVELOP=OFF --no-warn-unused-cli >/dev/null
    cp "$archive" "$work/tree/pixmill/libpixmill.a"
    cmake --install "$work/tree" --prefix "$prefix" >/dev/null
    for cxx in "${compilers[@]}"; do
        if has_openmp "$cxx"; then
            by_cmake "$(basename "$cxx")" "$cxx" -DCMAKE_PREFIX_PATH="$prefix"
        else
            echo "Left out: find_package by $cxx, which has no OpenMP runtime"
        fi
        by_pkg_config "$cxx" --static
    done
    ;;
esac
