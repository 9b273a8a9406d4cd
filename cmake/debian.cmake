# Debian packages, with ZORVA_DEBIAN; scripts/package builds them: runtime, development with the documents and examples,
# program, and the debug information of each that has some.

# The owner's to fill in, here and nowhere else: who answers for the packages, and on which terms they are given.
set(owner_name "The owner of this library")
set(owner_address "owner@p4runtimeroutingecmptypes.invalid")
set(owner_copyright "2026 the owner of this library")
set(owner_licence "None has been chosen yet, so nothing is allowed that the law does not allow by itself.")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_PACKAGE_CONTACT "${owner_name} <${owner_address}>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/routing_types ${PROJECT_BINARY_DIR}/embedded
   ${PROJECT_BINARY_DIR}/exchange)

string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH where it is set

# One package of the component `component`: its name, section, dependencies beside the libraries that it links, and
# description, whose first line is the summary.
function(zorva_package component name section depends description)
   string(TOUPPER ${component} group)
   set(CPACK_DEBIAN_${group}_PACKAGE_NAME ${name} PARENT_SCOPE)
   set(CPACK_DEBIAN_${group}_PACKAGE_SECTION ${section} PARENT_SCOPE)
   set(CPACK_DEBIAN_${group}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
   set(CPACK_DEBIAN_${group}_PACKAGE_SHLIBDEPS ON PARENT_SCOPE)
   set(CPACK_DEBIAN_${group}_DESCRIPTION "${description}" PARENT_SCOPE)
   set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)

   set(folder ${PROJECT_BINARY_DIR}/debian/${name})
   file(WRITE ${folder}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${PROJECT_NAME}

Files: *
Copyright: ${owner_copyright}
License: the-owners
 ${owner_licence}
")
   file(WRITE ${folder}/changelog
"${name} (${PROJECT_VERSION}) unstable; urgency=medium

  * Version ${PROJECT_VERSION}. libp4runtimeroutingecmptypes-dev has the changes in
    its CHANGELOG.md.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
   execute_process(COMMAND gzip --best --no-name --force --keep ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
   install(FILES ${folder}/copyright ${folder}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
      COMPONENT ${component})
endfunction()

zorva_package(runtime libp4runtimeroutingecmptypes${ZORVA_ABI} libs ""
"rows of next hops and ECMP groups for routing agents
Packed, copy-on-write table rows for an in-memory row database, and two row
types: one next hop, and the members of one ECMP group. Contains the shared
library of the row types, the row database core that it is linked with, and
printers for gdb.")
set(runtime_package libp4runtimeroutingecmptypes${ZORVA_ABI})

zorva_package(dev libp4runtimeroutingecmptypes-dev libdevel "${runtime_package} (= ${PROJECT_VERSION})"
"rows of next hops and ECMP groups for routing agents: development
Packed, copy-on-write table rows for an in-memory row database, and two row
types: one next hop, and the members of one ECMP group. Contains the headers,
a CMake package, a pkg-config file, the documents and examples.")

set(exchange_package libzorva-exchange${ZORVA_ABI})
if(TARGET nexthop-rows)
   set(depends "${runtime_package} (= ${PROJECT_VERSION})")
   if(ZORVA_EXCHANGE)
      string(APPEND depends ", ${exchange_package} (= ${PROJECT_VERSION})")
   endif()
   zorva_package(program nexthop-rows net "${depends}"
"next hops and ECMP groups of a Linux kernel as table rows
Files the next-hop objects of a Linux kernel as rows, from recordings or from
the running kernel: lists, compares and verifies them, shows their bytes, and
prints every change when it comes. Those of many machines may be read, compared
and followed through a Redis server.")
   install(FILES nexthop_rows/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/nexthop-rows COMPONENT program)
   install(CODE "file(GLOB pages \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/*.1)
      execute_process(COMMAND gzip --best --no-name --force \${pages} COMMAND_ERROR_IS_FATAL ANY)" COMPONENT program)
endif()

if(ZORVA_EXCHANGE)
   zorva_package(exchange ${exchange_package} libs "${runtime_package} (= ${PROJECT_VERSION})"
"tables of rows kept equal through a Redis server
Tables of table rows that many processes and machines keep equal through an
existing Redis or Valkey server: one publisher a feed, any number of followers,
who verify every row that they take.")
   zorva_package(exchange-dev libzorva-exchange-dev libdevel
      "${exchange_package} (= ${PROJECT_VERSION}), libp4runtimeroutingecmptypes-dev (= ${PROJECT_VERSION})"
"tables of rows kept equal through a Redis server: development
Headers and CMake package of the library that keeps tables of table rows equal
through an existing Redis or Valkey server.")
endif()

# What dpkg is told of the shared libraries: the versions that have their names, the package that has their symbols, and
# to let the dynamic linker know.
set(control ${PROJECT_BINARY_DIR}/debian/control)
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
file(WRITE ${control}/shlibs "")
file(WRITE ${control}/symbols "")
file(WRITE ${control}/exchange/shlibs "")
file(WRITE ${control}/exchange/symbols "")
function(zorva_control library folder package)
   if(TARGET ${library})
      file(APPEND ${folder}/shlibs "lib${library} ${ZORVA_ABI} ${package} (>= ${PROJECT_VERSION})\n")
      file(STRINGS tests/abi/lib${library}.symbols symbols)
      list(TRANSFORM symbols REPLACE "(.+)" " \\1@Base ${PROJECT_VERSION}\n")
      list(JOIN symbols "" symbols)
      file(APPEND ${folder}/symbols "lib${library}.so.${ZORVA_ABI} ${package} #MINVER#\n${symbols}")
   endif()
endfunction()
zorva_control(P4RuntimeRoutingEcmpTypes ${control} ${runtime_package})
zorva_control(zorva_embedded ${control} ${runtime_package})
zorva_control(zorva_exchange ${control}/exchange ${exchange_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/symbols ${control}/triggers)
set(CPACK_DEBIAN_EXCHANGE_PACKAGE_CONTROL_EXTRA ${control}/exchange/shlibs ${control}/exchange/symbols ${control}/triggers)

list(APPEND CPACK_COMPONENTS_ALL doc)
include(CPack)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
   cpack_add_component_group(${component})
   cpack_add_component(${component} GROUP ${component})
endforeach()
cpack_add_component(doc GROUP dev)
