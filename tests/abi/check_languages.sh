#!/bin/sh
# Every public header either compiles as C11 by itself or says in its first comment that it is "C++
# only", and not both.
#   check_languages.sh <C compiler> <include folder> <include folder> <header> ...
set -eu
compiler=$1 first=$2 second=$3
shift 3
status=0
for header in "$@"; do
    name=$(basename "$header")
    says=C
    sed '/\*\//q' "$header" | tr '\n*' '  ' | tr -s ' ' | grep -q 'C++ only' && says=C++
    is=C
    "$compiler" -std=c11 -pedantic-errors -fsyntax-only -x c -I "$first" -I "$second" "$header" \
        2>/dev/null || is=C++
    case $says-$is in
    C-C++)
        echo "$name is no C and does not say \"C++ only\" at its top"
        status=1
        ;;
    C++-C)
        echo "$name says \"C++ only\", but C programs can include it"
        status=1
        ;;
    *) echo "$name: $is" ;;
    esac
done
exit $status
