# Read by cpack before each generator (CPACK_PROJECT_CONFIG_FILE).
# A Debian package installs into /usr, but the install rules place the library in the
# libdir GNUInstallDirs chose for the configured prefix: for /usr/local that is plain
# lib, not the multiarch directory a Debian library belongs in. Refuse to package such
# a tree rather than ship the library in the wrong place.
if(CPACK_GENERATOR STREQUAL "DEB" AND NOT CPACK_TESSEL_CONFIGURED_PREFIX MATCHES "^/usr/?$")
  message(FATAL_ERROR
    "Debian packages need a tree configured for /usr, this one is for "
    "'${CPACK_TESSEL_CONFIGURED_PREFIX}': reconfigure with -DCMAKE_INSTALL_PREFIX=/usr")
endif()
