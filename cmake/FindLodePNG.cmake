# Finds Debian's liblodepng-dev and defines the imported target LodePNG::LodePNG.
find_path(LodePNG_INCLUDE_DIR lodepng.h)
find_library(LodePNG_LIBRARY NAMES lodepng)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LodePNG REQUIRED_VARS LodePNG_LIBRARY LodePNG_INCLUDE_DIR)
if(LodePNG_FOUND AND NOT TARGET LodePNG::LodePNG)
  add_library(LodePNG::LodePNG UNKNOWN IMPORTED)
  set_target_properties(LodePNG::LodePNG PROPERTIES
    IMPORTED_LOCATION "${LodePNG_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LodePNG_INCLUDE_DIR}")
endif()
mark_as_advanced(LodePNG_INCLUDE_DIR LodePNG_LIBRARY)
