#!/usr/bin/env bash
# check_packages.sh SOURCE PACKAGES ARCH LIBDIR: checks the Debian packages of one processor in the
# folder PACKAGES, installs them into an empty root, builds the example host against that root
# through CMake and through pkg-config and runs it, runs the packaged program, and removes the
# packages again. Another processor's programs run under user-mode emulation, with the libraries of
# the folder that the packages were built with.
set -euo pipefail
source=$1 packages=$2 arch=$3 libdir=$4
here=$source/tests/install
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
version=$(sed -n 's/^project(vca VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
library=$packages/libvca1_${version}_$arch.deb
runtime=$packages/vca_${version}_$arch.deb
service=$packages/vca-service_${version}_$arch.deb
development=$packages/vca-dev_${version}_$arch.deb

compiler=g++ readelf=readelf toolchain=() emulate=() emulate_program=()
if [ "$arch" != "$(dpkg --print-architecture)" ]; then
    [ "$arch" = arm64 ] || { echo "no way to run programs of $arch" >&2 && exit 1; }
    compiler=aarch64-linux-gnu-g++ readelf=aarch64-linux-gnu-readelf
    toolchain=("-DCMAKE_TOOLCHAIN_FILE=$source/cmake/aarch64-linux-gnu.cmake")
    emulate=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
    emulate_program=(qemu-aarch64 -L "$source/build/sysroot-$arch")
fi

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
field() { dpkg-deb --field "$1" "$2"; }
expect() { # expect WHAT GOT WANTED
    [ "$2" = "$3" ] || fail "$1 is \"$2\" instead of \"$3\""
}

# The files of a package are those of a list, neither more nor less.
check_files() { # PACKAGE LIST
    dpkg-deb --fsys-tarfile "$1" | tar -t | grep -v '/$' |
        sed 's,^\./,,; s,/vcaTargets-[a-z]*\.,/vcaTargets-CONFIG.,' >"$work/got"
    sed -e '/^#/d' -e "s,@,$libdir,; s,%,$version," "$2" | LC_ALL=C sort >"$work/wanted"
    LC_ALL=C sort -o "$work/got" "$work/got"
    diff "$work/wanted" "$work/got" >&2 || fail "$1 does not hold the files of $2"
    dpkg-deb --fsys-tarfile "$1" | tar -t -v --numeric-owner | awk '
        $2 != "0/0" { print "owner: " $0; bad = 1 }
        /^d/ && $1 != ($6 ~ /\/credentials\/$/ ? "drwx------" : "drwxr-xr-x") { print "mode: " $0; bad = 1 }
        /^-/ && $1 != ($6 ~ /^\.\/usr\/bin\// ? "-rwxr-xr-x" : "-rw-r--r--") { print "mode: " $0; bad = 1 }
        END { exit bad }' >&2 || fail "owner or mode in $1"
}

check_control() {
    local package
    for package in "$library" "$runtime" "$service" "$development"; do
        expect "version of $package" "$(field "$package" Version)" "$version"
        expect "architecture of $package" "$(field "$package" Architecture)" "$arch"
        field "$package" Maintainer | grep -q '^.* <.*@.*>$' || fail "maintainer of $package"
        [ "$(field "$package" Description | wc -l)" -ge 3 ] || fail "description of $package"
    done
    expect "name" "$(field "$library" Package)" libvca1
    expect "name" "$(field "$runtime" Package)" vca
    expect "name" "$(field "$service" Package)" vca-service
    expect "dependency of vca-service" "$(field "$service" Depends)" "vca (= $version), systemd"
    expect "name" "$(field "$development" Package)" vca-dev
    expect "dependency of vca-dev" "$(field "$development" Depends)" "libvca1 (= $version)"
    mkdir "$work/control"
    dpkg-deb --control "$library" "$work/control"
    expect "shlibs" "$(cat "$work/control/shlibs")" "libvca 1 libvca1 (>= $version)"
    expect "triggers" "$(cat "$work/control/triggers")" "activate-noawait ldconfig"
    expect "control files" "$(cd "$work/control" && echo *)" "control md5sums shlibs triggers"
    mkdir "$work/control-vca"
    dpkg-deb --control "$runtime" "$work/control-vca"
    expect "control files" "$(cd "$work/control-vca" && echo *)" "control md5sums"
    mkdir "$work/control-service"
    dpkg-deb --control "$service" "$work/control-service"
    expect "control files" "$(cd "$work/control-service" && echo *)" \
        "control md5sums postinst postrm prerm"
}

needed() { "$readelf" -d "$@" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort -u; }

# A package depends on those that hold the libraries its file needs. Debian names them alike on
# every processor, so this machine knows them.
check_dependencies() { # PACKAGE FILE
    local name native_triplet
    native_triplet=$(gcc -print-multiarch)
    for name in $(needed "$2"); do
        case $name in
        ld-linux-*) ;;
        libvca.so.1) echo libvca1 ;;
        *) dpkg-query --search "*/$native_triplet/$name" | sed 's/:.*//' ;;
        esac
    done | sort -u >"$work/wanted"
    field "$1" Depends | tr ',' '\n' | sed 's/^ *\([^ ]*\).*/\1/' | sort -u >"$work/got"
    diff "$work/wanted" "$work/got" >&2 || fail "$1 does not depend on what it needs"
}

# The library is free of what makes the program's binary fall under another licence.
check_licences() {
    local doc=$root/usr/share/doc
    cmp "$doc/libvca1/copyright" "$doc/vca-dev/copyright" >&2 || fail "licence of vca-dev"
    ! grep -q GPL "$doc/libvca1/copyright" || fail "licence of libvca1"
    grep -q '^License: GPL-3' "$doc/vca/copyright" || fail "licence of vca"
    ! needed "$root/usr/$libdir/libvca.so.1" | grep -q -e libav -e libopencv || fail "libvca needs more"
}

check_programs() {
    local file
    for file in "$root/usr/bin/vca" "$root/usr/$libdir/libvca.so.1"; do
        ! "$readelf" -SW "$file" | grep -q -e '\.symtab' -e '\.debug' || fail "$file is not stripped"
    done
    # The search path of a build that can be moved has no place where the loader looks anyway.
    if [ "$libdir" != lib ]; then
        ! "$readelf" -d "$root/usr/bin/vca" | grep -q -e RPATH -e RUNPATH || fail "search path in vca"
    fi
}

# In a root that holds no shell the scripts of the service run outside of it, and know it.
run_dpkg() { # WHAT ARGUMENTS...
    local what=$1
    shift
    dpkg --root="$root" --force-depends --force-architecture --force-script-chrootless "$@" \
        >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log" >&2 && fail "$what"; }
}

# Only root may unpack with dpkg itself; the other way shows the files, but not the removal.
install_packages() {
    mkdir -p "$root/var/lib/dpkg"
    if [ "$(id -u)" = 0 ]; then
        run_dpkg installation --install "$library" "$runtime" "$service" "$development"
    else
        dpkg-deb --extract "$service" "$root"
        dpkg-deb --extract "$library" "$root"
        dpkg-deb --extract "$runtime" "$root"
        dpkg-deb --extract "$development" "$root"
    fi
}

remove_packages() {
    if [ "$(id -u)" != 0 ]; then
        echo "not root: removal is left out"
        return
    fi
    check_kept
    run_dpkg removal --purge vca-dev vca libvca1
    rm -r "$root/etc"
    expect "what removal leaves" "$(cd "$root" && find . -mindepth 1 -path ./var -prune -o -print)" ""
}

# A later version of a package, otherwise the same.
later() { # PACKAGE
    dpkg-deb --raw-extract "$1" "$work/later"
    sed -i "s/^Version: .*/Version: $version+later/; s/(= $version)/(= $version+later)/" \
        "$work/later/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$work/later" "$work/later.deb" >/dev/null
    rm -r "$work/later"
}

# What is counted, and what somebody has set, stays through upgrade, removal and purge.
check_kept() {
    local file files=(etc/vca/vca.toml etc/vca/credentials/mqtt
        var/lib/private/vca/store/door.db var/lib/private/vca/cameras/door.toml)
    for file in "${files[@]}"; do
        mkdir -p "$(dirname "$root/$file")"
        echo "of $file" >"$root/$file"
    done
    ln -s private/vca "$root/var/lib/vca"
    later "$service"
    run_dpkg upgrade --install "$work/later.deb"
    expect "version after the upgrade" \
        "$(dpkg-query --root="$root" --show --showformat='${Version}' vca-service)" "$version+later"
    run_dpkg removal --remove vca-service
    [ ! -e "$root/usr/lib/systemd/system/vca.service" ] || fail "the unit is still there"
    run_dpkg purge --purge vca-service
    grep -q 'what was counted stays in /var/lib/vca' "$work/dpkg.log" || fail "purge says nothing"
    for file in "${files[@]}"; do
        expect "what is kept" "$(cat "$root/$file")" "of $file"
    done
}

check_example() { # PROGRAM
    "${emulate[@]}" "$1" >"$work/example.log" || fail "$1 ends with $?"
    expect "example's count" "$(grep -a -e '^counted' -e '^frame' "$work/example.log")" \
        "$(cat "$here/example_host.txt")"
}

check_host() {
    local prefix=$root/usr
    cp -r "$prefix/share/doc/vca-dev/examples/host" "$work/host"
    cd "$work/host"
    cmake -S . -B by-cmake "${toolchain[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
    cmake --build by-cmake >/dev/null
    check_example by-cmake/example_host
    # shellcheck disable=SC2046
    "$compiler" -std=c++20 -rdynamic main.cpp \
        $(PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig pkg-config --cflags --libs vca) -pthread \
        -Wl,-rpath,"$prefix/$libdir" -o by-pkg-config
    check_example ./by-pkg-config
    cd "$work"
}

check_program() {
    local run=(env "LD_LIBRARY_PATH=$root/usr/$libdir" "${emulate_program[@]}" "$root/usr/bin/vca")
    "${run[@]}" --version >"$work/version.txt" || fail "vca --version ends with $?"
    grep -q "$version" "$work/version.txt" || fail "vca --version says $(cat "$work/version.txt")"
    "${run[@]}" --help | grep -o '[^ ]*hall\.toml' | sort -u >"$work/examples.txt"
    [ -s "$work/examples.txt" ] && [ -e "$(cat "$work/examples.txt")" ] ||
        fail "vca --help names $(cat "$work/examples.txt")"
    "${run[@]}" run --frames 30 --output "$work/out" >"$work/run.log" ||
        { cat "$work/run.log" >&2 && fail "vca run"; }
    grep -q '"frames"' "$work/out/summary.json" || fail "no summary of vca run"
}

check_control
check_files "$library" "$here/libvca1.files"
check_files "$runtime" "$here/vca.files"
check_files "$service" "$here/vca-service.files"
check_files "$development" "$here/vca-dev.files"
install_packages
check_dependencies "$library" "$root/usr/$libdir/libvca.so.1"
check_dependencies "$runtime" "$root/usr/bin/vca"
check_licences
check_programs
check_host
check_program
remove_packages
echo "packages of $arch: files, dependencies, example host, program and removal are right"
