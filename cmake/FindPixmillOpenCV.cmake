# Finds OpenCV's core and imgproc, and nothing else of it: through OpenCV's own CMake package where that is installed,
# else by header and library (Debian's libopencv-core-dev and libopencv-imgproc-dev come without the package file).
#
#   PixmillOpenCV::core, PixmillOpenCV::imgproc             the imported targets
#   PixmillOpenCV_FOUND, PixmillOpenCV_VERSION
#   PixmillOpenCV_INCLUDE_DIR, PixmillOpenCV_LIBRARY_DIR    for the .pc file
function(pixmill_opencv_package include_dir library_dir) # in a scope of its own: OpenCV_LIBS and the like are the host's
  if(NOT TARGET opencv_core OR NOT TARGET opencv_imgproc)
    find_package(OpenCV 4 QUIET CONFIG COMPONENTS core imgproc)
  endif()
  if(TARGET opencv_core AND TARGET opencv_imgproc)
    get_target_property(includes opencv_core INTERFACE_INCLUDE_DIRECTORIES)
    get_target_property(library opencv_core LOCATION)
    get_filename_component(libraries "${library}" DIRECTORY)
    set(${include_dir} ${includes} PARENT_SCOPE)
    set(${library_dir} ${libraries} PARENT_SCOPE)
  endif()
endfunction()
pixmill_opencv_package(PIXMILL_OPENCV_INCLUDES PIXMILL_OPENCV_LIBRARIES)

find_path(PixmillOpenCV_INCLUDE_DIR NAMES opencv2/core/version.hpp
  HINTS ${PIXMILL_OPENCV_INCLUDES} PATH_SUFFIXES opencv4)
find_library(PixmillOpenCV_core_LIBRARY NAMES opencv_core HINTS ${PIXMILL_OPENCV_LIBRARIES})
find_library(PixmillOpenCV_imgproc_LIBRARY NAMES opencv_imgproc HINTS ${PIXMILL_OPENCV_LIBRARIES})
mark_as_advanced(PixmillOpenCV_INCLUDE_DIR PixmillOpenCV_core_LIBRARY PixmillOpenCV_imgproc_LIBRARY)

if(EXISTS "${PixmillOpenCV_INCLUDE_DIR}/opencv2/core/version.hpp")
  file(STRINGS "${PixmillOpenCV_INCLUDE_DIR}/opencv2/core/version.hpp" PixmillOpenCV_VERSION
    REGEX "#define CV_VERSION_(MAJOR|MINOR|REVISION) ")
  list(TRANSFORM PixmillOpenCV_VERSION REPLACE "[^0-9]" "")
  string(REPLACE ";" "." PixmillOpenCV_VERSION "${PixmillOpenCV_VERSION}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(PixmillOpenCV
  REQUIRED_VARS PixmillOpenCV_core_LIBRARY PixmillOpenCV_imgproc_LIBRARY PixmillOpenCV_INCLUDE_DIR
  VERSION_VAR PixmillOpenCV_VERSION
  REASON_FAILURE_MESSAGE "on Debian and Ubuntu: apt-get install libopencv-core-dev libopencv-imgproc-dev")

if(PixmillOpenCV_FOUND)
  get_filename_component(PixmillOpenCV_LIBRARY_DIR "${PixmillOpenCV_core_LIBRARY}" DIRECTORY)
  foreach(module core imgproc)
    if(NOT TARGET PixmillOpenCV::${module})
      add_library(PixmillOpenCV::${module} INTERFACE IMPORTED)
      if(TARGET opencv_${module})
        target_link_libraries(PixmillOpenCV::${module} INTERFACE opencv_${module})
      else()
        target_link_libraries(PixmillOpenCV::${module} INTERFACE ${PixmillOpenCV_${module}_LIBRARY})
        target_include_directories(PixmillOpenCV::${module} INTERFACE ${PixmillOpenCV_INCLUDE_DIR})
      endif()
    endif()
  endforeach()
endif()
