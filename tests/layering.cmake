# Holds the plan of the rooms: reads the quoted #includes of every source, headers and bodies alike, and names each one
# that points the wrong way. Run with cmake [-D ROOT=<a tree>] -P layering.cmake; ctest does.
cmake_minimum_required(VERSION 3.22)
if(NOT ROOT)
    get_filename_component(ROOT ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
endif()

# check(<folder> <what its sources may include>): both are regular expressions for the beginning of a path.
function(check iFolder iAllowed)
    file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/*.h ${ROOT}/*.cpp)
    list(FILTER files INCLUDE REGEX "^${iFolder}")
    foreach(file IN LISTS files)
        file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^[^\"]*\"([^\"]*)\".*" "\\1" include "${line}")
            if(NOT include MATCHES "^(${iAllowed})")
                message(SEND_ERROR "${file} may not include \"${include}\"")
            endif()
        endforeach()
    endforeach()
endfunction()

# The rooms, from the ground up: each includes itself and those before it.
set(below "platform/[^/]*$")
check("platform/[^/]*$" "${below}")
foreach(room IN ITEMS base context data record job)
    string(APPEND below "|${room}/")
    check("${room}/" "${below}")
endforeach()

# What stands behind platform/ knows nothing of the job.
check("platform/builtin/" "platform/")

# Users see the library whole and the builtin platform's features (the headers beside its rooms), their own folder and
# nobody else's. The platform's and the monitor's tests see their private parts, too.
check("qorjob.h$" "${below}")
set(library "[^/]*$|platform/builtin/[^/]*$|${below}")
# What stands beside the library sees what users see. Its tests and other users see its public headers only.
check("host/" "qorjob.h$|host/")
string(APPEND library "|host/QORHost[A-Za-z]*.h$")
check("qorhost.h$" "host/QORHost")
check("monitor/" "qorjob.h$|qorhost.h$|monitor/|platform/builtin/[^/]*$|job/KernelCounters.h$|base/Categories.h$")
string(APPEND library "|monitor/QOR(Monitor|Web)[A-Za-z]*.h$")
check("qormonitor.h$" "monitor/QOR(Monitor|Web)")
check("bench/" "${library}")
foreach(room IN ITEMS base context data host interleaving job record support surface sweep windows)
    check("tests/${room}/" "tests/(support|${room})/|${library}")
endforeach()
check("tests/monitor/" "tests/(support|host|monitor)/|monitor/|${library}")
# The fuzzers go to those who read what comes from outside, wherever they stand.
check("tests/fuzz/" "tests/fuzz/|platform/|monitor/|examples/report_server/|${library}")
check("tests/platform/" "tests/(support|platform)/|platform/|${library}")
check("examples/" "${library}|(client|service|tasks|warehouse)/") # the last are folders of an example
