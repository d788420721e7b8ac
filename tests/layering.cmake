# Holds the plan of the rooms: reads the quoted #includes of every source and names each one that points the wrong way.
# Run with cmake -P; ctest does.
cmake_minimum_required(VERSION 3.22)
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)

# check(<pattern of files> <folder>...): the files include headers of these folders and of their own folder only.
# "." is the root, where qorjob.h stands.
function(check iFiles)
    file(GLOB files RELATIVE ${root} ${root}/${iFiles})
    foreach(file IN LISTS files)
        get_filename_component(own ${file} DIRECTORY)
        file(STRINGS ${root}/${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^[^\"]*\"([^\"]*)\".*" "\\1" include "${line}")
            get_filename_component(folder "${include}" DIRECTORY)
            if(folder STREQUAL "")
                set(folder .)
            endif()
            if(NOT folder IN_LIST ARGN AND NOT folder STREQUAL own)
                message(SEND_ERROR "${file} may not include \"${include}\"")
            endif()
        endforeach()
    endforeach()
endfunction()

# A room's headers point down.
check(platform/*.h)
check(context/*.h platform)
check(data/*.h platform)
check(job/*.h platform context data)
check(task/*.h platform data job)
check(report/*.h platform context data job)

# Its bodies look into every room, and never behind platform/.
set(rooms platform context data job task report)
foreach(room IN LISTS rooms)
    check(${room}/*.cpp ${rooms})
endforeach()

# What stands behind platform/ knows nothing of the job.
check(platform/builtin/*.h platform)
check(platform/builtin/*.cpp platform)

# Users see the library whole and the builtin platform's own features; nobody includes what belongs to another user.
check(qorjob.h ${rooms})
foreach(kind h cpp)
    check(tests/*/*.${kind} . ${rooms} platform/builtin tests/support)
    check(bench/*.${kind} . ${rooms} platform/builtin)
    check(examples/*/*.${kind} . ${rooms} platform/builtin)
endforeach()
