# VELMORA_BUILD_ID: the source revision that is built, seven hexadecimal digits, zeros outside a checkout.
# Looked up again whenever the checked-out revision changes.
set(VELMORA_BUILD_ID "0000000")
find_package(Git QUIET)
if(Git_FOUND)
  execute_process(
    COMMAND "${GIT_EXECUTABLE}" -C "${PROJECT_SOURCE_DIR}" rev-parse --show-prefix HEAD
    OUTPUT_VARIABLE revision
    ERROR_QUIET RESULT_VARIABLE failed)
  # The first line is empty where this tree is the checkout, and not a copy within another one.
  if(NOT failed AND revision MATCHES "^\n([0-9a-f]+)")
    set(revision "${CMAKE_MATCH_1}")
    string(SUBSTRING "${revision}" 0 7 VELMORA_BUILD_ID)
    execute_process(
      COMMAND "${GIT_EXECUTABLE}" -C "${PROJECT_SOURCE_DIR}" rev-parse --git-path logs/HEAD
      OUTPUT_VARIABLE head_log OUTPUT_STRIP_TRAILING_WHITESPACE)
    cmake_path(ABSOLUTE_PATH head_log BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
    if(EXISTS "${head_log}")
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${head_log}")
    endif()
  endif()
endif()
