#!/usr/bin/env bash
# Builds the player and its playback service for the desktop and runs them on a demo
# device root inside the build folder (demo library, service files, configuration), so
# nothing outside the checkout is touched. Arguments go to the player: -d DIR points it
# at your own music folder, -f FILE plays one file.
#
# The service is started in the background when none runs yet and stopped when the
# player quits, unless background play (the player's setting "background_play" in
# $DEVICE_ROOT/mnt/UDISK/music_player.json, on by default) keeps the music going.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh

dir=build-run
root="$PWD/$dir/devroot"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DDEVICE_ROOT="$root" -DMP_TESTS=OFF -DMP_BENCH=OFF >/dev/null
cmake --build "$dir" -j"$(nproc)" --target musicplayer musicservice

# The device folders, the demo library and a playlist and favourites to go with it. The
# player lists its visual effects from the application's skin folder on the device: here
# that is the checkout's own.
mkdir -p "$root/mnt/UDISK/musicservice" "$root/mnt/SDCARD/Music" "$root/tmp/zelmor_music" \
    "$root/usr/zelmor/apps/musicplayer"
ln -sfn "$PWD/skin" "$root/usr/zelmor/apps/musicplayer/skin"
tools/make_demo_library.sh "$root/mnt/SDCARD/Music"
music="$root/mnt/SDCARD/Music"
if [ ! -f "$root/mnt/UDISK/musicservice/playlist.m3u" ]; then
    printf '#EXTM3U\n%s\n%s\n%s\n' "$music/Chords/02 A minor.flac" "$music/Tones/02 Tone 1007.8125 Hz.flac" \
        "$music/Encodings/02 Nocturne.flac" >"$root/mnt/UDISK/musicservice/playlist.m3u"
fi
if [ ! -f "$root/mnt/UDISK/musicservice/favorite.m3u" ]; then
    printf '#EXTM3U\n%s\n%s\n' "$music/Gapless/01 Continuous chord part 1.flac" "$music/Chords/01 C major.mp3" \
        >"$root/mnt/UDISK/musicservice/favorite.m3u"
fi

# Start the service unless one already answers (left playing by an earlier run).
log="$root/tmp/musicservice.log"
pidfile="$root/tmp/musicservice.pid"
touch "$log"
seen=$(wc -l <"$log")
"$dir/musicservice/musicservice" </dev/null >>"$log" 2>&1 &
service=$!
started=0
# Only this start's lines of the log count.
fresh() { tail -n +"$((seen + 1))" "$log"; }
for _ in $(seq 100); do
    if ! kill -0 "$service" 2>/dev/null; then
        if fresh | grep -q "already running"; then
            echo "run: using the music service that is already running"
            break
        fi
        echo "run: the music service did not start; see $log" >&2
        exit 1
    fi
    if fresh | grep -q "listening on"; then
        started=1
        echo "$service" >"$pidfile"
        break
    fi
    sleep 0.1
done

# The player runs in the checkout's root, its application folder with skin/.
player="$dir/musicplayer"
set +e
"$player" "$@"
result=$?
set -e

background=1
config="$root/mnt/UDISK/music_player.json"
if [ -f "$config" ] && grep -Eq '"background_play"[[:space:]]*:[[:space:]]*0([^0-9.]|$)' "$config"; then
    background=0
fi
playing=0
grep -q '"status":"playing"' "$root/tmp/zelmor_music/status" 2>/dev/null && playing=1

if [ "$background" = 1 ] && [ "$playing" = 1 ]; then
    pid=$(cat "$pidfile" 2>/dev/null || echo "$service")
    echo "run: the music plays on in the background; stop it with: kill $pid"
elif [ "$started" = 1 ]; then
    kill "$service" 2>/dev/null || true
    wait "$service" 2>/dev/null || true
    rm -f "$pidfile"
elif [ -f "$pidfile" ]; then
    # The service an earlier run left playing: nothing plays now, so it goes too.
    kill "$(cat "$pidfile")" 2>/dev/null || true
    rm -f "$pidfile"
fi
exit $result
