#!/usr/bin/env bash
# scripts/sysroot.sh arm64: fills build/sysroot-arm64 with the libraries that the reference host is
# built with, taken unconfigured from Debian's packages of that processor by way of this machine's
# own package sources. Kept until the list of packages changes; about 610 MB.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
arch=${1:?usage: scripts/sysroot.sh ARCHITECTURE}
root=build/sysroot-$arch
# shellcheck disable=SC2086
include=$(printf '%s\n' $vca_packages | grep -e '-dev$' | paste -sd,)
if [ "$(cat "$root.list" 2>/dev/null)" = "$include" ]; then
    exit 0
fi
echo "Fetching the libraries of an $arch system, which takes a minute or two ..."
rm -rf "$root" "$root.list"
mkdir -p "$root"
sources=/etc/apt/sources.list.d/debian.sources
[ -s "$sources" ] || sources=/etc/apt/sources.list
# As an archive, so that without root, too, the files belong to whoever runs this.
mmdebstrap --quiet --variant=extract --architectures="$arch" --skip=check/qemu,cleanup/apt/cache \
    --include="$include" --format=tar "$(. /etc/os-release && echo "$VERSION_CODENAME")" - "$sources" |
    tar -x -C "$root" --exclude=./dev

# dpkg-shlibdeps looks for the versions that a library's symbols came with in the folder DEBIAN above
# the library, as in a package that is being built.
mkdir "$root/DEBIAN"
for package in "$root"/var/cache/apt/archives/*.deb; do
    for kind in shlibs symbols; do
        dpkg-deb --info "$package" $kind 2>/dev/null >>"$root/DEBIAN/$kind" || true
    done
done
rm -rf "${root:?}/var"

# Links to /lib and /usr are meant inside the folder.
find "$root" -type l -lname '/*' -printf '%l %p\n' | while read -r target link; do
    if [ -e "$root$target" ]; then ln -sfr "$root$target" "$link"; fi
done
# Alternatives that nobody has chosen: there is one of each.
libraries=$(echo "$root"/usr/lib/*-linux-gnu)
ln -s blas/libblas.so.3 lapack/liblapack.so.3 "$libraries"
echo "$include" >"$root.list"
