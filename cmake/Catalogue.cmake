# Writes the message catalogue as a source file. Run with
#   cmake -D FILES=<one file a language, the default language's first> -D OUTPUT=<file> -P Catalogue.cmake
# docs/messages.md describes the files; a line that doesn't fit ends the build with its place.
cmake_minimum_required(VERSION 3.22)

# These would make a list of a line, or part one: a control character stands for each until it is written.
string(ASCII 1 semicolon)
string(ASCII 2 opening)
string(ASCII 3 closing)
string(ASCII 4 backslash)

set(tables "")
set(languages "")
set(number 0)
foreach(file IN LISTS FILES)
    file(READ ${file} text)
    string(REPLACE ";" "${semicolon}" text "${text}")
    string(REPLACE "[" "${opening}" text "${text}")
    string(REPLACE "]" "${closing}" text "${text}")
    string(REPLACE "\\" "${backslash}" text "${text}")
    string(REPLACE "\r" "" text "${text}")
    string(REPLACE "\n" ";" lines "${text}")

    set(language "")
    set(bundle "")
    set(seen "")
    set(table "")
    set(place 0)
    foreach(line IN LISTS lines)
        math(EXPR place "${place} + 1")
        if(line MATCHES "^#" OR line STREQUAL "")
            continue()
        elseif(line MATCHES "^language (0x[0-9A-F]+)$" AND language STREQUAL "")
            set(language ${CMAKE_MATCH_1})
        elseif(line MATCHES "^bundle ([A-Za-z]+)$")
            set(bundle ${CMAKE_MATCH_1})
        elseif(line MATCHES "^(0x[0-9A-F]+) ([A-Z0-9_]+) (.*[^ ])$" AND NOT language STREQUAL "" AND NOT bundle STREQUAL "")
            set(id ${CMAKE_MATCH_1})
            set(name ${CMAKE_MATCH_2})
            set(entry "${CMAKE_MATCH_3}")
            if("${bundle}/${id}" IN_LIST seen OR "${bundle}/${name}" IN_LIST seen)
                message(FATAL_ERROR "${file}:${place}: ${id} ${name} is there already.")
            endif()
            list(APPEND seen "${bundle}/${id}" "${bundle}/${name}")
            string(REPLACE "\"" "\\\"" entry "${entry}")
            string(REPLACE "${backslash}" "\\\\" entry "${entry}")
            string(APPEND table "    {\"${bundle}\", ${id}u, \"${name}\", \"${entry}\"},\n")
        else()
            message(FATAL_ERROR "${file}:${place}: not a line of a catalogue: ${line}")
        endif()
    endforeach()
    if(language STREQUAL "" OR table STREQUAL "")
        message(FATAL_ERROR "${file}: a catalogue names its language and has entries.")
    endif()
    string(APPEND tables "constexpr Entry cEntries${number}[] = {\n${table}};\n\n")
    string(APPEND languages "    {${language}u, cEntries${number}},\n")
    math(EXPR number "${number} + 1")
endforeach()

string(REPLACE "${semicolon}" ";" tables "${tables}")
string(REPLACE "${opening}" "[" tables "${tables}")
string(REPLACE "${closing}" "]" tables "${tables}")
file(WRITE ${OUTPUT} "// Written by cmake/Catalogue.cmake from platform/builtin/catalogue; change it there.
#include \"platform/builtin/text/Catalogue.h\"

namespace Builtin::Catalogue
{

namespace
{

${tables}constexpr Language cLanguages[] = {
${languages}};

} // namespace

std::span<const Language> GetLanguages() noexcept { return cLanguages; }

} // namespace Builtin::Catalogue
")
