#!/usr/bin/env bash
# Whether two states of the program make the library send the same: events.jsonl of every built-in
# scene, of the recorded walks, of the depth recording and of the site "hall" in lock step, byte by
# byte. For changes that must not change a count.
#
# scripts/compare_events.sh REV [NAME ...]: the commit REV against the working tree; NAME picks
# cases. The events of REV are kept in build/compare/ for the next time.
set -eu
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || {
    sed -n '6,7s/^# //p' "$0" >&2
    exit 2
}
revision=$(git rev-parse --short --verify "$1^{commit}")
shift
root=$PWD
work=$root/build/compare
data=${VCA_DATA:-$root/../shared/data}
walks=$data/trajectories
recording=$data/depth_walk
camera="--camera host/examples/tof_512x424.toml"

# build SOURCE BUILD: the program and the lock step of a source tree.
build() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVCA_BUILD_TESTS=OFF >/dev/null
    cmake --build "$2" --target vca_program bench_site >/dev/null
}

cases() {
    local scene
    for scene in doorway entrance uturn groups shop crowd gallery; do
        echo "$scene --scene $scene"
    done
    echo "colour --scene gallery --detect both --staff vest --show-detected"
    echo "corridor --trajectories $walks/bidirectional_corridor_400_b_03.txt"
    echo "bottleneck --trajectories $walks/bottleneck_030_c_56_h0.txt --camera-at 0,-1.3"
    echo "one-way --trajectories $walks/unidirectional_uo_180_180_070.txt --fps 16"
    echo "recording --folder $recording $camera --box --line 256,0~256,423 --line 80,212~511,212"
    echo "measured --folder $recording $camera --height auto --line 256,0~256,423"
    echo "site"
}

# run BUILD OUT NAME ARGUMENTS: leaves NAME.jsonl, or NAME-DEVICE.jsonl of a site, in OUT.
run() {
    local build=$1 out=$2 name=$3 word file
    shift 3
    mkdir -p "$out/$name"
    if [ "$name" = site ]; then
        "$build/bench/bench_site" --events "$out/$name" hall 1 >"$out/$name.log" 2>&1
    else
        local arguments=()
        for word; do arguments+=("${word//\~/ }"); done
        "$build/host/vca" run "${arguments[@]}" --no-live --quiet --output "$out/$name" \
            >"$out/$name.log" 2>&1
    fi || {
        echo "$name: the run failed, see $out/$name.log"
        return 1
    }
}

selected() {
    local name=$1 want
    shift
    [ $# -eq 0 ] && return 0
    for want; do [ "$want" = "$name" ] && return 0; done
    return 1
}

if [ ! -e "$work/$revision/built" ]; then
    rm -rf "${work:?}/$revision"
    git worktree prune
    git worktree add --quiet --detach "$work/$revision/source" "$revision"
    build "$work/$revision/source" "$work/$revision/build"
    touch "$work/$revision/built"
fi
build "$root" "$work/now/build"

status=0
while read -r name arguments; do
    selected "$name" "$@" || continue
    if [ "$name" != site ] && [[ $arguments == *"$data"* ]] && [ ! -d "$data" ]; then
        echo "$name: skipped, there is no folder $data"
        continue
    fi
    before=$work/$revision/events after=$work/now/events
    rm -rf "$after/$name"
    # shellcheck disable=SC2086
    [ -e "$before/$name/done" ] || {
        run "$work/$revision/build" "$before" "$name" $arguments && touch "$before/$name/done"
    }
    # shellcheck disable=SC2086
    run "$work/now/build" "$after" "$name" $arguments || status=1
    for file in "$before/$name"/*.jsonl; do
        same=$after/$name/$(basename "$file")
        if cmp -s "$file" "$same"; then
            echo "$name: $(basename "$file") is the same, $(wc -l <"$file") events"
        else
            echo "$name: $(basename "$file") DIFFERS: $(cmp "$file" "$same" 2>&1 || true)"
            status=1
        fi
    done
done < <(cases)
exit $status
