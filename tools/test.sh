#!/usr/bin/env bash
# Builds and runs the whole test suite: a release build, the same suite under
# AddressSanitizer+UndefinedBehaviorSanitizer and under ThreadSanitizer, then every
# libFuzzer target for a bounded time. Any failure fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh

# No include may climb from a lower floor to a higher one.
tools/check_layers.sh

jobs=$(nproc)
fuzz_seconds=${FUZZ_SECONDS:-30}
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/tools/tsan.supp"

# A socket name of the build's own, made from the build folder's absolute path: the
# suites never meet a service the user left playing (its name is "musicservice"), nor
# the suites of another build or another clone.
socket_name() {
    echo "musicservice-test-$(printf '%s' "$PWD/$1" | sha1sum | cut -c1-16)"
}

# Each build has its own device root inside its build folder, so builds and test runs
# never share the service's files.
run_suite() {
    local name=$1
    shift
    local dir=build-test-$name
    echo "=== suite: $name"
    cmake -S . -B "$dir" -DDEVICE_ROOT="$PWD/$dir/devroot" -DMP_SERVICE_SOCKET="$(socket_name "$dir")" "$@" >/dev/null
    cmake --build "$dir" -j"$jobs"
    (cd "$dir" && ctest --output-on-failure -j"$jobs")
}

# The release suite runs beside a stand-in for a service the user left playing on the
# device's name, one that takes connections and never answers: a test that met it would
# hang or fail. When the name is taken already, the user's own service stands there.
python3 -c '
import socket
s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
try:
    s.bind("\0musicservice")
except OSError:
    raise SystemExit(0)
s.listen(64)
held = []
while True:
    held.append(s.accept()[0])
' &
squatter=$!
trap 'kill $squatter 2>/dev/null || true' EXIT
run_suite release -DCMAKE_BUILD_TYPE=Release
kill $squatter 2>/dev/null || true
run_suite asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMP_SANITIZE=address -DMP_BENCH=OFF
run_suite tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMP_SANITIZE=thread -DMP_BENCH=OFF

# --- arm64 stage: the device build and the whole suite built for arm64, run under qemu
# user-mode emulation (tools/cross.sh installs what it needs). MP_CROSS=0 leaves it out.
if [ "${MP_CROSS:-1}" != 0 ]; then
    echo "=== suite: arm64 under emulation"
    bash tools/cross.sh
fi
# --- end of the arm64 stage

# Fuzz targets: fuzz/<name>/ builds build-test-fuzz/fuzzers/fuzz_<name> with seeds in fuzz/<name>/corpus.
fuzz_dirs=$(find fuzz -mindepth 2 -maxdepth 2 -name CMakeLists.txt -printf '%h\n' 2>/dev/null | sort || true)
if [ -n "$fuzz_dirs" ]; then
    echo "=== fuzzing, ${fuzz_seconds}s per target"
    dir=build-test-fuzz
    CC=clang CXX=clang++ cmake -S . -B "$dir" -DDEVICE_ROOT="$PWD/$dir/devroot" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DMP_FUZZ=ON -DMP_SANITIZE=address -DMP_TESTS=OFF -DMP_BENCH=OFF >/dev/null
    cmake --build "$dir" -j"$jobs"
    for d in $fuzz_dirs; do
        name=$(basename "$d")
        work="$dir/corpus-$name"
        rm -rf "$work" && mkdir -p "$work"
        echo "--- fuzz_$name"
        "$dir/fuzzers/fuzz_$name" -max_total_time="$fuzz_seconds" -print_final_stats=1 -artifact_prefix="$dir/" \
            "$work" "$d/corpus" 2>"$dir/fuzz_$name.log" || { tail -n 60 "$dir/fuzz_$name.log"; exit 1; }
        grep -E 'stat::number_of_executed_units|stat::average_exec_per_sec' "$dir/fuzz_$name.log" || true
    done
fi
echo "all suites passed"
