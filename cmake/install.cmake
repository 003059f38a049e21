# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` lays down beside the library: headers, a pkg-config file, a CMake package.
# Both find their prefix from where they lie, so the whole can be moved. The component `library` is what
# runs, `development` what is built against, `tool` the command.
include(CMakePackageConfigHelpers)

install(TARGETS steadywarp EXPORT steadywarp
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT library NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/steadywarp ${STEADYWARP_GENERATED}/include/steadywarp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

file(RELATIVE_PATH STEADYWARP_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" STEADYWARP_PC_TO_PREFIX "${STEADYWARP_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/steadywarp.pc.in
               ${PROJECT_BINARY_DIR}/package/steadywarp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/steadywarp.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/steadywarp)
install(EXPORT steadywarp NAMESPACE steadywarp:: FILE steadywarp-config.cmake
        DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/steadywarp-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/steadywarp-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)
