# Finds OpenImageIO by header and libraries. Its own package file also asks for its command-line programs, which Debian
# keeps in a package of their own.
#
#   OIIO::OIIO   the imported target
#   OIIO_FOUND   whether header and libraries were found
find_path(OIIO_INCLUDE_DIR NAMES OpenImageIO/imageio.h)
find_library(OIIO_LIBRARY NAMES OpenImageIO)
find_library(OIIO_UTIL_LIBRARY NAMES OpenImageIO_Util)
mark_as_advanced(OIIO_INCLUDE_DIR OIIO_LIBRARY OIIO_UTIL_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OIIO
  REQUIRED_VARS OIIO_LIBRARY OIIO_UTIL_LIBRARY OIIO_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian and Ubuntu: apt-get install libopenimageio-dev")

if(OIIO_FOUND AND NOT TARGET OIIO::OIIO)
  add_library(OIIO::OIIO UNKNOWN IMPORTED)
  set_target_properties(OIIO::OIIO PROPERTIES
    IMPORTED_LOCATION "${OIIO_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${OIIO_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "${OIIO_UTIL_LIBRARY}")
endif()
