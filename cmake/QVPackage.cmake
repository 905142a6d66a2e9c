# The CMake package that an outside project finds: find_package(QVSharedSupport CONFIG), target
# QVSharedSupport::QVSharedSupport.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QVSharedSupport)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/QVSharedSupportConfig.cmake.in ${PROJECT_BINARY_DIR}/QVSharedSupportConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QVSharedSupportConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QVSharedSupportConfig.cmake
              ${PROJECT_BINARY_DIR}/QVSharedSupportConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/QVDependencies.cmake
        DESTINATION ${package_dir})
install(EXPORT QVSharedSupportTargets NAMESPACE QVSharedSupport:: DESTINATION ${package_dir})
