#!/bin/sh
# Every function of a list must be called, or handed on as a pointer, by at least one test program or
# by a fixture in a header of one; its name in the text of a log line does not count.
#   check_named.sh <tests folder> <list>
set -eu
tests=$1 list=$2
status=0
while read -r name; do
    if ! grep -rqE --include='*_test.cpp' --include='*.h' \
        "(^|[^[:alnum:]_\"])$name *[(),}]" "$tests"; then
        echo "no test names $name"
        status=1
    fi
done <"$list"
exit $status
