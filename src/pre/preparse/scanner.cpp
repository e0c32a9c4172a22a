// Placeholder scanner: no tokens.
#include "preparse/scanner.h"

#include <cstdlib>

int pre_open_source(const char *) { return 21; }
std::uint32_t pre_next_token(char *buffer) {
  buffer[0] = '\0';
  return TOK_EOF;
}
int pre_read_raw_char() { return 0; }
int pre_peek_char() { return 0; }
bool pre_space_follows() { return false; }
void pre_syntax_error(const char *) { std::exit(1); }
void pre_close_source() {}
