#!/usr/bin/env bash
# Regenerates every skin image from tools/make_skin.py (SVG sources in skin/src/).
set -euo pipefail
cd "$(dirname "$0")/.."
MP_DEPS_EXTRA="librsvg2-bin python3" tools/deps.sh
python3 tools/make_skin.py
