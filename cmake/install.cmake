# Installation and packages: the two libraries at run time; headers, CMake package and .pc for development; documents.
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
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${patterns})
target_sources(zorva_headers INTERFACE FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})

set(targets zorva_headers zorva_platform P4RuntimeRoutingEcmpTypes)
if(ZORVA_EMBEDDED)
   list(APPEND targets zorva_embedded)
   set_target_properties(zorva_embedded PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
set_target_properties(P4RuntimeRoutingEcmpTypes PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS ${targets} EXPORT ${PROJECT_NAME}
   LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
   FILE_SET HEADERS DESTINATION ${include_dir} COMPONENT dev
   INCLUDES DESTINATION ${include_dir})
install(EXPORT ${PROJECT_NAME} NAMESPACE ${PROJECT_NAME}:: DESTINATION ${package_dir} COMPONENT dev)
file(WRITE ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
   "include(\${CMAKE_CURRENT_LIST_DIR}/${PROJECT_NAME}.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
   COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake ${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
   DESTINATION ${package_dir} COMPONENT dev)

# Relocatable: the prefix is found from where the file lies.
set(pc_cflags "-I\${includedir}")
set(pc_libs "-L\${libdir} -lP4RuntimeRoutingEcmpTypes")
if(ZORVA_EMBEDDED)
   string(APPEND pc_libs " -lzorva_embedded")
endif()
if(ZORVA_STATIC_TLS)
   string(APPEND pc_cflags " -DZORVA_STATIC_TLS")
endif()
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
file(WRITE ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc
"prefix=\${pcfiledir}/${pc_prefix}
includedir=\${prefix}/${include_dir}
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}

Name: ${PROJECT_NAME}
Description: Packed, copy-on-write table rows of next hops and ECMP groups
Version: ${PROJECT_VERSION}
Cflags: ${pc_cflags}
Libs: ${pc_libs}
")
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)

# Debian packages: runtime and development; the documents go with the latter.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "the owner of this library")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Packed, copy-on-write table rows of next hops and ECMP groups")
set(CPACK_COMPONENTS_ALL runtime dev doc)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libp4runtimeroutingecmptypes${ZORVA_ABI})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libp4runtimeroutingecmptypes-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libp4runtimeroutingecmptypes${ZORVA_ABI} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
include(CPack)
cpack_add_component_group(runtime)
cpack_add_component_group(dev)
cpack_add_component(runtime GROUP runtime)
cpack_add_component(dev GROUP dev)
cpack_add_component(doc GROUP dev)
