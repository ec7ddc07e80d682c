#!/usr/bin/env bash
# Lines and branches that the corpus of a fuzzer reaches: scripts/fuzz_coverage.sh NAME FOLDER...
# prints a table of the files below the folders, for example
#   scripts/fuzz_coverage.sh fuzz_pass src
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
if [ $# -lt 2 ]; then
    echo "usage: scripts/fuzz_coverage.sh NAME FOLDER..." >&2
    exit 2
fi
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages $vca_clang_packages
name=$1
shift
build=build/fuzz-coverage
flags="-O1 -g1 -fprofile-instr-generate -fcoverage-mapping"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_C_COMPILER=clang \
    -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" >/dev/null
nice cmake --build "$build" --target "$name"
inputs=tests/fuzz/seeds/$name
for more in "tests/fuzz/regressions/$name" "build/fuzz/corpus/$name"; do
    if [ -d "$more" ]; then inputs="$inputs $more"; fi
done
LLVM_PROFILE_FILE="$build/$name.profraw" nice "$build/tests/fuzz/$name" $inputs 2>/dev/null
llvm-profdata merge -o "$build/$name.profdata" "$build/$name.profraw"
objects=$build/tests/fuzz/$name
if [ "$name" = fuzz_handlers ] || [ "$name" = fuzz_pass ]; then objects=$build/src/libvca.so; fi
llvm-cov export "$objects" -instr-profile "$build/$name.profdata" -summary-only |
    python3 scripts/fuzz_coverage.py "$build" "$@"
