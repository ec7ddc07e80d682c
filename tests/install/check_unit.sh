#!/usr/bin/env bash
# check_unit.sh SOURCE PROGRAM: whether systemd takes the unit of the service, how far it shuts the
# service in, and whether its example of a place is sound. The limit is systemd's level of exposure,
# from 0 to 10 in tenths: up to 2.0.
set -euo pipefail
source=$1 program=$2
limit=20
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed "s,^ExecStart=/usr/bin/vca,ExecStart=$program," "$source/packaging/vca.service" \
    >"$work/vca.service"
grep -q "^ExecStart=$program serve" "$work/vca.service"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
# The page of the manual is not installed where it is built.
verify() { # UNIT
    systemd-analyze verify --man=no "$1" >"$work/said" 2>&1 && [ ! -s "$work/said" ]
}
secure() { # UNIT
    systemd-analyze security --offline=true --no-pager --threshold=$limit "$1" >"$work/exposure" 2>&1
}
verify "$work/vca.service" || { cat "$work/said" >&2 && fail "the unit"; }
secure "$work/vca.service" || { grep -v ✓ "$work/exposure" >&2 && fail "too much is exposed"; }
grep 'Overall exposure' "$work/exposure"

# A unit with a slip of the pen, and one that is open, are found.
mkdir "$work/wrong"
sed 's/^DynamicUser=yes/DynamicUsr=yes/' "$work/vca.service" >"$work/wrong/vca.service"
! verify "$work/wrong/vca.service" || fail "a wrong unit is not found"
sed '/^Protect/d; /^SystemCallFilter/d; /^Restrict/d' "$work/vca.service" >"$work/wrong/vca.service"
! secure "$work/wrong/vca.service" || fail "an open unit is not found"

"$program" check "$source/packaging/vca-service/vca.toml" >/dev/null || fail "the example"
