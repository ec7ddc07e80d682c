#!/usr/bin/env bash
# Counts the instructions of a frame pass and of its stages, on x86-64 and on aarch64, in QEMU's
# user-mode emulation, and prints them as Markdown tables. Counts repeat where times do not.
#
# bench/instructions.sh [--check]: with --check two cases are counted once more, and one by callgrind.
# bench/instructions.sh detector [--data DIR]: those of the detector and the tracker instead, on the
# frames of bench_chain; fetches the libraries of an aarch64 system into build/, which takes minutes.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_missing_packages qemu-user g++-aarch64-linux-gnu valgrind
frames=600   # one stay: everybody comes and goes once
warm_up=700
folder=build/count
mkdir -p "$folder"

plugin=build/release/bench/libcount_plugin.so

build_passes() {
    cmake --preset release >/dev/null
    cmake --build --preset release --target count_pass count_plugin >/dev/null
    cmake --no-warn-unused-cli --preset aarch64 -B "$folder/aarch64" -DCMAKE_BUILD_TYPE=Release \
        -DVCA_BUILD_HOST=OFF -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF >/dev/null
    cmake --build "$folder/aarch64" --target vca >/dev/null
    aarch64-linux-gnu-g++ -std=c++20 -O2 -I. -Iinclude -I"$folder/aarch64/include" \
        bench/count_pass.cpp bench/crowd.cpp bench/quiet_host.cpp bench/staged_pass.cpp \
        tests/support/fake_functions.cpp tests/support/fake_platform.cpp \
        -L"$folder/aarch64/src" -lvca -o "$folder/aarch64/count_pass"
}

build_detector() {
    local host=$folder/aarch64-host
    cmake --preset release >/dev/null
    cmake --build --preset release --target bench_chain count_detector count_plugin >/dev/null
    # shellcheck disable=SC2086
    install_missing_packages $vca_target_packages $vca_sysroot_packages
    scripts/sysroot.sh arm64 >/dev/null
    cmake --no-warn-unused-cli -S . -B "$host" -G Ninja --toolchain "$PWD/cmake/aarch64-linux-gnu.cmake" \
        -DVCA_SYSROOT="$sysroot" -DCMAKE_BUILD_TYPE=Release -DVCA_BUILD_TESTS=OFF -DVCA_BUILD_BENCH=OFF >/dev/null
    cmake --build "$host" --target host_tracker host_inference >/dev/null
    aarch64-linux-gnu-g++ --sysroot="$sysroot" -std=c++20 -O3 -Wno-psabi -I. -Iinclude -I"$host/include" \
        -isystem "$sysroot/usr/include/opencv4" -isystem "$sysroot/usr/include/aarch64-linux-gnu/opencv4" \
        bench/count_detector.cpp "$host/host/libhost_tracker.a" "$host/host/libhost_inference.a" \
        "$host/host/libhost_base.a" -lopencv_imgproc -lopencv_core -o "$host/count_detector"
}

# The emulators count a repeated string instruction once for each byte, the processor only once.
no_string_instructions=glibc.cpu.x86_rep_stosb_threshold=0x7fffffff
no_string_instructions+=:glibc.cpu.x86_rep_movsb_threshold=0x7fffffff

# count ARCHITECTURE ARGUMENTS...: lines "part N instructions".
count() {
    local architecture=$1
    shift
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

# count_on ARCHITECTURE FILE: lines "part N instructions" and "frames ROW NUMBER FOLLOWED". The
# emulated x86-64 has the vector instructions of today's processors, which OpenCV looks for.
count_on() {
    if [ "$1" = x86-64 ]; then
        qemu-x86_64 -cpu max -E GLIBC_TUNABLES="$no_string_instructions" -plugin "$plugin" \
            build/release/bench/count_detector "$2" 2>&1
    else
        qemu-aarch64 -L "$sysroot" -plugin "$plugin" "$folder/aarch64-host/count_detector" "$2" 2>&1
    fi
}

detector_table() {
    local cases=('scene entrance' 'scene crowd' 'recorded walks, corridor, 6 m' 'recorded walks, passage, 6 m'
        'recorded walks, jam, 8 m' 'one person, real sensor')
    local one depth=$folder/case.depth
    echo '| case | followed | frames | detector, x86-64 | aarch64 | tracker, x86-64 | aarch64 |'
    echo '|---|---|---|---|---|---|---|'
    for one in "${cases[@]}"; do
        build/release/bench/bench_chain --only "$one" --depth-to "$depth" "$@" >/dev/null
        count_on x86-64 "$depth" >"$folder/x86-64"
        count_on aarch64 "$depth" >"$folder/aarch64-counts"
        awk -v name="$one" -v fewest=20 '
            $1 == "part" { sum[FILENAME, $2] = $3 }
            $1 == "frames" { frames[$2] = $3; followed[$2] = $4 }
            function each(file, part, row) { return sprintf("%.0f", sum[file, part] / frames[row]) }
            END {
                for (row = 0; row < 8; ++row)
                    if (frames[row] >= fewest)
                        print "| " name " | " sprintf("%.1f", followed[row] / frames[row]) " | " frames[row] " | " \
                            each(ARGV[1], row, row) " | " each(ARGV[2], row, row) " | " \
                            each(ARGV[1], row + 8, row) " | " each(ARGV[2], row + 8, row) " |"
            }' "$folder/x86-64" "$folder/aarch64-counts"
    done
    rm "$depth"
}

if [ "${1:-}" = detector ]; then
    shift
    sysroot=$PWD/build/sysroot-arm64
    build_detector
    echo 'Instructions of the detector and the tracker for a frame:'
    echo
    detector_table "$@"
    exit
fi

build_passes
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
