# The target velmoraLight: an engine installed elsewhere, or the stand-in of this repository.
if(NOT VELMORA_LIGHT_DIR)
  add_subdirectory("${PROJECT_SOURCE_DIR}/src/velmoralight_standin"
                   "${PROJECT_BINARY_DIR}/src/velmoralight_standin")
  return()
endif()

# Not kept in the cache: another VELMORA_LIGHT_DIR is another library.
find_library(engine velmoraLight PATHS "${VELMORA_LIGHT_DIR}/lib" NO_DEFAULT_PATH NO_CACHE REQUIRED)
set(engine_names libvelmoraLight.so)
# The daemon asks for the engine by the name that the engine gives itself.
include(CMakeFindBinUtils)
execute_process(COMMAND "${CMAKE_COMMAND}" -E env LC_ALL=C "${CMAKE_READELF}" --dynamic "${engine}"
                OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(dynamic MATCHES "\\(SONAME\\)[^[]*\\[([^]]+)\\]")
  list(APPEND engine_names "${CMAKE_MATCH_1}")
  list(REMOVE_DUPLICATES engine_names)
endif()

add_library(velmoraLight SHARED IMPORTED GLOBAL)
set_target_properties(
  velmoraLight
  PROPERTIES IMPORTED_LOCATION "${engine}" IMPORTED_NO_SONAME ON
             INTERFACE_INCLUDE_DIRECTORIES "${VELMORA_LIGHT_DIR}/include" VELMORA_NAMES "${engine_names}")
# Where the daemon in the build tree looks for it.
file(MAKE_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
foreach(name IN LISTS engine_names)
  file(CREATE_LINK "${engine}" "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${name}" SYMBOLIC)
endforeach()
