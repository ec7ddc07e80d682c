#!/usr/bin/env bash
# Makes the Debian packages libvca1, vca, vca-service and vca-dev: scripts/package.sh [amd64|arm64]. Without an argument
# they are those of this machine. They are left in build/packages/.
#
# For arm64 on another machine everything is cross-compiled; the libraries come from a folder that
# scripts/sysroot.sh fills, and nothing of this machine's package system is changed.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
native=$(dpkg --print-architecture)
arch=${1:-$native}
case $arch in
amd64) triplet=x86_64-linux-gnu ;;
arm64) triplet=aarch64-linux-gnu ;;
*)
    echo "usage: scripts/package.sh [amd64|arm64]" >&2
    exit 2
    ;;
esac
# shellcheck disable=SC2086
install_missing_packages $vca_packages $vca_package_packages
# shellcheck disable=SC2086
install_missing_commands $vca_page_commands
toolchain=()
if [ "$arch" != "$native" ]; then
    # shellcheck disable=SC2086
    install_missing_packages $vca_target_packages $vca_sysroot_packages
    scripts/sysroot.sh "$arch"
    toolchain=("--toolchain=$PWD/cmake/$triplet.cmake" "-DVCA_SYSROOT=$PWD/build/sysroot-$arch")
fi
build=build/package-$arch
# In a package the library lies where the loader looks for it, so the program needs no search path.
nice cmake -S . -B "$build" -G Ninja "${toolchain[@]}" -DCMAKE_BUILD_TYPE=Release \
    -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF -DVCA_BUILD_PAGE=ON -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DCMAKE_INSTALL_PREFIX=/usr "-DCMAKE_INSTALL_LIBDIR=lib/$triplet" >/dev/null
nice cmake --build "$build" --target vca_program vca_page
mkdir -p build/packages
DEB_HOST_ARCH=$arch cpack --config "$build/CPackConfig.cmake" -B "$build/packages" >/dev/null
mv "$build"/packages/{libvca1,vca,vca-service,vca-dev}_*_"$arch".deb build/packages/
ls -l build/packages/*_"$arch".deb
