#!/usr/bin/env bash
# Measures what a camera covers at each height and with each lens, and how right its counts are
# there, and writes the table into docs/user-guide.md. Arguments go to bench_siting. Takes about ten
# minutes.
set -eu
cd "$(dirname "$0")/.."
guide=docs/user-guide.md
table=$(mktemp)
trap 'rm -f "$table" "$table.new"' EXIT

cmake --preset release >/dev/null
cmake --build --preset release --target bench_siting >/dev/null
{
    build/release/bench/bench_siting "$@"
    echo
    echo "Measured at commit $(git rev-parse --short HEAD) on $(date -u +%Y-%m-%d) by" \
        "\`scripts/siting_table.sh\`."
} >"$table"

awk -v file="$table" '
    /<!-- end of the siting table -->/ { inside = 0 }
    !inside { print }
    /<!-- siting table -->/ {
        found = inside = 1
        while ((getline line <file) > 0) print line
    }
    END { exit !found }' "$guide" >"$table.new"
cp "$table.new" "$guide"
