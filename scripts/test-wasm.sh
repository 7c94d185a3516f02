#!/usr/bin/env bash
# The keyer's tests of its bytes in WebAssembly: installs what is missing (Debian), builds the core with Emscripten and
# runs the known answers and the pinned looks of both lanes in Node. Of the exact lane the plain routines alone: Highway
# 1.0.3 has no vectors of double precision for WebAssembly, without which there is no vector form of the keying passes.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --wasm
export NODE_PATH=/usr/share/nodejs  # Debian's modules, for Emscripten, whichever Node runs it
# Emscripten 3.1.6 takes a program's name for an address where Node can fetch.
node='node'
node --no-experimental-fetch -e 0 2>/dev/null && node='node;--no-experimental-fetch'

# The headers and the test library where Emscripten looks, apart from those of this machine.
prefix=$PWD/build/wasm/prefix
mkdir -p "$prefix/include" "$prefix/share/cmake"
cp -a /usr/include/hwy /usr/include/nlohmann "$prefix/include"
cp -a /usr/share/cmake/nlohmann_json "$prefix/share/cmake"

configure() {  # source, build, options
  emcmake cmake -G Ninja -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=-fexceptions \
    -DCMAKE_CXX_FLAGS_RELEASE='-O2 -DNDEBUG' -DCMAKE_FIND_ROOT_PATH="$prefix" "-DCMAKE_CROSSCOMPILING_EMULATOR=$node" \
    "${@:3}" >/dev/null 2>&1
}
if [ ! -d "$prefix/lib/cmake/GTest" ]; then
  configure /usr/src/googletest build/wasm/googletest -DBUILD_GMOCK=OFF -Dgtest_disable_pthreads=ON \
    -DCMAKE_INSTALL_PREFIX="$prefix"
  cmake --build build/wasm/googletest
  cmake --install build/wasm/googletest >/dev/null
fi

configure . build/wasm/core -DKALVETRA_CORE_ONLY=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
  -DCMAKE_EXE_LINKER_FLAGS='-fexceptions -sNODERAWFS=1 -sALLOW_MEMORY_GROWTH=1 -sEXIT_RUNTIME=1'
cmake --build build/wasm/core --target imaging_test engine_test parameters_test deep_test
# Left out: threads, which there are none of, the judge of the deep lane, and tests of anything but the bytes.
ctest --test-dir build/wasm/core --output-on-failure --parallel 2 \
  --exclude-regex '^(.*_NOT_BUILT|Inspection|Preset|RandomSettings|Look.IsTheSameOnAnyNumberOfThreads|DeepRender.GivesTheSameFloatsOnAnyNumberOfThreads|deep_judge_test|CpuLevelScopes.OverrideTheProcess)'
