#!/usr/bin/env bash
# Compares a shared object with its description; any difference fails, also an addition and a change
# of a name.
#   check_description.sh <description> <shared object>
set -eu
have=$(mktemp)
trap 'rm -f "$have"' EXIT
bash "$(dirname "$0")/describe.sh" "$2" >"$have"
abidiff --harmless "$1" "$have" || {
    echo "the interface differs from $(basename "$1"); if that is meant, renew the description with" \
        "tests/abi/update_description.sh"
    exit 1
}
