#!/usr/bin/env bash
# What the shared libraries promise to programs linked against them, compared with or written to this folder: the names
# of their symbols, and the types behind these (debug information needed). The files are g++ 12's, release, x86-64.
#   tests/abi/abi.sh compare|update LIBRARY...
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=${here%/tests/abi}
new=$(mktemp -d)
trap 'rm -r "$new"' EXIT

options=(--no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names --no-elf-needed
   --exported-interfaces-only --drop-private-types --suppressions "$here/std.abignore")
for folder in platform rowstore rowtype routing_types embedded exchange; do
   options+=(--headers-dir "$root/$folder")
done

mode=$1 changed=0
shift
for library; do
   name=${library##*/}
   name=${name%%.so*}
   nm --dynamic --defined-only --format=posix "$library" | cut -d ' ' -f 1 | LC_ALL=C sort >"$new/$name.symbols"
   abidw "${options[@]}" "$library" | sed "s| path='$root/| path='|" >"$new/$name.abi"
   if [[ $mode == update ]]; then
      cp "$new/$name".{symbols,abi} "$here"
      continue
   fi
   diff --unified=0 --label committed --label built "$here/$name.symbols" "$new/$name.symbols" | c++filt || changed=1
   abidiff --suppressions "$here/std.abignore" "$here/$name.abi" "$new/$name.abi" || changed=1
done
if ((changed)); then
   echo "The ABI is not the committed one: see \"The ABI\" in CONTRIBUTING.md; scripts/abi writes the new one." >&2
fi
exit "$changed"
