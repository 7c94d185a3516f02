#!/usr/bin/env bash
# Measures how good the pictures are: draws scenes with truth, keys them with the kalvetra that is built and with the
# keyers of other makers that are installed, and writes a table and a page into build/quality. See docs/quality.md;
# scripts/quality.sh --help lists the options. --kalvetra PATH=NAME, repeated, compares other builds instead.
#
#   scripts/quality.sh banding [options]   steps, blocks and grain in what is faint and soft, into build/banding
#   scripts/quality.sh depths [options]    what outputs hold of sources of many depths, into build/depths
set -euo pipefail
cd "$(dirname "$0")/.."

what=quality
case ${1:-} in banding | depths) what=$1 && shift ;; esac
module=quality
[[ $what == quality ]] || module=quality.$what

python=${PYTHON:-/usr/bin/python3}
command -v "$python" >/dev/null || python=python3
"$python" -c 'import cv2, numpy' 2>/dev/null || {
  echo "quality.sh: $python lacks numpy or OpenCV: install python3-numpy and python3-opencv" >&2
  exit 1
}
command -v ffmpeg >/dev/null || { echo "quality.sh: ffmpeg is missing: it codes the scenes" >&2; exit 1; }

ours=()
case " $* " in
  *" --kalvetra"* | *" --draw-only "* | *" --help "* | *" -h "*) ;;
  *)
    built=build/release/kalvetra
    [[ -x $built ]] || built=$(command -v kalvetra || true)
    [[ -n $built ]] || { echo "quality.sh: build kalvetra first (cmake --build --preset release), or give --kalvetra PATH" >&2; exit 1; }
    ours=(--kalvetra "$built")
    ;;
esac
PYTHONPATH=bench PYTHONDONTWRITEBYTECODE=1 exec "$python" -m "$module" --out "build/$what" "${ours[@]}" "$@"
