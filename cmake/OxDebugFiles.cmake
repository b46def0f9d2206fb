# Debug information in files of its own: "bin/.debug/oxget.debug" beside "bin/oxget", where debuggers look for it. A packager
# who parts it himself sets OXBASE_DEBUG_FILES=OFF.
option(OXBASE_DEBUG_FILES "Install programs and library without their debug information, which is put beside them" ON)

# After the install rules of these targets: ox_debug_files(bin oxget oxset)
function(ox_debug_files folder)
  if(NOT OXBASE_DEBUG_FILES OR NOT CMAKE_OBJCOPY OR NOT CMAKE_BUILD_TYPE MATCHES "Debug|RelWithDebInfo" OR OXBASE_SANITIZE)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    install(CODE "set(OX_OBJCOPY \"${CMAKE_OBJCOPY}\")
set(OX_FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}/$<TARGET_FILE_NAME:${target}>\")
include(\"${CMAKE_SOURCE_DIR}/cmake/part_debug_file.cmake\")")
  endforeach()
endfunction()
