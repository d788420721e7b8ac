# A room is one object library; the rooms are joined into the shared library and into its static twin.

# A job's life crosses all rooms: optimising across them spares an eighth of its instructions.
option(QORJOB_IPO "Optimise across files, in Release and RelWithDebInfo" ON)
if(QORJOB_IPO)
    include(CheckIPOSupported)
    check_ipo_supported(RESULT QORJOB_IPO_WORKS OUTPUT ignored LANGUAGES CXX)
endif()

function(qorjob_optimise iTarget)
    if(QORJOB_IPO AND QORJOB_IPO_WORKS)
        set_target_properties(${iTarget} PROPERTIES
            INTERPROCEDURAL_OPTIMIZATION_RELEASE ON
            INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ON)
    endif()
endfunction()

function(qorjob_room iName)
    add_library(${iName} OBJECT ${ARGN})
    target_include_directories(${iName} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_definitions(${iName} PRIVATE QORJOB_BUILDING)
    set_target_properties(${iName} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
        # Calls among the rooms stay inside the library; no program may put a function of its own in between.
        target_compile_options(${iName} PRIVATE -fno-semantic-interposition)
    endif()
    qorjob_optimise(${iName})
    qorjob_warnings(${iName})

    # The first room's precompiled headers are those of all. The lint preset builds without, and so sees a missing #include.
    get_property(first GLOBAL PROPERTY QORJOB_FIRST_ROOM)
    if(first)
        target_precompile_headers(${iName} REUSE_FROM ${first})
    else()
        set_property(GLOBAL PROPERTY QORJOB_FIRST_ROOM ${iName})
        target_precompile_headers(${iName} PRIVATE
            <algorithm> <array> <atomic> <map> <memory> <mutex> <string> <vector>
            ${PROJECT_SOURCE_DIR}/platform/QBase.h ${PROJECT_SOURCE_DIR}/platform/Windows.h)
    endif()
endfunction()

function(qorjob_join_rooms iLibrary)
    list(TRANSFORM QORJOB_ROOMS PREPEND qorjob_ OUTPUT_VARIABLE rooms)
    target_link_libraries(${iLibrary} PRIVATE ${rooms} ${QORJOB_PLATFORM} Threads::Threads)
    target_include_directories(${iLibrary} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qorjob>)
    target_compile_features(${iLibrary} PUBLIC cxx_std_20)
    if(NOT WIN32 AND NOT APPLE)
        target_link_options(${iLibrary} PRIVATE -Wl,-Bsymbolic-functions)
        if(NOT QORJOB_SANITIZED)
            # What a platform lacks is missed here, not in each program. A sanitizer's own symbols come with the program.
            target_link_options(${iLibrary} PRIVATE LINKER:--no-undefined)
        endif()
    endif()
    qorjob_optimise(${iLibrary})
endfunction()
