#!/usr/bin/env bash
# Builds the player for the desktop and runs it on a demo device root inside the build
# folder (demo library, skin, effects), so nothing outside the checkout is touched.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh

dir=build-run
root="$PWD/$dir/devroot"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DDEVICE_ROOT="$root" -DMP_TESTS=OFF -DMP_BENCH=OFF >/dev/null
cmake --build "$dir" -j"$(nproc)" --target musicplayer

if [ -x tools/make_demo_root.sh ]; then
    tools/make_demo_root.sh "$root"
fi
mkdir -p "$root/mnt/UDISK"
# The program runs in its application directory, where its skin lies.
cd "$PWD"
exec "$dir/musicplayer" "$@"
