#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds the C interface
# check against it twice, as an application would: through the CMake
# package and through pkg-config. Usage: consumer_test.sh BUILD_DIR C_SOURCE
set -euo pipefail
build=$1
source=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(dirname "$(find "$scratch/prefix" -name 'libzol.so.2' | head -n 1)")

cmake -S "$here/consumer" -B "$scratch/cmake" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$scratch/prefix" -DZOL_C_SOURCE="$source" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
"$scratch/cmake/consumer"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# Static linking needs Highway, which the .pc file must say.
pkg-config --static --libs zol | grep -q -- '-lhwy' || {
    echo "zol.pc: static linking does not name Highway" >&2
    exit 1
}
# shellcheck disable=SC2046 # one word per flag
cc "$source" $(pkg-config --cflags --libs zol) -o "$scratch/pc_consumer"
LD_LIBRARY_PATH="$libdir" "$scratch/pc_consumer"
# The Python package, when built, imports from the prefix with no help
# from the environment: its run path finds the installed library.
if [[ -n ${ZOL_PYTHON_INSTALL_DIR:-} ]]; then
    PYTHONPATH="$scratch/prefix/$ZOL_PYTHON_INSTALL_DIR" LD_LIBRARY_PATH= "$ZOL_PYTHON" -c '
import numpy as np, zol, os
assert zol.__file__.startswith(os.environ["PYTHONPATH"]), zol.__file__
assert (zol.add_s(np.zeros((3, 5), np.uint8), 7) == 7).all()
print("installed Python package: ok")'
fi
echo "installed package: ok"
