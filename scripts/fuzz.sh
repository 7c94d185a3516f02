#!/usr/bin/env bash
# Looks for inputs that the program cannot stand: builds the fuzz targets with clang and the sanitizers, and runs them.
#   scripts/fuzz.sh MINUTES [TARGET...]    all of them in turn, in equal shares of that time; 1 when one has failed
#   scripts/fuzz.sh --keep [TARGET...]     takes what reached new code into tests/fuzz/corpus/, which tests replay
# What is found goes to build/fuzz/corpus/, inputs that fail to build/fuzz/failures/.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -gt 0 && $1 =~ ^(--keep|[0-9]+)$ ]] || { echo "usage: scripts/fuzz.sh MINUTES|--keep [TARGET...]" >&2; exit 2; }
what=$1
shift

scripts/install.sh --clang
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

tests=$PWD/tests/fuzz
cd build/fuzz
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for target in fuzz_*; do [[ -x $target && -f $target ]] && targets+=("${target#fuzz_}"); done
fi
for target in "${targets[@]}"; do
  [[ -x fuzz_$target ]] || { echo "there is no fuzz target $target" >&2; exit 2; }
done
mkdir -p failures logs

most_files=100  # of a target

# Files whose names are hashes: the fuzzer wrote them. All others were made by hand, and stay.
hashed() { find "$1" -type f -regextype posix-extended -regex '.*/[0-9a-f]{40}'; }

keep() {
  local target=$1 corpus=$tests/corpus/$1
  mkdir -p "corpus/$target"
  hashed "$corpus" | while read -r file; do mv "$file" "corpus/$target/"; done
  "./fuzz_$target" -set_cover_merge=1 -use_counters=0 -rss_limit_mb=4000 "$corpus" "corpus/$target" \
    >"logs/$target.merge" 2>&1 || { tail -3 "logs/$target.merge" >&2; exit 1; }
  # The smallest would be found again the soonest.
  hashed "$corpus" | xargs -r ls -S | tail -n +$((most_files + 1)) | xargs -r rm
  printf '%-20s %4d files  %s\n' "$target" "$(find "$corpus" -type f | wc -l)" "$(du -sh --apparent-size "$corpus" | cut -f1)"
}

seconds=60
value() { sed -n "s/^stat::$1: *//p" "logs/$2"; }
covered() { sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "logs/$1"; }

fuzz() {
  local target=$1 length=4096 begun ended=0 dictionary=()
  [[ $target == media_opening ]] && length=16384
  [[ -f $tests/$target.dict ]] && dictionary=(-dict="$tests/$target.dict")
  mkdir -p "corpus/$target"
  begun=$(mktemp -p logs)
  "./fuzz_$target" -max_total_time="$seconds" -max_len="$length" -len_control=0 -timeout=30 -rss_limit_mb=4000 \
    -print_final_stats=1 "${dictionary[@]}" -artifact_prefix="failures/$target-" \
    "corpus/$target" "$tests/corpus/$target" >"logs/$target" 2>&1 || ended=$?
  local failures
  failures=$(find failures -name "$target-*" ! -name '*-slow-unit-*' -newer "$begun" | sort)
  rm "$begun"
  printf '%-20s %12s %10s %8s %9s\n' "$target" "$(value number_of_executed_units "$target")" \
    "$(covered "$target" | tail -1)" "$(value new_units_added "$target")" "$(grep -c . <<<"$failures" || true)"
  if [[ -z $failures ]]; then
    [[ $ended -eq 0 ]] || { failed=1; echo "  ended with $ended; build/fuzz/logs/$target says why"; }
    return
  fi
  failed=1
  echo "$failures" | while read -r file; do echo "  build/fuzz/$file; build/fuzz/logs/$target says more"; done
}

if [[ $what == --keep ]]; then
  for target in "${targets[@]}"; do keep "$target"; done
  exit
fi
failed=0
seconds=$((10#$what * 60 / ${#targets[@]} + 1))
printf '%-20s %12s %10s %8s %9s\n' target executions coverage new failures
for target in "${targets[@]}"; do fuzz "$target"; done
exit "$failed"
