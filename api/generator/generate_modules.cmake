# SPDX-License-Identifier: Apache-2.0
# steadywarp_generate_modules(NAME DEFINITIONS OUTPUT)
# An object library of the modules that the folder DEFINITIONS describes. The C++ appears in OUTPUT,
# which is not looked at before the build; NAME_made makes it.
function(steadywarp_generate_modules name definitions output)
  find_package(Python3 3.11 REQUIRED COMPONENTS Interpreter)  # for its TOML reader
  set(generator ${CMAKE_CURRENT_FUNCTION_LIST_DIR})
  file(GLOB tables CONFIGURE_DEPENDS ${definitions}/*.toml)
  file(GLOB scripts CONFIGURE_DEPENDS ${generator}/*.py)
  set(sources)
  foreach(table IN LISTS tables)
    get_filename_component(family ${table} NAME_WE)
    list(APPEND sources ${output}/src/${family}.cpp)
  endforeach()
  add_custom_command(
    OUTPUT ${sources}
    COMMAND ${Python3_EXECUTABLE} -B ${generator}/generate.py
            ${definitions} ${output}
    DEPENDS ${tables} ${scripts}
    COMMENT "Making the modules of ${name}" VERBATIM)
  add_custom_target(${name}_made DEPENDS ${sources})
  add_library(${name} OBJECT ${sources})
  target_link_libraries(${name} PRIVATE steadywarp_options)
  target_include_directories(${name} PRIVATE ${output}/include)
endfunction()
