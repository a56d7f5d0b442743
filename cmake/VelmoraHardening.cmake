# velmora_harden(TARGET)
#
# Adds to an interface target what makes a fault in the daemon or in its engine harder to exploit. Each flag is
# asked of the compiler first, since some exist on one architecture only.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

# Programs are linked as position-independent, as CMAKE_POSITION_INDEPENDENT_CODE asks.
check_pie_supported(LANGUAGES CXX)

function(velmora_harden target)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "VELMORA_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(${target} INTERFACE ${flag})
    endif()
  endforeach()
  # The checks of the C library need the optimiser.
  target_compile_options(${target} INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                                             $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  # All symbols are bound at the start and their table is then read-only; code and data share no page.
  target_link_options(${target} INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,separate-code
                                          LINKER:-z,noexecstack)
endfunction()
