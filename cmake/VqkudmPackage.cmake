# Installs the CMake package so that applications can
#   find_package(vqkudm) and link vqkudm::coreprofile (or vqkudm::core).
include(CMakePackageConfigHelpers)

set(VQKUDM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vqkudm)
install(EXPORT vqkudmTargets NAMESPACE vqkudm:: DESTINATION ${VQKUDM_CMAKE_DIR})
configure_package_config_file(cmake/vqkudmConfig.cmake.in
  ${CMAKE_BINARY_DIR}/vqkudmConfig.cmake INSTALL_DESTINATION ${VQKUDM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vqkudmConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vqkudmConfig.cmake ${CMAKE_BINARY_DIR}/vqkudmConfigVersion.cmake
  DESTINATION ${VQKUDM_CMAKE_DIR})
