#!/usr/bin/env bash
# What the users of the public headers compile. Each header alone, with g++ and clang, their sanitizers on, and the
# warnings that users may have made errors; the example of a row type brings what macros and templates make. And where
# compiler or target are not what the headers need, one sentence says so, and nothing else follows but the end.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

warnings=(-Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Wold-style-cast
   -Woverloaded-virtual -Wextra-semi -Wformat=2)

# COMPILER HEADER OPTION...: compiles nothing but the header.
compile() {
   "$1" -fsyntax-only -I. "${@:3}" -x c++ -include "$2" /dev/null
}

# COMPILER HEADER
alone() {
   local more=()
   case $1 in g++*) more=(-Wuseless-cast -Wsuggest-override) ;; esac
   compile "$1" "$2" -std=c++20 -fsanitize=address,undefined "${warnings[@]}" "${more[@]}" ||
      { echo "$2 does not compile alone with $1" >&2; return 1; }
}

# COMPILER HEADER SENTENCE OPTION...
refused() {
   local errors
   errors=$(compile "$1" "$2" "${@:4}" 2>&1 | grep 'error:') || true
   [[ ${errors%%$'\n'*} == *"$3"* && $(wc -l <<<"$errors") == 2 ]] ||
      { printf '%s: not "%s" and the end, but:\n%s\n' "$*" "$3" "$errors" >&2; return 1; }
}

mapfile -t headers < <(find platform rowstore rowtype routing_types embedded -name '*.h' | sort)
failed=0
for compiler in g++ clang++-14; do
   for header in "${headers[@]}" examples/portRow.h examples/portRow.cpp; do
      while (($(jobs -pr | wc -l) >= $(nproc))); do wait -n || failed=1; done
      alone $compiler "$header" &
   done
   for header in routing_types/P4RuntimeRoutingEcmpTypes.h rowtype/rendering.h rowstore/decimal.h embedded/table.h; do
      refused $compiler $header 'needs C++20' -std=c++17 || failed=1
      refused $compiler $header 'compile without -fno-exceptions' -std=c++20 -fno-exceptions || failed=1
      refused $compiler $header 'needs a 64-bit target' -std=c++20 -U__SIZEOF_POINTER__ -D__SIZEOF_POINTER__=4 || failed=1
   done
done
while (($(jobs -p | wc -l))); do wait -n || failed=1; done
exit $failed
