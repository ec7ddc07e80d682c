# Sourced by run.sh, test.sh and scripts/package.sh: installs the Debian packages that the project
# needs and that are missing, and nothing else.

# To build the library and vca run.
vca_run_packages="g++ cmake ninja-build pkg-config git ca-certificates
    libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev libopencv-video-dev
    libopencv-dnn-dev libavcodec-dev libavformat-dev libavutil-dev
    zlib1g-dev libcli11-dev nlohmann-json3-dev libtomlplusplus-dev
    libmosquitto-dev mosquitto libboost-dev"
# For the service: the database, random numbers, webhooks, TLS, the service manager and time zones.
vca_service_packages="libsqlite3-dev libsodium-dev libcurl4-openssl-dev libssl-dev libsystemd-dev
    libhowardhinnant-date-dev tzdata"
vca_packages="$vca_run_packages $vca_service_packages"
vca_test_packages="libgtest-dev libgmock-dev libbenchmark-dev libopencv-videoio-dev binutils
    abigail-tools python3-onnx dpkg-dev file ffmpeg python3-av python3-numpy
    gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav
    prometheus systemd"
# To build for the camera's processor and to run that here.
vca_target_packages="g++-aarch64-linux-gnu qemu-user googletest"
# For builds with clang, fuzzing among them, and for scripts/tidy.sh.
vca_clang_packages="clang llvm libclang-rt-14-dev"
vca_tidy_packages="clang-tidy"
# To build the page, and to try it.
vca_page_commands="node:nodejs npm:npm"
vca_page_test_commands="chromium:chromium"
# To make Debian packages, and to fetch the libraries of another processor's system.
vca_package_packages="dpkg-dev file"
vca_sysroot_packages="mmdebstrap"

# run_apt_get ARGUMENTS...: apt-get as root. While another program has the package manager's locks,
# on the lists, the archives or the database, it is tried again for 10 minutes.
run_apt_get() {
    local as_root="" log="" waits=300
    [ "$(id -u)" = 0 ] || as_root=sudo
    while :; do
        # apt-get's messages are looked at below, so they must be the untranslated ones.
        log=$($as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" 2>&1) && return 0
        case $log in
        *"Could not get lock"* | *"Unable to lock"* | *"Unable to acquire"*) ;;
        *) break ;;
        esac
        [ $waits != 300 ] || echo "Another program is using the package manager; waiting for it ..."
        waits=$((waits - 1))
        [ $waits != 0 ] || break
        sleep 2
    done
    printf '%s\n' "$log" >&2
    return 1
}

# install_missing_commands COMMAND:PACKAGE...: Debian's package for each command that is not there,
# because node and a browser often come from elsewhere.
install_missing_commands() {
    local missing="" pair
    for pair in "$@"; do
        command -v "${pair%%:*}" >/dev/null || missing="$missing ${pair#*:}"
    done
    # shellcheck disable=SC2086
    [ -z "$missing" ] || install_missing_packages $missing
}

install_missing_packages() {
    local missing="" package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing="$missing $package"
    done
    [ -z "$missing" ] && return 0
    echo "Installing Debian packages:$missing"
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        echo "These packages are missing and need root to install:$missing" >&2
        return 1
    fi
    # The lists of a fresh machine are empty or old, in which case the first attempt fails.
    # shellcheck disable=SC2086
    run_apt_get install -y --no-install-recommends $missing 2>/dev/null || {
        run_apt_get update &&
            run_apt_get install -y --no-install-recommends $missing
    }
}

# What npm fetches for the page and its tests; false where it cannot, as without internet. To be called
# in the project's folder.
fetch_page_modules() {
    local folder
    for folder in page tests/page; do
        [ "$folder/node_modules/.package-lock.json" -nt "$folder/package-lock.json" ] ||
            (cd "$folder" && npm ci --ignore-scripts --silent) || return 1
    done
}
