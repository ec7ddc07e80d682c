#!/usr/bin/env bash
# Runs benchmarks and writes their results into bench/results.md.
#
# bench/record.sh [accuracy|counting|site|recording|store|pass|instructions|memory]...: all of them without a name.
# The first three take about three quarters of an hour together; arguments behind "--" go to
# bench_accuracy and bench_counting, for example "-- --data DIR", or to bench/memory.sh. "pass" takes
# five minutes and wants a machine with nothing else to do.
set -eu
cd "$(dirname "$0")/.."
sections=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    sections+=("$1")
    shift
done
[ $# -gt 0 ] && shift
[ ${#sections[@]} -gt 0 ] || sections=(accuracy counting site recording store pass instructions memory)
readme=bench/results.md
text=$(mktemp)
trap 'rm -f "$text" "$text.new"' EXIT

build() {
    cmake --preset release >/dev/null
    cmake --build --preset release --target "$@" >/dev/null
}

# heading TITLE: the head of a section and what it was measured on.
heading() {
    echo "## $1"
    echo
    echo "Commit $(git rev-parse --short HEAD), $(date -u +%Y-%m-%d)," \
        "$(c++ --version | head -n 1), Release," \
        "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores."
    echo
}

accuracy() {
    build bench_accuracy
    heading 'Accuracy (`build/release/bench/bench_accuracy`)'
    build/release/bench/bench_accuracy "$@"
}

counting() {
    build bench_counting
    heading 'Counts where it is difficult (`build/release/bench/bench_counting`)'
    build/release/bench/bench_counting "$@"
}

site() {
    build bench_site
    heading 'Several cameras (`build/release/bench/bench_site`)'
    build/release/bench/bench_site
}

recording() {
    build bench_recording
    heading 'Recordings (`build/release/bench/bench_recording`)'
    build/release/bench/bench_recording
}

store() {
    local folder
    build bench_store
    heading 'A database after a year (`build/release/bench/bench_store`)'
    folder=$(mktemp -d)
    build/release/bench/bench_store "$folder"
    rm -r "$folder"
}

pass() {
    build bench_pass
    heading 'Time of one frame pass of the library (`build/release/bench/bench_pass`)'
    build/release/bench/bench_pass 2>/dev/null
}

instructions() {
    heading 'Instructions of one frame pass (`bench/instructions.sh`)'
    bench/instructions.sh --check
}

memory() {
    build vca_program
    heading 'Memory of a long run (`bench/memory.sh`)'
    bench/memory.sh "$@"
}

# Puts the text in the place of the section with the same heading, or at the end.
replace_section() {
    awk -v file="$text" '
        function insert(  line) { while ((getline line <file) > 0) print line; done = 1 }
        BEGIN { getline title <file; close(file); sub(/ \(.*/, "", title) }
        /^## / { skip = index($0, title) == 1 }
        skip && !done { insert(); print "" }
        !skip { print }
        END { if (!done) { print ""; insert() } }' "$readme" | cat -s >"$text.new"
    cp "$text.new" "$readme"
}

for section in "${sections[@]}"; do
    case $section in
        accuracy | counting | site | recording | store | pass | instructions | memory) "$section" "$@" >"$text" ;;
        *)
            echo "unknown: $section (accuracy, counting, site, recording, store, pass, instructions, memory)" >&2
            exit 1
            ;;
    esac
    replace_section
done
