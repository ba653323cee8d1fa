#!/usr/bin/env bash
# Builds and runs the whole test suite twice: an optimised build (dev) and a
# build under AddressSanitizer and UndefinedBehaviorSanitizer (asan). Both
# always run; the script fails if either fails.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/deps.sh"
cd "$root"

failed=()
for preset in dev asan; do
    echo "=== $preset ==="
    cmake --workflow --preset "$preset" || failed+=("$preset")
done
if [[ ${#failed[@]} -ne 0 ]]; then
    echo "FAILED: ${failed[*]}" >&2
    exit 1
fi
echo "dev and asan: all tests passed"
