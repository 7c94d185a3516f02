#!/usr/bin/env bash
# Compares the built library's interface with the one in the tree, kalvetra.abi: programs that were built against an earlier
# version must run with this one. With --renew as the third argument it writes that file instead.
# Arguments: the tree, the library.
set -euo pipefail
tree=$1 library=$2
dump=$tree/tests/library/kalvetra.abi

command -v abidw >/dev/null || { echo "abidw is not installed (abigail-tools)"; exit 77; }  # skipped
interface() {
  abidw --headers-dir "$tree/include/kalvetra" --drop-private-types --exported-interfaces-only --no-show-locs \
    --no-comp-dir-path --no-corpus-path --no-elf-needed --no-architecture "$library" --out-file "$1"
}
if [ "${3:-}" = --renew ]; then
  interface "$dump"
  exit
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
interface "$work/built.abi"
abidiff --harmless "$dump" "$work/built.abi" || {
  status=$?
  echo "The library's interface has changed, as above. Later versions may add functions, and members at the end of structures"
  echo "that say so; anything else needs another SOVERSION. If the change is meant:"
  echo "  tests/library/abi_test.sh . build/release/libkalvetra.so.0 --renew"
  exit $status
}
