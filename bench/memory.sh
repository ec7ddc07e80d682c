#!/usr/bin/env bash
# The resident size of the program while it runs: bench/memory.sh [FRAMES]...
#
# Runs the scene "doorway" so long, without live video, looks at the size every second, and fails when
# it changes by more than 2 MB after the first minute. Without a number 60,000 frames, which take some
# four minutes. The program must be built: cmake --build --preset release
set -euo pipefail
cd "$(dirname "$0")/.."
program=build/release/host/vca
most_kB=2048
work=$(mktemp -d)
run=
trap '[ -z "$run" ] || kill "$run" 2>/dev/null || true; rm -rf "$work"' EXIT

# Prints the size every second until the frames are over: drawing the pictures takes 12 MB more.
watch_size() {
    while kill -0 "$1" 2>/dev/null && [ ! -e "$work/out/summary.json.part" ]; do
        sed -n 's/^VmRSS:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$1/status" 2>/dev/null || true
        sleep 1
    done
}

status=0
echo "| frames | minutes | MB after 1 minute | least after | most after |"
echo "|---:|---:|---:|---:|---:|"
for frames in "${@:-60000}"; do
    start=$SECONDS
    "$program" run --scene doorway --frames "$frames" --no-live --quiet --output "$work/out" \
        >"$work/log" 2>&1 &
    run=$!
    watch_size "$run" >"$work/kB"
    wait "$run" || {
        cat "$work/log" >&2
        exit 1
    }
    run=
    awk -v frames="$frames" -v seconds=$((SECONDS - start)) -v most_kB="$most_kB" '
        NR == 60 { first = least = most = $1 }
        NR > 60 { least = $1 < least ? $1 : least; most = $1 > most ? $1 : most }
        END {
            if (NR <= 60) { print "the run of " frames " frames is over within a minute"; exit 1 }
            printf "| %d | %.0f | %.1f | %.1f | %.1f |\n", frames, seconds / 60, first / 1024,
                   least / 1024, most / 1024
            exit most - least > most_kB
        }' "$work/kB" || status=1
done
exit $status
