# Where `cmake --install` puts things, relative to the install prefix, and
# the one path between them that the installed programs carry.
#
# Every directory here is relative, so the same layout holds under /usr,
# /usr/local or a DESTDIR, and nothing installed names the prefix.

# Libraries go to the Debian multiarch directory of the code built, whatever
# the prefix: lib/x86_64-linux-gnu, or lib/i386-linux-gnu for the i386 build
# (whose compiler is the 64-bit one run with -m32, so CMake cannot tell).
if(ORV_M32)
  set(ORV_MULTIARCH i386-linux-gnu)
  set(ORV_DEB_ARCH i386)
else()
  set(ORV_MULTIARCH ${CMAKE_LIBRARY_ARCHITECTURE})
  set(ORV_DEB_ARCH "")  # CPack asks dpkg for the machine's architecture
endif()
# A cached "lib" is GNUInstallDirs' own choice for a prefix other than /usr
# (made in a build directory configured before this rule), not a person's.
if(ORV_MULTIARCH AND (NOT DEFINED CACHE{CMAKE_INSTALL_LIBDIR} OR "$CACHE{CMAKE_INSTALL_LIBDIR}" STREQUAL "lib"))
  set(CMAKE_INSTALL_LIBDIR lib/${ORV_MULTIARCH} CACHE PATH "Object code libraries (LIBDIR)" FORCE)
endif()
# The documentation belongs to the tools package and is named after it (the
# default is PROJECT_NAME).
if(NOT CMAKE_INSTALL_DOCDIR)
  set(CMAKE_INSTALL_DOCDIR share/doc/orvserver-tools)
endif()
# Install components, one Debian package each (OrvInstall.cmake):
#   plugin  the plug-in alone, co-installable for i386 and amd64
#   tools   orv-host, the emulator library, the web client, the example
#           model, the documentation and the manual page
#   dev     the host and emulator headers, the CMake package, orvserver.pc
# A rule that names none belongs to the tools.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tools)
include(GNUInstallDirs)

foreach(dir IN ITEMS BINDIR LIBDIR INCLUDEDIR DATADIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${dir} must be relative to the prefix, "
                        "since orv-host finds its files relative to itself")
  endif()
endforeach()

# The plug-in's own directory, where a host looks for plug-ins; the emulator
# library sits beside it.
set(ORV_PLUGIN_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/orvserver)
# Headers are included as "host/..." and "emulator/...".
set(ORV_INCLUDE_INSTALL_DIR ${CMAKE_INSTALL_INCLUDEDIR}/orvserver)
# The web client and the example model.
set(ORV_DATA_INSTALL_DIR ${CMAKE_INSTALL_DATADIR}/orvserver)
set(ORV_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvServer)

# From bin/ to the plug-in directory (../lib/<multiarch>/orvserver): the
# RUNPATH of orv-host and its default plug-in location.
file(RELATIVE_PATH ORV_PLUGIN_DIR_FROM_BINDIR /${CMAKE_INSTALL_BINDIR} /${ORV_PLUGIN_INSTALL_DIR})
