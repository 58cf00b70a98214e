# Install rules and the CMake package, so that another project can find_package(RoVision) and
# link RoVision::RoVision.
include(CMakePackageConfigHelpers)

install(TARGETS RoPlatform RoVision EXPORT RoVisionTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Public headers only: private ones end in Impl.h or Private.h.
foreach(_dir zApi zVision TyApi TyVision)
  install(DIRECTORY platform/${_dir} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*Impl.h" EXCLUDE PATTERN "*Private.h" EXCLUDE)
endforeach()
install(DIRECTORY RoVision DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "*Impl.h" EXCLUDE PATTERN "*Private.h" EXCLUDE)

set(_ro_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/RoVision)
install(EXPORT RoVisionTargets NAMESPACE RoVision:: DESTINATION ${_ro_cmake_dir})
configure_package_config_file(cmake/RoVisionConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/RoVisionConfig.cmake INSTALL_DESTINATION ${_ro_cmake_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/RoVisionConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/RoVisionConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/RoVisionConfigVersion.cmake DESTINATION ${_ro_cmake_dir})
