# SPDX-License-Identifier: Apache-2.0
# The two libraries behind the command's video: Video::files reads and writes it (libav), Video::vision
# draws and follows points (OpenCV; Debian splits it, and only the whole of it would bring a package
# file of its own).
pkg_check_modules(LIBAV IMPORTED_TARGET libavformat libavcodec libavutil libswscale)

find_path(OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
set(vision_libraries)
foreach(part IN ITEMS core imgproc video calib3d)
  find_library(OPENCV_${part}_LIBRARY opencv_${part})
  list(APPEND vision_libraries OPENCV_${part}_LIBRARY)
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Video
  REQUIRED_VARS LIBAV_FOUND OPENCV_INCLUDE_DIR ${vision_libraries}
  REASON_FAILURE_MESSAGE
    "scripts/setup installs what is missing, and the option STEADYWARP_VIDEO=OFF goes without")

if(Video_FOUND AND NOT TARGET Video::files)
  add_library(Video::files INTERFACE IMPORTED)
  target_link_libraries(Video::files INTERFACE PkgConfig::LIBAV)
  add_library(Video::vision INTERFACE IMPORTED)
  target_include_directories(Video::vision SYSTEM INTERFACE ${OPENCV_INCLUDE_DIR})
  foreach(library IN LISTS vision_libraries)
    target_link_libraries(Video::vision INTERFACE ${${library}})
  endforeach()
endif()
