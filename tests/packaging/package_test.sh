#!/usr/bin/env bash
# Packs a finished build folder, and runs the command, the library and the Python module out of the packages.
# Arguments: the build folder, the version, where libraries go below the prefix, and which parts were built: "library",
# "frei0r".
set -euo pipefail
build=$1 version=$2 libraries=$3
shift 3
has() { [[ " $parts " == *" $1 "* ]]; }
parts=$*
configuration=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt" | tr '[:upper:]' '[:lower:]')

for tool in dpkg-deb dpkg-shlibdeps cpack readelf; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed"; exit 77; }  # skipped
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package_test.sh: $1" >&2; exit 1; }

# Packed from a folder that only reads as an ordinary user's would.
cpack --config "$build/CPackConfig.cmake" -B "$work" >"$work/log" || { cat "$work/log" >&2; fail "cpack failed"; }

# The one package of a name must hold the files that are given on standard input; it is unpacked with the others.
package() {
  local deb
  deb=$(ls "$work/$1"_"$version"_*.deb) || fail "there is no package $1"
  { cat; printf 'usr/share/doc/%s\n' "$1/changelog.gz" "$1/copyright"; } | sed '/^$/d' | sort >"$work/expected"
  cat "$work/expected" >>"$work/all"
  dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { sub(/^\.\//, "", $6); print $6 }' | sort | diff "$work/expected" - ||
    fail "$1 holds other files than expected"
  dpkg-deb -x "$deb" "$work/root"
}
depends() {  # package, part of its dependencies
  dpkg-deb -f "$work/$1"_"$version"_*.deb Depends | grep -cF "$2" >/dev/null || fail "$1 does not depend on $2"
}

package kalvetra <<TEXT
usr/bin/kalvetra
usr/share/bash-completion/completions/kalvetra
usr/share/doc/kalvetra/README.md
usr/share/fish/vendor_completions.d/kalvetra.fish
usr/share/man/man1/kalvetra.1
usr/share/zsh/vendor-completions/_kalvetra
$(! has frei0r || cat <<FILES
usr/lib/frei0r-1/kalvetra_green.so
usr/share/kdenlive/effects/frei0r_kalvetra_green.xml
usr/share/shotcut/qml/filters/kalvetra_green/meta.qml
usr/share/shotcut/qml/filters/kalvetra_green/ui.qml
FILES
)
TEXT
for library in libavcodec libavformat libswscale libtbb libc6; do depends kalvetra "$library"; done
said=$("$work/root/usr/bin/kalvetra" --version)
[ "$said" = "kalvetra $version" ] || fail "the command says it is '$said'"
grep -q 'kalvetra_green.so .*frei0r.h' "$work/root/usr/share/doc/kalvetra/copyright" || fail "the filter's terms are not named"
grep -q '\.SH SYNOPSIS' "$work/root/usr/share/man/man1/kalvetra.1" || fail "the manual page is no manual page"

if has library; then
  module=usr/lib/python3/dist-packages/kalvetra
  package libkalvetra0 <<TEXT
usr/$libraries/libkalvetra.so.0
usr/$libraries/libkalvetra.so.$version
TEXT
  package libkalvetra-dev <<TEXT
usr/include/kalvetra/kalvetra.h
usr/$libraries/cmake/kalvetra/kalvetraConfig-$configuration.cmake
usr/$libraries/cmake/kalvetra/kalvetraConfig.cmake
usr/$libraries/cmake/kalvetra/kalvetraConfigVersion.cmake
usr/$libraries/libkalvetra.so
usr/$libraries/pkgconfig/kalvetra.pc
TEXT
  package python3-kalvetra <<TEXT
$module/__init__.py
$module/_library.py
$module/_pictures.py
$module/_plate.py
$module/_settings.py
$module/py.typed
TEXT
  depends libkalvetra0 libtbb
  dpkg-deb -f "$work"/libkalvetra0_*.deb Description | grep -c 'for green-screen video' >/dev/null || fail "no description"
  depends libkalvetra-dev "libkalvetra0 (= $version)"
  depends python3-kalvetra "libkalvetra0 (= $version)"
  depends python3-kalvetra python3-numpy
  dpkg-deb -I "$work"/libkalvetra0_*.deb triggers | grep -c ldconfig >/dev/null ||
    fail "libkalvetra0 does not renew the linker's cache"
  dpkg-deb -I "$work"/libkalvetra0_*.deb shlibs | grep -c 'libkalvetra 0 libkalvetra0' >/dev/null || fail "libkalvetra0 has no shlibs"
  # An interpreter load a library that is built with the sanitizers.
  if /usr/bin/python3 -c 'import numpy' 2>/dev/null && ! grep -q '^KALVETRA_SANITIZE:BOOL=ON' "$build/CMakeCache.txt"; then
    said=$(PYTHONPATH=$work/root/usr/lib/python3/dist-packages LD_LIBRARY_PATH=$work/root/usr/$libraries \
      /usr/bin/python3 -B -c 'import kalvetra; print(kalvetra.__version__)')
    [ "$said" = "$version" ] || fail "the Python module says it is '$said'"
  fi
fi
# Neither this build's folder nor a run path into it may travel along.
find "$work/root" -type f | while read -r file; do
  ! readelf -d "$file" 2>/dev/null | grep -E 'RPATH|RUNPATH' || fail "${file##*/} looks for libraries in a build folder"
done

# What cmake --install puts elsewhere is the same.
cmake --install "$build" --prefix "$work/prefix" >/dev/null
(cd "$work/prefix" && find . -type f -o -type l | sed 's|^\./|usr/|' | sort) | diff <(sort "$work/all") - ||
  fail "cmake --install differs"
echo "packed, unpacked and run: $(cd "$work" && echo *.deb)"
