#!/usr/bin/env bash
# Installs what is missing (Debian 12; needs root or sudo), builds library and tool, and shows a
# picture of three channels and 13 bits: build/demo/cytoskeleton.png.
set -euo pipefail
cd "$(dirname "$0")"

scripts/install-packages.sh demo
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DQMPIC_TESTS=OFF -DQMPIC_BENCH=OFF >/dev/null
cmake --build build/demo

# DNA in blue, microtubules in green, actin in red.
picture=build/demo/cytoskeleton.png
build/demo/bin/qmpic info data/cytoskeleton_3ch_13bit_350x350.tif
build/demo/bin/qmpic render data/cytoskeleton_3ch_13bit_350x350.tif -o "$picture" \
    --levels 110:476,115:698,115:3500 --gamma 0.7
echo "the picture is in $PWD/$picture"
