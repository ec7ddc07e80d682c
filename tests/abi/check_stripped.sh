#!/bin/sh
# What the library costs on a camera: its size without symbols, and the shared objects it needs.
#   check_stripped.sh <strip> <library> size <most bytes>
#   check_stripped.sh <readelf> <library> needed <allowed object> ...
set -eu
tool=$1 library=$2 kind=$3
shift 3
case $kind in
size)
    stripped=$(mktemp)
    trap 'rm -f "$stripped"' EXIT
    "$tool" -o "$stripped" "$library"
    bytes=$(stat -c %s "$stripped")
    echo "the stripped library has $bytes bytes"
    [ "$bytes" -le "$1" ] || {
        echo "that is too large: at most $1 are expected"
        exit 1
    }
    ;;
needed)
    needed=$("$tool" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p')
    [ -n "$needed" ] || {
        echo "no needed shared objects could be read"
        exit 1
    }
    status=0
    for object in $needed; do
        case " $* " in
        *" $object "*) echo "needs $object" ;;
        *)
            echo "needs $object, which is not allowed"
            status=1
            ;;
        esac
    done
    exit $status
    ;;
*) exit 2 ;;
esac
