#!/usr/bin/env bash
# Builds the Debian packages, installs them into a bare Debian 12 below build/, and builds and runs the README's first
# program there, by CMake and by pkg-config. Needs root, for debootstrap and chroot.
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
    std::vector<unsigned char> pixels(64 * 48 * 4, 100);
    brighten(pixels.data(), 64, 48, 64 * 4);
    std::printf("grey 100 became %d\n", pixels[0]);
    return pixels[0] > 100 ? 0 : 1;
}
MAIN
} >"$root/try/first.cpp"
cat >"$root/try/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.24)
project(first LANGUAGES CXX)
find_package(pixmill 0.1 REQUIRED)
add_executable(first first.cpp)
target_link_libraries(first PRIVATE pixmill::pixmill)
CMAKE

say "Installing and building there"
chroot "$root" bash -euc '
    export DEBIAN_FRONTEND=noninteractive LC_ALL=C
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends /try/*.deb g++ cmake make pkg-config >/try/apt.log 2>&1 || { cat /try/apt.log; exit 1; }
    cmake -S /try -B /try/build && cmake --build /try/build && /try/build/first
    g++ -std=c++17 /try/first.cpp -o /try/first $(pkg-config --cflags --libs pixmill) && /try/first
    apt-get purge -y -qq libpixmill-dev libpixmill0.1 >/dev/null
    left=$(find /usr -name "*pixmill*")
    [[ -z $left ]] || { echo "left behind: $left"; exit 1; }'
