# What a program may include of the builtin platform, and so is installed; the other headers are its own.
set(QORJOB_BUILTIN_HEADERS
    platform/builtin/EventTrace.h
    platform/builtin/Faults.h
    platform/builtin/LibraryUsers.h
    platform/builtin/LogSinks.h
    platform/builtin/PerfReadings.h
    platform/builtin/RegistryTree.h
    platform/builtin/Settings.h
    platform/builtin/Texts.h
    platform/builtin/ThreadContextListener.h)
