# VELMORA_BUILD_ID: the source revision that is built, seven hexadecimal digits. Who builds where git cannot tell it
# hands it in with -DVELMORA_BUILD_ID=; else it is that of the checkout, looked up again whenever that changes, and
# zeros outside of one.
set(handed_in "$CACHE{VELMORA_BUILD_ID}")
if(NOT handed_in STREQUAL "")
  string(LENGTH "${handed_in}" digits)
  if(NOT digits EQUAL 7 OR NOT handed_in MATCHES "^[0-9a-f]+$")
    message(FATAL_ERROR "VELMORA_BUILD_ID is '${handed_in}', and not seven hexadecimal digits")
  endif()
  set(VELMORA_BUILD_ID "${handed_in}")
  return()
endif()

set(VELMORA_BUILD_ID "0000000")
find_package(Git QUIET)
if(Git_FOUND)
  # Whoever owns the checkout, and whatever other one a hook of git's is at work on.
  set(ask_git
      "${CMAKE_COMMAND}" -E env --unset=GIT_DIR --unset=GIT_WORK_TREE --unset=GIT_INDEX_FILE
      "${GIT_EXECUTABLE}" -c safe.directory=* -C "${PROJECT_SOURCE_DIR}" rev-parse)
  execute_process(
    COMMAND ${ask_git} --show-prefix HEAD
    OUTPUT_VARIABLE revision
    ERROR_QUIET RESULT_VARIABLE failed)
  # The first line is empty where this tree is the checkout, and not a copy within another one.
  if(NOT failed AND revision MATCHES "^\n([0-9a-f]+)")
    set(revision "${CMAKE_MATCH_1}")
    string(SUBSTRING "${revision}" 0 7 VELMORA_BUILD_ID)
    execute_process(
      COMMAND ${ask_git} --git-path logs/HEAD
      OUTPUT_VARIABLE head_log OUTPUT_STRIP_TRAILING_WHITESPACE)
    cmake_path(ABSOLUTE_PATH head_log BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
    if(EXISTS "${head_log}")
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${head_log}")
    endif()
  endif()
endif()
