#!/usr/bin/env bash
# check_install.sh SOURCE BUILD LIBDIR COMPILER: installs the build into an empty folder, then
# builds and runs a host against it, once through CMake and once through pkg-config.
set -eu
source=$1 build=$2 libdir=$3 compiler=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
mkdir -p "$work/host/bench"
cp "$source"/bench/quiet_host.* "$work/host/bench"
cd "$work/host"
cat >main.cpp <<'CPP'
#include "vca/vca.h"
int main() {
    vca_base_init();
    vca_algo_init();
    vca_algo_uninit();
    return vca_base_uninit();
}
CPP
cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(example CXX)
find_package(vca REQUIRED)
add_executable(example main.cpp bench/quiet_host.cpp)
target_include_directories(example PRIVATE ${PROJECT_SOURCE_DIR})
set_target_properties(example PROPERTIES ENABLE_EXPORTS ON)
target_link_libraries(example PRIVATE vca::vca)
CMAKE
cmake -S . -B by-cmake -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build by-cmake >/dev/null
./by-cmake/example | grep -q 'vca_algo init 111'
export PKG_CONFIG_PATH="$work/prefix/$libdir/pkgconfig"
# shellcheck disable=SC2046
"$compiler" -std=c++20 -rdynamic -I. main.cpp bench/quiet_host.cpp \
    $(pkg-config --cflags --libs vca) -o by-pkg-config
LD_LIBRARY_PATH="$work/prefix/$libdir" ./by-pkg-config | grep -q 'vca_algo init 111'
echo "installed, built and run through CMake and pkg-config"
