include(CMakePackageConfigHelpers)

install(TARGETS pixmill EXPORT pixmillTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(TARGET pixmill_develop)
  install(TARGETS pixmill_develop EXPORT pixmillTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

set(PIXMILL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/pixmill)

# Picture files: an export set of its own, so that a package may go without them.
if(TARGET pixmill_photo)
  install(TARGETS pixmill_photo EXPORT pixmillPhotoTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT photo
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT photo NAMELINK_COMPONENT photo-dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT photo-dev
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT photo-dev)
  install(EXPORT pixmillPhotoTargets NAMESPACE pixmill:: DESTINATION ${PIXMILL_CMAKE_DIR} COMPONENT photo-dev)
  install(FILES cmake/FindLcms2.cmake cmake/FindOIIO.cmake DESTINATION ${PIXMILL_CMAKE_DIR} COMPONENT photo-dev)
endif()

install(EXPORT pixmillTargets NAMESPACE pixmill:: DESTINATION ${PIXMILL_CMAKE_DIR})
configure_package_config_file(cmake/pixmillConfig.cmake.in ${PROJECT_BINARY_DIR}/pixmillConfig.cmake
  INSTALL_DESTINATION ${PIXMILL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pixmillConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pixmillConfig.cmake ${PROJECT_BINARY_DIR}/pixmillConfigVersion.cmake
  cmake/FindMUMPSSeq.cmake
  DESTINATION ${PIXMILL_CMAKE_DIR})

# The prefix is found from the .pc file's own place, so that the installed tree can be moved.
file(RELATIVE_PATH PIXMILL_PC_UP /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(PIXMILL_PC_PREFIX "\${pcfiledir}/${PIXMILL_PC_UP}")
configure_file(cmake/pixmill.pc.in ${PROJECT_BINARY_DIR}/pixmill.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pixmill.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
