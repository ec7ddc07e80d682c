#!/usr/bin/env bash
# scripts/kill_test.sh N: kills a counting program N times at moments that matter, and compares what a
# receiver was told with what the database holds; see scripts/kill_test.py. Then it kills cameras of a service,
# the service and all at once, a quarter as often; see scripts/kill_service_test.py.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages python3
cmake --preset release >/dev/null
cmake --build --preset release --target vca_program >/dev/null
python3 scripts/kill_test.py build/release/host/vca "${1:-30}"
python3 scripts/kill_service_test.py build/release/host/vca $((${1:-30} / 4))
