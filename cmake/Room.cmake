# A room is one object library; the rooms are joined into the shared library and into its static twin.

function(qorjob_room iName)
    add_library(${iName} OBJECT ${ARGN})
    target_include_directories(${iName} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_definitions(${iName} PRIVATE QORJOB_BUILDING)
    set_target_properties(${iName} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    qorjob_warnings(${iName})
endfunction()

function(qorjob_join_rooms iLibrary)
    list(TRANSFORM QORJOB_ROOMS PREPEND qorjob_ OUTPUT_VARIABLE rooms)
    target_link_libraries(${iLibrary} PRIVATE ${rooms} ${QORJOB_PLATFORM} Threads::Threads)
    target_include_directories(${iLibrary} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qorjob>)
    target_compile_features(${iLibrary} PUBLIC cxx_std_20)
endfunction()
