#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing need, when missing.
# Runs unattended (no standard input); needs root, or sudo, only when something is missing.
set -euo pipefail

packages=(
    cmake g++ make pkg-config
    libsdl2-dev libsdl2-ttf-dev libsdl2-image-dev
    libfftw3-dev libcjson-dev libjpeg62-turbo-dev libspng-dev
    libavformat-dev libavcodec-dev libswresample-dev libswscale-dev libavutil-dev ffmpeg
    libgtest-dev libbenchmark-dev python3
    clang libclang-rt-14-dev
    fonts-wqy-microhei fonts-dejavu-core
    libgl1-mesa-dri libegl1 libgles2
)
[ "${MP_DEPS_EXTRA:-}" ] && packages+=(${MP_DEPS_EXTRA})

# Installed for this machine's architecture (or for all): a cross build's packages of
# another architecture do not count.
arch=$(dpkg --print-architecture)
installed() {
    case $1 in
    *:*) dpkg-query -W -f='${Status}\n' "$1" 2>/dev/null | grep -q "install ok installed" ;;
    *) dpkg-query -W -f='${Architecture} ${Status}\n' "$1" 2>/dev/null | grep -Eq "^($arch|all) install ok installed" ;;
    esac
}
missing=()
for p in "${packages[@]}"; do
    installed "$p" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q </dev/null
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
