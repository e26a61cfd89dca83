# Install target, pkg-config file and CMake package.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS kelzorcm EXPORT kelzorcm-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT kelzorcm-targets NAMESPACE kelzor:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelzorcm)

configure_file(${CMAKE_SOURCE_DIR}/cmake/kelzorcm.pc.in ${CMAKE_BINARY_DIR}/kelzorcm.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kelzorcm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(WRITE ${CMAKE_BINARY_DIR}/kelzorcm-config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/kelzorcm-targets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kelzorcm-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kelzorcm-config.cmake ${CMAKE_BINARY_DIR}/kelzorcm-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelzorcm)
