# What `cmake --install` lays down: headers, library, list of exports, pkg-config file, CMake package, shipped files.
include(CMakePackageConfigHelpers)

install(TARGETS oxbase EXPORT oxbase
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(WIN32)
  ox_debug_files(${CMAKE_INSTALL_BINDIR} oxbase)
  # For compilers that make their import library of it (docs/windows.md).
  install(FILES ${CMAKE_BINARY_DIR}/oxbase.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
  ox_debug_files(${CMAKE_INSTALL_LIBDIR} oxbase)
endif()
install(DIRECTORY include/oxbase DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

# The prefix as seen from the pkg-config file, so that the installed tree can be moved.
file(RELATIVE_PATH OX_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" OX_PC_PREFIX "${OX_PC_PREFIX}")
# Programs find the library where it was linked from, in a folder of one's own too.
if(NOT WIN32)
  set(OX_PC_RPATH "-Wl,-rpath,\${libdir} ")
endif()
configure_file(cmake/oxbase.pc.in ${CMAKE_BINARY_DIR}/oxbase.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/oxbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/oxbase)
install(EXPORT oxbase FILE oxbaseTargets.cmake NAMESPACE oxbase:: DESTINATION ${package_dir})
configure_package_config_file(cmake/oxbaseConfig.cmake.in ${CMAKE_BINARY_DIR}/oxbaseConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/oxbaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/oxbaseConfig.cmake ${CMAKE_BINARY_DIR}/oxbaseConfigVersion.cmake
        DESTINATION ${package_dir})

if(WIN32)
  install(FILES scripts/make-installation.cmd DESTINATION ${CMAKE_INSTALL_BINDIR})
else()
  install(PROGRAMS scripts/make-installation DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
