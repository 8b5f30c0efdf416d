# The target `platform`: the libraries behind platform/include, either the stand-in of this project
# or a maker's own. The daemon's sources are the same for both.
if(VORLENT_PLATFORM)
  add_library(platform INTERFACE)
  target_link_libraries(platform INTERFACE ${VORLENT_PLATFORM})
  target_include_directories(platform INTERFACE ${CMAKE_SOURCE_DIR}/platform/include)
else()
  add_subdirectory(platform/standin)
endif()
