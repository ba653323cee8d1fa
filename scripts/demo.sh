#!/usr/bin/env bash
# Builds the release library and the zol tool, then writes the demo images
# (the ring pattern and its inverse) into the directory this is run from.
set -euo pipefail

caller_dir=$(pwd)
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/deps.sh"

cd "$root"
cmake --preset release
cmake --build --preset release

cd "$caller_dir"
"$root/build/release/tools/zol/zol" demo
