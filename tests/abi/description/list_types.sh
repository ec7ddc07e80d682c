#!/usr/bin/env bash
# Writes a source file that names each public type once, from the headers: records and enumerations,
# and the host's functions with their signatures. Each is a pointer, so nothing is instantiated.
#   list_types.sh <file to write> <list of the host's functions> <header> ...
set -euo pipefail
output=$1 functions=$2
shift 2
{
    echo '#include "vca/vca.h"'
    echo 'extern "C" {'
    # A definition that this cannot read is an error, so that none is left out.
    awk '
        unnamed {
            sub(/[^A-Za-z0-9_].*/, "", $1)
            print "decltype(" $1 ")* enumeration_" $1 ";"
            unnamed = 0
            next
        }
        /^enum \{$/ { unnamed = 1; next }
        /^(typedef )?(struct|union|enum) .*[A-Za-z0-9_] \{$/ {
            name = $(NF - 1)
            print name "* type_" name ";"
            next
        }
        /^(typedef )?(struct|union|enum|class)( |$)/ && !/;/ {
            print FILENAME ": cannot read: " $0 >"/dev/stderr"
            exit 1
        }' "$@" | LC_ALL=C sort
    sed 's/.*/decltype(\&&) host_function_&;/' "$functions"
    echo '}'
} >"$output"
