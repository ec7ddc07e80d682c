#!/usr/bin/env bash
# Runs one of the fuzzers of tests/fuzz: scripts/fuzz.sh NAME SECONDS, for example
#   scripts/fuzz.sh fuzz_pass 900
# Its corpus grows in build/fuzz/corpus/NAME. An input that fails stays in build/fuzz/found/NAME;
# named by what it does, it belongs into tests/fuzz/regressions/NAME.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
if [ $# -ne 2 ]; then
    echo "usage: scripts/fuzz.sh fuzz_handlers|fuzz_pass|fuzz_host_config|fuzz_trajectory|fuzz_recording|fuzz_bus|fuzz_web SECONDS" >&2
    exit 2
fi
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages $vca_clang_packages
name=$1
seconds=$2
cmake --preset fuzz >/dev/null
nice cmake --build build/fuzz --target "$name"
corpus=build/fuzz/corpus/$name
found=build/fuzz/found/$name
mkdir -p "$corpus" "$found"
inputs=tests/fuzz/seeds/$name
if [ -d "tests/fuzz/regressions/$name" ]; then
    inputs="$inputs tests/fuzz/regressions/$name"
fi
words=""
if [ -f "tests/fuzz/$name.dict" ]; then words="-dict=tests/fuzz/$name.dict"; fi
# Freed memory is kept from reuse for a while only, or the large track records would fill it.
ASAN_OPTIONS=quarantine_size_mb=16:detect_stack_use_after_return=0 \
    nice -n 19 "build/fuzz/tests/fuzz/$name" -max_total_time="$seconds" -max_len=4096 -timeout=20 \
    -rss_limit_mb=2048 -artifact_prefix="$found/" -print_final_stats=1 $words "$corpus" $inputs
