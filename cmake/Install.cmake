# What `cmake --install` puts below any prefix: programs in bin/, libraries and modules in lib/tavik/,
# for host applications headers with package files, and the pages. Every path inside is relative, so
# that the tree can be moved. The components are the packages that packaging/deb makes.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(run COMPONENT tavik)
set(develop COMPONENT libtavik-dev)

install(TARGETS TavikCmdInstalled qpk tavik vellctl RUNTIME DESTINATION bin ${run})
# The last three need no shared library of ours, and find what they load by their own place: below
# /usr the build's run path would only add a folder to be searched.
foreach(program qpk tavik vellctl)
  install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/${program}\")" ${run})
endforeach()

# The names without a version are among what runs: the tool asks for them.
install(TARGETS TavikCoreLibInstalled ZephalMessage4Installed norva_vellInstalled
  EXPORT Tavik LIBRARY DESTINATION ${TAVIK_PRIVATE_LIBDIR} ${run})
install(TARGETS TavikCoreOnline ZephalMessage4Bus
  LIBRARY DESTINATION ${TAVIK_PRIVATE_LIBDIR} ${run})

# Host applications' side.
install(FILES
  platform/include/LibTavikCoreLib.h platform/include/ZephalMessage4.h platform/include/norva_vell.h
  DESTINATION include/tavik ${develop})
install(TARGETS tavik_interfaces EXPORT Tavik)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tavik)
install(EXPORT Tavik NAMESPACE Tavik:: FILE TavikTargets.cmake DESTINATION ${package_folder} ${develop})
configure_package_config_file(packaging/TavikConfig.cmake.in ${CMAKE_BINARY_DIR}/installed/TavikConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/installed/TavikConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_BINARY_DIR}/installed/TavikConfig.cmake ${CMAKE_BINARY_DIR}/installed/TavikConfigVersion.cmake
  DESTINATION ${package_folder} ${develop})

set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TAVIK_PREFIX_FROM_PKGCONFIG /prefix/${pkgconfig_folder} /prefix)
configure_file(packaging/tavik.pc.in ${CMAKE_BINARY_DIR}/installed/tavik.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/installed/tavik.pc DESTINATION ${pkgconfig_folder} ${develop})

# Pages, laid out as in the source tree so that their links hold, and the samples that they work with.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md packaging/copyright
  DESTINATION share/doc/tavik ${run})
install(DIRECTORY docs integrations DESTINATION share/doc/tavik ${run})
install(SCRIPT packaging/DropSourceLinks.cmake ${run})
install(FILES ${CMAKE_BINARY_DIR}/samples/brushes.qpk ${CMAKE_BINARY_DIR}/samples/palettes.qpk
  DESTINATION share/tavik/samples ${run})
install(DIRECTORY samples/products DESTINATION share/tavik/samples ${run})
