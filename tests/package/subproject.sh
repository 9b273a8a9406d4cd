#!/usr/bin/env bash
# The library as a part of another project, whose own tests, installation, standard and warnings stay its own: with shared
# and with static libraries, one of its programs naming no row type. Nothing that the library does not need is looked for.
#   tests/package/subproject.sh CMAKE SCRATCH-FOLDER COMPILER
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cmake=$1 scratch=$2 compiler=$3
ctest=${cmake%cmake}ctest

fail() {
   printf 'tests/package: %s\n' "$@" >&2
   exit 1
}

rm -rf "$scratch"
mkdir -p "$scratch"
cp "$source"/examples/{quickstart,registrations}.cpp "$scratch"
cat >"$scratch/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 23)
add_compile_options(-Werror -Wall -Wextra -Wshadow -Wconversion -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
   add_compile_options(-Wuseless-cast)
endif()
add_link_options(-Wl,--as-needed,--gc-sections)
include(CTest)
if(BUILD_SHARED_LIBS)
   add_subdirectory($source library)
else()
   include(FetchContent)
   FetchContent_Declare(P4RuntimeRoutingEcmpTypes SOURCE_DIR $source)
   FetchContent_MakeAvailable(P4RuntimeRoutingEcmpTypes)
endif()
foreach(program quickstart registrations)
   add_executable(\${program} \${program}.cpp)
   target_link_libraries(\${program} PRIVATE P4RuntimeRoutingEcmpTypes::P4RuntimeRoutingEcmpTypes)
   add_test(NAME \${program} COMMAND \${program})
endforeach()
set_tests_properties(registrations PROPERTIES
   PASS_REGULAR_EXPRESSION "NexthopInfoRow, 0 rows\n.*EcmpMemberListRow, 0 rows")
install(TARGETS quickstart)
EOF

# Runs CMake with the arguments, quietly while all is well.
run() {
   "$cmake" "$@" >"$scratch/log" 2>&1 || fail "$(cat "$scratch/log")"
}

options=(-G Ninja -D CMAKE_CXX_COMPILER="$compiler")
for package in CLI11 GTest nlohmann_json PkgConfig Python3; do
   options+=(-D CMAKE_DISABLE_FIND_PACKAGE_$package=ON)
done

for shared in ON OFF; do
   build=$scratch/$shared
   run -S "$scratch" -B "$build" "${options[@]}" -D BUILD_SHARED_LIBS=$shared
   run --build "$build"
   run --install "$build" --prefix "$build/installed"
   "$ctest" --test-dir "$build" --output-on-failure >"$scratch/log" || fail "$(cat "$scratch/log")"
   grep -q 'out of 2$' "$scratch/log" || fail "not the parent's two tests:" "$(cat "$scratch/log")"
   installed=$(find "$build/installed" -type f)
   [[ $installed == "$build/installed/bin/quickstart" ]] || fail "not the parent's one file is installed:" "$installed"
   [[ $shared == ON || ! $(find "$build" -name '*.so*') ]] || fail 'a static build has shared libraries'
done

# The library alone, static, installed.
build=$scratch/alone
run -S "$source" -B "$build" "${options[@]}" -D BUILD_SHARED_LIBS=OFF -D ZORVA_PROGRAMS=OFF
[[ $(grep ^CMAKE_BUILD_TYPE "$build/CMakeCache.txt") == *=Release ]] || fail 'a build without a type is no release'
run --build "$build"
run --install "$build" --prefix "$build/installed"
read -ra flags < <(PKG_CONFIG_PATH=$build/installed/lib/pkgconfig pkg-config --cflags --libs P4RuntimeRoutingEcmpTypes)
"$compiler" -std=c++20 "$source/examples/registrations.cpp" -Wl,--as-needed,--gc-sections "${flags[@]}" \
   -o "$scratch/registrations"
[[ $("$scratch/registrations") == *NexthopInfoRow*EcmpMemberListRow* ]] || fail 'the static library registers nothing'
