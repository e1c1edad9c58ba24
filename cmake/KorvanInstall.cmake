# cmake --install: the library, the public headers, the demo host and the CMake
# package that lets a host program write find_package(Korvan) and link Korvan::korvan.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(korvan_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Korvan)
set_target_properties(korvan PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

install(TARGETS korvan EXPORT KorvanTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/korvan DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS korvan-demo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
set_target_properties(korvan-demo PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(EXPORT KorvanTargets NAMESPACE Korvan:: DESTINATION ${korvan_package_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KorvanConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KorvanConfig.cmake INSTALL_DESTINATION ${korvan_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KorvanConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KorvanConfig.cmake ${PROJECT_BINARY_DIR}/KorvanConfigVersion.cmake
  DESTINATION ${korvan_package_dir})
