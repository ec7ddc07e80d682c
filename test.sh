#!/usr/bin/env bash
# Builds everything with warnings as errors and runs all tests but the long ones.
# Arguments go to ctest, for example ./test.sh -R line.
set -eu
cd "$(dirname "$0")"
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages
preset=${VCA_PRESET:-dev}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
exec ctest --test-dir "build/$preset" --output-on-failure --no-tests=error -j "$(nproc)" \
    --label-exclude '^long$' "$@"
