#!/usr/bin/env bash
# Makes docs/audit.png: the report of the recorded walk as a browser shows it.
#
#     scripts/audit_picture.sh VCA WALK
#
# WALK is the folder of the depth pictures. Needs chromium.
set -eu
vca=$(realpath "$1")
walk=$(realpath "$2")
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$vca" record --quiet --folder "$walk" --camera host/examples/tof_512x424.toml \
    --line "256,0 256,423" --name door --line "40,212 471,212" --name aisle \
    --closed-line "136,112 376,112 376,312 136,312 136,112" --name square --output "$work/walk"
"$vca" audit "$work"/walk/*.mkv --quiet --labels docs/walk_labels.csv --output "$work/audit"
# A sandbox of its own is refused to root.
options=()
[ "$(id -u)" != 0 ] || options=(--no-sandbox)
chromium --headless --disable-gpu "${options[@]}" --hide-scrollbars --window-size=1040,2220 \
    --screenshot=docs/audit.png "file://$work/audit/audit.html" 2>/dev/null
