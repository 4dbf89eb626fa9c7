#!/usr/bin/env bash
# Builds the player for the handheld (64-bit ARM) with Debian's cross compiler and runs
# the whole test suite, built for arm64 too, under qemu user-mode emulation.
#
#   tools/cross.sh            install what is missing, build the device programs and the
#                             test suite, run the suite
#   tools/cross.sh --no-tests install what is missing, build the device programs only
#
# Results, under build-cross-arm64/:
#   device/         release build for the device (no device-root prefix, no tests)
#   device/package/ what to copy into the application folder on the device
#   test/           release build of the test suite, device root in test/devroot
#
# Runs unattended (no standard input); needs root, or sudo, only when something is
# missing. The arm64 packages are installed beside the host's (Debian multiarch). The
# machine may be shared with other builds, so every install is simulated first and
# refused if apt would remove or downgrade any installed package.
set -euo pipefail
cd "$(dirname "$0")/.."

run_tests=1
case "${1:-}" in
"") ;;
--no-tests) run_tests=0 ;;
*)
    echo "usage: tools/cross.sh [--no-tests]" >&2
    exit 2
    ;;
esac

jobs=$(nproc)
out=build-cross-arm64
toolchain=$PWD/cmake/toolchains/aarch64-linux-gnu.cmake

# Host tools: the build system, the cross compiler, the emulator, and the fonts the
# toolkit tests render with (read from /usr/share, whatever the architecture).
host_packages=(
    cmake make pkg-config
    g++-aarch64-linux-gnu qemu-user-static
    fonts-wqy-microhei fonts-dejavu-core
)
# arm64 libraries and headers of every dependency, the service's FFmpeg ones included.
# libgtest-dev:arm64 carries the arm64 static libraries; its headers come with the
# architecture-independent googletest package it depends on. Mesa's arm64 drivers let
# the GLES2 surface tests run under emulation too (on llvmpipe, through the offscreen
# video driver), as they do on the host.
arm64_packages=(
    libsdl2-dev libsdl2-ttf-dev libsdl2-image-dev
    libfftw3-dev libcjson-dev libjpeg62-turbo-dev libspng-dev
    libgtest-dev
    libgl1-mesa-dri libegl1 libgles2
    libavformat-dev libavcodec-dev libswresample-dev libswscale-dev libavutil-dev
)

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

# Fails when a simulated install of the given packages would remove or downgrade
# anything. Upgrades are allowed: an arm64 library of a newer point release needs the
# amd64 copy at the same version (Multi-Arch: same), and apt upgrades it to match.
check_simulation() {
    local sim
    sim=$(apt-get -s -q install --no-install-recommends "$@" </dev/null) || {
        echo "$sim"
        echo "cross.sh: apt cannot install: $*" >&2
        return 1
    }
    local bad=0 line
    local upgrade='^Inst ([^ ]+) \[([^]]+)\] \(([^ ]+) '
    while IFS= read -r line; do
        if [[ $line == Remv\ * ]]; then
            echo "cross.sh: apt would remove an installed package: $line" >&2
            bad=1
        elif [[ $line =~ $upgrade ]]; then
            # Inst NAME [INSTALLED] (CANDIDATE ...): an upgrade, or a downgrade.
            if dpkg --compare-versions "${BASH_REMATCH[3]}" lt "${BASH_REMATCH[2]}"; then
                echo "cross.sh: apt would downgrade ${BASH_REMATCH[1]} from ${BASH_REMATCH[2]} to ${BASH_REMATCH[3]}" >&2
                bad=1
            fi
        fi
    done <<<"$sim"
    [ $bad -eq 0 ] || return 1
    grep -E '^[0-9]+ upgraded' <<<"$sim" || true
}

install_missing() {
    if ! dpkg --print-foreign-architectures | grep -qx arm64; then
        echo "cross.sh: enabling the arm64 architecture"
        $SUDO dpkg --add-architecture arm64
    fi
    local missing=()
    for p in "${host_packages[@]}"; do
        installed "$p" || missing+=("$p")
    done
    for p in "${arm64_packages[@]}"; do
        installed "$p:arm64" || missing+=("$p:arm64")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    echo "cross.sh: installing: ${missing[*]}"
    $SUDO apt-get update -q </dev/null
    check_simulation "${missing[@]}"
    # --no-remove: apt stops rather than remove anything; without --allow-downgrades it
    # never downgrades.
    $SUDO apt-get install -y -q --no-install-recommends --no-remove "${missing[@]}" </dev/null
}

# Stage timings, printed at the end.
timings=()
stage_start=$SECONDS
stage_done() {
    timings+=("$(printf '%-22s %4ds' "$1" $((SECONDS - stage_start)))")
    stage_start=$SECONDS
}

install_missing
stage_done "install"

# The device build: the device paths unprefixed, release flags, no tests.
cmake -S . -B "$out/device" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DDEVICE_ROOT= -DMP_TESTS=OFF -DMP_BENCH=OFF -DMP_FUZZ=OFF >/dev/null
cmake --build "$out/device" -j"$jobs"

# What goes into the application folder on the device: the programs wherever the build
# put them, the skin without its SVG sources, the language files, and the volume message
# script.
package=$out/device/package
rm -rf "$package" && mkdir -p "$package"
built() {
    find "$out/device" -path "$package" -prune -o -path '*/CMakeFiles' -prune -o \
        -type f -name "$1" -perm -u+x -print | head -n 1
}
player=$(built musicplayer)
[ -n "$player" ] || { echo "cross.sh: the device build made no musicplayer" >&2; exit 1; }
cp "$player" "$package/"
service=$(built musicservice)
if [ -n "$service" ]; then cp "$service" "$package/"; fi
cp -r skin "$package/skin"
rm -rf "$package/skin/src"
cp -r lang "$package/lang"
volume_script=$(find . -path './build*' -prune -o -path './.git' -prune -o -type f -name show_music_volume_msg.sh -print | head -n 1)
if [ -n "$volume_script" ]; then cp "$volume_script" "$package/"; fi
file "$package/musicplayer" 2>/dev/null || true
stage_done "device build"

if [ $run_tests -eq 1 ]; then
    # The test suite for arm64, each arm64 program run through qemu (named by the
    # toolchain file), with a socket name of its own as in tools/test.sh. Benchmarks and
    # fuzz targets are not built.
    cmake -S . -B "$out/test" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
        -DDEVICE_ROOT="$PWD/$out/test/devroot" -DMP_BENCH=OFF -DMP_FUZZ=OFF \
        -DMP_SERVICE_SOCKET="musicservice-test-$(printf '%s' "$PWD/$out/test" | sha1sum | cut -c1-16)" >/dev/null
    cmake --build "$out/test" -j"$jobs"
    stage_done "test build"
    (cd "$out/test" && ctest --output-on-failure -j"$jobs")
    stage_done "test run (qemu)"
fi

echo "=== cross build for arm64: stage times"
printf '  %s\n' "${timings[@]}"
echo "device programs: $package"
