# Libraries that are headers alone: ox_asio, CLI11::CLI11, nlohmann_json::nlohmann_json.
if(NOT CMAKE_CROSSCOMPILING)
  find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_package(Threads REQUIRED)
  # Asio's own code is compiled once, not in every file that uses it.
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/asio.cpp CONTENT "#include <asio/impl/src.hpp>\n")
  add_library(ox_asio STATIC ${CMAKE_BINARY_DIR}/asio.cpp)
  target_include_directories(ox_asio SYSTEM PUBLIC ${ASIO_INCLUDE_DIR})
  target_compile_definitions(ox_asio PUBLIC ASIO_SEPARATE_COMPILATION)
  target_compile_options(ox_asio PRIVATE -ffunction-sections)
  target_link_libraries(ox_asio PRIVATE ox_flags PUBLIC Threads::Threads)
  target_link_options(ox_asio INTERFACE -Wl,--gc-sections)
  return()
endif()

# They are taken from the build machine, through a folder of links: nothing else of its include folder may be seen.
set(ASIO_INCLUDE_DIR ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${ASIO_INCLUDE_DIR})
foreach(header asio.hpp asio CLI nlohmann)
  find_path(OX_FOLDER_OF_${header} ${header} PATHS /usr/local/include /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
            REQUIRED)
  file(CREATE_LINK ${OX_FOLDER_OF_${header}}/${header} ${ASIO_INCLUDE_DIR}/${header} SYMBOLIC)
endforeach()
foreach(target CLI11::CLI11 nlohmann_json::nlohmann_json)
  add_library(${target} INTERFACE IMPORTED)
  target_include_directories(${target} INTERFACE ${ASIO_INCLUDE_DIR})
endforeach()
# Of Asio's own code a program holds what it uses: some of the rest calls what old systems lack.
add_library(ox_asio INTERFACE)
target_include_directories(ox_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_link_libraries(ox_asio INTERFACE ws2_32 mswsock)
