#!/usr/bin/env bash
# Builds Kalvetra, draws the demonstration clips, keys them, and says where the results are.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --demo
cmake --preset release -DKALVETRA_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo
kalvetra=build/demo/kalvetra

mkdir -p demo
"$kalvetra" sample -y demo/sample.mp4 --truth demo/truth
"$kalvetra" key -y demo/sample.mp4 demo/keyed.mov
"$kalvetra" still -y demo/sample.mp4 demo/still.png --at 1

# Ten bits, 4:2:2, without grain: a veil that thins out before an uneven screen; red, green and blue of both are given.
veil='0.75*exp(-pow((X-640)/520,2)-pow((Y-150)/140,2))'
light='(1-0.15*pow(X/640-1,2))'
mix() { echo "65535*($1*$light*(1-$veil)+0.3*$veil)"; }
ffmpeg -nostdin -v error -y -f lavfi -i "color=black:s=1280x300:r=25:d=0.4,format=gbrp16le,geq=r='$(mix 0.18)':g='$(mix 0.6)':b='$(mix 0.28)'" \
  -vf scale=out_color_matrix=bt709:out_range=tv,format=yuv422p10le,setparams=colorspace=bt709:color_primaries=bt709:color_trc=bt709:range=tv \
  -c:v prores_ks -profile:v 3 demo/veil.mov
screen='#2e9947'  # the veil covers too much of it for its colour to be found
"$kalvetra" key -y demo/veil.mov demo/veil-keyed.mov --key-color "$screen" --also comp=demo/deep.mkv --over '#040404'
"$kalvetra" key -y demo/veil.mov demo/eight.mkv --key-color "$screen" --view comp --over '#040404' --depth 8
brighter=format=rgb48le,lutrgb=r=val*4:g=val*4:b=val*4
ffmpeg -nostdin -v error -y -i demo/eight.mkv -i demo/deep.mkv -filter_complex "[0]$brighter[a];[1]$brighter[b];[a][b]vstack" \
  -frames:v 1 demo/depth.png
rm demo/eight.mkv demo/deep.mkv

cat <<TEXT

Done. Look at:
  $PWD/demo/still.png       source, matte and result over a checkerboard, side by side
  $PWD/demo/sample.mp4      the green-screen clip
  $PWD/demo/keyed.mov       the keyed clip, ProRes 4444 with alpha: drop it into an editor
  $PWD/demo/truth/          the true alpha of every frame
  $PWD/demo/depth.png       a veil of 10 bits over black, four times as bright: keyed in 8 bits above, at full depth below
  $PWD/demo/veil-keyed.mov  the same as ProRes 4444, keyed at full depth; demo/veil.mov is the clip
Key a clip of your own:  $PWD/$kalvetra key shot.mp4 keyed.mov
Find the key by eye:     $PWD/$kalvetra preview demo/sample.mp4
TEXT
