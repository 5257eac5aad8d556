# Installs the built library into a scratch prefix, then builds and runs a consumer against it
# twice: through the CMake package and through pkg-config.
include(${CMAKE_CURRENT_LIST_DIR}/../InstallForTest.cmake)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)

find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs orvandel-configuration
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know orvandel-configuration")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS}")
run(c++ -std=c++17 ${extra} ${SOURCE_DIR}/consumer.cpp ${flags} -Wl,-rpath,${prefix}/lib
    -o ${WORK_DIR}/pkg-config-consumer)
run(${WORK_DIR}/pkg-config-consumer)
