#!/usr/bin/env bash
# The arm64 packages that `./check aarch64` builds against and runs with, unpacked into build/aarch64-root: what Debian's
# archive has for this machine's release, fetched by apt into folders of its own. Needs no root, changes nothing outside.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

root=$PWD/build/aarch64-root
[[ ! -f $root/complete ]] || exit 0
rm -rf --one-file-system "$root"

say "Unpacking arm64 packages into build/aarch64-root"
apt=$root/apt
mkdir -p "$apt"/{lists/partial,archives/partial} "$root"/usr/{bin,lib,sbin}
: >"$apt/status" # nothing is installed there
ln -s usr/bin usr/lib usr/sbin "$root"
private_apt() {
    apt-get -qq -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o Dir::State="$apt" -o Dir::State::lists="$apt/lists" \
        -o Dir::State::status="$apt/status" -o Dir::Cache="$apt" -o Dir::Cache::archives="$apt/archives" \
        -o Debug::NoLocking=1 -o APT::Sandbox::User=root -o Acquire::Languages=none "$@"
}
private_apt update
# shellcheck disable=SC2046 # packages are words
private_apt install -y --no-install-recommends --download-only $(packages_of aarch64_root)
for package in "$apt"/archives/*.deb; do
    dpkg-deb --fsys-tarfile "$package" | tar -x --keep-directory-symlink -C "$root"
done
ln -s openblas-pthread/lib{blas.so.3,lapack.so.3,openblas.so.0} "$root/usr/lib/aarch64-linux-gnu" # as its package chooses
rm -rf "$apt"
touch "$root/complete"
