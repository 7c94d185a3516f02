#!/usr/bin/env bash
# Builds a C and a C++ program against the library as it is installed, by pkg-config and by CMake, and compares what they
# key with the command's bytes. Arguments: the tree, the build folder, the command.
set -euo pipefail
tree=$1 build=$2 command=$3

for tool in ffmpeg pkg-config nm; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed"; exit 77; }  # skipped
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "installed_test.sh: $1" >&2; exit 1; }

for component in library development; do
  cmake --install "$build" --prefix "$work/first" --component "$component" >/dev/null
done
mv first moved  # what was installed may be moved
pc=$(find moved -name kalvetra.pc)
export PKG_CONFIG_PATH=$work/${pc%/*} LD_LIBRARY_PATH=$work/${pc%/pkgconfig/*}
library=$LD_LIBRARY_PATH/libkalvetra.so.0

nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort >seen
grep -hoE 'KALVETRA_API [^(]*\(' moved/include/kalvetra/kalvetra.h | grep -o 'kalvetra_[a-z_]*(' | tr -d '(' | sort >declared
diff declared seen || fail "the library shows (>) something else than the header declares (<)"

for language in c:c99 c:c17 c++:c++11 c++:c++20; do
  echo '#include <kalvetra/kalvetra.h>' | ${CC:-cc} -x "${language%:*}" -std="${language#*:}" -fsyntax-only \
    -Wall -Wextra -Wpedantic -Werror $(pkg-config --cflags kalvetra) - || fail "the header is no good $language"
done

# The manual's program.
sed -n '/^```c$/,/^```$/p' "$tree/docs/library.md" | grep -v '^```' >keyer.c
${CC:-cc} -std=c99 -Wall -Wextra -Wpedantic -Werror keyer.c $(pkg-config --cflags --libs kalvetra) -o keyer
mkdir project
cp "$tree"/tests/library/consumer/* keyer.c project
cmake -S project -B project/build -DCMAKE_PREFIX_PATH="$work/moved" >log || { cat log >&2; fail "CMake finds no package"; }
cmake --build project/build >log || { cat log >&2; fail "the programs do not build by CMake"; }

"$command" sample clip.mp4 --frames 1 >/dev/null
ffmpeg -v error -i clip.mp4 in.png
size=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0 in.png | tr , ' ')
pixels() { ffmpeg -v error -i "$1" -f rawvideo -pix_fmt rgba - ; }
pixels in.png >in.raw
"$command" key in.png by-color.png --plain --key-color 40,150,70 --progress none
"$command" key in.png by-itself.png --auto --progress none
pixels by-color.png >by-color.raw
pixels by-itself.png >by-itself.raw
for program in ./keyer project/build/keyer; do
  $program $size 40,150,70 <in.raw | cmp by-color.raw - || fail "$program gives other bytes than the command"
done
project/build/auto_keyer $size <in.raw | cmp by-itself.raw - || fail "the proposed settings give other bytes than --auto"
! ./keyer $size green <in.raw 2>said || fail "takes any colour"
[ "$(cat said)" = 'keyer: "key-color" cannot be "green"; give #rrggbb, r,g,b (0..255)' ] || fail "says '$(cat said)'"
echo "the C and the C++ program give the command's bytes"
