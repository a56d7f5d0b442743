# What every target of this project is compiled with. Linked privately, so that nothing of it reaches
# those who use the libraries.
add_library(velmora_options INTERFACE)
target_compile_features(velmora_options INTERFACE cxx_std_20)
target_compile_options(
  velmora_options
  INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
            # __FILE__ and assertions name files relative to the source tree, wherever it was built.
            "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=" "-fmacro-prefix-map=${PROJECT_BINARY_DIR}/="
            $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

set(VELMORA_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
if(VELMORA_SANITIZE)
  target_compile_options(
    velmora_options INTERFACE -fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all
                              -fno-omit-frame-pointer
                              # clang 14 compiles no coroutine with this check.
                              $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
  target_link_options(velmora_options INTERFACE -fsanitize=${VELMORA_SANITIZE})
else()
  # The sanitizers bring checks of their own, and do not get along with these.
  include(VelmoraHardening)
  velmora_harden(velmora_options)
endif()

if(VELMORA_BUILD_FUZZERS)
  # The libraries as well as the targets: libFuzzer sees only what is instrumented.
  target_compile_options(velmora_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
