# Makes a Debian package of an installation. ./dev package builds one.
set(OX_WP_MAINTAINER "The maintainers <maintainers@ox-wp-plugin.invalid>" CACHE STRING
  "Name and address of the person who maintains the package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT ${OX_WP_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Not a recommendation: only plot draws, and gnuplot brings 140 packages.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnuplot-nox | gnuplot")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "reader plug-in for waveform viewers, and a host for the shell")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"A shared library through which a waveform viewer opens recordings in the
format miniSEED 2: it parses a file, lists its streams and copies their
samples as doubles.
.
ox-wp-host lists, exports and plots recordings through the plug-in, and
checks any plug-in against the rules of the boundary; plotting needs
gnuplot. For authors of viewers there are the header, a guide and examples.")

configure_file(debian-files.cmake.in debian-files.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_BINARY_DIR}/debian-files.cmake)

include(CPack)
