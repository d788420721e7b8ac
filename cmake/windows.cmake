# Cross build for 64-bit Windows; windows32.cmake is the one for 32 bits. What is built runs under Wine (wine.sh).
if(NOT QORJOB_MINGW)
    set(QORJOB_MINGW x86_64-w64-mingw32)
    set(CMAKE_SYSTEM_PROCESSOR x86_64)

    # The runtime libraries are linked in: qorjob's DLL needs nothing but the system, and its programs nothing but that
    # DLL. Exceptions cross from module to module all the same. What each module then has for itself, such as the number
    # of exceptions in flight, this library never asks for.
    set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
    set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
endif()
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${QORJOB_MINGW}-gcc-posix) # GoogleTest asks for one
set(CMAKE_CXX_COMPILER ${QORJOB_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${QORJOB_MINGW}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine.sh)

set(CMAKE_FIND_ROOT_PATH /usr/${QORJOB_MINGW} ${CMAKE_PREFIX_PATH}) # what a user names is searched, too
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
