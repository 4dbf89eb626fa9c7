#!/usr/bin/env bash
# Writes a small demo music library of real encoded files with Debian's ffmpeg:
#
#   Tones/      pure tones of known frequencies (one at 1007.8125 Hz, which falls exactly
#               on a bin of the player's 2048-point spectrum at 48 kHz)
#   Chords/     chords in mp3, flac, wav and wma, with covers embedded (JPEG in the mp3,
#               PNG in the flac) and as an image of the same name beside the wav
#   Encodings/  a title double-encoded the way old taggers did it (GBK bytes taken for
#               Latin-1 and written as UTF-8), CJK tags, and a file that is not audio
#   Gapless/    one continuous chord cut into three tracks at arbitrary samples
#   Evening Hills/
#               an album whose art is the folder's cover.jpg (a sunset over hills) and in
#               no track: three plucked arpeggios, "01 Dusk.flac" at the library's usual
#               level without gain tags, "02 Hillside.flac" recorded 6 dB hot and
#               "03 Lanterns.mp3" 4 dB hot, both with ReplayGain tags that bring them back
#               (track gains -6.02 and -4.00 dB, album gain -5.20 dB, and the peaks)
#
# usage: tools/make_demo_library.sh [-f] DIR
#   -f  write the files again even when DIR already holds this library
set -euo pipefail

force=0
if [ "${1:-}" = "-f" ]; then
    force=1
    shift
fi
if [ $# -ne 1 ]; then
    echo "usage: $0 [-f] DIR" >&2
    exit 2
fi
out=$1
version=4
stamp="$out/.demo-library"
if [ $force -eq 0 ] && [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$version" ]; then
    exit 0
fi
if ! command -v ffmpeg >/dev/null; then
    echo "make_demo_library: ffmpeg is missing (apt-get install ffmpeg)" >&2
    exit 1
fi

mkdir -p "$out/Tones" "$out/Chords" "$out/Encodings" "$out/Gapless" "$out/Evening Hills"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ff() {
    ffmpeg -hide_banner -loglevel error -nostdin -y "$@"
}

rate=48000
seconds=30

# Covers: soft two-colour gradients under a vignette, each its own palette; one of them
# wide, as some album art is.
cover() { # SIZE FIRST-COLOUR SECOND-COLOUR OUTPUT
    local w=${1%x*} h=${1#*x}
    ff -f lavfi -i "gradients=s=$1:c0=$2:c1=$3:x0=0:y0=0:x1=$w:y1=$h:nb_colors=2" \
        -vf "vignette=PI/4" -frames:v 1 "$4"
}
cover 500x500 0xff7e5f 0x6a3093 "$work/cover-a.png"
cover 500x500 0x1cb5e0 0x000851 "$work/cover-b.jpg"
cover 400x400 0xf7b733 0xfc4a1a "$work/cover-c.png"
cover 640x360 0x11998e 0x38ef7d "$work/cover-d.jpg"

# tone FREQUENCY OUTPUT TITLE TRACK [extra ffmpeg options...]
tone() {
    local freq=$1 output=$2 title=$3 track=$4
    shift 4
    ff -f lavfi -i "sine=frequency=$freq:sample_rate=$rate:duration=$seconds" \
        -af "afade=t=in:d=0.05,afade=t=out:st=$((seconds - 1)):d=1" \
        -metadata title="$title" -metadata artist="Test Signals" -metadata album="Tones" \
        -metadata date=2024 -metadata genre="Test tone" -metadata track="$track" \
        -metadata comment="$freq Hz sine at 48 kHz" "$@" "$output"
}
tone 440 "$out/Tones/01 Tone 440 Hz.flac" "Tone 440 Hz" 1
tone 1007.8125 "$out/Tones/02 Tone 1007.8125 Hz.flac" "Tone 1007.8125 Hz" 2
tone 2000 "$out/Tones/03 Tone 2000 Hz.mp3" "Tone 2000 Hz" 3 -c:a libmp3lame -b:a 128k
tone 100 "$out/Tones/10 Tone 100 Hz.wav" "Tone 100 Hz" 10

# chord "F1 F2 F3" OUTPUT.wav: a stereo chord, the first two notes left, the last two right.
chord() {
    local notes=($1)
    local left="0.2*sin(2*PI*${notes[0]}*t)+0.2*sin(2*PI*${notes[1]}*t)"
    local right="0.2*sin(2*PI*${notes[1]}*t)+0.2*sin(2*PI*${notes[2]}*t)"
    ff -f lavfi -i "aevalsrc=$left|$right:s=$rate:d=$seconds" \
        -af "afade=t=in:d=0.05,afade=t=out:st=$((seconds - 1)):d=1" -c:a pcm_s16le "$2"
}
chord "261.63 329.63 392.00" "$work/c-major.wav"
chord "220.00 261.63 329.63" "$work/a-minor.wav"
chord "196.00 246.94 293.66" "$work/g-major.wav"
chord "174.61 220.00 261.63" "$work/f-major.wav"

tags=(-metadata artist="Demo Ensemble" -metadata album="Chords" -metadata date=2023-05-01 -metadata genre="Demo")
ff -i "$work/c-major.wav" -i "$work/cover-b.jpg" -map 0:a -map 1:v -c:a libmp3lame -b:a 192k -c:v copy \
    -id3v2_version 3 -disposition:v attached_pic -metadata:s:v comment="Cover (front)" \
    "${tags[@]}" -metadata title="C major" -metadata track=1 "$out/Chords/01 C major.mp3"
ff -i "$work/a-minor.wav" -i "$work/cover-a.png" -map 0:a -map 1:v -c:a flac -c:v copy \
    -disposition:v attached_pic -metadata:s:v comment="Cover (front)" \
    "${tags[@]}" -metadata title="A minor" -metadata track=2 "$out/Chords/02 A minor.flac"
ff -i "$work/g-major.wav" -c:a pcm_s16le "${tags[@]}" -metadata title="G major" -metadata track=3 \
    "$out/Chords/03 G major.wav"
cp "$work/cover-d.jpg" "$out/Chords/03 G major.jpg"
ff -i "$work/f-major.wav" -c:a wmav2 -b:a 128k "${tags[@]}" -metadata title="F major" -metadata track=4 \
    "$out/Chords/04 F major.wma"

# The double-encoded title: the GBK bytes of the text, each read as a Latin-1
# character and written out as UTF-8.
garbled=$(printf '音乐测试' | iconv -f UTF-8 -t GBK | iconv -f LATIN1 -t UTF-8)
ff -i "$work/c-major.wav" -i "$work/cover-c.png" -map 0:a -map 1:v -c:a libmp3lame -b:a 128k -c:v copy \
    -id3v2_version 3 -disposition:v attached_pic \
    -metadata title="$garbled" -metadata artist="林小雨" -metadata album="编码测试" \
    -metadata date=2022 -metadata genre="Demo" -metadata track=1 \
    "$out/Encodings/01 Double-encoded title.mp3"
ff -i "$work/a-minor.wav" -c:a flac \
    -metadata title="夜曲 (Nocturne)" -metadata artist="林小雨" -metadata album="编码测试" \
    -metadata date=2022 -metadata genre="Demo" -metadata track=2 \
    "$out/Encodings/02 Nocturne.flac"
printf 'This file is not audio; the service skips it.\n' >"$out/Encodings/03 Not audio.mp3"

# One chord without fades, cut at sample positions that fall on no frame boundary.
total=$((rate * seconds))
cut1=480017
cut2=960101
ff -f lavfi -i "aevalsrc=0.15*sin(2*PI*261.63*t)+0.15*sin(2*PI*392.00*t)|0.15*sin(2*PI*329.63*t)+0.15*sin(2*PI*523.25*t):s=$rate:d=$seconds" \
    -c:a pcm_s16le "$work/continuous.wav"
part() {
    ff -i "$work/continuous.wav" -af "atrim=start_sample=$1:end_sample=$2,asetpts=N/SR/TB" -c:a flac \
        -metadata title="Continuous chord, part $3" -metadata artist="Demo Ensemble" -metadata album="Gapless" \
        -metadata track="$3" "$out/Gapless/0$3 Continuous chord part $3.flac"
}
part 0 $cut1 1
part $cut1 $cut2 2
part $cut2 $total 3

# The album's cover: a sky from indigo to orange, a glowing sun, two rows of hills.
near='gt(Y,470+34*sin(X/140+4)+12*sin(X/47+2))'
far='gt(Y,410+26*sin(X/95+1.3)+9*sin(X/31))'
sun='lt(hypot(X-300,Y-365),80)'
glow='70*exp(-max(hypot(X-300,Y-365)-80,0)/45)'
sky='min(Y/400,1)'
red="if($near,40+0.04*Y,if($far,110+0.05*(Y-400),if($sun,255,min(255,25+225*$sky+$glow))))"
green="if($near,22+0.02*Y,if($far,55+0.04*(Y-400),if($sun,222,min(255,18+140*$sky*$sky+0.8*$glow))))"
blue="if($near,50,if($far,95,if($sun,150,85+25*$sky+0.3*$glow)))"
ff -f lavfi -i "color=black:s=600x600,format=rgb24,geq=r='$red':g='$green':b='$blue'" -frames:v 1 -q:v 3 \
    "$out/Evening Hills/cover.jpg"

# arpeggio ROOT-HZ THIRD-SEMITONES LEVEL OUTPUT.wav: a note plucked every 0.4 s (root,
# third, fifth, octave) over a soft drone, all times LEVEL.
arpeggio() {
    local f=$1 n="mod(floor(t/0.4),4)" m="mod(t,0.4)"
    local freq="$f*pow(2,($2*eq($n,1)+7*eq($n,2)+12*eq($n,3))/12)"
    local envelope="min(1,200*$m)*exp(-4*$m)*(1-$m/0.4)"
    local wave="$3*(0.3*$envelope*sin(2*PI*$freq*t)+0.08*sin(PI*$f*t)+0.06*sin(1.5*PI*$f*t))"
    ff -f lavfi -i "aevalsrc=exprs='$wave|$wave':s=$rate:d=$seconds" \
        -af "afade=t=in:d=0.05,afade=t=out:st=$((seconds - 1)):d=1" -c:a pcm_s16le "$4"
}
# The largest sample of a file, as a fraction of full scale.
peak() {
    ffmpeg -hide_banner -nostdin -i "$1" -af volumedetect -f null - 2>&1 |
        awk '/max_volume/ { printf "%.6f", 10 ^ ($5 / 20) }'
}
arpeggio 261.63 4 1 "$work/dusk.wav"
arpeggio 220.00 3 2 "$work/hillside.wav"
arpeggio 349.23 4 1.585 "$work/lanterns.wav"
hills=(-metadata artist="Demo Ensemble" -metadata album="Evening Hills" -metadata date=2024 -metadata genre="Demo")
ff -i "$work/dusk.wav" -c:a flac "${hills[@]}" -metadata title="Dusk" -metadata track=1 \
    "$out/Evening Hills/01 Dusk.flac"
ff -i "$work/hillside.wav" -c:a flac "$work/hillside.flac"
ff -i "$work/lanterns.wav" -c:a libmp3lame -b:a 192k "$work/lanterns.mp3"
album_peak=$(printf '%s\n' "$(peak "$work/hillside.flac")" "$(peak "$work/lanterns.mp3")" | sort -g | tail -1)
gain() { # TRACK-GAIN INPUT OUTPUT [ffmpeg options...]
    local track_gain=$1 input=$2 output=$3
    shift 3
    ff -i "$input" -c:a copy "${hills[@]}" "$@" -metadata REPLAYGAIN_TRACK_GAIN="$track_gain dB" \
        -metadata REPLAYGAIN_TRACK_PEAK="$(peak "$input")" -metadata REPLAYGAIN_ALBUM_GAIN="-5.20 dB" \
        -metadata REPLAYGAIN_ALBUM_PEAK="$album_peak" "$output"
}
gain -6.02 "$work/hillside.flac" "$out/Evening Hills/02 Hillside.flac" -metadata title="Hillside" -metadata track=2
gain -4.00 "$work/lanterns.mp3" "$out/Evening Hills/03 Lanterns.mp3" -metadata title="Lanterns" -metadata track=3 \
    -id3v2_version 3

echo "$version" >"$stamp"
echo "demo library written to $out"
