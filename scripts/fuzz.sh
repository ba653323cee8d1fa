#!/usr/bin/env bash
# Fuzzes the bitmap imports and the run-length decoder with libFuzzer for
# SECONDS (default 60), seeded with the good files of tests/data/bmp. Needs
# clang and its runtime: as root they are installed without questions;
# otherwise the command to run is printed and the script fails. Any finding
# fails the script and leaves the crashing input in build/fuzz/findings.
set -euo pipefail

seconds=${1:-60}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

missing=()
command -v clang++ >/dev/null 2>&1 || missing+=(clang)
compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null ||
    missing+=(libclang-rt-14-dev)
if [[ ${#missing[@]} -ne 0 ]]; then
    if [[ $(id -u) -ne 0 ]]; then
        echo "fuzzing needs: ${missing[*]}" >&2
        echo "Install them with:" >&2
        echo "  sudo apt-get install -y --no-install-recommends ${missing[*]}" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    { apt-get update && apt-get install -y --no-install-recommends "${missing[@]}"; } </dev/null
fi

cmake --preset fuzz
cmake --build --preset fuzz

# The seeds are the good files without their 14-byte file header; the
# fuzzer adds to a scratch copy, never to the repository.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/corpus" build/fuzz/findings
for f in tests/data/bmp/*.bmp; do
    case $(basename "$f") in bad* | short*) continue ;; esac
    tail -c +15 "$f" >"$scratch/corpus/$(basename "$f" .bmp)"
done
build/fuzz/tests/fuzz/dib_fuzz -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix=build/fuzz/findings/ "$scratch/corpus"
