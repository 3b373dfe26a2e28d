# Files that become part of a program.
#
# embed_assets(OUTPUT URLPATH=FILE...): writes the C++ source OUTPUT with embeddedFiles(), in which
# each FILE is found as /URLPATH.

set(embedded_types
    ".html:text/html"
    ".js:text/javascript"
    ".css:text/css"
    ".svg:image/svg+xml"
    ".png:image/png"
    ".woff2:font/woff2"
    ".json:application/json"
    ".txt:text/plain")

function(embed_assets output)
    set(contents "")
    set(declarations "")
    set(rows "")
    set(files "")
    set(number 0)
    foreach(pair IN LISTS ARGN)
        string(REGEX MATCH "^([^=]+)=(.+)$" matched "${pair}")
        set(path "${CMAKE_MATCH_1}")
        set(file "${CMAKE_MATCH_2}")
        cmake_path(GET path EXTENSION LAST_ONLY extension)
        set(type "")
        foreach(row IN LISTS embedded_types)
            string(FIND "${row}" "${extension}:" at)
            if(at EQUAL 0)
                string(LENGTH "${extension}:" length)
                string(SUBSTRING "${row}" ${length} -1 type)
            endif()
        endforeach()
        if(NOT type)
            message(FATAL_ERROR "${file}: no content type is known for ${extension}")
        endif()
        # A semicolon would end an element of the list.
        if(type MATCHES "^text/")
            string(APPEND type "; charset=utf-8")
        endif()
        set(name kestrelFile${number})
        # Global: on arm64 the linker takes local labels of one section that are addressed through
        # its table for one and the same.
        foreach(label IN ITEMS ${name} ${name}End)
            string(APPEND contents "    \".globl ${label}\\n.hidden ${label}\\n\"\n")
        endforeach()
        string(APPEND contents
               "    \"${name}: .incbin \\\"${file}\\\"\\n${name}End: .byte 0\\n\"\n")
        string(APPEND declarations
               "[[gnu::visibility(\"hidden\")]] extern const char ${name}[], ${name}End[];\n")
        string(APPEND rows "        {\"/${path}\", \"${type}\", {${name}, ${name}End}, {}},\n")
        list(APPEND files ${file})
        math(EXPR number "${number} + 1")
    endforeach()
    file(CONFIGURE OUTPUT ${output} @ONLY CONTENT
         [=[// Made by cmake/embed_assets.cmake.
#include "twin/page/assets.h"

asm(".pushsection .rodata\n"
@contents@    ".popsection\n");

extern "C" {
@declarations@}

namespace twin {

std::vector<Asset> embeddedFiles() {
    return {
@rows@    };
}

}  // namespace twin
]=])
    set_source_files_properties(${output} PROPERTIES OBJECT_DEPENDS "${files}")
endfunction()
