#!/usr/bin/env bash
# Looks for data races: builds the command with the thread sanitizer and keys small clips in many ways. Ends with 1 and
# what the sanitizer says at the first race. The loops of --auto are left out: they run in oneTBB, which is not built for
# the sanitizer, so that it would see races there where there are none.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --tests
cmake -G Ninja -S . -B build/threads -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKALVETRA_SANITIZE_THREADS=ON \
  -DKALVETRA_TESTS=OFF -DKALVETRA_PREVIEW=OFF -DKALVETRA_PLUGIN=OFF -DKALVETRA_FREI0R=OFF -DKALVETRA_BENCH=OFF >/dev/null
cmake --build build/threads --target kalvetra

kalvetra=$PWD/build/threads/kalvetra
export TSAN_OPTIONS="exitcode=66 suppressions=$PWD/tests/data/thread-sanitizer.supp"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
clip() {  # name, options
  ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=160x90:r=25 -f lavfi -i sine -t 1 \
    -vf colorize=hue=130:saturation=0.6:lightness=0.4 "${@:2}" "$1"
}
clip clip.mp4 -c:v libx264 -pix_fmt yuv420p -c:a aac
clip fields.mkv -c:v ffv1 -pix_fmt yuv422p -field_order tt
clip long.mkv -c:v mjpeg -q:v 3 -color_range pc

runs=0
key() {
  local status=0
  "$kalvetra" key "$@" --threads 4 --progress none -y >said 2>&1 || status=$?
  [[ $status -eq 0 ]] || { cat said >&2; echo "key $* ended with $status" >&2; exit 1; }
  runs=$((runs + 1))
}
for round in 1 2 3; do
  key clip.mp4 o.mov --key-color 60,190,80
  key clip.mp4 o.webm --key-color 60,190,80 --view status
  key clip.mp4 'o-%03d.png' --key-color auto --also matte=m.mkv --also plate=p.mkv --also comp=c.mkv --over '#203040'
  key fields.mkv o.mkv --key-color 60,190,80 --fields on --receipt r.json
  key clip.mp4 o.mkv --key-color 60,190,80 --garbage clip.mp4 --holdout fields.mkv --resume
  key long.mkv -f null --key-color 60,190,80
  timeout --preserve-status -s INT 0.$((round * 2)) "$kalvetra" key long.mkv i.mov --key-color 60,190,80 --threads 4 \
    --progress none >said 2>&1 || [[ $? -eq 130 ]] || { cat said >&2; exit 1; }
  rm -f i.mov
done
echo "no race in $((runs + 3)) runs"
