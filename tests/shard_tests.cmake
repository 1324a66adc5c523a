# Run by ctest (a test include file, see tw_test_program in tests/CMakeLists.txt): the tests of
# one program, with its short tests in shards of TW_SHARD_SIZE run in one process each.
#
# Set by the caller: TW_PROGRAM (the program's file), TW_NAME (its target name), TW_LAUNCHER,
# TW_WORKING_DIR, TW_LIST_FILE (where the program's list of tests is kept), TW_SHARD_SIZE and
# TW_ALONE (a regular expression); and the weights, with tests/test_weights.cmake included.
#
# A test runs alone, as in the other builds, when its suite has a weight (the long ones: they
# must be free to start first), when it is on the critical path, or when its name matches
# TW_ALONE (tests that a run may leave out with ctest -E). The others go in shards in the order
# the program lists them, named <program>.shard<N>; a shard fails when any of its tests fails,
# and its output names the test. A test skipped in a shard shows in the shard's output only.
# (GoogleTest's names are identifiers joined by '.' and '/': none holds the ':' that separates
# the filter's names or the '-' that starts the ones it leaves out.)
if(NOT EXISTS "${TW_PROGRAM}")
    add_test("${TW_NAME}_NOT_BUILT" "${TW_NAME}_NOT_BUILT")
    return()
endif()
if(NOT EXISTS "${TW_LIST_FILE}" OR NOT "${TW_LIST_FILE}" IS_NEWER_THAN "${TW_PROGRAM}")
    execute_process(COMMAND "${TW_LAUNCHER}" "${TW_PROGRAM}" --gtest_list_tests
        WORKING_DIRECTORY "${TW_WORKING_DIR}" TIMEOUT 60
        OUTPUT_VARIABLE listed RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${TW_PROGRAM} --gtest_list_tests failed (${status}):\n${listed}")
    endif()
    # "Suite." lines, then "  Test" lines; either may end in a comment (a type or a value).
    string(REPLACE ";" "," listed "${listed}")
    string(REPLACE "\n" ";" lines "${listed}")
    set(names "")
    set(suite "")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "  #.*" "" line "${line}")
        if(line MATCHES "^([^ ]+\\.)$")
            set(suite "${CMAKE_MATCH_1}")
        elseif(line MATCHES "^  ([^ ]+)$" AND NOT suite STREQUAL "")
            string(APPEND names "${suite}${CMAKE_MATCH_1}\n")
        endif()
    endforeach()
    file(WRITE "${TW_LIST_FILE}" "${names}")
endif()
file(STRINGS "${TW_LIST_FILE}" names)

set(shard "")
set(count 0)
set(shards 0)
macro(tw_add_shard)
    if(NOT shard STREQUAL "")
        math(EXPR shards "${shards} + 1")
        add_test("${TW_NAME}.shard${shards}" "${TW_LAUNCHER}" "${TW_PROGRAM}"
            "--gtest_filter=${shard}")
        set_tests_properties("${TW_NAME}.shard${shards}" PROPERTIES
            WORKING_DIRECTORY "${TW_WORKING_DIR}")
        set(shard "")
        set(count 0)
    endif()
endmacro()
foreach(test IN LISTS names)
    tw_test_weight("${test}" cost critical)
    if(cost OR critical OR (NOT TW_ALONE STREQUAL "" AND test MATCHES "${TW_ALONE}"))
        add_test("${test}" "${TW_LAUNCHER}" "${TW_PROGRAM}" "--gtest_filter=${test}")
        set_tests_properties("${test}" PROPERTIES WORKING_DIRECTORY "${TW_WORKING_DIR}"
            SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
        tw_set_test_weight("${test}" "${cost}" ${critical})
        continue()
    endif()
    if(shard STREQUAL "")
        set(shard "${test}")
    else()
        string(APPEND shard ":${test}")
    endif()
    math(EXPR count "${count} + 1")
    if(count EQUAL TW_SHARD_SIZE)
        tw_add_shard()
    endif()
endforeach()
tw_add_shard()
