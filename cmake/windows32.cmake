# Cross build for 32-bit Windows.
set(QORJOB_MINGW i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
