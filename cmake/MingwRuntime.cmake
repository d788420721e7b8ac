# Copies DLLs of MinGW's runtime, by their names, to where programs are built, and gives their paths.
function(qorjob_copy_runtime oFiles)
    set(files "")
    foreach(name IN LISTS ARGN)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}.dll
            OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
        file(COPY ${file} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        list(APPEND files ${file})
    endforeach()
    set(${oFiles} ${files} PARENT_SCOPE)
endfunction()
