#!/bin/sh
# Compares the library's dynamic symbols with a checked-in list, both ways.
#   check_symbols.sh <nm> <library> exported|undefined <list>
set -eu
nm=$1 library=$2 kind=$3 list=$4

# Names of the compiler's run-time libraries begin with an underscore: instantiated C++ templates
# among the weak symbols, sanitizers, start-up code. Symbols of shared libraries carry a version.
symbols() {
    case $kind in
    exported)
        "$nm" -D --defined-only "$library" |
            awk '$2 ~ /^[WVu]$/ && $3 ~ /^_Z/ { next } $3 !~ /^__/ { sub(/@.*/, "", $3); print $3 }'
        ;;
    undefined)
        "$nm" -D --undefined-only "$library" |
            awk '$1 == "U" && $2 !~ /@/ && $2 !~ /^__/ { print $2 }'
        ;;
    esac | LC_ALL=C sort
}

have=$(mktemp)
want=$(mktemp)
trap 'rm -f "$have" "$want"' EXIT
symbols >"$have"
LC_ALL=C sort "$list" >"$want"
if ! diff -u "$want" "$have"; then
    echo "the $kind symbols differ: - only in the list, + only in the library"
    exit 1
fi
