#!/usr/bin/env bash
# Prints the description of a shared object's interface, without anything of the machine and the
# build: no absolute paths, lines or processor.
#   describe.sh <shared object>
set -euo pipefail
abidw --suppressions "$(dirname "$0")/suppressions.ini" --type-id-style hash --no-architecture \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --drop-undefined-syms \
    --exported-interfaces-only "$1" | sed "s, path='[^']*/\([^/']*/[^/']*\)', path='\1',"
