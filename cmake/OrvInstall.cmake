# What `cmake --install` puts under the prefix besides the module targets
# (emulator/ and tools/ install their own), the CMake package and pkg-config
# file for building against the installed files, and the Debian package.
# The directories come from OrvInstallDirs.cmake.

# The plug-in is loaded by path, never linked, so it is not exported. Its
# host symbols stay undefined: it needs no RUNPATH.
install(TARGETS OrvServer LIBRARY DESTINATION ${ORV_PLUGIN_INSTALL_DIR})

install(TARGETS orv_host EXPORT OrvServerTargets)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/ DESTINATION ${ORV_INCLUDE_INSTALL_DIR}/host
        FILES_MATCHING PATTERN "*.h")

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${ORV_DATA_INSTALL_DIR}/examples)
# The browser client, once the tree has one.
if(EXISTS ${PROJECT_SOURCE_DIR}/web)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/web/ DESTINATION ${ORV_DATA_INSTALL_DIR}/web)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
        FILES_MATCHING PATTERN "*.md")

# find_package(OrvServer): OrvServer::host, OrvServer::emulator, and the
# installed plug-in's path. Every path in these files is relative to their
# own location, so the install can be moved.
include(CMakePackageConfigHelpers)
install(EXPORT OrvServerTargets NAMESPACE OrvServer:: DESTINATION ${ORV_CMAKE_INSTALL_DIR})
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
        DESTINATION ${ORV_CMAKE_INSTALL_DIR})

# pkg-config for the host headers. They are the same on every architecture,
# so the file goes to share/pkgconfig, found by every pkg-config.
# Its prefix is found from its own location, as the CMake package's is.
file(RELATIVE_PATH ORV_PREFIX_FROM_PKGCONFIG_DIR /${CMAKE_INSTALL_DATADIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ORV_PREFIX_FROM_PKGCONFIG_DIR "${ORV_PREFIX_FROM_PKGCONFIG_DIR}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvserver.pc.in ${PROJECT_BINARY_DIR}/orvserver.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvserver.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig)

# `cpack -G DEB` in a build directory packages that build: amd64 from the
# default build, i386 from the m32 build.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvserver)
set(CPACK_PACKAGE_VENDOR "OrvServer team")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DESCRIPTION
"libOrvServer.so is loaded by the server of a model-based design tool and
answers its browser client: property-page controls, link information and
model explorer nodes as JSON, and diagrams as SVG with link markers.
The package also holds a host emulator library with its headers and the
host interface headers (CMake package OrvServer, pkg-config orvserver), the
orv-host tool that runs any agent on a model file, the web client, an
example model and the documentation.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "OrvServer team <team@orvserver.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(ORV_DEB_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ORV_DEB_ARCH})
endif()
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/OrvCPackProject.cmake)
include(CPack)
