# Debian packages through CPack: `cpack -G DEB` in a configured and built tree writes
#   libtessel0     the shared library (Runtime component)
#   libtessel-dev  headers, the libTessel.so link, CMake and pkg-config files
#                  (Development component)
# The packages install into /usr, and the install rules put the library into
# CMAKE_INSTALL_LIBDIR as GNUInstallDirs computed it at configure time, so a tree
# meant for packaging is configured with -DCMAKE_INSTALL_PREFIX=/usr (which gives the
# multiarch libdir, e.g. lib/x86_64-linux-gnu). packaging/cpack-project.cmake stops
# cpack on a tree configured for another prefix.

set(CPACK_PACKAGE_NAME tessel)
set(CPACK_PACKAGE_VENDOR "Tessel maintainers")
set(CPACK_PACKAGE_CONTACT "Tessel maintainers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The tree may be RelWithDebInfo; the packaged library is stripped like any Debian binary.
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/cpack-project.cmake)
# Read by that file: the prefix the install rules were made for.
set(CPACK_TESSEL_CONFIGURED_PREFIX ${CMAKE_INSTALL_PREFIX})

# One package per install component; anything installed without a component (tests,
# examples) stays out.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

# Runtime: its dependencies come from dpkg-shlibdeps (libxml2, libc6, libstdc++6,
# libgcc-s1); the shlibs file it carries lets other packages' dpkg-shlibdeps find it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtessel0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "C++ library binding data structures to XML - runtime
Tessel binds application structures to XML documents over libxml2.
This package holds the shared library.")

# Development: pinned to the runtime package of the same build, plus the libxml2
# headers that Tessel's public headers include.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtessel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtessel0 (= ${PROJECT_VERSION}), libxml2-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "C++ library binding data structures to XML - development files
Tessel binds application structures to XML documents over libxml2.
This package holds the headers, the libTessel.so link, the CMake package
(find_package(Tessel), target Tessel::Tessel) and the pkg-config file (tessel).")

include(CPack)
