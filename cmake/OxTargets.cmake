# How the project's targets are made.

set(OX_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Wold-style-cast
                -Wcast-qual -Wformat=2 -Wundef -Werror)
list(TRANSFORM OX_WARNINGS REPLACE "^-W(non-virtual-dtor|old-style-cast)$" "$<$<COMPILE_LANGUAGE:CXX>:-W\\1>"
     OUTPUT_VARIABLE OX_WARNINGS)

# GCC 12 warns at -O3 of overlaps inside std::string's own operator+ (its bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND OX_WARNINGS $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()

add_library(ox_flags INTERFACE)
target_include_directories(ox_flags INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
target_compile_options(ox_flags INTERFACE ${OX_WARNINGS})
# Asio would choose its allocator by which standard headers happen to come before it, differently in every file.
target_compile_definitions(ox_flags INTERFACE ASIO_STANDALONE ASIO_DISABLE_STD_ALIGNED_ALLOC)
if(WIN32)
  # The newest calls are of Windows 7, those that Windows XP lacks in a library of our own; the headers without what nobody
  # needs, and without macros for min and max.
  target_compile_definitions(ox_flags INTERFACE _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
  # What the 32-bit heap gives: the compiler says 16, and Asio then has no use for half of the memory that it keeps.
  target_compile_options(ox_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-faligned-new=8>)
  target_link_libraries(ox_flags INTERFACE ox_newer_calls)
  target_link_options(ox_flags INTERFACE -Wl,-u,__imp__GetTickCount64@0)
  # Function names in the backtraces that Wine prints.
  target_compile_options(ox_flags INTERFACE $<$<CONFIG:Debug,RelWithDebInfo>:-gdwarf-4;-g1>)
endif()
if(OXBASE_SANITIZE STREQUAL "address")
  # Not vptr: its check opens a pipe at each new type, and tests take all descriptors away.
  target_compile_options(ox_flags INTERFACE -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
                                            -fno-omit-frame-pointer)
  target_link_options(ox_flags INTERFACE -fsanitize=address,undefined)
elseif(OXBASE_SANITIZE STREQUAL "thread")
  # Asio's fences are not seen, but its queues have locks, too.
  target_compile_options(ox_flags INTERFACE -fsanitize=thread $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  target_link_options(ox_flags INTERFACE -fsanitize=thread)
endif()
if(OXBASE_FUZZ)
  target_compile_options(ox_flags INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
  target_link_options(ox_flags INTERFACE -fsanitize=address,undefined)
endif()

# OXBASE_TOGETHER: several sources of a big program are compiled as one. What they share, the tests' framework or the tools'
# options, is by far the most of them. The native build compiles each alone, so that every file is seen to name what it
# needs.
function(ox_together)
  set_target_properties(${ARGN} PROPERTIES UNITY_BUILD ${OXBASE_TOGETHER})
endfunction()

# A folder of the library: ox_floor(amib SOURCES ...)
function(ox_floor name)
  cmake_parse_arguments(arg "" "" "SOURCES" ${ARGN})
  add_library(ox_${name} STATIC ${arg_SOURCES})
  target_link_libraries(ox_${name} PRIVATE ox_flags)
  set_property(GLOBAL APPEND PROPERTY OX_FLOORS ox_${name})
endfunction()

# Name, version and description in a Windows file.
function(ox_version_resource target OX_FILE_NAME OX_FILE_TYPE OX_FILE_DESCRIPTION)
  if(WIN32)
    configure_file(${CMAKE_SOURCE_DIR}/cmake/oxbase.rc.in ${CMAKE_BINARY_DIR}/resources/${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_BINARY_DIR}/resources/${target}.rc)
  endif()
endfunction()

# Undecorated names: those of the headers and no others.
function(ox_exports target)
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/include/oxbase/*.h)
  set(list ${CMAKE_BINARY_DIR}/oxbase.def)
  set(parts ${ARGN})
  list(TRANSFORM parts REPLACE "(.+)" "$<TARGET_FILE:\\1>")
  add_custom_command(OUTPUT ${list}
    COMMAND ${CMAKE_COMMAND} -D HEADERS=${CMAKE_SOURCE_DIR}/include/oxbase -D NM=${CMAKE_NM} -D "PARTS=${parts}"
            -D OUTPUT=${list} -P ${CMAKE_SOURCE_DIR}/cmake/OxExports.cmake
    DEPENDS ${headers} ${ARGN} ${CMAKE_SOURCE_DIR}/cmake/OxExports.cmake ${CMAKE_SOURCE_DIR}/cmake/OxDeclared.cmake
    VERBATIM)
  target_sources(${target} PRIVATE ${list})
  set_target_properties(${target} PROPERTIES PREFIX "")
endfunction()

# The shared library of all floors, and what installs with it.
function(ox_shared_library)
  get_property(floors GLOBAL PROPERTY OX_FLOORS)
  file(WRITE ${CMAKE_BINARY_DIR}/oxbase.cpp "// All code is in the floors.\n")
  add_library(oxbase SHARED ${CMAKE_BINARY_DIR}/oxbase.cpp)
  target_include_directories(oxbase INTERFACE $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  foreach(floor IN LISTS floors)
    target_link_libraries(oxbase PRIVATE $<BUILD_INTERFACE:$<LINK_LIBRARY:WHOLE_ARCHIVE,${floor}>>)
  endforeach()
  target_link_libraries(oxbase PRIVATE $<BUILD_INTERFACE:ox_flags>)
  set_target_properties(oxbase PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(WIN32)
    ox_exports(oxbase ${floors})
    ox_version_resource(oxbase oxbase.dll VFT_DLL "${PROJECT_DESCRIPTION}")
  else()
    # Threads that used the library release its state when they end, after any dlclose.
    target_link_options(oxbase PRIVATE -Wl,-z,nodelete -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/liboxbase.map)
    set_property(TARGET oxbase APPEND PROPERTY LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/liboxbase.map)
  endif()
  if(NOT WIN32 AND NOT OXBASE_SANITIZE AND NOT OXBASE_FUZZ)
    target_link_options(oxbase PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# A program on top of the library, written against its public headers: ox_program(oxget SOURCES ... LIBS ...)
function(ox_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_property(GLOBAL APPEND PROPERTY OX_PROGRAMS ${name})
  target_link_libraries(${name} PRIVATE ox_flags ${arg_LIBS} oxbase)
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  if(WIN32)
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/platform/windows/no_glob.c)
  endif()
  ox_version_resource(${name} ${name}.exe VFT_APP "${name} of the network-management system")
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  ox_debug_files(${CMAKE_INSTALL_BINDIR} ${name})
endfunction()

# A test program over the inside of some floors: ox_test(amib_test FLOORS platform common amib SOURCES ...)
# Every test case runs as a process of its own, in a system root of its own. The floors' heap is replaced by one whose
# n-th allocation can fail (tests/support). ENVIRONMENT holds "NAME=value" for the cases' processes, TIMEOUT the seconds
# that one of them may take.
function(ox_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "FLOORS;SOURCES;LIBS;ENVIRONMENT" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  list(REMOVE_ITEM arg_FLOORS heap)
  foreach(floor IN LISTS arg_FLOORS)
    target_link_libraries(${name} PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,ox_${floor}>)
  endforeach()
  target_link_libraries(${name} PRIVATE ox_flags ox_test_support ox_test_heap GTest::gtest ${arg_LIBS})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       PROPERTIES TIMEOUT ${arg_TIMEOUT} FIXTURES_REQUIRED runs ENVIRONMENT "${arg_ENVIRONMENT}")
endfunction()

# A test program beside the real programs: ox_road_test(road_test SOURCES ...)
# The programs are built first; OX_PROGRAMS is the folder they stand in.
function(ox_road_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;ENVIRONMENT" ${ARGN})
  ox_test(${name} FLOORS platform common amib data snmp deffile access event entries SOURCES ${arg_SOURCES}
          LIBS ox_daemon ox_pipe_server ${arg_LIBS} ENVIRONMENT ${arg_ENVIRONMENT} TIMEOUT ${arg_TIMEOUT})
  target_compile_definitions(${name} PRIVATE OX_PROGRAMS="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  get_property(programs GLOBAL PROPERTY OX_PROGRAMS)
  add_dependencies(${name} ${programs})
endfunction()

# A benchmark program: ox_bench(snmp_bench FLOORS platform common ... SOURCES ... LIBS ...)
# A benchmark NAME and its rival NAME_rival_WHAT stand side by side in the table of scripts/bench.
function(ox_bench name)
  cmake_parse_arguments(arg "" "" "FLOORS;SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  foreach(floor IN LISTS arg_FLOORS)
    target_link_libraries(${name} PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,ox_${floor}>)
  endforeach()
  target_link_libraries(${name} PRIVATE ox_flags benchmark::benchmark benchmark::benchmark_main ${arg_LIBS})
  if(OXBASE_BENCH STREQUAL "ONCE")
    add_test(NAME ${name} COMMAND ${CMAKE_SOURCE_DIR}/bench/run_once.sh $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()

# A libFuzzer target over the inside of the library: ox_fuzz(token), of fuzz/fuzz_token.cpp; behind the name the manager's
# sources that it looks at. Its seeds stand in fuzz/corpus/token.
function(ox_fuzz name)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/)
  add_executable(fuzz_${name} fuzz_${name}.cpp ${ARGN})
  foreach(floor heap platform common amib data snmp deffile access event entries)
    target_link_libraries(fuzz_${name} PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,ox_${floor}>)
  endforeach()
  target_link_libraries(fuzz_${name} PRIVATE ox_flags)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer,address,undefined)
endfunction()
