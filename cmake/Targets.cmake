include(GoogleTest OPTIONAL)

# vesta_library(NAME SOURCES file... LINK target...): a static library of one folder. It sees only
# what it links, so the build itself keeps the layers apart.
function(vesta_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
endfunction()

# vesta_test(NAME SOURCES file... LINK target... [TIMEOUT seconds]): one test program; every test of
# it is a ctest entry. The sources are remembered, so that a test file that nobody registered fails
# the configuration (see tests/CMakeLists.txt).
function(vesta_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}."
                         PROPERTIES TIMEOUT ${ARG_TIMEOUT})
    foreach(source ${ARG_SOURCES})
        get_filename_component(path ${source} ABSOLUTE)
        set_property(GLOBAL APPEND PROPERTY VESTA_TEST_SOURCES ${path})
    endforeach()
endfunction()
