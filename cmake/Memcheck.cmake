# orvandel_add_memcheck(NAME target [args...]) registers a test, labelled "memcheck", that runs
# the target under Valgrind memcheck: any memory error, or any definite or indirect leak, fails
# it. Only in a build with ORVANDEL_MEMCHECK (plain, without sanitizers); `./build.sh memcheck`
# runs them. Each program runs once as a whole, since starting Valgrind per test case is slow.
function(orvandel_add_memcheck name target)
    if(NOT ORVANDEL_MEMCHECK)
        return()
    endif()
    add_test(NAME Memcheck.${name}
        COMMAND ${ORVANDEL_VALGRIND} --error-exitcode=99 --leak-check=full
            --errors-for-leak-kinds=definite,indirect --show-leak-kinds=definite,indirect
            --suppressions=${PROJECT_SOURCE_DIR}/cmake/valgrind.supp
            $<TARGET_FILE:${target}> ${ARGN})
    set_tests_properties(Memcheck.${name} PROPERTIES LABELS memcheck TIMEOUT 3000)
endfunction()
