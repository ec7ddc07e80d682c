#!/usr/bin/env bash
# clang-tidy over the sources of library, host and simulator with the checks of .clang-tidy, of which
# each finding is an error: scripts/tidy.sh [build folder, build/dev when none is given]
# The folder must be configured; nothing in it has to be built but its generated headers.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_tidy_packages
build=${1:-build/dev}
if [ ! -f "$build/compile_commands.json" ]; then
    echo "$build is not configured: cmake --preset dev comes first" >&2
    exit 2
fi
log=$build/tidy.log
# Coroutines of Boost 1.74 are nothing that clang 14 can read.
sources="^$PWD/(src|host|sim)/(?!net/http_server\.cpp$)"
if ! run-clang-tidy -quiet -p "$build" -j "$(nproc)" "$sources" >"$log" 2>&1; then
    grep -E -A 4 '(error|warning): ' "$log" || cat "$log"
    exit 1
fi
echo "clang-tidy: $(grep -c '^clang-tidy' "$log") sources, nothing found"
