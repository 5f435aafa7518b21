#!/usr/bin/env bash
# Installs the built project into a scratch prefix, builds a host from the installed
# package alone and runs it.
# usage: install_package.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1 src=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/prefix" >/dev/null
test -f "$tmp/prefix/include/zrworklib/CWorkLib.h"
cmake -S "$src" -B "$tmp/host" -DCMAKE_PREFIX_PATH="$tmp/prefix" >/dev/null
cmake --build "$tmp/host" >/dev/null
"$tmp/host/installed_host"
