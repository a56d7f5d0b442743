# VELMORA_REVISION: the revision that is built, seven hex digits; zeros outside a checkout.
find_package(Git QUIET)
set(VELMORA_REVISION "0000000")
if(Git_FOUND)
  execute_process(
    COMMAND "${GIT_EXECUTABLE}" rev-parse HEAD
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    OUTPUT_VARIABLE velmora_head
    ERROR_QUIET
    RESULT_VARIABLE velmora_result)
  if(velmora_result EQUAL 0)
    string(SUBSTRING "${velmora_head}" 0 7 VELMORA_REVISION)
  endif()
endif()
