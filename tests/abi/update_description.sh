#!/usr/bin/env bash
# Renews the description of the library's interface after a change of it that is meant: builds the
# dev preset and describes it. The difference of the two files belongs to the commit of the change.
set -eu
cd "$(dirname "$0")/../.."
. scripts/packages.sh
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_test_packages
cmake --preset dev >/dev/null
cmake --build --preset dev --target vca vca_types
describe="bash tests/abi/description/describe.sh"
$describe build/dev/src/libvca.so >build/libvca.abi
$describe build/dev/tests/abi/description/libvca_types.so >build/types.abi
mv build/libvca.abi build/types.abi tests/abi/description/
git diff --stat -- tests/abi/description
