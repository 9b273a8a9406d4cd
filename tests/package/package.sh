#!/usr/bin/env bash
# Installs the build tree, moves what was installed, and builds and runs programs against it as README.md says: through
# CMake and through pkg-config, with a linker that leaves out libraries without a symbol in use. Every block of
# README.md and of docs/adding-a-row-type.md is compiled, run, or looked up on the way.
#   tests/package/package.sh CMAKE BUILD-TREE SCRATCH-FOLDER COMPILER
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cmake=$1 build=$2 scratch=$3
export CXX=$4
export LDFLAGS=-Wl,--as-needed

fail() {
   printf 'tests/package: %s\n' "$@" >&2
   exit 1
}

# Writes the text of FILE's blocks marked LANGUAGE.
blocks() {
   sed -n "/^ *\`\`\`$1\$/,/^ *\`\`\`\$/{/^ *\`\`\`/!p}" "$2"
}

# Fails unless the program in front prints exactly the text, the first argument.
expect() {
   local expected=$1 printed
   shift
   printed=$("$@") || fail "$* failed"
   [[ $printed == "$expected" ]] || fail "$* printed" "$printed" "but not" "$expected"
}

rm -rf "$scratch"
mkdir -p "$scratch"/{agent,generic}
for component in runtime dev doc program exchange; do
   "$cmake" --install "$build" --prefix "$scratch/installed" --component $component >"$scratch/install.log"
done
mv "$scratch/installed" "$scratch/moved"
prefix=$scratch/moved
libraries=$(dirname "$(find "$prefix" -name libP4RuntimeRoutingEcmpTypes.so)")
if grep -rqF -e "$scratch" -e "$source" "$libraries/cmake" "$libraries/pkgconfig"; then
   fail 'a path of this tree is installed'
fi
for page in doc/*/README.md doc/*/CHANGELOG.md doc/*/docs/row-format.md man/man1/nexthop-rows.1 man/man1/nexthop-rows-list.1 \
   bash-completion/completions/nexthop-rows zsh/site-functions/_nexthop-rows; do
   [[ -n $(find "$prefix" -path "*/share/$page") ]] || fail "$page is not installed"
done
find "$prefix" -name '*.md' | while read -r page; do
   { grep -oP '[^[]\]\(\K(?!https?:)[^)#]+' "$page" || true; } | while read -r link; do
      [[ -e ${page%/*}/$link ]] || fail "${page##*/} points to $link, which is not installed"
   done
done

# The README's program and CMake file, and a program that names no row type.
blocks cpp "$source/README.md" >"$scratch/agent/agent.cpp"
cp "$source/examples/registrations.cpp" "$scratch/generic/agent.cpp"
registrations=$("$build/examples/registrations")
for program in agent generic; do
   blocks cmake "$source/README.md" >"$scratch/$program/CMakeLists.txt"
   "$cmake" -S "$scratch/$program" -B "$scratch/$program/build" -D CMAKE_PREFIX_PATH="$prefix" >"$scratch/cmake.log"
   "$cmake" --build "$scratch/$program/build" >"$scratch/cmake.log" || fail "$(cat "$scratch/cmake.log")"
done
expect "$registrations" "$scratch/generic/build/agent"
[[ $registrations == *NexthopInfoRow*EcmpMemberListRow* ]] || fail "registered are only: $registrations"

# The README's commands, in a folder with its program and the recordings: a line "$ COMMAND" and what it prints.
cd "$scratch/agent"
cp -r "$source/nexthop_rows/recordings" .
PATH=$prefix/bin:$PATH
exports=$(blocks sh "$source/README.md" | grep '^export ')
eval "${exports//PREFIX/$prefix}"
command='' expected='' ran=0
while IFS= read -r line; do
   if [[ $line == '$ '* ]]; then
      [[ ! $command ]] || expect "$expected" bash -c "$command"
      command=${line#'$ '} expected='' ran=$((ran + 1))
   else
      expected+=${expected:+$'\n'}$line
   fi
done < <(blocks console "$source/README.md"; echo '$ end')
((ran > 5)) || fail "README.md has only $((ran - 1)) commands"
expect "$(./agent)" build/agent # what CMake built

# The other examples through pkg-config; the generic one is registered with here, too.
read -ra flags < <(pkg-config --cflags --libs P4RuntimeRoutingEcmpTypes)
for program in quickstart containers registrations; do
   "$CXX" -std=c++20 $LDFLAGS "$source/examples/$program.cpp" "${flags[@]}" -o $program
   expect "$("$build/examples/$program")" ./$program
done

# Commands for this tree name what is there.
while read -r line; do
   for word in $line; do
      case $word in scripts/*) [[ -x $source/$word ]] || fail "README.md: no $word" ;; esac
      case $word in build/release/*/*) [[ -x $build/${word#build/release/} ]] || fail "README.md: no $word" ;; esac
   done
done < <(blocks sh "$source/README.md")

# The page shows lines of the example that it speaks of.
while read -r line; do
   grep -qxF -- "$line" <(sed 's/^ *//' "$source/examples/portRow.h" "$source/examples/portRow.cpp") ||
      fail "docs/adding-a-row-type.md: not in examples/portRow.h or .cpp: $line"
done < <(blocks cpp "$source/docs/adding-a-row-type.md")
