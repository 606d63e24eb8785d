# Debian packages by CPack: libpixmill0.1 (the shared library) and libpixmill-dev, the same of develop and photo,
# pixmill, the command, and python3-pixmill. Called by tools/package.sh, which sets prefix and hardening.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "libpixmill maintainers <maintainers@libpixmill.example>" CACHE STRING "Packages' maintainer")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_COMPONENTS_ALL)
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

string(TIMESTAMP PIXMILL_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PIXMILL_DEBIAN}/changelog.in ${PIXMILL_DEBIAN_WORK}/changelog @ONLY)
execute_process(COMMAND gzip -9nkf ${PIXMILL_DEBIAN_WORK}/changelog COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/pixmill ${PROJECT_BINARY_DIR}/pixmill/develop)

# pixmill_package(COMPONENT PACKAGE SECTION TEXT [DEPENDS]): each brings licence and changelog.
macro(pixmill_package component package section text)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} PIXMILL_COMPONENT)
  set(CPACK_DEBIAN_${PIXMILL_COMPONENT}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${PIXMILL_COMPONENT}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${PIXMILL_COMPONENT}_PACKAGE_DEPENDS "${ARGN}")
  set(CPACK_COMPONENT_${PIXMILL_COMPONENT}_DESCRIPTION "${text}")
  install(FILES ${PIXMILL_DEBIAN}/copyright ${PIXMILL_DEBIAN_WORK}/changelog.gz
    DESTINATION share/doc/${package} COMPONENT ${component})
endmacro()

# pixmill_package_library(COMPONENT NAME TEXT [DEPENDS]): the package of a shared library, and what its users' packages
# depend on.
macro(pixmill_package_library component name text)
  set(package ${name}${PIXMILL_SOVERSION})
  pixmill_package(${component} ${package} libs "${text}" ${ARGN})
  set(CPACK_DEBIAN_${PIXMILL_COMPONENT}_PACKAGE_SHLIBDEPS ON)
  set(work ${PIXMILL_DEBIAN_WORK}/${component})
  string(REPLACE - _ file ${name})
  file(CONFIGURE OUTPUT ${work}/shlibs @ONLY
    CONTENT "${file} ${PIXMILL_SOVERSION} ${package} (>= ${PROJECT_VERSION})\n")
  configure_file(${PIXMILL_DEBIAN}/triggers ${work}/triggers COPYONLY)
  set(CPACK_DEBIAN_${PIXMILL_COMPONENT}_PACKAGE_CONTROL_EXTRA ${work}/shlibs ${work}/triggers)
  configure_file(${PIXMILL_DEBIAN}/lintian-overrides.in ${work}/lintian-overrides @ONLY)
  install(FILES ${work}/lintian-overrides DESTINATION share/lintian/overrides RENAME ${package} COMPONENT ${component})
endmacro()

set(PIXMILL_SAME "(= ${PROJECT_VERSION})")
pixmill_package_library(runtime libpixmill "${PIXMILL_WHAT}\nThis package holds the shared library.")
if(PIXMILL_WITH_SOLVER) # the solver takes any BLAS, so none is linked by name
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libopenblas0-pthread)
endif()
pixmill_package(dev libpixmill-dev libdevel "${PIXMILL_WHAT}\nThis package holds headers, CMake package and pkg-config file."
  "${PIXMILL_RUNTIME} ${PIXMILL_SAME}, libopencv-core-dev, libopencv-imgproc-dev")

if(TARGET pixmill_develop)
  set(PIXMILL_WHAT "Photographs developed by a recipe: from packed pixels to packed pixels,\nas a live view or all of it.")
  pixmill_package_library(develop libpixmill-develop "${PIXMILL_WHAT}\nThis package holds the shared library."
    "${PIXMILL_RUNTIME} ${PIXMILL_SAME}")
  pixmill_package(develop-dev libpixmill-develop-dev libdevel "${PIXMILL_WHAT}\nThis package holds the headers."
    "libpixmill-develop${PIXMILL_SOVERSION} ${PIXMILL_SAME}, libpixmill-dev ${PIXMILL_SAME}")
endif()
if(TARGET pixmill_photo)
  set(PIXMILL_WHAT "Picture files read and written for libpixmill's develop library: whole or not\nat all, upright, with their profile and camera values.")
  pixmill_package_library(photo libpixmill-photo "${PIXMILL_WHAT}\nThis package holds the shared library."
    "libpixmill-develop${PIXMILL_SOVERSION} ${PIXMILL_SAME}")
  pixmill_package(photo-dev libpixmill-photo-dev libdevel "${PIXMILL_WHAT}\nThis package holds the headers."
    "libpixmill-photo${PIXMILL_SOVERSION} ${PIXMILL_SAME}, libpixmill-develop-dev ${PIXMILL_SAME}")
  pixmill_package(tool pixmill graphics
    "Develops photographs from file to file\nA batch by a recipe, single filters, comparisons of pictures."
    "libpixmill-photo${PIXMILL_SOVERSION} ${PIXMILL_SAME}")
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
endif()
if(TARGET pixmill_python)
  math(EXPR PIXMILL_NEXT_PYTHON "${Python_VERSION_MINOR} + 1")
  set(PIXMILL_PYTHON_RANGE "python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}~), python3 (<< ${Python_VERSION_MAJOR}.${PIXMILL_NEXT_PYTHON})")
  pixmill_package(python python3-pixmill python
    "Edge-aware filters and photographs developed by a recipe, in Python\nlibpixmill on numpy arrays: filters, tables, planar pictures, masks, the live\ndetail engine, without a copy where rows are dense."
    "${PIXMILL_PYTHON_RANGE}, python3-numpy, ${PIXMILL_RUNTIME} ${PIXMILL_SAME}, libpixmill-develop${PIXMILL_SOVERSION} ${PIXMILL_SAME}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "pixmill, python3-dask, python3-distributed") # for pixmill.dask alone
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PIXMILL_DEBIAN}/python/postinst ${PIXMILL_DEBIAN}/python/prerm)
endif()

include(CPack)
