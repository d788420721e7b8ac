# Holds that compilers have no choice in a table of operations. Microsoft's put the new virtual operations of one name in
# a class next to one another, in reverse order, where the class first declares that name; others keep the order of
# declarations. Names each virtual operation whose place differs by that. Run with cmake [-D ROOT=<a tree>] -P
# overloads.cmake; ctest does.
cmake_minimum_required(VERSION 3.22)
if(NOT ROOT)
    get_filename_component(ROOT ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
endif()

file(GLOB headers RELATIVE ${ROOT} ${ROOT}/platform/*.h ${ROOT}/base/*.h ${ROOT}/context/*.h ${ROOT}/data/*.h
    ${ROOT}/record/*.h ${ROOT}/job/*.h)
set(count 0)
foreach(header IN LISTS headers)
    # Where a class begins, and the first lines of its members.
    file(STRINGS ${ROOT}/${header} lines REGEX "^(class|struct) |^    [A-Za-z~][^;]*\\(")
    foreach(line IN LISTS lines)
        if(line MATCHES "^(class|struct) ")
            set(seen "") # the names that the class has declared
            set(new "")  # those of its own virtual operations, and the slot of each among them
        elseif(line MATCHES "^    ([^(]*[ *&])?(~?[A-Za-z_][A-Za-z_0-9]*)\\(")
            set(name ${CMAKE_MATCH_2})
            list(LENGTH new slot)
            if(line MATCHES "^    virtual ")
                math(EXPR count "${count} + 1")
                if(name IN_LIST new OR (DEFINED "place_${name}" AND name IN_LIST seen AND NOT place_${name} EQUAL slot))
                    message(SEND_ERROR "${header}: the place of ${name} depends on the compiler: ${line}")
                endif()
                list(APPEND new ${name})
            endif()
            if(NOT name IN_LIST seen)
                list(APPEND seen ${name})
                set(place_${name} ${slot})
            endif()
        endif()
    endforeach()
endforeach()
if(count EQUAL 0)
    message(SEND_ERROR "No virtual operations were found.")
endif()
message(STATUS "${count} virtual operations")
