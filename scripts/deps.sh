#!/usr/bin/env bash
# Makes sure the Debian packages needed to build and test libzol are present.
# Sourced by demo.sh and test.sh; can also be run on its own. As root the
# missing packages are installed without questions; otherwise the command
# to run is printed and the script fails.
set -euo pipefail

zol_has_python_module() {
    [[ -x /usr/bin/python3 ]] && /usr/bin/python3 -c "import $1" >/dev/null 2>&1
}

zol_missing_packages() {
    local missing=()
    command -v cmake >/dev/null 2>&1 || missing+=(cmake)
    command -v ninja >/dev/null 2>&1 || missing+=(ninja-build)
    command -v g++ >/dev/null 2>&1 || missing+=(g++)
    command -v pkg-config >/dev/null 2>&1 || missing+=(pkg-config)
    [[ -f /usr/include/gtest/gtest.h ]] || missing+=(libgtest-dev)
    [[ -f /usr/include/benchmark/benchmark.h ]] || missing+=(libbenchmark-dev)
    [[ -f /usr/include/hwy/highway.h ]] || missing+=(libhwy-dev)
    # The zol tool's file formats and command line.
    [[ -f /usr/include/png.h ]] || missing+=(libpng-dev)
    [[ -f /usr/include/jpeglib.h ]] || missing+=(libjpeg62-turbo-dev)
    [[ -f /usr/include/CLI/CLI.hpp ]] || missing+=(libcli11-dev)
    # The Python package and its tests, for the system interpreter.
    [[ -f /usr/include/pybind11/pybind11.h ]] || missing+=(pybind11-dev)
    zol_has_python_module sysconfig && [[ -n $(ls /usr/include/python3*/Python.h 2>/dev/null) ]] ||
        missing+=(python3-dev)
    zol_has_python_module numpy || missing+=(python3-numpy)
    zol_has_python_module pytest || missing+=(python3-pytest)
    zol_has_python_module dask.array || missing+=(python3-dask)
    echo "${missing[@]}"
}

zol_deps() {
    local missing
    missing=$(zol_missing_packages)
    if [[ -n $missing ]]; then
        if [[ $(id -u) -ne 0 ]]; then
            echo "libzol needs these packages: $missing" >&2
            echo "Install them with:" >&2
            echo "  sudo apt-get install -y --no-install-recommends $missing" >&2
            return 1
        fi
        echo "Installing $missing" >&2
        export DEBIAN_FRONTEND=noninteractive
        # shellcheck disable=SC2086 # one word per package
        { apt-get update && apt-get install -y --no-install-recommends $missing; } </dev/null
        missing=$(zol_missing_packages)
        if [[ -n $missing ]]; then
            echo "still missing after apt-get install: $missing" >&2
            return 1
        fi
    fi
    # The presets need CMake 3.25 (Debian 12 or newer).
    local version
    version=$(cmake --version | sed -n 's/^cmake version \([0-9]*\.[0-9]*\).*/\1/p')
    if ! printf '3.25\n%s\n' "$version" | sort -V -C; then
        echo "libzol needs CMake 3.25 or newer; found ${version:-none}" >&2
        return 1
    fi
}

zol_deps
