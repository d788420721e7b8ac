# The warnings of our own code. They are errors in the presets only: nobody else's build is stopped by a newer compiler.
option(QORJOB_WERROR "Take warnings for errors" OFF)

# Of Microsoft's compilers: that an exported class has members and bases of the standard library, which isn't exported.
# Modules share that library anyway.
set(QORJOB_EXPORT_WARNINGS_OFF /wd4251 /wd4275)

function(qorjob_warnings iTarget)
    if(MSVC)
        target_compile_options(${iTarget} PRIVATE /W4 /permissive- /utf-8 /Zc:__cplusplus ${QORJOB_EXPORT_WARNINGS_OFF}
            /wd4324  # a class is padded to the alignment that it asks for
            /wd5030) # an attribute of another compiler is ignored
        # Standard functions that it would have replaced by its own, such as std::getenv.
        target_compile_definitions(${iTarget} PRIVATE _CRT_SECURE_NO_WARNINGS)
    else()
        target_compile_options(${iTarget} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual)
    endif()
    if(NOT WIN32)
        # On Windows it would report every COM interface: the SDK's IUnknown leaves its destructor public.
        target_compile_options(${iTarget} PRIVATE -Wnon-virtual-dtor)
    endif()
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        # The reference check is off because an accessor row passes its field by reference to the helper that takes the lock.
        target_compile_options(${iTarget} PRIVATE -Wthread-safety -Wno-thread-safety-reference)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # GCC 12 sees an overlap inside the standard library's own "literal" + std::string.
        target_compile_options(${iTarget} PRIVATE -Wno-restrict)
    endif()
    if(QORJOB_WERROR)
        target_compile_options(${iTarget} PRIVATE $<IF:$<BOOL:${MSVC}>,/WX,-Werror>)
    endif()
endfunction()
