# The packaged GoogleTest where there is one for the target, else the package's sources (a cross build has only those).
set(QORJOB_GOOGLETEST_SOURCES /usr/src/googletest CACHE PATH "GoogleTest's source tree")

find_package(GTest QUIET)
if(NOT GTest_FOUND)
    if(NOT EXISTS ${QORJOB_GOOGLETEST_SOURCES}/CMakeLists.txt)
        message(FATAL_ERROR "The tests need GoogleTest: as a package, or its sources in QORJOB_GOOGLETEST_SOURCES. "
            "QORJOB_BUILD_TESTS=OFF builds without them.")
    endif()
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    set(gtest_force_shared_crt ON) # as our own targets, with Microsoft's compilers
    add_subdirectory(${QORJOB_GOOGLETEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
include(GoogleTest)

# qorjob_test(<name> <library under test> <sources>...); QORJOB_TEST_PROPERTIES is for ctest
function(qorjob_test iName iLibrary)
    add_executable(${iName} ${ARGN})
    target_link_libraries(${iName} PRIVATE ${iLibrary} GTest::gtest_main)
    qorjob_warnings(${iName})

    if(NOT MSVC)
        # Most of a test's code runs once, and most of its time would go into optimising it.
        target_compile_options(${iName} PRIVATE -O0)
    endif()

    # The tests of the rooms share the precompiled headers of the first (see qorjob_room).
    if(iLibrary STREQUAL "qorjob_static")
        get_property(first GLOBAL PROPERTY QORJOB_FIRST_TEST)
        if(first)
            target_precompile_headers(${iName} REUSE_FROM ${first})
        else()
            set_property(GLOBAL PROPERTY QORJOB_FIRST_TEST ${iName})
            target_precompile_headers(${iName} PRIVATE <gtest/gtest.h> <functional> <thread> ${PROJECT_SOURCE_DIR}/qorjob.h)
        endif()
    endif()
    # Tests are listed when ctest starts, not while building: a cross-built program can't run here, and one built with
    # ThreadSanitizer may need the set-up that ./dev gives to ctest.
    gtest_discover_tests(${iName} TEST_PREFIX ${iName}. DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${QORJOB_TEST_TIMEOUT} ${QORJOB_TEST_PROPERTIES})
endfunction()
