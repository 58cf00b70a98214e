# Finds single OpenCV modules from Debian's per-module -dev packages (libopencv-core-dev, ...),
# which ship no CMake package of their own. Defines OpenCV::<module> for each component.
find_path(OpenCVModules_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
set(_ro_cv_vars OpenCVModules_INCLUDE_DIR)
foreach(_module IN LISTS OpenCVModules_FIND_COMPONENTS)
  find_library(OpenCVModules_${_module}_LIBRARY NAMES opencv_${_module})
  list(APPEND _ro_cv_vars OpenCVModules_${_module}_LIBRARY)
  mark_as_advanced(OpenCVModules_${_module}_LIBRARY)
endforeach()
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVModules REQUIRED_VARS ${_ro_cv_vars})
if(OpenCVModules_FOUND)
  foreach(_module IN LISTS OpenCVModules_FIND_COMPONENTS)
    if(NOT TARGET OpenCV::${_module})
      add_library(OpenCV::${_module} UNKNOWN IMPORTED)
      set_target_properties(OpenCV::${_module} PROPERTIES
        IMPORTED_LOCATION "${OpenCVModules_${_module}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCVModules_INCLUDE_DIR}")
    endif()
  endforeach()
endif()
mark_as_advanced(OpenCVModules_INCLUDE_DIR)
