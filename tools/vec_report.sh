#!/usr/bin/env bash
# Shows whether the hot loops vectorise in the arm64 release build: the box passes and
# the transpose of the cover blur, and the spectrum's magnitude loop. Recompiles the two
# files with the device build's own command lines plus GCC's vectoriser report, then
# lists the NEON instructions of each kernel in the objects.
#
#   tools/vec_report.sh          (runs tools/cross.sh --no-tests first if needed)
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-cross-arm64/device
[ -f "$build/compile_commands.json" ] || tools/cross.sh --no-tests

# The compile command of one source file, from the build's compilation database.
command_for() {
    grep -F "\"command\": " "$build/compile_commands.json" | grep -F "/$1\"" |
        sed -e 's/^ *"command": "//' -e 's/",\{0,1\} *$//' \
            -e 's/\\\\/\x01/g' -e 's/\\"/"/g' -e 's/\x01/\\/g'
}

objdump=aarch64-linux-gnu-objdump
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Each file is compiled into the scratch folder, so the build's own objects stay as
# they are.
object() { echo "$tmp/$(basename "$1").o"; }
for source in playwindow/blur/fast_gaussian_blur.cpp visualiser/spectrum/spectrum.cpp; do
    cmd=$(command_for "$source")
    [ -n "$cmd" ] || { echo "no compile command for $source" >&2; exit 1; }
    cmd=$(sed -E "s| -o [^ ]+| -o $(object "$source")|" <<<"$cmd")
    echo "=== $source: vectoriser report at the release flags"
    eval "$cmd -fopt-info-vec-optimized" 2>&1 | sed "s|^$PWD/||" | sort -u
done

# NEON instructions in one function of an object, counted by mnemonic and arrangement.
neon_in() {
    local file=$1 symbol=$2
    "$objdump" -d --no-show-raw-insn -C "$file" |
        awk -v s="$symbol" '/^[0-9a-f]+ <.*>:$/ { p = index($0, s) > 0 } p' |
        grep -oE '\s(ld[1-4]|st[1-4]|ldr|str|ldp|stp|uaddw2?|usubw2?|umull2?|uzp[12]|usra|shrn2?|zip[12]|fmla|fmul|fadd|fsqrt)\s+[^/]*\bv[0-9]+\.[0-9]*[bhsd]|\s(ldr|str|ldp|stp|ldur|stur)\s+q[0-9]+' |
        awk '{ m = $1; if (match($0, /\.[0-9]*[bhsd]/)) m = m " ." substr($0, RSTART + 1, RLENGTH - 1); else m = m " q"; c[m]++ }
             END { for (k in c) printf "    %-12s x%d\n", k, c[k] }' | sort
}

echo "=== NEON instructions, box passes (boxDown<19>)"
neon_in "$(object playwindow/blur/fast_gaussian_blur.cpp)" "boxDown<19>"
echo "=== NEON instructions, transpose (blurTranspose)"
neon_in "$(object playwindow/blur/fast_gaussian_blur.cpp)" "blurTranspose("
echo "=== NEON instructions, spectrum frame (do_fft)"
neon_in "$(object visualiser/spectrum/spectrum.cpp)" "do_fft()"
