# The target `platform`: the libraries behind platform/include, either the stand-in of this project
# or a maker's own. The daemon's sources are the same for both.
#
# VORLENT_PLATFORM takes, separated by semicolons: full paths of libraries, linker words (-lname,
# -Lfolder), and names, which are pkg-config packages where there is one of that name and libraries
# on the linker's path otherwise. A maker's headers are not needed: the declarations are ours.

# Puts what the item means to the linker into `result`.
function(vorlent_platform_item item result)
  set(${result} ${item} PARENT_SCOPE)
  if(item MATCHES "^-" OR (IS_ABSOLUTE ${item} AND EXISTS ${item} AND NOT IS_DIRECTORY ${item}))
    return()
  endif()
  if(item MATCHES "[/\\]|[.](so|a)$")
    message(FATAL_ERROR "VORLENT_PLATFORM: ${item}: no such library file. Name each library by its "
      "full path, by -lname (with -Lfolder before it) or by its pkg-config package.")
  endif()
  pkg_check_modules(PLATFORM_${item} QUIET IMPORTED_TARGET ${item})
  if(TARGET PkgConfig::PLATFORM_${item})
    set(${result} PkgConfig::PLATFORM_${item} PARENT_SCOPE)
  endif()
endfunction()

# Links a program that takes the address of each of the operations; `linked` says whether it went,
# `why` what the linker said.
function(vorlent_platform_links operations linked why)
  set(source ${CMAKE_BINARY_DIR}/CMakeFiles/platform_operations.c)
  list(JOIN operations ", (Call)" calls)
  file(WRITE ${source} "#include \"platform_onboarding.h\"\n#include \"shared_debug_log.h\"\n"
    "#include \"vexo_nvram.h\"\ntypedef void (*Call)(void);\n"
    "Call volatile calls[] = {(Call)${calls}};\nint main(void) { return calls[0] == 0; }\n")
  try_compile(fits ${CMAKE_BINARY_DIR}/CMakeFiles/platform_operations ${source}
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${CMAKE_SOURCE_DIR}/platform/include"
    LINK_LIBRARIES ${platform_libraries} OUTPUT_VARIABLE output)
  set(${linked} ${fits} PARENT_SCOPE)
  set(${why} ${output} PARENT_SCOPE)
  unset(fits CACHE)
endfunction()

# What is missing is said here, at once and by name, and not by the linker at the end of the build.
function(vorlent_check_platform)
  set(operations "")
  file(GLOB headers ${CMAKE_SOURCE_DIR}/platform/include/*.h)
  foreach(header ${headers})
    file(STRINGS ${header} lines REGEX "^[a-z][a-z *]*[a-zA-Z_]+[(]")
    foreach(line ${lines})
      string(REGEX REPLACE "^[a-z *]*[ *]([a-zA-Z_]+)[(].*" "\\1" operation ${line})
      list(APPEND operations ${operation})
    endforeach()
  endforeach()
  vorlent_platform_links("${operations}" linked why)
  if(linked)
    return()
  endif()
  set(missing "")
  foreach(operation ${operations})
    vorlent_platform_links(${operation} linked ignored)
    if(NOT linked)
      list(APPEND missing ${operation})
    endif()
  endforeach()
  list(JOIN missing ", " names)
  message(FATAL_ERROR "VORLENT_PLATFORM: ${VORLENT_PLATFORM}: these libraries do not give ${names}. "
    "Add the library that does, with C linkage, or see below what the linker lacks; "
    "docs/porting.md says what each call has to do.\n${why}")
endfunction()

if(VORLENT_PLATFORM)
  find_package(PkgConfig REQUIRED)
  set(platform_libraries "")
  foreach(item ${VORLENT_PLATFORM})
    vorlent_platform_item(${item} library)
    list(APPEND platform_libraries ${library})
  endforeach()
  vorlent_check_platform()
  add_library(platform INTERFACE)
  target_link_libraries(platform INTERFACE ${platform_libraries})
  target_include_directories(platform INTERFACE ${CMAKE_SOURCE_DIR}/platform/include)
else()
  add_subdirectory(platform/standin)
endif()
