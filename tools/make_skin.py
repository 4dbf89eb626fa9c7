#!/usr/bin/env python3
"""Generates the default skin: writes one SVG per image under skin/src/ and renders each
to its PNG with rsvg-convert (Debian package librsvg2-bin). Run from the checkout root:
    python3 tools/make_skin.py
The look: deep blue-black surfaces, white line icons, one coral accent."""
import os
import subprocess

ACCENT = "#ff6b5b"
ACCENT_SOFT = "#ff8a6e"
INK = "#ffffff"
DIM = "#9aa3b5"
SRC = "skin/src"

images = {}


def svg(name, w, h, body, defs=""):
    images[name] = (w, h, f'<svg xmlns="http://www.w3.org/2000/svg" width="{w}" height="{h}" '
                          f'viewBox="0 0 {w} {h}"><defs>{defs}</defs>{body}</svg>')


def gradient(gid, stops, x2="0", y2="1"):
    s = "".join(f'<stop offset="{o}" stop-color="{c}" stop-opacity="{a}"/>' for o, c, a in stops)
    return f'<linearGradient id="{gid}" x1="0" y1="0" x2="{x2}" y2="{y2}">{s}</linearGradient>'


# Full-screen surfaces.
svg("background.png", 1280, 720,
    '<rect width="1280" height="720" fill="url(#g)"/>'
    '<circle cx="1130" cy="120" r="420" fill="url(#r)"/>',
    gradient("g", [(0, "#151a26", 1), (1, "#07090e", 1)]) +
    '<radialGradient id="r"><stop offset="0" stop-color="#ff6b5b" stop-opacity="0.10"/>'
    '<stop offset="1" stop-color="#ff6b5b" stop-opacity="0"/></radialGradient>')
svg("bg-navbar.png", 1280, 80, '<rect width="1280" height="80" fill="url(#g)"/>'
    '<rect y="79" width="1280" height="1" fill="#ffffff" fill-opacity="0.08"/>',
    gradient("g", [(0, "#0b0e15", 0.92), (1, "#0b0e15", 0.75)]))
svg("bg-statbar.png", 1280, 80, '<rect width="1280" height="80" fill="url(#g)"/>'
    '<rect width="1280" height="1" fill="#ffffff" fill-opacity="0.08"/>',
    gradient("g", [(0, "#0b0e15", 0.75), (1, "#0b0e15", 0.92)]))
svg("bg-mask.png", 1280, 720, '<rect width="1280" height="720" fill="url(#g)"/>',
    gradient("g", [(0, "#05070b", 0.55), (0.6, "#05070b", 0.65), (1, "#05070b", 0.9)]))
svg("bg-dialog.png", 640, 300, '<rect x="1" y="1" width="638" height="298" rx="22" fill="#161b27" '
    'stroke="#ffffff" stroke-opacity="0.10" stroke-width="2"/>')
svg("bg-menu-06.png", 660, 420, '<rect x="1" y="1" width="658" height="418" rx="24" fill="#141925" '
    'fill-opacity="0.97" stroke="#ffffff" stroke-opacity="0.10" stroke-width="2"/>'
    f'<rect x="28" y="62" width="604" height="2" fill="{ACCENT}" fill-opacity="0.6"/>')
svg("bg-menu-item.png", 604, 56, f'<rect x="4" y="4" width="596" height="48" rx="14" fill="{ACCENT}" fill-opacity="0.9"/>')
svg("bg-list-long-a.png", 1280, 88, f'<rect x="24" y="6" width="1232" height="76" rx="18" fill="{ACCENT}" '
    'fill-opacity="0.22"/>'
    f'<rect x="24" y="18" width="6" height="52" rx="3" fill="{ACCENT}"/>')
svg("bg-list-long-n.png", 1280, 88, '<rect x="40" y="87" width="1200" height="1" fill="#ffffff" fill-opacity="0.06"/>')
svg("bg-setting-textfield.png", 200, 48, '<rect x="1" y="1" width="198" height="46" rx="12" fill="#0b0e15" '
    'fill-opacity="0.7" stroke="#ffffff" stroke-opacity="0.15" stroke-width="2"/>')
svg("cover-default.png", 400, 400,
    '<rect width="400" height="400" rx="28" fill="url(#g)"/>'
    '<circle cx="200" cy="200" r="120" fill="none" stroke="#ffffff" stroke-opacity="0.12" stroke-width="2"/>'
    '<circle cx="200" cy="200" r="80" fill="none" stroke="#ffffff" stroke-opacity="0.10" stroke-width="2"/>'
    f'<circle cx="200" cy="200" r="26" fill="{ACCENT}" fill-opacity="0.85"/>'
    '<circle cx="200" cy="200" r="7" fill="#10141d"/>',
    gradient("g", [(0, "#262d3f", 1), (1, "#141824", 1)], x2="1"))

# Progress bar pieces, normal and focused.
for suffix, fill, track in (("n", ACCENT, "#ffffff"), ("f", ACCENT_SOFT, "#ffffff")):
    svg(f"progress-bg-{suffix}.png", 670, 8, f'<rect width="670" height="8" rx="4" fill="{track}" fill-opacity="0.18"/>')
    svg(f"progress-slider-left-{suffix}.png", 6, 8, f'<path d="M4 0H6V8H4A4 4 0 0 1 4 0Z" fill="{fill}"/>')
    svg(f"progress-slider-right-{suffix}.png", 6, 8, f'<path d="M0 0H2A4 4 0 0 1 2 8H0Z" fill="{fill}"/>')
    svg(f"progress-slider-middle-{suffix}.png", 4, 8, f'<rect width="4" height="8" fill="{fill}"/>')

# Transport buttons: line icons centred in 96 x 80; the focused form sits on an accent disc.
ICONS = {
    "btn-play": '<path d="M40 24L62 40L40 56Z" fill="{c}"/>',
    "btn-pause": '<rect x="36" y="25" width="8" height="30" rx="3" fill="{c}"/><rect x="52" y="25" width="8" '
                 'height="30" rx="3" fill="{c}"/>',
    "ic-next": '<path d="M36 26L56 40L36 54Z" fill="{c}"/><rect x="58" y="26" width="5" height="28" rx="2" fill="{c}"/>',
    "btn-prev": '<path d="M60 26L40 40L60 54Z" fill="{c}"/><rect x="33" y="26" width="5" height="28" rx="2" fill="{c}"/>',
    "btn-sequence": '<path d="M30 32H60M30 40H60M30 48H50" stroke="{c}" stroke-width="4" stroke-linecap="round"/>'
                    '<path d="M58 44L66 50L58 56Z" fill="{c}"/>',
    "btn-random": '<path d="M30 30H38C48 30 50 50 60 50H64M30 50H38C42 50 44 46 46 42M52 34C54 31 56 30 60 30H64" '
                  'fill="none" stroke="{c}" stroke-width="4" stroke-linecap="round"/>'
                  '<path d="M62 24L70 30L62 36ZM62 44L70 50L62 56Z" fill="{c}"/>',
    "btn-single-cycle": '<path d="M34 44V38A8 8 0 0 1 42 30H58M62 36V42A8 8 0 0 1 54 50H38" fill="none" stroke="{c}" '
                        'stroke-width="4" stroke-linecap="round"/><path d="M56 24L64 30L56 36ZM40 44L32 50L40 56Z" '
                        'fill="{c}"/><text x="48" y="45" font-family="DejaVu Sans" font-weight="bold" font-size="13" '
                        'text-anchor="middle" fill="{c}">1</text>',
    "btn-playlist": '<path d="M30 30H58M30 40H58M30 50H46" stroke="{c}" stroke-width="4" stroke-linecap="round"/>'
                    '<circle cx="58" cy="52" r="5" fill="{c}"/><path d="M62 52V32L68 34" stroke="{c}" stroke-width="3" '
                    'fill="none" stroke-linecap="round"/>',
    "btn-add-favorite": '<path d="M48 56C36 47 30 41 30 34A8 8 0 0 1 48 30A8 8 0 0 1 66 34C66 41 60 47 48 56Z" '
                        'fill="none" stroke="{c}" stroke-width="4" stroke-linejoin="round"/>',
    "btn-added-favorite": '<path d="M48 56C36 47 30 41 30 34A8 8 0 0 1 48 30A8 8 0 0 1 66 34C66 41 60 47 48 56Z" '
                          f'fill="{ACCENT}" stroke="{ACCENT}" stroke-width="4" stroke-linejoin="round"/>',
}
for name, body in ICONS.items():
    svg(f"{name}-n.png", 96, 80, body.replace("{c}", INK))
    svg(f"{name}-f.png", 96, 80, f'<circle cx="48" cy="40" r="36" fill="{ACCENT}" fill-opacity="0.9"/>' +
        body.replace("{c}", INK))

# Key hints: a rounded key cap with its letter, or a pill with the word.
def keycap(name, label, w):
    svg(name, w, 32, f'<rect x="1" y="1" width="{w - 2}" height="30" rx="15" fill="#ffffff" fill-opacity="0.10" '
        f'stroke="#ffffff" stroke-opacity="0.35" stroke-width="2"/><text x="{w / 2}" y="22" '
        f'font-family="DejaVu Sans" font-weight="bold" font-size="{15 if w > 48 else 17}" text-anchor="middle" '
        f'fill="{DIM}">{label}</text>')


keycap("tips-x.png", "X", 48)
keycap("tips-L.png", "L", 48)
keycap("tips-R.png", "R", 48)
keycap("tips-START.png", "START", 96)
keycap("tips-SELECT.png", "SELECT", 96)

# Row icons, 48 x 48.
NOTE = '<path d="M20 33V13L36 10V30" fill="none" stroke="{c}" stroke-width="3.5" stroke-linejoin="round"/>' \
       '<circle cx="16" cy="33" r="5" fill="{c}"/><circle cx="32" cy="30" r="5" fill="{c}"/>'
svg("ic-video.png", 48, 48, NOTE.replace("{c}", INK))
svg("ic-playing.png", 48, 48, f'<circle cx="24" cy="24" r="22" fill="{ACCENT}"/><path d="M19 14L34 24L19 34Z" '
    'fill="#ffffff"/>')
svg("ic-paused.png", 48, 48, f'<circle cx="24" cy="24" r="22" fill="none" stroke="{ACCENT}" stroke-width="3"/>'
    f'<rect x="16" y="15" width="6" height="18" rx="2" fill="{ACCENT}"/><rect x="27" y="15" width="6" height="18" '
    f'rx="2" fill="{ACCENT}"/>')
svg("ic-folder.png", 48, 48, '<path d="M5 14A4 4 0 0 1 9 10H19L23 14H39A4 4 0 0 1 43 18V36A4 4 0 0 1 39 40H9A4 4 0 '
    f'0 1 5 36Z" fill="{ACCENT}" fill-opacity="0.85"/><rect x="5" y="19" width="38" height="2" fill="#000000" '
    'fill-opacity="0.18"/>')
svg("show-player.png", 40, 40, f'<circle cx="20" cy="20" r="18" fill="{ACCENT}"/><path d="M16 12L28 20L16 28Z" '
    'fill="#ffffff"/>')
svg("show-pause.png", 40, 40, f'<circle cx="20" cy="20" r="18" fill="{ACCENT}"/><rect x="13" y="12" width="5" '
    'height="16" rx="2" fill="#ffffff"/><rect x="22" y="12" width="5" height="16" rx="2" fill="#ffffff"/>')

# Settings controls.
for suffix, colour in (("a", ACCENT), ("n", DIM)):
    svg(f"ic-left-arrow-{suffix}.png", 32, 32, f'<path d="M20 8L12 16L20 24" fill="none" stroke="{colour}" '
        'stroke-width="4" stroke-linecap="round" stroke-linejoin="round"/>')
    svg(f"ic-right-arrow-{suffix}.png", 32, 32, f'<path d="M12 8L20 16L12 24" fill="none" stroke="{colour}" '
        'stroke-width="4" stroke-linecap="round" stroke-linejoin="round"/>')
svg("sw-on.png", 80, 40, f'<rect x="2" y="4" width="76" height="32" rx="16" fill="{ACCENT}"/>'
    '<circle cx="60" cy="20" r="12" fill="#ffffff"/>')
svg("sw-off.png", 80, 40, '<rect x="2" y="4" width="76" height="32" rx="16" fill="#ffffff" fill-opacity="0.16"/>'
    '<circle cx="20" cy="20" r="12" fill="#c9cfdb"/>')

# Effects: the lit spectrum and its eraser, the waveform bar, and their veils.
VEIL = gradient("v", [(0, "#05070b", 0.5), (0.55, "#05070b", 0.6), (1, "#05070b", 0.92)])


def spectrum(folder, top, bottom, peak):
    bars = "".join(f'<rect x="{b * 25 + 2}" y="0" width="21" height="200" rx="3" fill="url(#s)"/>' for b in range(48))
    svg(f"vis/{folder}/fg.png", 1200, 200, bars, gradient("s", [(0, top, 1), (1, bottom, 1)]))
    # Opaque above the bar's top (the top half) and in the gaps between bars.
    svg(f"vis/{folder}/mask.png", 25, 400, '<rect width="25" height="200" fill="#000"/>'
        '<rect x="0" y="200" width="2" height="200" fill="#000"/><rect x="23" y="200" width="2" height="200" fill="#000"/>')
    svg(f"vis/{folder}/peak.png", 21, 4, f'<rect width="21" height="4" rx="2" fill="{peak}"/>')
    svg(f"vis/{folder}/bg.png", 1280, 720, '<rect width="1280" height="720" fill="url(#v)"/>', VEIL)


spectrum("fft1", ACCENT, "#7b3fe4", "#ffffff")
spectrum("fft2", "#5ce1e6", "#1d6fe0", "#e8fbff")
svg("vis/wave1/sample.png", 10, 64, f'<rect width="10" height="64" rx="5" fill="url(#w)"/>',
    gradient("w", [(0, ACCENT_SOFT, 1), (0.5, ACCENT, 1), (1, ACCENT_SOFT, 1)]))
svg("vis/wave1/bg.png", 1280, 720, '<rect width="1280" height="720" fill="url(#v)"/>', VEIL)
# Never drawn by the waveform, only measured: its height puts the centre line 120 pixels
# above the bottom edge, under the controls, where the spectrum's bars stand.
svg("vis/wave1/fg.png", 1200, 240, '<rect width="1200" height="240" fill="#000" fill-opacity="0"/>')


def main():
    for name, (w, h, text) in images.items():
        source = os.path.join(SRC, name[:-4] + ".svg")
        target = os.path.join("skin", name)
        os.makedirs(os.path.dirname(source), exist_ok=True)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(source, "w") as out:
            out.write(text + "\n")
        subprocess.run(["rsvg-convert", "-w", str(w), "-h", str(h), "-o", target, source], check=True)
    print(f"{len(images)} images")


if __name__ == "__main__":
    main()
