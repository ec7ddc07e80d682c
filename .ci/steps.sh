# shellcheck shell=bash
# Sourced by .ci/run and .ci/long: steps that are timed, and what is said about them at the end.

step_names=()
step_seconds=()

# step NAME COMMAND...: runs a command; the first one that fails ends everything.
step() {
    local name=$1 start=$SECONDS status=0
    shift
    echo "==== $name"
    "$@" || status=$?
    step_names+=("$name")
    step_seconds+=($((SECONDS - start)))
    [ $status = 0 ] && return 0
    report_steps
    echo "FAILED: $name" >&2
    exit 1
}

report_steps() {
    local i total=0
    echo "==== Minutes"
    for i in "${!step_names[@]}"; do
        total=$((total + step_seconds[i]))
        printf '%6s  %s\n' "$(in_minutes "${step_seconds[i]}")" "${step_names[i]}"
    done
    printf '%6s  in all\n' "$(in_minutes "$total")"
}

in_minutes() { printf '%d.%d' $(($1 / 60)) $(($1 % 60 / 6)); }

# report_slow_tests SECONDS BUILD...: the tests of the last ctest runs that took longer than that.
report_slow_tests() {
    local limit=$1 build
    shift
    echo "==== Tests of more than $limit s"
    for build in "$@"; do
        sed -n 's/.*<testcase name="\([^"]*\)".* time="\([0-9.]*\)".*/\2 \1/p' "$build/junit.xml" |
            awk -v limit="$limit" -v build="$build" \
                '$1 > limit { time = $1; sub(/^[^ ]* /, ""); printf "%6.1f  %s: %s\n", time, build, $0 }'
    done | sort -rn
}

# report_tests BUILD...: what ctest said at the end of its last runs.
report_tests() {
    local build
    for build in "$@"; do
        echo "==== Tests of $build"
        grep -E 'tests passed|tests failed|Total Test time|\(Skipped\)' "$build/ctest.log"
    done
}
