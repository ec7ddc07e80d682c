#!/usr/bin/env bash
# Lines and branches of the library that its tests run: per file and in total. Fails below 98 % of
# the lines or 90 % of the branches. Branches that the compiler adds for exceptions thrown by called
# functions are left out (--exclude-throw-branches): nothing in the source decides them.
# Only the library is instrumented, in a build of its own; the host and the simulator are not built.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_test_packages gcovr
build=build/coverage
launcher=$(command -v ccache || true)
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O1 \
    -DVCA_BUILD_HOST=OFF -DVCA_BUILD_BENCH=OFF -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    -DCMAKE_PROJECT_vca_INCLUDE="$PWD/scripts/coverage.cmake" >/dev/null
ninja -C $build >/dev/null
find $build -name '*.gcda' -delete
# The lists of symbols know nothing of the counters' run-time library, and the golden runs would take
# longer than they allow themselves.
ctest --test-dir $build -j "$(nproc)" --output-on-failure --no-tests=error \
    --exclude-regex '^abi\.|^Golden\.' >$build/tests.log || {
    tail -50 $build/tests.log
    exit 1
}
count="gcovr --root . --filter src/ $build/src --exclude-throw-branches"
$count
$count --branches
$count --fail-under-line 98 --fail-under-branch 90 --print-summary --output $build/lines.txt
