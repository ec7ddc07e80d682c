#!/usr/bin/env bash
# Builds the host program and runs it: people walk under a simulated camera and are counted.
# Arguments go to `vca run`; see ./run.sh --help. "./run.sh site" runs three cameras that count as one,
# "./run.sh serve" the service of a place: a demonstration unless --config names another one.
set -eu
cd "$(dirname "$0")"
. scripts/packages.sh
# A database is the service's, with packages of its own.
packages=$vca_run_packages
service=OFF
case " $* " in
" serve "* | *" --store"*)
    packages=$vca_packages
    service=ON
    ;;
esac
# shellcheck disable=SC2086
install_missing_packages $packages
page=OFF
if [ $service = ON ]; then
    # The service counts without a page, too.
    # shellcheck disable=SC2086
    if install_missing_commands $vca_page_commands; then page=ON; fi
fi
mkdir -p build
[ -x build/release/host/vca ] || echo "Building, which takes a minute or two the first time ..."
cmake --preset release -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF -DVCA_WITH_SERVICE=$service \
    -DVCA_BUILD_PAGE=$page \
    >build/run.log 2>&1 &&
    cmake --build --preset release --target vca_program >>build/run.log 2>&1 || {
    cat build/run.log >&2
    exit 1
}
if [ $page = ON ] && ! cmake --build --preset release --target vca_page >build/page.log 2>&1; then
    cat build/page.log >&2
    echo "The page could not be built, so the service runs without it." >&2
fi
if [ "${1-}" = site ]; then
    shift
    exec build/release/host/vca run --site host/examples/hall.toml "$@"
fi
if [ "${1-}" = serve ]; then
    shift
    demonstration=out/demonstration
    if [ $# = 0 ]; then
        mkdir -p "$demonstration"
        [ -e "$demonstration/vca.toml" ] || cp host/examples/place.toml "$demonstration/vca.toml"
        echo "The demonstration place is $demonstration/vca.toml; its databases are in $demonstration/store."
        echo "In another terminal, while it runs (Ctrl-C ends it):"
        echo "  build/release/host/vca counts --config $demonstration/vca.toml --by hour"
        set -- --config "$demonstration/vca.toml"
    fi
    exec build/release/host/vca serve "$@"
fi
exec build/release/host/vca run "$@"
