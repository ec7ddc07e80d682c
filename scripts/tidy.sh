#!/usr/bin/env bash
# clang-tidy over the sources of library, host and simulator with the checks of .clang-tidy, of which
# each finding is an error: scripts/tidy.sh [build folder, build/dev when none is given] [commit]
# The folder must be configured; nothing in it has to be built but its generated headers. With a commit
# only the sources that have changed since then are looked at, all of them when it is not known.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_tidy_packages
build=${1:-build/dev}
since=${2-}
if [ ! -f "$build/compile_commands.json" ]; then
    echo "$build is not configured: cmake --preset dev comes first" >&2
    exit 2
fi
# Coroutines of Boost 1.74 are nothing that clang 14 can read.
sources=$(git ls-files 'src/*.cpp' 'host/*.cpp' 'sim/*.cpp' | grep -v '^host/net/http_server\.cpp$')
if git cat-file -e "$since^{commit}" 2>/dev/null; then
    sources=$(git diff --name-only --diff-filter=d "$since" -- | grep -Fx "$sources" || true)
fi
log=$build/tidy.log
: >"$log"
# An empty pattern would be all of them.
for source in $sources; do printf '^%s/%s$\n' "$PWD" "${source//./\\.}"; done |
    xargs -r run-clang-tidy -quiet -p "$build" -j "$(nproc)" >"$log" 2>&1 || {
    grep -E -A 4 '(error|warning): ' "$log" || cat "$log"
    exit 1
}
echo "clang-tidy: $(grep -c '^clang-tidy' "$log" || true) sources, nothing found"
