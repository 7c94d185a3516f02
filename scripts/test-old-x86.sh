#!/usr/bin/env bash
# The release build on emulated x86 processors of other years (Debian on x86-64): the level that each has is chosen,
# the tests of the bytes pass there, and the command keys a clip to the same hash as on this machine.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --old-x86
cmake --preset release >/dev/null
cmake --build --preset release --target kalvetra imaging_test engine_test parameters_test equality_test
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build/release/kalvetra sample "$work/clip.mp4" --frames 1

clip_hash() {  # command
  "$@" key "$work/clip.mp4" --key-color '#2da54b' -f hash 2>/dev/null | tail -1
}
wanted=$(clip_hash build/release/kalvetra)

fail() {
  echo "test-old-x86.sh: $*" >&2
  exit 1
}

# Model and the level that it must choose. Level sse4 needs the AES instructions, which came a year after SSE4 itself.
# No model with AVX2: qemu 7.2 computes it wrongly, as comparing with a real processor shows.
for pair in core2duo:scalar Nehalem:scalar Westmere:sse4; do
  model=${pair%:*} level=${pair#*:}
  on=(qemu-x86_64-static -cpu "$model")
  echo "== $model, $level"
  "${on[@]}" build/release/kalvetra doctor >"$work/doctor" || fail "doctor finds $model wanting: $(cat "$work/doctor")"
  grep -q "$level in use" "$work/doctor" || fail "$model chose another level: $(grep processor "$work/doctor")"
  "${on[@]}" build/release/tests/imaging_test --gtest_brief=1
  "${on[@]}" build/release/tests/engine_test --gtest_brief=1 --gtest_filter='KnownAnswers*:RenderEntry*:Powers*:Fields*'
  "${on[@]}" build/release/tests/parameters_test --gtest_brief=1 --gtest_filter='Look*'
  found=$(clip_hash "${on[@]}" build/release/kalvetra)
  [ "$found" = "$wanted" ] || fail "keyed on $model: $found; here: $wanted"
done

# Pass by pass against the plain forms; the longest are left to real processors.
qemu-x86_64-static -cpu Westmere build/release/tests/equality_test --gtest_brief=1 \
  --gtest_filter='CornerCases.*:Passes/EveryPass.*:-*/renderentry:*/driver:*/backgroundplatepass:*/extractbackdrop:*/exposuretables'
