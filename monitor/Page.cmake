# Writes the page's files into a source: cmake -D FROM=<folder> -D TO=<source> -P Page.cmake
set(text "// The page's files. Made by Page.cmake.\n#include \"monitor/Page.h\"\n\nnamespace QORMONITOR\n{\n")
foreach(name IN ITEMS html css js)
    file(READ ${FROM}/page.${name} content)
    string(TOUPPER ${name} upper)
    string(APPEND text "\nextern const std::string_view cPage${upper} = R\"page(${content})page\";\n")
endforeach()
file(WRITE ${TO} "${text}\n} // namespace QORMONITOR\n")
