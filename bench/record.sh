#!/usr/bin/env bash
# Runs all benchmarks and writes their results below the marker line of bench/README.md.
# Arguments go to bench_accuracy, for example --data DIR. Takes about half an hour.
set -eu
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target bench_accuracy bench_site bench_pass >/dev/null
readme=bench/README.md
marker='<!-- results -->'
new=$(mktemp)
trap 'rm -f "$new"' EXIT
sed "/^$marker\$/q" "$readme" >"$new"
{
    echo
    echo "Commit $(git rev-parse --short HEAD), $(date -u +%Y-%m-%d)," \
        "$(c++ --version | head -n 1), Release," \
        "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores."
    echo
    echo '## Accuracy (`build/release/bench/bench_accuracy`)'
    echo
    build/release/bench/bench_accuracy "$@"
    echo
    echo '## Several cameras (`build/release/bench/bench_site`)'
    build/release/bench/bench_site
    echo
    echo '## Time of one frame pass of the library (`build/release/bench/bench_pass`)'
    echo
    echo '```'
    build/release/bench/bench_pass --benchmark_min_time=1 --benchmark_repetitions=5 \
        --benchmark_report_aggregates_only=true 2>/dev/null | grep -E 'Benchmark|median'
    echo '```'
} >>"$new"
cp "$new" "$readme"
