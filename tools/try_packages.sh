#!/usr/bin/env bash
# Builds the Debian packages, installs them into a bare Debian 12 below build/, and builds and runs the README's first
# program there, by CMake and by pkg-config; the command and the package for Python run. Needs root, for debootstrap and chroot.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
((EUID == 0)) || { echo "tools/try_packages.sh needs root" >&2; exit 1; }

tools/package.sh
root=$PWD/build/package/root
trap 'rm -rf --one-file-system "$root"' EXIT
rm -rf --one-file-system "$root"

say "A bare system"
debootstrap --variant=minbase bookworm "$root" >"$PWD/build/package/debootstrap.log"
cp /etc/resolv.conf "$root/etc/"
mkdir "$root/try"
cp build/package/deb/*.deb "$root/try/"

# The first program is the README's first block of C++, with a main that calls it.
{
    awk '/^```cpp/ && !seen { inside = seen = 1; next } /^```/ { inside = 0 } inside' README.md
    cat <<'MAIN'
#include <cstdio>
#include <vector>
int main()
{
    std::vector<unsigned char> pixels(64 * 48 * 4, 60);
    develop(pixels.data(), 64, 48);
    std::printf("grey 60 became %d, %d, %d\n", pixels[0], pixels[1], pixels[2]);
    return pixels[1] > 60 ? 0 : 1;
}
MAIN
} >"$root/try/first.cpp"
cat >"$root/try/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.24)
project(first LANGUAGES CXX)
find_package(pixmill 0.1 REQUIRED COMPONENTS develop)
add_executable(first first.cpp)
target_link_libraries(first PRIVATE pixmill::develop)
CMAKE

say "Installing and building there"
chroot "$root" bash -euc '
    export DEBIAN_FRONTEND=noninteractive LC_ALL=C
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends /try/*.deb g++ cmake make pkg-config >/try/apt.log 2>&1 || { cat /try/apt.log; exit 1; }
    unset CMAKE_CXX_COMPILER_LAUNCHER
    cmake -S /try -B /try/build
    cmake --build /try/build
    /try/build/first
    g++ -std=c++17 /try/first.cpp -o /try/first -lpixmill_develop $(pkg-config --cflags --libs pixmill)
    /try/first
    pixmill --version
    pixmill recipe keys >/dev/null
    pixmill edit --help >/dev/null
    python3 -c "import numpy, pixmill; print(pixmill.develop(numpy.full((48, 64, 3), 60, numpy.uint8), {\"light.brightness\": 0.5})[0, 0])"
    apt-get purge -y -qq "libpixmill*" pixmill python3-pixmill >/dev/null
    left=$(find /usr -name "*pixmill*")
    [[ -z $left ]] || { echo "left behind: $left"; exit 1; }'
