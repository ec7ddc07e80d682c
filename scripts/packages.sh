# Sourced by run.sh, test.sh and scripts/package.sh: installs the Debian packages that the project
# needs and that are missing, and nothing else.

vca_packages="g++ cmake ninja-build pkg-config git ca-certificates
    libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev libopencv-video-dev
    libopencv-videoio-dev libopencv-dnn-dev
    zlib1g-dev libcli11-dev nlohmann-json3-dev libtomlplusplus-dev
    libmosquitto-dev mosquitto"
vca_test_packages="libgtest-dev libgmock-dev libbenchmark-dev binutils abigail-tools python3-onnx
    dpkg-dev file"
# To build for the camera's processor and to run that here.
vca_target_packages="g++-aarch64-linux-gnu qemu-user googletest"
# For builds with clang, fuzzing among them.
vca_clang_packages="clang llvm libclang-rt-14-dev"
# To make Debian packages, and to fetch the libraries of another processor's system.
vca_package_packages="dpkg-dev file"
vca_sysroot_packages="mmdebstrap"

install_missing_packages() {
    local missing="" package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing="$missing $package"
    done
    [ -z "$missing" ] && return 0
    echo "Installing Debian packages:$missing"
    local as_root=""
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || {
            echo "These packages are missing and need root to install:$missing" >&2
            return 1
        }
        as_root=sudo
    fi
    # shellcheck disable=SC2086
    $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null 2>&1 || {
        $as_root apt-get update -qq &&
            DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends \
                $missing >/dev/null
    }
}
