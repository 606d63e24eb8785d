# Installs the build into a fresh prefix and builds and runs the consumer against it, by find_package and by pkg-config.
# cmake -DBUILD=<build tree> -DSOURCE=<this folder> -DCOMPILER=<c++> -P run.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

set(WORK ${BUILD}/consumer)
file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)

file(GLOB_RECURSE PC ${WORK}/prefix/pixmill.pc)
get_filename_component(PC_DIR ${PC} DIRECTORY)
get_filename_component(LIB_DIR ${PC_DIR} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${PC_DIR})
execute_process(COMMAND pkg-config --cflags --libs pixmill OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${COMPILER} -std=c++17 ${SOURCE}/main.cpp -o ${WORK}/by-pkg-config ${flags} -Wl,-rpath,${LIB_DIR})
run(${WORK}/by-pkg-config)
