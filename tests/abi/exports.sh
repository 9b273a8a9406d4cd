#!/usr/bin/env bash
# Builds only the shared libraries, with the given compiler and options, and compares the names that they export with the
# lists in this folder: the same ones whatever is inlined.
#   tests/abi/exports.sh CMAKE SCRATCH-FOLDER COMPILER OPTION...
#   tests/abi/exports.sh all                 every compiler, optimisation and way of linking, in build/exports
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

if [[ $1 == all ]]; then
   for compiler in g++ clang++-14; do
      for option in -O0 -O1 -O2 -O3 -Os; do
         for lto in '' -flto; do
            echo "$compiler $option $lto"
            "$0" cmake "${here%/tests/abi}/build/exports/$compiler$option$lto" $compiler $option $lto
         done
      done
   done
   exit
fi

cmake=$1 build=$2 compiler=$3
shift 3
mkdir -p "$build"
{
   "$cmake" -S "${here%/tests/abi}" -B "$build" -G Ninja -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_BUILD_TYPE=None \
      -D CMAKE_CXX_FLAGS="$*" -D ZORVA_PROGRAMS=OFF -D ZORVA_TESTS=OFF -D ZORVA_INSTALL=OFF
   "$cmake" --build "$build" --target P4RuntimeRoutingEcmpTypes zorva_exchange
} >"$build/log" 2>&1 || { cat "$build/log"; exit 1; }

changed=0
for library in routing_types/libP4RuntimeRoutingEcmpTypes embedded/libzorva_embedded exchange/libzorva_exchange; do
   nm --dynamic --defined-only --format=posix "$build/$library.so" | cut -d ' ' -f 1 | LC_ALL=C sort |
      diff --unified=0 --label shipped --label "$compiler $*" "$here/${library#*/}.symbols" - | c++filt || changed=1
done
exit "$changed"
