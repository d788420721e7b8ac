# Cross build for 32-bit Windows. The runtime libraries stay DLLs there: an exception crosses the edges of those modules
# only that have registered their frames with one runtime, and a runtime that is linked in knows its own module alone.
set(QORJOB_MINGW i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QORJOB_RUNTIME libstdc++-6 libgcc_s_dw2-1 libwinpthread-1)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
