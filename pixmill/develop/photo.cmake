# Picture files: a library of its own, as OpenImageIO brings many packages along that the develop library does without.
find_package(OIIO REQUIRED)
find_package(Lcms2 REQUIRED)

add_library(pixmill_photo)
add_library(pixmill::photo ALIAS pixmill_photo)
target_sources(pixmill_photo
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES
    Photo.h
  PRIVATE
    Photo_read.cpp
    Photo_write.cpp
    detail/photo_colour.cpp
    detail/photo_errors.cpp
    detail/photo_open.cpp
    detail/temporary_file.cpp)
target_compile_features(pixmill_photo PUBLIC cxx_std_17)
target_compile_options(pixmill_photo PRIVATE -Wall -Wextra $<$<CONFIG:Release,RelWithDebInfo>:-O3>)
target_compile_definitions(pixmill_photo PRIVATE PIXMILL_DEVELOP_BUILDING)
target_link_libraries(pixmill_photo PUBLIC pixmill::develop PRIVATE OIIO::OIIO Lcms2::Lcms2)
target_include_directories(pixmill_photo INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(pixmill_photo PROPERTIES
  EXPORT_NAME photo
  INSTALL_RPATH $ORIGIN
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  CXX_EXTENSIONS OFF
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  POSITION_INDEPENDENT_CODE ON
  VERIFY_INTERFACE_HEADER_SETS ON)
