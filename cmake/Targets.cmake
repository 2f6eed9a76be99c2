include(GoogleTest OPTIONAL)

# What a target may include is what it links. Each library has an include root of its own in the
# build tree, which holds nothing but links to that library's headers: "client/client.h" is found by
# whoever links the library of src/client, and by nobody else. There is no common include path.

# vesta_link_header(ROOT NAME FILE): FILE is included as NAME by those who have ROOT in their path.
function(vesta_link_header root name file)
    get_filename_component(folder ${root}/${name} DIRECTORY)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${file} ${root}/${name} SYMBOLIC)
endfunction()

# vesta_library(NAME SOURCES file... LINK target... [HEADERS header...]): a static library of one
# folder. Its headers are those of the folder, included as "folder/header.h". With HEADERS the folder
# is private, and the public headers are those of platform/include/ostrel, included as
# "ostrel/header.h".
function(vesta_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK;HEADERS" ${ARGN})
    get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    set(root ${PROJECT_BINARY_DIR}/include/${name})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
    if(ARG_HEADERS)
        foreach(header ${ARG_HEADERS})
            vesta_link_header(${root} ostrel/${header}
                              ${PROJECT_SOURCE_DIR}/platform/include/ostrel/${header})
        endforeach()
        vesta_link_header(${root}.private ${folder} ${CMAKE_CURRENT_SOURCE_DIR})
        target_include_directories(${name} PRIVATE ${root}.private)
    else()
        vesta_link_header(${root} ${folder} ${CMAKE_CURRENT_SOURCE_DIR})
    endif()
    target_include_directories(${name} PUBLIC ${root})
endfunction()

# vesta_see_inside(TARGET library...): a test looks at the private headers of these libraries too.
function(vesta_see_inside target)
    foreach(library ${ARGN})
        target_include_directories(${target} PRIVATE ${PROJECT_BINARY_DIR}/include/${library}.private)
    endforeach()
endfunction()

# vesta_test(NAME SOURCES file... LINK target... [INSIDE target...] [STARTS program...]
# [TIMEOUT seconds]): one test program; every test of it is a ctest entry. INSIDE names the libraries
# whose private headers it sees. STARTS names the programs that it runs as processes; of those that
# are targets it gets the path, as VESTAD_PROGRAM for vestad. A cross build leaves a test with STARTS
# out: its tests run under an emulator, which can't start further programs of that processor. It also
# leaves out the test of a library that it does not build. The sources are remembered, so that a test
# file that nobody registered fails the configuration (see tests/CMakeLists.txt).
function(vesta_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK;INSIDE;STARTS" ${ARGN})
    foreach(source ${ARG_SOURCES})
        get_filename_component(path ${source} ABSOLUTE)
        set_property(GLOBAL APPEND PROPERTY VESTA_TEST_SOURCES ${path})
    endforeach()
    if(ARG_STARTS AND CMAKE_CROSSCOMPILING)
        message(STATUS "${name} is left out: it starts ${ARG_STARTS}")
        return()
    endif()
    foreach(library ${ARG_LINK})
        if(CMAKE_CROSSCOMPILING AND NOT TARGET ${library})
            message(STATUS "${name} is left out: ${library} is not built")
            return()
        endif()
    endforeach()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    vesta_see_inside(${name} ${ARG_INSIDE})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}."
                         PROPERTIES TIMEOUT ${ARG_TIMEOUT})
    foreach(program ${ARG_STARTS})
        if(TARGET ${program})
            string(MAKE_C_IDENTIFIER ${program} upper)
            string(TOUPPER ${upper} upper)
            target_compile_definitions(${name} PRIVATE ${upper}_PROGRAM="$<TARGET_FILE:${program}>")
            add_dependencies(${name} ${program})
        endif()
    endforeach()
endfunction()
