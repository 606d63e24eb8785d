#!/usr/bin/env bash
# no_path.sh PATH FILE...: fails where a file has the path in a text or a debug line.
path=$1
shift
if grep -lF -- "$path/" "$@"; then
    echo "holds $path/"
    exit 1
fi
