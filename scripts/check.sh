#!/usr/bin/env bash
# Checks the tree without building it, in seconds: which folder includes which (scripts/arrows.txt), the format of the
# C++, the syntax of the scripts, the links between the pages, the length of the files. A line for each offence.
set -uo pipefail
cd "$(dirname "$0")/.."
scripts/install.sh --check || exit

failed=0
tracked() {  # patterns of file names
  git ls-files --cached --others --exclude-standard "$@" | while read -r file; do [[ -f $file ]] && echo "$file"; done
}

python3 scripts/check_arrows.py || failed=1
python3 scripts/check_page_links.py || failed=1

if ! found=$(tracked '*.cpp' '*.h' '*.c' '*.mm' | xargs clang-format --dry-run -Werror 2>&1); then
  failed=1
  places=$(sed -nE 's/^([^:]+:[0-9]+):.*clang-format-violations.*/\1: not formatted: run clang-format -i/p' <<<"$found")
  uniq <<<"${places:-$found}"
fi

while read -r script; do
  bash -n "$script" || failed=1
done < <(tracked '*.sh' .ci/run)

# A file that is longer has more than one task.
longest=300
while read -r file; do
  lines=$(wc -l <"$file")
  [[ $lines -le $longest ]] || echo "$file:$longest: $lines lines: split it; a file has at most $longest (a warning)"
done < <(tracked '*.cpp' '*.h' '*.c' '*.mm' '*.py' '*.js' | grep -v '^tests/')

[[ $failed -eq 0 ]] && echo "check.sh: all is well"
exit "$failed"
