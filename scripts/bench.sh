#!/usr/bin/env bash
# Installs what is missing, builds, and prints as Markdown how long a frame of 1920 x 1080 takes on one thread: ours
# beside the keyers of ffmpeg, then stage by stage. An argument sets the number of rounds, 5 unless given.
# Every figure is the median of its rounds; a round runs everything once, so that a slow moment hits all alike.
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-5}

scripts/install.sh --bench
cmake --preset release -DKALVETRA_BENCH=ON >/dev/null
cmake --build --preset release --target kalvetra-bench >/dev/null
bench=build/release/kalvetra-bench
levels=$("$bench" --benchmark_list_tests --benchmark_filter='^laplacian/' | cut -d/ -f2 | xargs)
best=${levels##* }
vectors=${levels#scalar}
vectors=${vectors# }
depth_variants="default no-plate noisy contraction all-options"
pin=()
command -v taskset >/dev/null && taskset -c 0 true 2>/dev/null && pin=(taskset -c 0)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bench" --dump-frames 1920x1080 4 "$work/frames.argb"
loops=14
frames=$(((loops + 1) * 4))

# Name, the conversions that the keyer needs, and the keyer, tuned to leave as much standing as the clip truly shows.
green=0x279042
keyers=(
  "chromakey;format=yuva444p;chromakey=$green:0.07:0.03"
  "chromakey+despill;format=yuva444p,format=argb;chromakey=$green:0.07:0.03,format=argb,despill=green"
  "colorkey;format=argb;colorkey=$green:0.13:0.03"
  "bluescreen0r;format=bgra;frei0r=bluescreen0r:$green|0.18"
)

# CPU milliseconds a frame of ffmpeg with these filters; nothing is encoded or written.
ffmpeg_ms() {
  local TIMEFORMAT='%U %S'
  { time "${pin[@]}" ffmpeg -nostdin -v error -threads 1 -filter_threads 1 -f rawvideo -pix_fmt argb -s 1920x1080 \
    -stream_loop "$loops" -i "$work/frames.argb" -vf "$1" -f null - 1>&2; } 2>"$work/time" || {
    cat "$work/time" >&2
    return 1
  }
  awk -v n="$frames" '{ print ($1 + $2) * 1000 / n }' "$work/time"
}

# The conversions alone are subtracted: what is left is the keying.
time_keyers() {
  local keyer name convert filter null full
  for keyer in "${keyers[@]}"; do
    IFS=';' read -r name convert filter <<<"$keyer"
    null=$(ffmpeg_ms "$convert")
    full=$(ffmpeg_ms "${convert%%,*},$filter")
    awk -v name="$name" -v full="$full" -v null="$null" 'BEGIN { print name, full - null }'
  done
}

# Lines of name and CPU milliseconds, the name without Google Benchmark's suffix.
time_ours() {
  "${pin[@]}" "$bench" --benchmark_format=csv --benchmark_min_time=0.3 \
    --benchmark_filter="^(frame/(default|no-plate|all-options)/1080p|frame/default/4K|[a-z-]+(/radius-[0-9]+)?)/(scalar|$best)/" 2>/dev/null |
    awk -F, '/process_time/ { gsub(/"|\/process_time/, "", $1); print $1, $4 }'
}

# Whole frames of both lanes, one line as above for each level that has vectors.
time_depths() {
  "${pin[@]}" "$bench" --benchmark_format=csv --benchmark_min_time=0.3 \
    --benchmark_filter="^(frame|deep)/(${depth_variants// /|}|bytes)/1080p/(${vectors// /|})/" 2>/dev/null |
    awk -F, '/process_time/ { gsub(/"|\/process_time/, "", $1); print $1, $4 }'
}

# Lines of name and milliseconds on the clock: a frame on one thread, and on all.
time_threads() {
  "$bench" --benchmark_format=csv --benchmark_min_time=0.5 --benchmark_filter="^threads/.*/$best/" 2>/dev/null |
    awk -F, '/real_time/ && !/name/ { gsub(/"|\/real_time/, "", $1); print $1, $3 }'
}

for ((round = 1; round <= rounds; ++round)); do
  echo "round $round of $rounds" >&2
  time_ours >>"$work/times"
  [ -z "$vectors" ] || time_depths >>"$work/depths"
  time_threads >>"$work/times"
  time_keyers >>"$work/times"
done

# One line a name: median, lowest, highest.
medians() {
  sort -k1,1 -k2,2g "$1" | awk '
    function flush() { if (n) print name, t[int((n + 1) / 2)], t[1], t[n] }
    $1 != name { flush(); name = $1; n = 0 }
    { t[++n] = $2 }
    END { flush() }'
}
medians "$work/times" >"$work/medians"

awk -v best="$best" -v cores="$(nproc)" '
  { ms[$1] = $2; low[$1] = $3; high[$1] = $4 }
  function row(text, name) {
    printf "| %s | %.1f | %.1f..%.1f | %.2f |\n", text, ms[name], low[name], high[name], ms[name] / ms["chromakey"]
  }
  function frame(variant, level) { return "frame/" variant "/" level }
  function ratio(text, a, b) { printf "| %s | %.2f |\n", text, ms[a] / ms[b] }
  END {
    count = split("default no-plate all-options", variant, " ")
    print "| one frame, 1920 x 1080, one thread | CPU ms | lowest..highest | in chromakeys |\n| --- | --- | --- | --- |"
    for (i = 1; i <= count; ++i) row("Kalvetra, " variant[i] ", " best, frame(variant[i], "1080p/" best))
    for (i = 1; i <= count; ++i) row("Kalvetra, " variant[i] ", scalar", frame(variant[i], "1080p/scalar"))
    row("ffmpeg chromakey", "chromakey"); row("ffmpeg chromakey, despill", "chromakey+despill")
    row("ffmpeg colorkey", "colorkey"); row("frei0r bluescreen0r", "bluescreen0r")
    print "\n| ratio | |\n| --- | --- |"
    for (i = 1; i <= count; ++i)
      ratio("scalar to " best ", " variant[i], frame(variant[i], "1080p/scalar"), frame(variant[i], "1080p/" best))
    ratio("4K to 1080p, default, " best, frame("default", "4K/" best), frame("default", "1080p/" best))
    ratio("4K, default, one thread to " cores " on the clock, " best, "threads/one/4K/" best, "threads/all/4K/" best)
    ratio("all options to default, " best, frame("all-options", "1080p/" best), frame("default", "1080p/" best))
    ratio("edge blur of radius 100 to radius 2, " best, "mask-blur/radius-100/" best, "mask-blur/" best)
  }' "$work/medians"

# Columns: the share of each stage in the frame with a plate, without one, and with all options on.
stage_table() {
  awk -v level="$1" '
    { ms[$1] = $2 }
    function stage(name, inPlate, inColor, inAll) {
      own = ms[name "/" level]
      printf "| %s | %.2f |", name, own
      share(own, inPlate, "default"); share(own, inColor, "no-plate"); share(own, inAll, "all-options")
      print ""
    }
    function share(own, takes, variant) {
      if (takes) { printf " %.1f %% |", own * 100 / ms["frame/" variant "/1080p/" level]; sum[variant] += own }
      else printf " |"
    }
    function rest(variant) { return 100 - sum[variant] * 100 / ms["frame/" variant "/1080p/" level] }
    END {
      printf "\n| stage, level %s | CPU ms | of default | of no-plate | of all options |\n", level
      print "| --- | --- | --- | --- | --- |"
      count = split("resample-down laplacian extract-backdrop contract-plate expand-plate average-blur resample-up", s, " ")
      for (i = 1; i <= count; ++i) stage(s[i], 1, 0, 1)
      stage("chroma-blur", 0, 0, 1); stage("plate-key", 1, 0, 1); stage("color-key-pass", 0, 1, 0)
      stage("contract-matte", 0, 0, 1); stage("mask-blur", 0, 0, 1)
      printf "| the rest: byte order, alpha, clip levels | | %.1f %% | %.1f %% | %.1f %% |\n", rest("default"),
        rest("no-plate"), rest("all-options")
      printf "| whole frame, ms | | %.1f | %.1f | %.1f |\n", ms["frame/default/1080p/" level],
        ms["frame/no-plate/1080p/" level], ms["frame/all-options/1080p/" level]
    }' "$work/medians"
}
stage_table scalar
[ "$best" = scalar ] || stage_table "$best"

# The same frames in 8 bits and at full depth.
[ -z "$vectors" ] || medians "$work/depths" | awk -v levels="$vectors" -v variants="$depth_variants" '
  { ms[$1] = $2 }
  function row(text, level, deep, exact) {
    printf "| %s | %s | %.1f | %.1f | %.2f |\n", text, level, ms[exact], ms[deep], ms[deep] / ms[exact]
  }
  END {
    print "\n| one frame, 1920 x 1080, one thread | level | 8 bits, CPU ms | full depth, CPU ms | ratio |"
    print "| --- | --- | --- | --- | --- |"
    l = split(levels, level, " "); v = split(variants, variant, " ")
    for (i = 1; i <= v; ++i)
      for (j = 1; j <= l; ++j)
        row(variant[i], level[j], "deep/" variant[i] "/1080p/" level[j], "frame/" variant[i] "/1080p/" level[j])
    for (j = 1; j <= l; ++j)
      row("default, frames of bytes", level[j], "deep/bytes/1080p/" level[j], "frame/default/1080p/" level[j])
  }'
