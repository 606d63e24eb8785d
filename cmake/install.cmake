include(CMakePackageConfigHelpers)

install(TARGETS pixmill EXPORT pixmillTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILE_SET generated DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

set(PIXMILL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/pixmill)
install(EXPORT pixmillTargets NAMESPACE pixmill:: DESTINATION ${PIXMILL_CMAKE_DIR} COMPONENT dev)

# The sisters: an export set each, so that a package may go without them.
foreach(sister IN ITEMS develop photo)
  if(NOT TARGET pixmill_${sister})
    continue()
  endif()
  install(TARGETS pixmill_${sister} EXPORT pixmill_${sister}Targets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${sister}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${sister} NAMELINK_COMPONENT ${sister}-dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${sister}-dev
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${sister}-dev)
  install(EXPORT pixmill_${sister}Targets NAMESPACE pixmill:: DESTINATION ${PIXMILL_CMAKE_DIR}
    COMPONENT ${sister}-dev)
endforeach()
if(TARGET pixmill_photo)
  install(FILES cmake/FindLcms2.cmake cmake/FindOIIO.cmake cmake/FindTurboJPEG.cmake
    DESTINATION ${PIXMILL_CMAKE_DIR} COMPONENT photo-dev)
endif()

configure_package_config_file(cmake/pixmillConfig.cmake.in ${PROJECT_BINARY_DIR}/pixmillConfig.cmake
  INSTALL_DESTINATION ${PIXMILL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pixmillConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pixmillConfig.cmake ${PROJECT_BINARY_DIR}/pixmillConfigVersion.cmake
  cmake/FindPixmillOpenCV.cmake cmake/FindMUMPSSeq.cmake
  DESTINATION ${PIXMILL_CMAKE_DIR} COMPONENT dev)

# The .pc file. Its prefix is found from its own place, so that the installed tree can be moved. OpenCV's modules are
# named, since `Requires: opencv4` brings all of them; a host's own calls need core alone, and -isystem keeps its
# headers' warnings away.
file(RELATIVE_PATH PIXMILL_PC_UP /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(PIXMILL_PC_PREFIX "\${pcfiledir}/${PIXMILL_PC_UP}")
set(PIXMILL_PC_CFLAGS "-isystem ${PixmillOpenCV_INCLUDE_DIR}")
if(NOT BUILD_SHARED_LIBS)
  string(PREPEND PIXMILL_PC_CFLAGS "-DPIXMILL_STATIC ")
endif()
set(PIXMILL_PC_LIBS "-lopencv_core")
if(NOT PixmillOpenCV_LIBRARY_DIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
  string(PREPEND PIXMILL_PC_LIBS "-L${PixmillOpenCV_LIBRARY_DIR} ")
endif()
# By library, not Requires.private: that would ask for TBB's .pc file where a host links the shared library too.
set(PIXMILL_PC_LIBS_PRIVATE opencv_imgproc tbb ${OpenMP_CXX_LIB_NAMES})
if(PIXMILL_WITH_SOLVER)
  list(APPEND PIXMILL_PC_LIBS_PRIVATE smumps_seq dmumps_seq ${CMAKE_DL_LIBS})
endif()
list(APPEND PIXMILL_PC_LIBS_PRIVATE stdc++ m)
list(TRANSFORM PIXMILL_PC_LIBS_PRIVATE PREPEND "-l")
list(JOIN PIXMILL_PC_LIBS_PRIVATE " " PIXMILL_PC_LIBS_PRIVATE)
configure_file(cmake/pixmill.pc.in ${PROJECT_BINARY_DIR}/pixmill.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pixmill.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
