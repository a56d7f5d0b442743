# The target velmoraLight: an engine installed elsewhere, or the stand-in of this repository.
if(VELMORA_LIGHT_DIR)
  find_library(VELMORA_LIGHT_LIBRARY velmoraLight PATHS "${VELMORA_LIGHT_DIR}/lib" NO_DEFAULT_PATH
                                                        REQUIRED)
  add_library(velmoraLight SHARED IMPORTED GLOBAL)
  set_target_properties(
    velmoraLight PROPERTIES IMPORTED_LOCATION "${VELMORA_LIGHT_LIBRARY}" IMPORTED_NO_SONAME ON
                            INTERFACE_INCLUDE_DIRECTORIES "${VELMORA_LIGHT_DIR}/include")
  # Where the daemon in the build tree looks for it.
  file(MAKE_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  file(CREATE_LINK "${VELMORA_LIGHT_LIBRARY}" "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/libvelmoraLight.so"
       SYMBOLIC)
else()
  add_subdirectory("${PROJECT_SOURCE_DIR}/src/velmoralight_standin"
                   "${PROJECT_BINARY_DIR}/src/velmoralight_standin")
endif()
