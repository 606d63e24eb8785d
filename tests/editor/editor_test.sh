#!/usr/bin/env bash
# Runs a script of the editor's tests with the packages it needs.  editor_test.sh SCRIPT PIXMILL ORACLE PACKAGES PROJECT
set -euo pipefail
script=$1 pixmill=$2 oracle=$3 packages=$4 project=$5
here=$project/tests/editor
skip() {
    echo "SKIPPED: $*"
    exit 77
}
command -v node >/dev/null || skip "node is not installed (nodejs in tools/packages.txt)"
[[ -d /usr/share/backgrounds ]] || skip "the photographs are not installed (lomiri-wallpapers-16.04)"
[[ $script != page_test.mjs ]] || command -v chromium >/dev/null || skip "chromium is not installed"

if [[ ! -d $packages/node_modules || $here/package.json -nt $packages/package.json ]]; then
    command -v npm >/dev/null || skip "npm is not installed"
    mkdir -p "$packages"
    (cd "$packages" && cp "$here/package.json" . &&
        npm install --ignore-scripts --no-package-lock --no-audit --no-fund >npm.log 2>&1) || {
        tail -5 "$packages/npm.log"
        rm -f "$packages/package.json"
        skip "npm cannot install the tests' packages here"
    }
fi
export PIXMILL_NODE_MODULES=$packages PIXMILL_OUT=$project/out
PIXMILL_CHROMIUM=$(command -v chromium || true)
export PIXMILL_CHROMIUM
exec node "$here/$script" "$pixmill" "$oracle"
