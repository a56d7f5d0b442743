#include "vlib/vlog/vlog_default_config.h"

namespace {

// The widths of the lines are part of the text.
constexpr const char* text =
    "# This is a comment line in a VLog configuration file                  \n"
    "# Entry format:                                                        \n"
    "#   TOPIC; LEVEL; TAG_FMT, FILES {comma separated}; SIZES  {comma separated}    \n"
    "#                                                                      \n"
    "# Especial Files                                                       \n"
    "#   [STDOUT] - prints to the screen                                    \n"
    "                                                                       \n"
    "STDERR    ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "MSGSERVER ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "MSGSERVER ; DEBUG         ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "MSGSERVER ; WARN          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "MSGSERVER ; NOTICE        ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "MSGSERVER ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "*         ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "*         ; DEBUG         ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "*         ; WARN          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "*         ; NOTICE        ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "*         ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "LOGGER    ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "LOGGER    ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "HARDWARE  ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "HARDWARE  ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "VLIB      ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "VLIB      ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
    "VLOOP     ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n";

}  // namespace

std::string vlogDefaultConfig() {
    return text;
}
