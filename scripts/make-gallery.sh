#!/usr/bin/env bash
# Draws the pictures of docs/gallery.md.
#
# usage: scripts/make-gallery.sh [TOOL]     without one: build/release/bin/qmpic
set -euo pipefail
cd "$(dirname "$0")/.."
tool=${1:-build/release/bin/qmpic}

"$tool" luts -o docs/images/luts.png
"$tool" render data/plant_1ch_12bit_512x512.tif -o docs/images/plant.png --lut Iron --gamma 0.7
