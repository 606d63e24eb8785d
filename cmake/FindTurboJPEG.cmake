# Finds libjpeg-turbo's own interface, which comes without a package file for CMake on Debian 12.
#
#   TurboJPEG::TurboJPEG   the imported target
#   TurboJPEG_FOUND        whether header and library were found
find_path(TurboJPEG_INCLUDE_DIR NAMES turbojpeg.h)
find_library(TurboJPEG_LIBRARY NAMES turbojpeg)
mark_as_advanced(TurboJPEG_INCLUDE_DIR TurboJPEG_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(TurboJPEG
  REQUIRED_VARS TurboJPEG_LIBRARY TurboJPEG_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian and Ubuntu: apt-get install libturbojpeg0-dev")

if(TurboJPEG_FOUND AND NOT TARGET TurboJPEG::TurboJPEG)
  add_library(TurboJPEG::TurboJPEG UNKNOWN IMPORTED)
  set_target_properties(TurboJPEG::TurboJPEG PROPERTIES
    IMPORTED_LOCATION "${TurboJPEG_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TurboJPEG_INCLUDE_DIR}")
endif()
