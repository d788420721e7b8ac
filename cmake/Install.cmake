include(CMakePackageConfigHelpers)

set(QORJOB_TARGETS qorjob qorhost)
if(QORJOB_BUILD_MONITOR)
    list(APPEND QORJOB_TARGETS qormonitor)
endif()
install(TARGETS ${QORJOB_TARGETS} EXPORT qorjob
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# What users may include: qorjob.h and what it includes. A test compiles each alone and holds that no other is reached.
set(QORJOB_HEADERS
    platform/ComObject.h
    platform/ComServices.h
    platform/Export.h
    platform/LockOrder.h
    platform/LogReference.h
    platform/Mutex.h
    platform/QBase.h
    platform/QCOMShared.h
    platform/QDataType.h
    platform/QFormat.h
    platform/QLog.h
    platform/QLogRouter.h
    platform/QMessage.h
    platform/QORTask.h
    platform/QorUserSession.h
    platform/QPerfMon.h
    platform/QRegistry.h
    platform/QResource.h
    platform/QSynch.h
    platform/ReservedSlots.h
    platform/ThreadSafety.h
    platform/ThreadTimes.h
    platform/Windows.h
    base/Categories.h
    base/HeapObject.h
    base/IndexTable.h
    base/QORJobInitializer.h
    base/OnDemand.h
    base/Unlocked.h
    context/CKDXProcessContext.h
    context/Collaborators.h
    context/COMStatus.h
    context/ICKDXProcessContext.h
    context/ICKDXReportInstance.h
    data/DependencyManager.h
    data/QORBinaryData.h
    data/QORComData.h
    data/QORJobData.h
    data/QORJobDataLookupTable.h
    data/QORNamedIdsList.h
    data/QORStringData.h
    data/QORTextFileData.h
    record/FieldAccess.h
    record/JobSourceNames.h
    record/QORChannelRequest.h
    record/QORJobBrowsingInfo.h
    record/QORJobInfo.h
    record/QORJobInfoData.h
    record/QORJobInfoOld.h
    record/QORJobProcessingStep.h
    record/QORJobPUInfo.h
    record/QORJobStep.h
    record/QORJobTypes.h
    job/ChildList.h
    job/JobMemGovernor.h
    job/KernelCounters.h
    job/NewestFirst.h
    job/QORJob.h
    job/QORJobError.h
    job/QORJobState.h
    job/QORJobTask.h
    job/StepQueue.h
    qorjob.h
    host/QORHost.h
    host/QORHostJob.h
    host/QORHostRun.h
    host/QORHostTypes.h
    qorhost.h)
if(QORJOB_PLATFORM STREQUAL "qorjob_builtin")
    include(platform/builtin/Headers.cmake)
    list(APPEND QORJOB_HEADERS ${QORJOB_BUILTIN_HEADERS})
endif()
if(QORJOB_BUILD_MONITOR)
    list(APPEND QORJOB_HEADERS
        monitor/QORMonitor.h
        monitor/QORMonitorSite.h
        monitor/QORMonitorTypes.h
        monitor/QORMonitorViews.h
        monitor/QORWeb.h
        monitor/QORWebServer.h
        qormonitor.h)
endif()

# They keep their rooms, so that an #include reads the same inside the project and outside.
foreach(header IN LISTS QORJOB_HEADERS)
    get_filename_component(room ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorjob/${room})
endforeach()

# The library itself has no dependency that its users need to find; the host has the system's threads.
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/qorjob)
install(EXPORT qorjob NAMESPACE qorjob:: FILE qorjobTargets.cmake DESTINATION ${packageDir})
file(WRITE ${PROJECT_BINARY_DIR}/qorjobConfig.cmake "include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(\${CMAKE_CURRENT_LIST_DIR}/qorjobTargets.cmake)
")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorjobConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorjobConfig.cmake ${PROJECT_BINARY_DIR}/qorjobConfigVersion.cmake
    DESTINATION ${packageDir})
