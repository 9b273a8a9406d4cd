#!/usr/bin/env bash
# Compiles each public header alone, with g++ and clang, their sanitizers on, and the warnings that users of the headers
# may have made errors. The example of a row type brings what its macros and templates make.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

alone() {
   local warnings=(-Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
      -Wold-style-cast -Woverloaded-virtual -Wextra-semi -Wformat=2)
   case $1 in g++*) warnings+=(-Wuseless-cast -Wsuggest-override -Wduplicated-branches) ;; esac
   "$1" -std=c++20 -fsyntax-only "${warnings[@]}" -fsanitize=address,undefined -I. -x c++ -include "$2" /dev/null ||
      { echo "$2 does not compile alone with $1" >&2; return 1; }
}
export -f alone
{
   find platform rowstore rowtype routing_types embedded -name '*.h'
   echo examples/portRow.h
   echo examples/portRow.cpp
} | while read -r header; do printf '%s\n' "g++ $header" "clang++-14 $header"; done |
   xargs -P "$(nproc)" -L 1 bash -c 'alone "$@"' alone
