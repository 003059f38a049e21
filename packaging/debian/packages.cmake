# SPDX-License-Identifier: Apache-2.0
# Three Debian packages, one for each component: what runs, what is built against, the command.
# scripts/package configures and builds for them; `cpack -G DEB` in any build folder also works.
set(runtime_package libsteadywarp${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(package_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

foreach(form IN ITEMS EPOCH=+%s "DAY=+%a, %d %b %Y %T +0000")
  string(REGEX MATCH "^(.*)=(.*)$" form ${form})
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date -u -d ${STEADYWARP_RELEASE_DATE} ${CMAKE_MATCH_2}
    OUTPUT_VARIABLE STEADYWARP_RELEASE_${CMAKE_MATCH_1} OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

set(CPACK_PACKAGE_NAME steadywarp)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each component has its own
set(CPACK_PACKAGE_CONTACT "steadywarp maintainers <maintainers@steadywarp.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET command_pages)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE steadywarp)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
"electronic image stabilizer for camera stacks, runtime
Per frame the library takes gyroscope, lens-shift and lens-position samples,
the frame's timing and its crop windows, and gives back a warp, a grid and a
homography, that removes hand shake, rolling-shutter wobble, lens distortion
and focus breathing within the margin that the crop leaves.
.
This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsteadywarp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${package_version})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"electronic image stabilizer for camera stacks, development
Per frame the library takes gyroscope, lens-shift and lens-position samples
and gives back a warp that removes hand shake and lens distortion.
.
This package holds the headers, the pkg-config file, the CMake package and
two example programs.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME steadywarp)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_COMPONENT_TOOL_DESCRIPTION
"electronic image stabilizer at the command line
Runs recordings of a camera's motion through the stabilizer, applies the
warps to video and shows in a report why every frame came out as it did.
It also makes shaky videos with the truth beside them, replays captured
sessions, builds tuning files and talks to the live tuning service.")

# dpkg-shlibdeps asks this machine's package state, which knows nothing of another architecture's
# libraries. For those the packages are named by hand; a test holds them against what the files need.
set(tool_depends "${runtime_package} (>= ${PROJECT_VERSION})")
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS
      "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libglib2.0-0 (>= 2.12.0), libstdc++6 (>= 12)")
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
      "${tool_depends}, libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${tool_depends}")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()

# The documents of each package, and the symbols file, are made when the files lie ready.
configure_file(${CMAKE_CURRENT_LIST_DIR}/complete.cmake.in
               ${CMAKE_CURRENT_BINARY_DIR}/complete.cmake @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/changelog @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_BINARY_DIR}/complete.cmake)
file(CONFIGURE OUTPUT shlibs
     CONTENT "libsteadywarp ${PROJECT_VERSION} ${runtime_package} (>= ${PROJECT_VERSION})\n")
file(CONFIGURE OUTPUT triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_BINARY_DIR}/shlibs
    ${CMAKE_CURRENT_BINARY_DIR}/symbols
    ${CMAKE_CURRENT_BINARY_DIR}/triggers)
include(CPack)
