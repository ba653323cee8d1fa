#!/usr/bin/env bash
# Builds and runs the whole test suite: an optimised build (dev), a build
# under AddressSanitizer and UndefinedBehaviorSanitizer (asan), the aarch64
# cross build under qemu, and 60 seconds of fuzzing the bitmap imports. All
# four always run; the script fails if any fails.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/deps.sh"
cd "$root"

failed=()
for preset in dev asan; do
    echo "=== $preset ==="
    cmake --workflow --preset "$preset" || failed+=("$preset")
done
echo "=== aarch64 ==="
bash "$root/scripts/cross-aarch64.sh" || failed+=(aarch64)
echo "=== fuzz ==="
bash "$root/scripts/fuzz.sh" 60 || failed+=(fuzz)
if [[ ${#failed[@]} -ne 0 ]]; then
    echo "FAILED: ${failed[*]}" >&2
    exit 1
fi
echo "dev, asan, aarch64 and fuzz: all tests passed"
