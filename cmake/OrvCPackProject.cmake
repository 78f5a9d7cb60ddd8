# Read by cpack when it packages a build. dpkg-shlibdeps computes the
# dependencies from the libraries of the machine's architecture unless told
# otherwise; the i386 package must depend on libc6:i386 and libstdc++6:i386
# (found in /usr/lib/i386-linux-gnu), not on the amd64 packages that carry
# 32-bit copies in /usr/lib32.
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
  set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()
# Each package has a synopsis of its own (CPACK_DEBIAN_<COMPONENT>_DESCRIPTION);
# the project's would otherwise be put in front of it.
unset(CPACK_PACKAGE_DESCRIPTION_SUMMARY)
