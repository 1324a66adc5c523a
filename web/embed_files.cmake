# Writes a C++ source that holds files as string constants, so that the program carries them
# and needs nothing beside it at run time. Run as a script:
#   cmake -DOUTPUT=out.cpp -DHEADER=web/x.h -DNAMESPACE=tw::web::x "-DFILES=kName=path;..." -P embed_files.cmake
# Each byte is written as a \x escape, so no content (quotes, backslashes, non-ASCII text, a
# line that looks like a raw string's end) can break the literal.
cmake_minimum_required(VERSION 3.25)

string(REPEAT "[0-9a-f]" 64 line_of_hex)
set(out "// Generated from the files named below by web/embed_files.cmake: edit those, not this.\n")
string(APPEND out "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n")
foreach(entry IN LISTS FILES)
    string(REGEX MATCH "^([A-Za-z_][A-Za-z0-9_]*)=(.+)$" matched "${entry}")
    if(NOT matched)
        message(FATAL_ERROR "embed_files: \"${entry}\" is no NAME=PATH")
    endif()
    set(name "${CMAKE_MATCH_1}")
    set(path "${CMAKE_MATCH_2}")
    file(READ "${path}" hex HEX)
    string(LENGTH "${hex}" digits)
    math(EXPR bytes "${digits} / 2")
    # 32 bytes a line, each as \xNN.
    string(REGEX REPLACE "(${line_of_hex})" "\\1\n" hex "${hex}")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" hex "${hex}")
    string(REPLACE "\n" "\"\n    \"" hex "${hex}")
    get_filename_component(file_name "${path}" NAME)
    string(APPEND out "\n// ${file_name}, ${bytes} bytes\n")
    string(APPEND out "constexpr char ${name}Bytes[] =\n    \"${hex}\";\n")
    string(APPEND out "extern const std::string_view ${name}{${name}Bytes, ${bytes}};\n")
endforeach()
string(APPEND out "\n}  // namespace ${NAMESPACE}\n")

file(WRITE "${OUTPUT}" "${out}")
