// The token scanner: preprocessed bytes to tokens, one token per call.
#ifndef QUB_PREPARSE_SCANNER_H
#define QUB_PREPARSE_SCANNER_H

#include <cstddef>
#include <cstdint>

#include "preerror/status.h"
#include "preparse/token.h"

// Longest string literal piece before it is split into adjacent literals.
constexpr std::uint32_t STRING_SPLIT_AT = 14989;

// Opens the preprocessed file; STATUS_OK, or STATUS_OPEN_FAILED with the message
// arguments set.
pre_status pre_open_source(const char *path);
// Scans the next token into buffer (15001 bytes) and returns its kind.
std::uint32_t pre_next_token(char *buffer);
// Next character with no tokenising; 0 at the end or with no file open.
int pre_read_raw_char();
// Next non-blank character of the current line buffer, consuming nothing.
int pre_peek_char();
// Whitespace follows the token just scanned.
bool pre_space_follows();
// Message 26 for the current file and line with text as its last argument; ends the run.
[[noreturn]] void pre_syntax_error(const char *text);
// Closes the input if it is open.
void pre_close_source();

// The input's name as the last line directive gave it (backslashes as they stood
// there), or the path given to pre_open_source before any line directive.
const char *pre_input_name();

// A file-and-line prefix of the BORLAND preprocessor's output lines,
// "<path> <line>: <text>" or "/* <path> <line>: */ <text>".
struct pre_line_marker {
  char path[262];           // backslashes doubled, as in a line directive
  unsigned long line;
  std::size_t text_offset;  // where the source text starts in the line
};
// True when line starts with such a prefix; marker is then filled in.
bool pre_parse_line_marker(const char *line, pre_line_marker *marker);

#endif
