#!/usr/bin/env bash
# Counts the instructions of a frame pass and of its stages, on x86-64 and on aarch64, in QEMU's
# user-mode emulation, and prints them as Markdown tables. Counts repeat where times do not.
#
# bench/instructions.sh [--check]: with --check two cases are counted once more, and one by callgrind.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_missing_packages qemu-user g++-aarch64-linux-gnu valgrind
frames=600   # one stay: everybody comes and goes once
warm_up=700
folder=build/count
mkdir -p "$folder"

cmake --preset release >/dev/null
cmake --build --preset release --target count_pass count_plugin >/dev/null
cmake --no-warn-unused-cli --preset aarch64 -B "$folder/aarch64" -DCMAKE_BUILD_TYPE=Release -DVCA_BUILD_HOST=OFF \
    -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF >/dev/null
cmake --build "$folder/aarch64" --target vca >/dev/null
aarch64-linux-gnu-g++ -std=c++20 -O2 -I. -Iinclude -I"$folder/aarch64/include" \
    bench/count_pass.cpp bench/crowd.cpp bench/quiet_host.cpp bench/staged_pass.cpp \
    tests/support/fake_functions.cpp tests/support/fake_platform.cpp \
    -L"$folder/aarch64/src" -lvca -o "$folder/aarch64/count_pass"

# The emulators count a repeated string instruction once for each byte, the processor only once.
no_string_instructions=glibc.cpu.x86_rep_stosb_threshold=0x7fffffff
no_string_instructions+=:glibc.cpu.x86_rep_movsb_threshold=0x7fffffff

# count ARCHITECTURE ARGUMENTS...: lines "part N instructions".
count() {
    local architecture=$1
    shift
    local plugin=build/release/bench/libcount_plugin.so
    if [ "$architecture" = x86-64 ]; then
        qemu-x86_64 -E GLIBC_TUNABLES="$no_string_instructions" -plugin "$plugin" build/release/bench/count_pass "$@" 2>&1
    else
        qemu-aarch64 -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH="$folder/aarch64/src" \
            -plugin "$plugin" "$folder/aarch64/count_pass" "$@" 2>&1
    fi
}

per_frame() {
    awk -v frames="$frames" '$1 == "part" { printf "%.0f", $3 / frames }'
}

pass_table() {
    echo '| work mode | configuration | people | x86-64 | aarch64 |'
    echo '|---|---|---|---|---|'
    local modes=(stand-alone master slave) mode config people
    for mode in 0 1 2; do
        for config in counting everything; do
            for people in 1 10 30 100; do
                echo "| ${modes[mode]} | $config | $people" \
                    "| $(count x86-64 $mode $people $config $frames $warm_up | per_frame)" \
                    "| $(count aarch64 $mode $people $config $frames $warm_up | per_frame) |"
            done
        done
    done
}

stage_table() {
    local names=('' 'depth map' 'merge of detections' 'tracking' 'display message' 'line stage'
        'region stage' 'heat map' 'heat fold')
    echo '| stage (stand-alone, everything on) | 1, x86-64 | aarch64 | 10, x86-64 | aarch64' \
        '| 30, x86-64 | aarch64 | 100, x86-64 | aarch64 |'
    echo '|---|---|---|---|---|---|---|---|---|'
    local people architecture part
    for people in 1 10 30 100; do
        for architecture in x86-64 aarch64; do
            count $architecture stages $people $frames $warm_up >"$folder/$people-$architecture"
        done
    done
    for part in 1 2 3 4 5 6 7 8; do
        printf '| %s ' "${names[part]}"
        for people in 1 10 30 100; do
            for architecture in x86-64 aarch64; do
                printf '| %s ' "$(grep "^part $part " "$folder/$people-$architecture" | per_frame)"
            done
        done
        echo '|'
    done
}

# The same case twice, and by another tool.
check() {
    local architecture
    for architecture in x86-64 aarch64; do
        echo "- $architecture, stand-alone, everything, 30 people, counted twice:" \
            "$(count $architecture 0 30 everything $frames $warm_up | per_frame)," \
            "$(count $architecture 0 30 everything $frames $warm_up | per_frame)"
    done
    local callgrind
    callgrind=$(GLIBC_TUNABLES=$no_string_instructions valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file=/dev/null \
        build/release/bench/count_pass 0 30 everything $frames $warm_up 2>&1 |
        awk '/Collected/ { print $4 }')
    echo "- x86-64 by callgrind: $((callgrind / frames))"
}

echo 'Instructions of a frame pass:'
echo
pass_table
echo
echo 'Instructions of its stages:'
echo
stage_table
if [ "${1:-}" = --check ]; then
    echo
    check
fi
