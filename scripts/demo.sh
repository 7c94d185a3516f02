#!/usr/bin/env bash
# Builds Kalvetra, draws the demonstration clip, keys it, and says where the results are.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh
cmake --preset release -DKALVETRA_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo
kalvetra=build/demo/kalvetra

mkdir -p demo
"$kalvetra" sample -y demo/sample.mp4 --truth demo/truth
"$kalvetra" key -y demo/sample.mp4 demo/keyed.mov
"$kalvetra" still -y demo/sample.mp4 demo/still.png --at 1

cat <<TEXT

Done. Look at:
  $PWD/demo/still.png    source, matte and result over a checkerboard, side by side
  $PWD/demo/sample.mp4   the green-screen clip
  $PWD/demo/keyed.mov    the keyed clip, ProRes 4444 with alpha: drop it into an editor
  $PWD/demo/truth/       the true alpha of every frame
Key a clip of your own:  $PWD/$kalvetra key shot.mp4 keyed.mov
Find the key by eye:     $PWD/$kalvetra preview demo/sample.mp4
TEXT
