# Run by cpack after it made the packages (CPACK_POST_BUILD_SCRIPTS): CPack
# cannot write a Multi-Arch field, so the plug-in package is unpacked, given
# "Multi-Arch: same" and packed again with dpkg-deb, with root as the owner
# of every file. The i386 and amd64 plug-in packages can then be installed
# side by side; their shared files (copyright, changelog, overrides) are the
# same bytes on both.
foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name ${deb} NAME)
  if(NOT name MATCHES "^orvserver-plugin_")
    continue()
  endif()
  set(tree ${deb}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${deb} ${tree} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "dpkg-deb could not unpack ${deb}")
  endif()
  file(READ ${tree}/DEBIAN/control control)
  if(NOT control MATCHES "(^|\n)Multi-Arch:")
    string(REGEX REPLACE "(^|\n)(Architecture: [^\n]*\n)" "\\1\\2Multi-Arch: same\n" control "${control}")
    file(WRITE ${tree}/DEBIAN/control "${control}")
  endif()
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${deb}
                  RESULT_VARIABLE status OUTPUT_QUIET)
  file(REMOVE_RECURSE ${tree})
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "dpkg-deb could not pack ${deb}")
  endif()
endforeach()
