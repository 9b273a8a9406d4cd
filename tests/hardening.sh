#!/usr/bin/env bash
# Reads off the given shared libraries that they are built hardened.
set -euo pipefail

for library in "$@"; do
   has() {
      readelf --wide "${@:2}" "$library" | grep -E "$1" >/dev/null || {
         echo "$library: no $1 in readelf ${*:2}" >&2
         exit 1
      }
   }
   has 'GNU_RELRO' --segments
   has 'FLAGS_1.* NOW' --dynamic # the addresses of functions are read-only too
   has 'GNU_STACK .* RW ' --segments # and not executable
   has '__stack_chk_fail' --dyn-syms
   has '__mem(cpy|move|set)_chk' --dyn-syms # _FORTIFY_SOURCE
done
