# How this project compiles and links its own targets; nothing of it reaches those who use the libraries.

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
# Where inline functions are not inlined, hidden copies of the ones that the library exports would win over those.
if(NOT CMAKE_BUILD_TYPE STREQUAL Debug)
   set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(ZORVA_SANITIZE)
   set(sanitize -fsanitize=${ZORVA_SANITIZE} -fno-sanitize-recover=all)
   add_compile_options(${sanitize} -fno-omit-frame-pointer)
   add_link_options(${sanitize})
else()
   add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

# A shared library of this project. It stays in the process once loaded: the registry points into it. All symbols it
# uses must be found when it is linked, save the sanitizers' own, which the program brings.
function(zorva_shared_library target)
   set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${ZORVA_ABI})
   target_link_options(${target} PRIVATE -Wl,-z,nodelete)
   if(NOT ZORVA_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
   endif()
   add_library(${PROJECT_NAME}::${target} ALIAS ${target})
endfunction()
