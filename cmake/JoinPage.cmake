# Makes a C++ source of the page of `kiv view`: its frame, its style, and the modules of its script
# joined to one script. Run as
#
#     cmake -DWEB=<folder> "-DMODULES=<names in the order of their use>" -DOUT=<file> -P JoinPage.cmake
#
# A module becomes a function that returns what it exports; imports take it from there. That needs
# what the modules keep to: imports are `import { a, b } from './module.js';`, exports stand before
# `function`, `async function`, `class` and `const` at the beginning of a line.
cmake_minimum_required(VERSION 3.25)

set(script "'use strict';\n(() => {\n")
foreach(module IN LISTS MODULES)
  file(READ "${WEB}/${module}.js" text)
  string(PREPEND text "\n")
  set(names "")
  set(export "\nexport (async function|function|class|const) ([A-Za-z0-9_]+)")
  string(REGEX MATCHALL "${export}" exports "${text}")
  foreach(line IN LISTS exports)
    string(REGEX REPLACE "${export}" "\\2" name "${line}")
    string(APPEND names " ${name},")
  endforeach()
  string(REGEX REPLACE "\nimport ({[^}]*}) from '\\./([a-z]+)\\.js'" "\nconst \\1 = \\2Module" text "${text}")
  string(REGEX REPLACE "${export}" "\n\\1 \\2" text "${text}")
  if(text MATCHES "\n(import|export) ")
    message(FATAL_ERROR "${WEB}/${module}.js imports or exports in a way that cannot be joined")
  endif()
  string(APPEND script "const ${module}Module = (() => {${text}return {${names} };\n})();\n")
endforeach()
string(APPEND script "})();\n")

# What stands in an element ends at its end tag.
if(script MATCHES "</script")
  message(FATAL_ERROR "the script of the page must not have its own end tag in it")
endif()

file(READ "${WEB}/page.html" frame)
file(READ "${WEB}/style.css" style)

set(source "// Made by cmake/JoinPage.cmake of the files in web/.\n#include \"page/PageFiles.h\"\n\nnamespace kiv {\nnamespace {\n\n")
set(table "")
foreach(part frame style script)
  string(SHA256 digest "${${part}}")
  string(LENGTH "${${part}}" size)
  string(HEX "${${part}}" bytes)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  string(APPEND source "constexpr unsigned char k_${part}[] = {\n${bytes}0};\n\n")
  string(APPEND table "    {{reinterpret_cast<const char*>(k_${part}), ${size}}, \"${digest}\"},\n")
endforeach()
string(APPEND source "const PageFile kFiles[] = {\n${table}};\n\n}  // namespace\n\n"
  "const PageFile& PageFrame() { return kFiles[0]; }\nconst PageFile& PageStyle() { return kFiles[1]; }\n"
  "const PageFile& PageScript() { return kFiles[2]; }\n\n}  // namespace kiv\n")
file(CONFIGURE OUTPUT "${OUT}" CONTENT "@source@" @ONLY)
