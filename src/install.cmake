# cmake --install: headers, both libraries, the CMake package (find_package(qlmjp)) and pkg-config files.
include(CMakePackageConfigHelpers)

install(TARGETS qlmcore qlmjp EXPORT qlmjp-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${QLMJP_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${QLMJP_CODEC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qlmjp)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qlmjp)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qlmjp-config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/qlmjp-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qlmjp-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qlmjp-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/qlmjp-config-version.cmake DESTINATION ${package_dir})
install(EXPORT qlmjp-targets NAMESPACE qlmjp:: DESTINATION ${package_dir})

# The prefix is told relative to the file, so that the installed tree can be moved.
file(RELATIVE_PATH QLMJP_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/qlmjp.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qlmjp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qlmjp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
