#!/usr/bin/env bash
# Installs the dependencies, then configures and builds the project.
# usage: build.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$root/build}
shift || true
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=${BUILD_TYPE:-RelWithDebInfo} "$@"
cmake --build "$dir"
