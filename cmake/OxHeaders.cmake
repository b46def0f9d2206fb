# Libraries that are headers alone: ASIO_INCLUDE_DIR, CLI11::CLI11, nlohmann_json::nlohmann_json.
if(NOT CMAKE_CROSSCOMPILING)
  find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
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
