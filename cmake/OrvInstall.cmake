# What `cmake --install` puts under the prefix besides the module targets
# (emulator/ and tools/ install their own), the CMake package and pkg-config
# file for building against the installed files, and the Debian packages.
# The directories and components come from OrvInstallDirs.cmake.

# The plug-in is loaded by path, never linked, so it is not exported. Its
# host symbols stay undefined: it needs no RUNPATH.
install(TARGETS OrvServer LIBRARY DESTINATION ${ORV_PLUGIN_INSTALL_DIR} COMPONENT plugin)

install(TARGETS orv_host EXPORT OrvServerTargets COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/ DESTINATION ${ORV_INCLUDE_INSTALL_DIR}/host COMPONENT dev
        FILES_MATCHING PATTERN "*.h")

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${ORV_DATA_INSTALL_DIR}/examples COMPONENT tools)
# The browser client, once the tree has one.
if(EXISTS ${PROJECT_SOURCE_DIR}/web)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/web/ DESTINATION ${ORV_DATA_INSTALL_DIR}/web COMPONENT tools)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
# docs/ beside the README as in the tree, so that the README's links and
# images resolve; the pictures go with the documents and no directory is
# installed empty.
file(GLOB ORV_DOCUMENTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
file(GLOB ORV_DOCUMENT_IMAGES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/images/*.png)
install(FILES ${ORV_DOCUMENTS} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT tools)
install(FILES ${ORV_DOCUMENT_IMAGES} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs/images COMPONENT tools)

# The manual page and the changelog, compressed as Debian wants them
# (gzip -9n: no name or time stamp, so every build gives the same bytes).
set(ORV_MAN_PAGE ${PROJECT_BINARY_DIR}/packaging/orv-host.1.gz)
set(ORV_CHANGELOG ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(OUTPUT ${ORV_MAN_PAGE} ${ORV_CHANGELOG}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/packaging/orv-host.1 > ${ORV_MAN_PAGE}
  COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${ORV_CHANGELOG}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/orv-host.1 ${PROJECT_SOURCE_DIR}/packaging/changelog
  COMMENT "Compressing the manual page and the changelog" VERBATIM)
add_custom_target(orv_packaging_files ALL DEPENDS ${ORV_MAN_PAGE} ${ORV_CHANGELOG})
install(FILES ${ORV_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)

# Every package carries the licence terms, the changelog and the lintian
# overrides with their reasons, under its own name.
foreach(component IN ITEMS plugin tools dev)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${ORV_CHANGELOG}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvserver-${component} COMPONENT ${component})
  set(overrides ${PROJECT_SOURCE_DIR}/packaging/orvserver-${component}.lintian-overrides)
  if(EXISTS ${overrides})
    install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
            RENAME orvserver-${component} COMPONENT ${component})
  endif()
endforeach()

# find_package(OrvServer): OrvServer::host, OrvServer::emulator, and the
# installed plug-in's path. Every path in these files is relative to their
# own location, so the install can be moved.
include(CMakePackageConfigHelpers)
install(EXPORT OrvServerTargets NAMESPACE OrvServer:: DESTINATION ${ORV_CMAKE_INSTALL_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OrvServerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/OrvServerConfig.cmake
  INSTALL_DESTINATION ${ORV_CMAKE_INSTALL_DIR}
  PATH_VARS ORV_PLUGIN_INSTALL_DIR ORV_DATA_INSTALL_DIR)

# The version file refuses an install whose code has another pointer size
# than the consumer's. The i386 build's compiler is the 64-bit one run with
# -m32, so CMake's own idea of the pointer size is wrong there.
function(orv_write_version_file)
  if(ORV_M32)
    set(CMAKE_SIZEOF_VOID_P 4)
  endif()
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvServerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
endfunction()
orv_write_version_file()
install(FILES ${PROJECT_BINARY_DIR}/OrvServerConfig.cmake ${PROJECT_BINARY_DIR}/OrvServerConfigVersion.cmake
        DESTINATION ${ORV_CMAKE_INSTALL_DIR} COMPONENT dev)

# pkg-config for the host headers. They are the same on every architecture,
# so the file goes to share/pkgconfig, found by every pkg-config.
# Its prefix is found from its own location, as the CMake package's is.
file(RELATIVE_PATH ORV_PREFIX_FROM_PKGCONFIG_DIR /${CMAKE_INSTALL_DATADIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ORV_PREFIX_FROM_PKGCONFIG_DIR "${ORV_PREFIX_FROM_PKGCONFIG_DIR}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvserver.pc.in ${PROJECT_BINARY_DIR}/orvserver.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvserver.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig COMPONENT dev)

# `cpack -G DEB` in a build directory packages that build, one package per
# component: amd64 from the default build, i386 from the m32 build.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL plugin tools dev)
set(CPACK_PACKAGE_NAME orvserver)
set(CPACK_PACKAGE_VENDOR "OrvServer team")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "OrvServer team <team@orvserver.invalid>")
if(ORV_DEB_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ORV_DEB_ARCH})
endif()
set(orv_exact "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME orvserver-plugin)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PLUGIN_DESCRIPTION
"agent plug-in for the modelling server of a model-based design tool
libOrvServer.so is loaded by the server of a model-based design tool and
answers its browser client: property-page controls, link information and
model explorer nodes as JSON, and diagrams as SVG with link markers.
.
The i386 and amd64 packages can be installed side by side; the server
loads the one of its own architecture.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvserver-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "orvserver-plugin ${orv_exact}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"host emulator and orv-host for the OrvServer agent plug-in
orv-host runs any agent of the plug-in on a model file in an emulated host,
and serves the browser client and its HTTP API. The package also holds the
host emulator library, the web client, an example model and the
documentation.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME orvserver-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "orvserver-tools ${orv_exact}")
set(CPACK_DEBIAN_DEV_DESCRIPTION
"headers and CMake package for building against OrvServer
The host interface headers and the host emulator headers, the CMake package
OrvServer (OrvServer::host, OrvServer::emulator) and the pkg-config file
orvserver, for host-side tests, tools on the emulator and other plug-ins for
the same host.")

set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/OrvCPackProject.cmake)
# The plug-in package is marked Multi-Arch: same after CPack has made it.
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/MarkMultiArch.cmake)
include(CPack)
