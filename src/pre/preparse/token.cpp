#include "preparse/token.h"

std::uint32_t line_number = 1;
std::uint32_t line_before_directive = 0;
char current_file_name[262] = "";
std::uint32_t statement_count = 0;
std::uint32_t skip_depth = 0;
std::uint32_t source_language = LANG_C;
std::uint32_t compiler_family = FAMILY_ANSI;
