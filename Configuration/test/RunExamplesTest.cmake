# Installs the built library into a scratch prefix, then builds the examples against it, as a
# separate project, and runs them through their run-examples target.
include(${CMAKE_CURRENT_LIST_DIR}/InstallForTest.cmake)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} "-DCMAKE_C_FLAGS=${FLAGS}" "-DCMAKE_CXX_FLAGS=${FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --target run-examples)
