# Installation and packages: the libraries at run time; headers, CMake package and .pc for development; documents; the
# program nexthop-rows.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/${PROJECT_NAME})
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})

# The headers keep their folders below an include root of their own. With the tests, each is compiled alone.
set(header_folders platform rowstore rowtype routing_types)
if(ZORVA_EMBEDDED)
   list(APPEND header_folders embedded)
endif()
list(TRANSFORM header_folders APPEND /*.h OUTPUT_VARIABLE patterns)
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${patterns})
target_sources(zorva_headers INTERFACE FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
if(BUILD_TESTING AND NOT ZORVA_SANITIZE)
   set_target_properties(zorva_headers PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
   add_custom_target(headers-compile-alone ALL)
   add_dependencies(headers-compile-alone zorva_headers_verify_interface_header_sets)
endif()

set(targets zorva_headers zorva_platform P4RuntimeRoutingEcmpTypes)
if(ZORVA_EMBEDDED)
   list(APPEND targets zorva_embedded)
endif()
set_target_properties(P4RuntimeRoutingEcmpTypes PROPERTIES INSTALL_RPATH "$ORIGIN")

# Loading the library registers the row types, so a linker that leaves out libraries without a symbol in use must keep
# this one.
target_link_options(P4RuntimeRoutingEcmpTypes INTERFACE
   LINKER:--push-state,--no-as-needed,$<TARGET_FILE:${PROJECT_NAME}::P4RuntimeRoutingEcmpTypes>,--pop-state)

install(TARGETS ${targets} EXPORT ${PROJECT_NAME}
   LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
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
set(pc_libs -L\${libdir} -Wl,--push-state,--no-as-needed -lP4RuntimeRoutingEcmpTypes -Wl,--pop-state
   ${ZORVA_PLATFORM_LIBRARIES})
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

if(ZORVA_EMBEDDED)
   file(RELATIVE_PATH libraries_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
   set_target_properties(nexthop-rows PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_bin}")
   install(TARGETS nexthop-rows RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
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

# Debian packages, built by scripts/package: runtime, development with the documents, program, exchange and its
# development, and the debug information of each that has some.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_PACKAGE_CONTACT "the owner of this library")
set(CPACK_COMPONENTS_ALL runtime dev doc)
if(ZORVA_EMBEDDED)
   list(APPEND CPACK_COMPONENTS_ALL program)
endif()
if(ZORVA_EXCHANGE)
   list(APPEND CPACK_COMPONENTS_ALL exchange exchange-dev)
endif()
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/routing_types ${PROJECT_BINARY_DIR}/embedded)
set(runtime_package libp4runtimeroutingecmptypes${ZORVA_ABI})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libp4runtimeroutingecmptypes-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME nexthop-rows)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION}), iproute2")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(exchange_package libzorva-exchange${ZORVA_ABI})
set(CPACK_DEBIAN_EXCHANGE_PACKAGE_NAME ${exchange_package})
set(CPACK_DEBIAN_EXCHANGE_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_EXCHANGE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_EXCHANGE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_EXCHANGE-DEV_PACKAGE_NAME libzorva-exchange-dev)
set(CPACK_DEBIAN_EXCHANGE-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_EXCHANGE-DEV_PACKAGE_DEPENDS
   "${exchange_package} (= ${PROJECT_VERSION}), libp4runtimeroutingecmptypes-dev (= ${PROJECT_VERSION})")
include(CPack)
foreach(group runtime dev program exchange exchange-dev)
   cpack_add_component_group(${group})
   cpack_add_component(${group} GROUP ${group})
endforeach()
cpack_add_component(doc GROUP dev)
