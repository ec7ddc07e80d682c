#!/usr/bin/env bash
# Builds the host program and runs it: people walk under a simulated camera and are counted.
# Arguments go to `vca run`; see ./run.sh --help. "./run.sh site" runs three cameras that count as one.
set -eu
cd "$(dirname "$0")"
. scripts/packages.sh
# A database is the service's, with packages of its own.
packages=$vca_run_packages
service=OFF
case " $* " in
*" --store"*)
    packages=$vca_packages
    service=ON
    ;;
esac
# shellcheck disable=SC2086
install_missing_packages $packages
mkdir -p build
[ -x build/release/host/vca ] || echo "Building, which takes a minute or two the first time ..."
cmake --preset release -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF -DVCA_WITH_SERVICE=$service \
    >build/run.log 2>&1 &&
    cmake --build --preset release --target vca_program >>build/run.log 2>&1 || {
    cat build/run.log >&2
    exit 1
}
if [ "${1-}" = site ]; then
    shift
    exec build/release/host/vca run --site host/examples/hall.toml "$@"
fi
exec build/release/host/vca run "$@"
