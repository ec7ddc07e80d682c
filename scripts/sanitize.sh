#!/usr/bin/env bash
# Tests under a sanitizer: scripts/sanitize.sh address | boundary | thread [arguments for ctest]
# "address" stands for address and undefined behaviour, neither of which goes on after a report;
# "boundary" is the same for the tests of the library and of what reads foreign bytes only.
set -eu
cd "$(dirname "$0")/.."
case "${1-}" in
    address) preset=asan ;;
    boundary)
        preset=asan
        export VCA_TARGET=boundary_tests
        set -- "$@" -L '^boundary$'
        ;;
    thread)
        preset=tsan
        # The tests that start the program set this themselves; it is for those that do not.
        export TSAN_OPTIONS="suppressions=$PWD/tests/host/tsan_suppressions.txt ${TSAN_OPTIONS-}"
        ;;
    *)
        echo "usage: scripts/sanitize.sh address|boundary|thread [arguments for ctest]" >&2
        exit 2
        ;;
esac
shift
VCA_PRESET=$preset exec ./test.sh "$@"
