#!/usr/bin/env bash
# The golden runs in builds that ./test.sh does not make: without optimisation and with all of it, by
# g++ and by clang. Each must give the same rows. Arguments choose among them: gcc-debug gcc-release
# clang-debug clang-release.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages
[ $# -gt 0 ] || set -- gcc-debug gcc-release clang-debug clang-release
for variant in "$@"; do
    case $variant in
    gcc-*) c=gcc cxx=g++ ;;
    clang-*)
        c=clang cxx=clang++
        # shellcheck disable=SC2086
        install_missing_packages $vca_clang_packages
        ;;
    *)
        echo "unknown build $variant: gcc-debug, gcc-release, clang-debug or clang-release is right" >&2
        exit 2
        ;;
    esac
    case $variant in
    *-release) type=Release ;;
    *) type=Debug ;;
    esac
    build=build/golden-$variant
    cmake -S . -B "$build" -G Ninja -DCMAKE_C_COMPILER=$c -DCMAKE_CXX_COMPILER=$cxx \
        -DCMAKE_BUILD_TYPE=$type -DVCA_BUILD_HOST=OFF -DVCA_BUILD_BENCH=OFF >/dev/null
    cmake --build "$build" --target golden_test >"$build/build.log" || {
        cat "$build/build.log" >&2
        exit 1
    }
    echo "$variant:"
    ctest --test-dir "$build" -R '^Golden\.' --no-tests=error --output-on-failure -V |
        grep -E 'hash|tests passed|Which is|\*\*\*' || {
        echo "the golden runs of $variant differ or did not run" >&2
        exit 1
    }
done
