#!/usr/bin/env bash
# Builds the page and tries it in a browser, as a person would use it. Arguments are names of tests:
# tests/page/run.sh editor history. VCA_PAGE_URL tries a service that runs already, VCA_PROGRAM that of
# a program.
set -eu
[ -z "${VCA_PROGRAM-}" ] || VCA_PROGRAM=$(realpath "$VCA_PROGRAM")
cd "$(dirname "$0")"
. ../../scripts/packages.sh
# shellcheck disable=SC2086
install_missing_commands $vca_page_commands $vca_page_test_commands
(cd ../.. && fetch_page_modules)
(cd ../../page && npx tsc && node build.mjs)
[ $# -gt 0 ] || set -- text api page editor history look
failed=0
for name in "$@"; do
    node "${name}_test.mjs" || failed=1
done
exit $failed
