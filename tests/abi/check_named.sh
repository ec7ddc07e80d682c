#!/bin/sh
# Every function of a list must be used by the own code of at least one test program: called, or its
# address taken. The compiler says so by an undefined symbol in an object file of the program; a
# comment, a string or a declaration leaves none.
#   check_named.sh <nm> <list> <file with the names of the object files>
set -eu
nm=$1 list=$2 objects=$3

have=$(mktemp)
want=$(mktemp)
trap 'rm -f "$have" "$want"' EXIT
xargs "$nm" --undefined-only --format=posix <"$objects" | awk '$2 == "U" { print $1 }' |
    LC_ALL=C sort -u >"$have"
LC_ALL=C sort -u "$list" >"$want"
status=0
for name in $(LC_ALL=C comm -13 "$have" "$want"); do
    echo "no test uses $name"
    status=1
done
exit $status
