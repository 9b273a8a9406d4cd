#!/usr/bin/env bash
# Looks into the Debian packages of a build tree: files, dependencies, links in the documents, and whether gdb finds the
# debug information of the stripped libraries.
#   tests/package/debian.sh BUILD-TREE
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$1"
root=$PWD/unpacked
rm -rf "$root"

fail() {
   printf 'tests/package: %s\n' "$@" >&2
   exit 1
}

# PACKAGE must have the file names, and every dependency named; the text * stands for anything in a name.
check() {
   local package=$1 file=() files depends
   depends=$(dpkg-deb --field "$1"_*deb Depends)
   files=$(dpkg-deb --fsys-tarfile "$1"_*deb | tar -t | grep -v '/$')
   for wanted in $2; do
      [[ $depends == *"$wanted ("* ]] || fail "$package does not depend on $wanted, but on $depends"
   done
   for wanted in $3; do
      file=()
      while read -r name; do
         # shellcheck disable=SC2053
         if [[ $name == ./usr/$wanted ]]; then file+=("$name"); fi
      done <<<"$files"
      ((${#file[@]})) || fail "$package lacks $wanted and has" "$files"
      files=$(grep -vxF -f <(printf '%s\n' "${file[@]}") <<<"$files") || true
   done
   [[ ! $files ]] || fail "$package also has" "$files"
   dpkg-deb --extract "$1"_*deb "$root"
}

runtime=$(echo libp4runtimeroutingecmptypes[0-9]_*.deb)
runtime=${runtime%%_*}
check "$runtime" 'libc6 libstdc++6' 'share/doc/*/copyright share/doc/*/changelog.gz lib/*/libP4RuntimeRoutingEcmpTypes.so.* lib/*/libzorva_embedded.so.*
   share/gdb/auto-load/usr/lib/*/libP4RuntimeRoutingEcmpTypes.so.*-gdb.py'
check libp4runtimeroutingecmptypes-dev "$runtime" 'include/P4RuntimeRoutingEcmpTypes/*.h include/P4RuntimeRoutingEcmpTypes/rowtype/*.inc
   lib/*/libP4RuntimeRoutingEcmpTypes.so lib/*/libzorva_embedded.so lib/*/pkgconfig/P4RuntimeRoutingEcmpTypes.pc
   lib/*/cmake/P4RuntimeRoutingEcmpTypes/*.cmake share/doc/*/copyright share/doc/*/changelog.gz
   share/doc/*/README.md share/doc/*/CHANGELOG.md share/doc/*/docs/* share/doc/*/examples/*'
check nexthop-rows "$runtime libzorva-exchange0 libc6 libmnl0" 'bin/nexthop-rows share/doc/*/copyright share/doc/*/changelog.gz share/doc/*/README.md
   share/man/man1/nexthop-rows.1.gz share/man/man1/nexthop-rows-list.1.gz share/man/man1/nexthop-rows-*.1.gz
   share/bash-completion/completions/nexthop-rows share/zsh/vendor-completions/_nexthop-rows'
check libzorva-exchange0 "$runtime libhiredis0.14" 'lib/*/libzorva_exchange.so.* share/doc/*/copyright share/doc/*/changelog.gz'
check libzorva-exchange-dev libzorva-exchange0 'include/P4RuntimeRoutingEcmpTypes/exchange/*.h lib/*/libzorva_exchange.so
   lib/*/cmake/P4RuntimeRoutingEcmpTypes/*Exchange*.cmake share/doc/*/copyright share/doc/*/changelog.gz'
check "$runtime-dbgsym" "$runtime" 'lib/debug/.build-id/*/*.debug'
[[ $(dpkg-deb --info "$runtime"_*deb shlibs | wc -l) == 2 ]] || fail "$runtime has no shlibs file for its two libraries"
[[ $(dpkg-deb --info "$runtime"_*deb symbols) == *_ZN16P4RuntimeRouting*@Base* ]] || fail "$runtime has no symbols file"
[[ $(dpkg-deb --info "$runtime"_*deb triggers) == 'activate-noawait ldconfig' ]] || fail "$runtime does not trigger ldconfig"
cd "$source"
for header in {platform,platform/*,rowstore,rowtype,routing_types,embedded}/*.h rowtype/*.inc; do
   [[ -e $root/usr/include/P4RuntimeRoutingEcmpTypes/$header ]] || fail "not packaged: $header"
done

# Run and debug from what was unpacked.
libraries=$(dirname "$root"/usr/lib/*/libP4RuntimeRoutingEcmpTypes.so)
"$root/usr/bin/nexthop-rows" check --dir nexthop_rows/recordings/mixed-up.ip6.1 2>/dev/null ||
   fail "nexthop-rows does not run"
read -ra flags < <(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs P4RuntimeRoutingEcmpTypes)
g++ -std=c++20 -g examples/quickstart.cpp "${flags[@]}" -o "$root/quickstart"
printed=$(gdb -nx -batch -ex "set debug-file-directory $root/usr/lib/debug" -ex "set env LD_LIBRARY_PATH $libraries" \
   -ex "source $(echo "$root"/usr/share/gdb/auto-load/usr/lib/*/*-gdb.py)" \
   -ex 'break Zorva::Embedded::Table::Table' -ex run -ex 'frame function main' -ex 'print group' "$root/quickstart" 2>&1)
[[ $printed == *'id = 100, member = {7, 7, 8}'* ]] || fail "gdb shows" "$printed"
echo "The packages are as they should be."
