include(CMakePackageConfigHelpers)

install(TARGETS qorjob EXPORT qorjob
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The headers keep their rooms, so that an #include reads the same inside the project and outside.
install(FILES qorjob.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorjob)
install(DIRECTORY job data report task context platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorjob
    FILES_MATCHING PATTERN "*.h"
    PATTERN builtin EXCLUDE)
if(QORJOB_PLATFORM STREQUAL "qorjob_builtin")
    install(DIRECTORY platform/builtin DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorjob/platform
        FILES_MATCHING PATTERN "*.h"
        PATTERN catalogue EXCLUDE)
endif()

# The package is the exported target and its version: the library has no dependency that its users need to find.
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/qorjob)
install(EXPORT qorjob NAMESPACE qorjob:: FILE qorjobConfig.cmake DESTINATION ${packageDir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorjobConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorjobConfigVersion.cmake DESTINATION ${packageDir})
