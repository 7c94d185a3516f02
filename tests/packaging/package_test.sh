#!/usr/bin/env bash
# Packs the command out of a finished build folder and runs it out of the package.
# Arguments: the build folder, the version that the command must tell, and "frei0r" where that filter was built.
set -euo pipefail
build=$1 version=$2 filter=${3:-}

for tool in dpkg-deb dpkg-shlibdeps cpack; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed"; exit 77; }  # skipped
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package_test.sh: $1" >&2; exit 1; }

# Packed from a folder that only reads as an ordinary user's would.
cpack --config "$build/CPackConfig.cmake" -B "$work" >"$work/log" || { cat "$work/log" >&2; fail "cpack failed"; }
deb=$(ls "$work"/kalvetra_"$version"_*.deb)

dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { sub(/^\.\//, "", $6); print $6 }' | sort >"$work/files"
{ [ -z "$filter" ] || cat <<TEXT
usr/lib/frei0r-1/kalvetra_green.so
usr/share/kdenlive/effects/frei0r_kalvetra_green.xml
usr/share/shotcut/qml/filters/kalvetra_green/meta.qml
usr/share/shotcut/qml/filters/kalvetra_green/ui.qml
TEXT
cat <<TEXT
usr/bin/kalvetra
usr/share/bash-completion/completions/kalvetra
usr/share/doc/kalvetra/README.md
usr/share/doc/kalvetra/copyright
usr/share/fish/vendor_completions.d/kalvetra.fish
usr/share/man/man1/kalvetra.1
usr/share/zsh/vendor-completions/_kalvetra
TEXT
} | sort >"$work/expected"
diff "$work/expected" "$work/files" || fail "other files than expected"

for library in libavcodec libavformat libswscale libtbb libc6; do
  dpkg-deb -f "$deb" Depends | grep -q "$library" || fail "does not depend on $library"
done

dpkg-deb -x "$deb" "$work/root"
told=$("$work/root/usr/bin/kalvetra" --version)
[ "$told" = "kalvetra $version" ] || fail "says it is '$told'"
grep -q '\.SH SYNOPSIS' "$work/root/usr/share/man/man1/kalvetra.1" || fail "the manual page is no manual page"
# Neither this build's folder nor a run path into it may travel along.
! readelf -d "$work/root/usr/bin/kalvetra" | grep -E 'RPATH|RUNPATH' || fail "the command looks for libraries in a build folder"

# What cmake --install puts elsewhere is the same.
cmake --install "$build" --prefix "$work/prefix" >/dev/null
(cd "$work/prefix" && find . -type f | sed 's|^\./|usr/|' | sort) | diff "$work/expected" - || fail "cmake --install differs"
echo "packed, unpacked and run: $(basename "$deb")"
