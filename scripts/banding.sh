#!/usr/bin/env bash
# Measures steps, blocks and grain in what is faint and soft, keyed in 8 bits and at full depth, with the kalvetra that is
# built or with --kalvetra PATH; pictures to look at go into build/banding. See docs/quality.md.
set -euo pipefail
cd "$(dirname "$0")/.."

python=${PYTHON:-/usr/bin/python3}
command -v "$python" >/dev/null || python=python3
"$python" -c 'import cv2, numpy' 2>/dev/null || {
  echo "banding.sh: $python lacks numpy or OpenCV: install python3-numpy and python3-opencv" >&2
  exit 1
}
ours=()
[[ " $* " == *" --kalvetra"* || " $* " == *" -h"* || " $* " == *" --help "* ]] || ours=(--kalvetra build/release/kalvetra)
PYTHONPATH=bench PYTHONDONTWRITEBYTECODE=1 exec "$python" -m quality.banding --out build/banding "${ours[@]}" "$@"
