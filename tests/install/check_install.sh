#!/usr/bin/env bash
# check_install.sh SOURCE BUILD LIBDIR COMPILER: installs the build into an empty folder, then
# builds and runs the example host against it, once through CMake and once through pkg-config.
set -eu
source=$1 build=$2 libdir=$3 compiler=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

check() { # PROGRAM
    "$1" >"$work/log"
    grep -a -e '^counted' -e '^frame' "$work/log" | diff "$source/tests/install/example_host.txt" -
}

cd "$prefix/share/doc/vca-dev/examples/host"
cmake -S . -B by-cmake -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build by-cmake >/dev/null
check by-cmake/example_host
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
# shellcheck disable=SC2046
"$compiler" -std=c++20 -rdynamic main.cpp $(pkg-config --cflags --libs vca) -pthread -o by-pkg-config
export LD_LIBRARY_PATH="$prefix/$libdir"
check ./by-pkg-config
echo "installed, built and run through CMake and pkg-config"
