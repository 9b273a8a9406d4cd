# Installation: the libraries at run time; headers, CMake package and .pc for development; documents; the
# program nexthop-rows.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/${PROJECT_NAME})
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})

# The headers keep their folders below an include root of their own.
set(header_folders platform rowstore rowtype routing_types)
if(ZORVA_EMBEDDED)
   list(APPEND header_folders embedded)
endif()
list(TRANSFORM header_folders APPEND /*.h OUTPUT_VARIABLE patterns)
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${patterns} rowtype/*.inc)
target_sources(zorva_headers INTERFACE FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})

set(targets zorva_headers zorva_platform P4RuntimeRoutingEcmpTypes)
if(ZORVA_EMBEDDED)
   list(APPEND targets zorva_embedded)
endif()
set_target_properties(P4RuntimeRoutingEcmpTypes PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS ${targets} EXPORT ${PROJECT_NAME}
   LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
   ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
   FILE_SET HEADERS DESTINATION ${include_dir} COMPONENT dev
   INCLUDES DESTINATION ${include_dir})
install(EXPORT ${PROJECT_NAME} NAMESPACE ${PROJECT_NAME}:: DESTINATION ${package_dir} COMPONENT dev)
file(WRITE ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
   "include(\${CMAKE_CURRENT_LIST_DIR}/${PROJECT_NAME}.cmake)\n"
   "include(\${CMAKE_CURRENT_LIST_DIR}/${PROJECT_NAME}Exchange.cmake OPTIONAL)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
   COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake ${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
   DESTINATION ${package_dir} COMPONENT dev)

# Relocatable: the prefix is found from where the file lies.
set(pc_cflags "-I\${includedir}")
if(ZORVA_LIBRARY_TYPE STREQUAL SHARED)
   set(pc_libs -Wl,--push-state,--no-as-needed -lP4RuntimeRoutingEcmpTypes -Wl,--pop-state)
else()
   set(pc_libs -Wl,--undefined=${ZORVA_LOAD_STEP} -lP4RuntimeRoutingEcmpTypes)
endif()
list(PREPEND pc_libs -L\${libdir})
list(APPEND pc_libs ${ZORVA_PLATFORM_LIBRARIES})
if(ZORVA_EMBEDDED)
   list(APPEND pc_libs -lzorva_embedded)
endif()
list(JOIN pc_libs " " pc_libs)
if(ZORVA_STATIC_TLS)
   string(APPEND pc_cflags " -DZORVA_STATIC_TLS")
endif()
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
file(WRITE ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc
"prefix=\${pcfiledir}/${pc_prefix}
includedir=\${prefix}/${include_dir}
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}

Name: ${PROJECT_NAME}
Description: ${PROJECT_DESCRIPTION}
Version: ${PROJECT_VERSION}
Cflags: ${pc_cflags}
Libs: ${pc_libs}
")
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

if(TARGET nexthop-rows)
   file(RELATIVE_PATH libraries_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
   set_target_properties(nexthop-rows PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_bin}")
   install(TARGETS nexthop-rows RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
   install(DIRECTORY ${PROJECT_BINARY_DIR}/nexthop_rows/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program OPTIONAL)
   install(FILES nexthop_rows/completion/nexthop-rows.bash RENAME nexthop-rows
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)
   set(zsh_folder site-functions)
   if(ZORVA_DEBIAN)
      set(zsh_folder vendor-completions)
   endif()
   install(FILES nexthop_rows/completion/_nexthop-rows DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT program)
endif()

# exchange/ is a component of its own, and what needs it another: neither the libraries above nor their package lead to it.
if(ZORVA_EXCHANGE)
   set(exchange_headers exchange/follower.h exchange/publisher.h exchange/rowType.h exchange/server.h)
   list(TRANSFORM exchange_headers PREPEND ${PROJECT_SOURCE_DIR}/)
   target_sources(zorva_exchange PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${exchange_headers})
   set_target_properties(zorva_exchange PROPERTIES INSTALL_RPATH "$ORIGIN")
   if(TARGET headers-compile-alone)
      set_target_properties(zorva_exchange PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
      add_dependencies(headers-compile-alone zorva_exchange_verify_interface_header_sets)
   endif()
   install(TARGETS zorva_exchange EXPORT ${PROJECT_NAME}Exchange
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT exchange NAMELINK_COMPONENT exchange-dev
      FILE_SET HEADERS DESTINATION ${include_dir} COMPONENT exchange-dev
      INCLUDES DESTINATION ${include_dir})
   install(EXPORT ${PROJECT_NAME}Exchange NAMESPACE ${PROJECT_NAME}:: DESTINATION ${package_dir} COMPONENT exchange-dev)
endif()

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT doc FILES_MATCHING PATTERN *.h PATTERN *.cpp)

if(ZORVA_DEBIAN)
   include(cmake/debian.cmake)
endif()
