#!/usr/bin/env bash
# Builds the Debian packages into build/package/deb and lets lintian judge them. Installs what it needs first.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

install_packages library solver develop tool editor python packages
# The same source gives the same packages.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md)
export SOURCE_DATE_EPOCH

build package
say "Packing"
rm -rf build/package/deb
cpack --config build/package/CPackConfig.cmake -B "$PWD/build/package/deb"
rm -rf build/package/deb/_CPack_Packages
# Without `initial-upload-closes-no-bugs`: these packages are no upload to Debian.
lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs build/package/deb/*.deb
ls -l build/package/deb
