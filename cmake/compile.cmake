# How this project compiles and links its own targets; nothing of it reaches those who use the libraries.

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(ZORVA_SANITIZE)
   set(sanitize -fsanitize=${ZORVA_SANITIZE} -fno-sanitize-recover=all)
   add_compile_options(${sanitize} -fno-omit-frame-pointer)
   add_link_options(${sanitize})
else()
   add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

# Names the program of the target zorva-NAME just NAME: targets share their names with those of a project that this one is
# part of.
function(zorva_output_name target)
   string(REGEX REPLACE "^zorva-" "" name ${target})
   set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name})
endfunction()

set(exports ${CMAKE_CURRENT_LIST_DIR}/exports.map)

# The source files of a library of this project. Whatever the compiler and its optimisation, the library exports the same
# names: what only other programs use is kept, which optimisation at link time would not do, and a destructor that does
# what the base class's does has a name of its own.
function(zorva_library_sources target)
   target_compile_definitions(${target} PRIVATE ZORVA_KEEPS_INLINE)
   # Debug information in every build type, so that gdb shows rows and the ABI can be compared; the Debian packages carry
   # it apart.
   target_compile_options(${target} PRIVATE -g -fno-lto $<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -mno-constructor-aliases>)
endfunction()

# A library of this project. A shared one stays in the process once loaded: the registry points into it. All symbols it
# uses must be found when it is linked, save the sanitizers' own, which the program brings.
function(zorva_library target)
   add_library(${PROJECT_NAME}::${target} ALIAS ${target})
   if(ZORVA_LIBRARY_TYPE STREQUAL STATIC)
      return()
   endif()
   set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${ZORVA_ABI})
   target_link_options(${target} PRIVATE -Wl,-z,nodelete -Wl,--version-script=${exports})
   set_target_properties(${target} PROPERTIES LINK_DEPENDS ${exports})
   if(NOT ZORVA_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
   endif()
endfunction()
