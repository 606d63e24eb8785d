# Debian packages by CPack: libpixmill0.1 (the shared library) and libpixmill-dev. Called by tools/package.sh, which sets
# prefix and hardening. A part that comes later adds a component, its package name, text and dependencies.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "libpixmill maintainers <maintainers@libpixmill.example>" CACHE STRING "Packages' maintainer")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(PIXMILL_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(PIXMILL_RUNTIME libpixmill${PIXMILL_SOVERSION})
set(PIXMILL_DEBIAN ${PROJECT_SOURCE_DIR}/packaging/debian)
set(PIXMILL_DEBIAN_WORK ${PROJECT_BINARY_DIR}/debian)
set(PIXMILL_WHAT "Planar pictures, a live detail engine, brush masks, edge-aware filters,\ncurves and tables, with the same bits on every processor.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${PIXMILL_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "${PIXMILL_WHAT}\nThis package holds the shared library.")
if(PIXMILL_WITH_SOLVER) # the solver takes any BLAS, so none is linked by name
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libopenblas0-pthread)
endif()
file(CONFIGURE OUTPUT ${PIXMILL_DEBIAN_WORK}/shlibs @ONLY
  CONTENT "libpixmill ${PIXMILL_SOVERSION} ${PIXMILL_RUNTIME} (>= ${PROJECT_VERSION})\n")
configure_file(${PIXMILL_DEBIAN}/triggers ${PIXMILL_DEBIAN_WORK}/triggers COPYONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PIXMILL_DEBIAN_WORK}/shlibs ${PIXMILL_DEBIAN_WORK}/triggers)
install(FILES ${PIXMILL_DEBIAN}/${PIXMILL_RUNTIME}.lintian-overrides
  DESTINATION share/lintian/overrides RENAME ${PIXMILL_RUNTIME} COMPONENT runtime)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libpixmill-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${PIXMILL_RUNTIME} (= ${PROJECT_VERSION}), libopencv-core-dev, libopencv-imgproc-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION
  "${PIXMILL_WHAT}\nThis package holds headers, CMake package and pkg-config file.")

# Each package brings licence and changelog.
string(TIMESTAMP PIXMILL_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PIXMILL_DEBIAN}/changelog.in ${PIXMILL_DEBIAN_WORK}/changelog @ONLY)
execute_process(COMMAND gzip -9nkf ${PIXMILL_DEBIAN_WORK}/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(component RUNTIME DEV)
  string(TOLOWER ${component} name)
  install(FILES ${PIXMILL_DEBIAN}/copyright ${PIXMILL_DEBIAN_WORK}/changelog.gz
    DESTINATION share/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME} COMPONENT ${name})
endforeach()

include(CPack)
