# Installs the library and uses it as a stranger's project does, with each compiler. Run with
#   cmake -D BUILD=<the build tree> -D WORK=<a folder to write> -D GENERATOR=<CMake's> -D COMPILERS=<...>
#       -D TOOLCHAIN=<that of a cross build, or empty> -D SYSTEM=<CMake's name> -D HEADERS=<what a program includes>
#       -D EXAMPLES=<the folder of the first programs> -P install.cmake
# ctest does.
cmake_minimum_required(VERSION 3.22)

function(run oOutput)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT code EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}")
    endif()
    set(${oOutput} "${output}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})
run(ignored ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
file(GLOB_RECURSE installed RELATIVE ${prefix}/include/qorjob ${prefix}/include/*)
list(SORT installed)

# Only what a program reaches is installed. (On Windows two headers have nothing to say.)
list(TRANSFORM HEADERS REPLACE "(.+)" "#include \"\\1\"\n" OUTPUT_VARIABLE includes)
list(JOIN includes "" includes)
file(WRITE ${WORK}/all.cpp "${includes}")
list(GET COMPILERS 0 compiler)
run(rule ${compiler} -std=c++20 -MM -I${prefix}/include/qorjob ${WORK}/all.cpp)
string(REGEX MATCHALL "include/qorjob/[^ \n]+" reached "${rule}")
list(TRANSFORM reached REPLACE "include/qorjob/" "")
list(SORT reached)
if(NOT SYSTEM STREQUAL "Windows" AND NOT installed STREQUAL reached)
    list(REMOVE_ITEM installed ${reached})
    message(FATAL_ERROR "No program reaches what is installed of ${installed}")
endif()

# A macro knows no namespace: it has the library's prefix, but for the two that keep the SDK's header small.
foreach(header IN LISTS installed)
    file(STRINGS ${prefix}/include/qorjob/${header} macros REGEX "^[ \t]*#[ \t]*define")
    list(FILTER macros EXCLUDE REGEX "define[ \t]+(QORJOB_|WIN32_LEAN_AND_MEAN$|NOMINMAX$)")
    if(macros)
        message(FATAL_ERROR "${header} defines for its users, too: ${macros}")
    endif()
endforeach()

# What the installed headers include of the standard library.
set(standard "")
foreach(header IN LISTS installed)
    file(STRINGS ${prefix}/include/qorjob/${header} lines REGEX "^#include <[a-z_]+>")
    list(APPEND standard ${lines})
endforeach()
list(REMOVE_DUPLICATES standard)
list(TRANSFORM standard REPLACE "#include " "")

list(JOIN standard " " standard)
list(JOIN installed " " headers)
foreach(compiler IN LISTS COMPILERS)
    get_filename_component(name ${compiler} NAME)
    set(with -D CMAKE_CXX_COMPILER=${compiler})
    if(TOOLCHAIN)
        set(with -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
    endif()
    run(ignored ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${WORK}/${name} -G ${GENERATOR} ${with}
        -D CMAKE_PREFIX_PATH=${prefix} -D "HEADERS=${headers}" -D "STANDARD=${standard}" -D EXAMPLES=${EXAMPLES})
    run(ignored ${CMAKE_COMMAND} --build ${WORK}/${name} --parallel 2)
    run(ignored ${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/${name} --output-on-failure)
endforeach()
