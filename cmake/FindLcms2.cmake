# Finds Little CMS 2, which comes without a package file for CMake.
#
#   Lcms2::Lcms2   the imported target
#   Lcms2_FOUND    whether header and library were found
find_path(Lcms2_INCLUDE_DIR NAMES lcms2.h)
find_library(Lcms2_LIBRARY NAMES lcms2)
mark_as_advanced(Lcms2_INCLUDE_DIR Lcms2_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Lcms2
  REQUIRED_VARS Lcms2_LIBRARY Lcms2_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian and Ubuntu: apt-get install liblcms2-dev")

if(Lcms2_FOUND AND NOT TARGET Lcms2::Lcms2)
  add_library(Lcms2::Lcms2 UNKNOWN IMPORTED)
  set_target_properties(Lcms2::Lcms2 PROPERTIES
    IMPORTED_LOCATION "${Lcms2_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Lcms2_INCLUDE_DIR}")
endif()
