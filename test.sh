#!/usr/bin/env bash
# Builds everything with warnings as errors and runs all tests but the long ones, then the library
# and its tests once more for the camera's processor, under emulation.
# Arguments go to ctest, for example ./test.sh -R line. VCA_PRESET=asan ./test.sh runs the tests of
# one preset alone, and VCA_TARGET with it builds that target only; VCA_REQUIRE_AARCH64=1 makes it a
# failure where the emulation cannot be installed.
set -eu
cd "$(dirname "$0")"
. scripts/packages.sh

# build_and_test <preset> <error or ignore: what to do when no test is selected> [for ctest ...]
build_and_test() {
    local preset=$1 no_tests=$2
    shift 2
    cmake --preset "$preset" -DVCA_BUILD_PAGE="$page" >/dev/null
    cmake --build --preset "$preset" --target "${VCA_TARGET:-all}"
    # A test that hangs is named before whoever waits gives up.
    ctest --test-dir "build/$preset" --output-on-failure --no-tests="$no_tests" -j "$(nproc)" \
        --timeout 600 \
        --output-junit junit.xml --output-log "build/$preset/ctest.log" --label-exclude '^long$' "$@"
}

preset=${VCA_PRESET:-dev}
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages
# The page is tried in a browser by one preset: it says nothing of compilers and sanitizers.
page=OFF
if [ "$preset" = dev ]; then
    # shellcheck disable=SC2086
    install_missing_commands $vca_page_commands $vca_page_test_commands
    if fetch_page_modules; then
        page=ON
    else
        echo "Skipped: the page and its tests in a browser, because npm cannot fetch what they need."
    fi
fi
if [ "$preset" != aarch64 ]; then
    build_and_test "$preset" error "$@"
    [ -z "${VCA_PRESET-}" ] || exit 0
fi

# shellcheck disable=SC2086
if install_missing_packages $vca_target_packages; then
    page=OFF
    # Arguments may select tests of the host program alone, which is not built for the camera.
    build_and_test aarch64 ignore "$@"
elif [ "${VCA_REQUIRE_AARCH64-0}" = 1 ] || [ "$preset" = aarch64 ]; then
    echo "The aarch64 tests cannot run: compiler or emulator could not be installed." >&2
    exit 1
else
    echo "Skipped: the aarch64 tests, because compiler or emulator could not be installed."
fi
