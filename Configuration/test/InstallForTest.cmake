# Shared by the tests of the installed package (cmake -P scripts): run() stops the script when a
# command fails, and the library built in BUILD_DIR is installed afresh into ${prefix}, a
# scratch prefix below WORK_DIR.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${ARGN}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
