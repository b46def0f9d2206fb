# The library's exported names, written down for the linker: what the public headers declare and the library's parts
# define. That nothing is missing is for a test to say, so that a header may run ahead of its code for a while.
# Run as a script: -D HEADERS=folder -D NM=program -D PARTS=libraries -D OUTPUT=oxbase.def
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/OxDeclared.cmake)
ox_declared_functions(${HEADERS} declared)

execute_process(COMMAND ${NM} -g --defined-only ${PARTS} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " T _[A-Za-z_0-9]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE "^ T _" "")
set(names)
foreach(name IN LISTS declared)
  if(name IN_LIST symbols)
    list(APPEND names ${name})
  endif()
endforeach()
list(JOIN names "\n  " lines)
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "LIBRARY oxbase.dll\nEXPORTS\n  ${lines}\n" @ONLY)
