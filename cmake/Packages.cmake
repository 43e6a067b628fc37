# The Debian packages: tavik, and libtavik-dev for authors of host applications. packaging/deb builds
# them; the components are those of cmake/Install.cmake.
set(TAVIK_PACKAGE_MAINTAINER "TavikCmd maintainers <maintainers@tavik.invalid>" CACHE STRING
  "Who answers for the packages: NAME <ADDRESS>")

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL tavik libtavik-dev)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/FinishPackages.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TAVIK_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_TAVIK_PACKAGE_NAME tavik)
set(CPACK_DEBIAN_TAVIK_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TAVIK_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/installed/lib)
# What a package of a host application that links the libraries has to depend on.
configure_file(packaging/shlibs.in ${CMAKE_BINARY_DIR}/installed/shlibs @ONLY)
set(CPACK_DEBIAN_TAVIK_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/installed/shlibs)
# Feeds come by https.
set(CPACK_DEBIAN_TAVIK_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_TAVIK_DESCRIPTION "manager of extensions for desktop applications
TavikCmd installs, lists, switches, updates and removes extensions (.qpk
packages), for one user or for all users of the machine. An install is done or
has not happened, also when the power fails in its middle.

With it come tavik, its front end for people, scripts and administrators; qpk,
which makes packages and update feeds; and vellctl, which fills the installer
database.")

set(CPACK_DEBIAN_LIBTAVIK-DEV_PACKAGE_NAME libtavik-dev)
set(CPACK_DEBIAN_LIBTAVIK-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBTAVIK-DEV_PACKAGE_DEPENDS "tavik (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBTAVIK-DEV_DESCRIPTION "manager of extensions for desktop applications (development)
Headers, a pkg-config file and a CMake package for applications that manage
their extensions through the libraries of TavikCmd. The page
docs/c-interface.md in /usr/share/doc/tavik has a complete program.")

include(CPack)
