# Run by ctest (included by the test include files of tests/CMakeLists.txt, in both ways of
# running): how a test is weighed and whether it is on the critical path.
#
# TW_COSTS is the program's list of suite=cost (tw_test's COST), TW_CRITICAL its tests named by
# CRITICAL; both are set by the includer.

# The weight of the test's suite ("" when it has none) and whether the test is on the critical
# path (TRUE or FALSE). A suite may come with an instantiation's prefix ("Prefix/Suite.Test").
function(tw_test_weight test cost_out critical_out)
    set(cost "")
    foreach(weight IN LISTS TW_COSTS)
        string(REPLACE "=" ";" weight "${weight}")
        list(GET weight 0 suite)
        if(test MATCHES "^([^/]+/)?${suite}\\.")
            list(GET weight 1 cost)
        endif()
    endforeach()
    # ctest's scripts run without IN_LIST.
    list(FIND TW_CRITICAL "${test}" index)
    set(${cost_out} "${cost}" PARENT_SCOPE)
    if(index EQUAL -1)
        set(${critical_out} FALSE PARENT_SCOPE)
    else()
        set(${critical_out} TRUE PARENT_SCOPE)
    endif()
endfunction()

# Gives a ctest test its weight, and the ordinary niceness when it is on the critical path (the
# others run niced: TW_TEST_NICE in tests/test_env.sh.in).
function(tw_set_test_weight name cost critical)
    if(cost)
        set_tests_properties("${name}" PROPERTIES COST "${cost}")
    endif()
    if(critical)
        set_tests_properties("${name}" PROPERTIES ENVIRONMENT TW_TEST_NICE=0)
    endif()
endfunction()
