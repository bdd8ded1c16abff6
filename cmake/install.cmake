# Install rules, the CMake package (find_package(tovrel) -> tovrel::tovrel)
# and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS tovrel EXPORT tovrelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tovrelTargets NAMESPACE tovrel::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovrel)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tovrelConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tovrelConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovrel)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tovrelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tovrelConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tovrelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovrel)

# The pkg-config file finds its prefix from where it lies (${pcfiledir}), so
# `cmake --install build --prefix DIR` and a package unpacked anywhere work
# without editing it. Absolute install directories stay absolute.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(TOVREL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(TOVREL_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(TOVREL_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH _tovrel_pc_up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(REGEX REPLACE "/$" "" _tovrel_pc_up "${_tovrel_pc_up}")
  set(TOVREL_PC_PREFIX "\${pcfiledir}/${_tovrel_pc_up}")
  set(TOVREL_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(TOVREL_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/tovrel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tovrel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tovrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# `cpack -G DEB` in a build directory: one Debian package of the library, its
# header, the CMake and pkg-config files and (when built) the tool.
set(CPACK_PACKAGE_NAME tovrel)
set(CPACK_PACKAGE_VENDOR "tovrel")
set(CPACK_PACKAGE_CONTACT "tovrel developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Texture warping and area-weighted rectangle scaling for packed video formats")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
if(TARGET tovrel_tool)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libpng16-16")
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6")
endif()
include(CPack)
