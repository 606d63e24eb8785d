# Picture files: a library of its own, as OpenImageIO brings many packages along that the develop library does without.
find_package(OIIO REQUIRED)
find_package(Lcms2 REQUIRED)
find_package(TurboJPEG REQUIRED)

pixmill_add_sister(photo)
target_sources(pixmill_photo
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES
    Photo.h
  PRIVATE
    Photo_read.cpp
    Photo_stream.cpp
    Photo_write.cpp
    detail/exif_block.cpp
    detail/heif_blocks.cpp
    detail/image_resources.cpp
    detail/jpeg_inks.cpp
    detail/photo_blocks.cpp
    detail/photo_colour.cpp
    detail/photo_errors.cpp
    detail/photo_open.cpp
    detail/photo_samples.cpp
    detail/temporary_file.cpp
    detail/tiff_blocks.cpp
    detail/tiff_tags.cpp)
target_link_libraries(pixmill_photo PUBLIC pixmill::develop PRIVATE OIIO::OIIO Lcms2::Lcms2 TurboJPEG::TurboJPEG)
