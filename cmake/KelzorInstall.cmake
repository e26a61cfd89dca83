# Install target, pkg-config file and CMake package.

# The compiler is asked about its target without -m32, so these two have to be told. Both must stand
# before the modules read them.
if(KELZOR_M32)
    set(CMAKE_INSTALL_LIBDIR lib/i386-linux-gnu CACHE PATH "Folder of the libraries")
    set(CMAKE_SIZEOF_VOID_P 4)
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelzorcm)
install(TARGETS kelzorcm EXPORT kelzorcm-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h"
        PATTERN "*.hpp")
install(EXPORT kelzorcm-targets NAMESPACE kelzor:: DESTINATION ${package_dir})

# The file tells its prefix from its own place, so an installed tree can be moved.
file(RELATIVE_PATH KELZOR_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_SOURCE_DIR}/cmake/kelzorcm.pc.in ${CMAKE_BINARY_DIR}/kelzorcm.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kelzorcm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(WRITE ${CMAKE_BINARY_DIR}/kelzorcm-config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/kelzorcm-targets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kelzorcm-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kelzorcm-config.cmake ${CMAKE_BINARY_DIR}/kelzorcm-config-version.cmake
        DESTINATION ${package_dir})
