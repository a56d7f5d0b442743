# Composes the engine's page into one C++ source, at build time:
#
#   cmake -D FOLDER=<where page.html, page.css and page.js are> -D SAMPLE=<PNG file> -D OUTPUT=<source> -P compose.cmake
#
cmake_minimum_required(VERSION 3.25)

# Style and script go into the page, so that a browser needs one connection for all of it. The content security
# policy names both by their hashes, which are computed here from the very bytes.

# base64(RESULT HEX): the bytes that HEX spells, in base64. CMake knows hashes in hexadecimal only.
function(base64 result hex)
  set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  string(LENGTH "${hex}" digits)
  math(EXPR missing "(6 - ${digits} % 6) % 6")
  string(REPEAT "0" ${missing} filling)
  set(text "")
  # Six digits are three bytes are four characters.
  string(REGEX MATCHALL "......" groups "${hex}${filling}")
  foreach(group IN LISTS groups)
    foreach(shift 18 12 6 0)
      math(EXPR index "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING "${alphabet}" ${index} 1 character)
      string(APPEND text "${character}")
    endforeach()
  endforeach()
  # Each byte that was filled in took two digits and leaves one character too many.
  math(EXPR padding "${missing} / 2")
  string(LENGTH "${text}" length)
  math(EXPR length "${length} - ${padding}")
  string(SUBSTRING "${text}" 0 ${length} text)
  string(REPEAT "=" ${padding} equals)
  set(${result} "${text}${equals}" PARENT_SCOPE)
endfunction()

foreach(part html css js)
  file(READ "${FOLDER}/page.${part}" ${part})
endforeach()
file(READ "${SAMPLE}" sample HEX)
base64(sample "${sample}")

set(page "${html}")
string(REPLACE "@SAMPLE@" "${sample}" js "${js}")
foreach(part css js)
  string(SHA256 hash "${${part}}")
  base64(${part}_hash "${hash}")
endforeach()
foreach(part css js)
  string(FIND "${page}" "@${part}@" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "page.html has no @${part}@")
  endif()
  string(REPLACE "@${part}@" "${${part}}" page "${page}")
endforeach()

set(delimiter "velmora")
string(FIND "${page}" ")${delimiter}\"" at)
if(NOT at EQUAL -1)
  message(FATAL_ERROR "the page ends its own literal")
endif()

file(WRITE "${OUTPUT}" "// Made by page/compose.cmake; edit the files there.
#include \"velmoralight_standin/page.h\"

namespace standin {

std::string_view pageText() noexcept {
    return R\"${delimiter}(${page})${delimiter}\";
}

std::string_view pageStyleHash() noexcept {
    return \"sha256-${css_hash}\";
}

std::string_view pageScriptHash() noexcept {
    return \"sha256-${js_hash}\";
}

}  // namespace standin
")
