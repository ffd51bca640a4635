# Installs the CMake package, so that `find_package(qorROS2)` gives the namespaced targets
# qor::ros2, qor::ros2_messages and qor::core.
include(CMakePackageConfigHelpers)

set(QOR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorROS2)

install(EXPORT qorROS2Targets
  NAMESPACE qor::
  FILE qorROS2Targets.cmake
  DESTINATION ${QOR_PACKAGE_DIR})

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/qorROS2Config.cmake.in
  ${PROJECT_BINARY_DIR}/qorROS2Config.cmake
  INSTALL_DESTINATION ${QOR_PACKAGE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/qorROS2ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)

install(FILES
  ${PROJECT_BINARY_DIR}/qorROS2Config.cmake
  ${PROJECT_BINARY_DIR}/qorROS2ConfigVersion.cmake
  DESTINATION ${QOR_PACKAGE_DIR})
