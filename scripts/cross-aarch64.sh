#!/usr/bin/env bash
# Builds the library and the unit tests for 64-bit Arm with Debian's cross
# compiler and runs the suite, with the best forms and with the plain ones,
# under qemu-aarch64. As root the missing packages (the cross compiler,
# qemu and the arm64 multiarch Highway and GoogleTest) are installed
# without questions; otherwise the commands to run are printed and the
# script fails.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/deps.sh"

cross_missing_packages() {
    local missing=()
    command -v aarch64-linux-gnu-g++ >/dev/null 2>&1 || missing+=(g++-aarch64-linux-gnu)
    command -v qemu-aarch64 >/dev/null 2>&1 || missing+=(qemu-user)
    [[ -f /usr/lib/aarch64-linux-gnu/libhwy.so ]] || missing+=(libhwy-dev:arm64)
    [[ -f /usr/lib/aarch64-linux-gnu/libgtest.a ]] || missing+=(libgtest-dev:arm64)
    echo "${missing[@]}"
}

missing=$(cross_missing_packages)
if [[ -n $missing ]]; then
    if [[ $(id -u) -ne 0 ]]; then
        echo "the aarch64 build needs these packages: $missing" >&2
        echo "Install them with:" >&2
        echo "  sudo dpkg --add-architecture arm64 && sudo apt-get update" >&2
        echo "  sudo apt-get install -y --no-install-recommends $missing" >&2
        exit 1
    fi
    echo "Installing $missing" >&2
    export DEBIAN_FRONTEND=noninteractive
    dpkg --add-architecture arm64
    # shellcheck disable=SC2086 # one word per package
    { apt-get update && apt-get install -y --no-install-recommends $missing; } </dev/null
    missing=$(cross_missing_packages)
    if [[ -n $missing ]]; then
        echo "still missing after apt-get install: $missing" >&2
        exit 1
    fi
fi

cd "$root"
start=$SECONDS
cmake --workflow --preset aarch64
echo "aarch64: all tests passed in $((SECONDS - start)) s"
