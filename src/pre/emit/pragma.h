// `#pragma QUB ...` lines, the string statements "QUB SKIP" and "QUB ENDSKIP", and the
// skip depth that marks regions where nothing is instrumented.
#ifndef QUB_EMIT_PRAGMA_H
#define QUB_EMIT_PRAGMA_H

#include <cstdint>

#include "preerror/status.h"

// Keyword indexes of the pragma table; PRAGMA_NONE means no keyword of it.
enum : std::uint32_t {
  PRAGMA_SKIP = 0,
  PRAGMA_ENDSKIP = 1,
  PRAGMA_COUNT = 2,
  PRAGMA_APPEND = 3,
  PRAGMA_INIT = 4,
  PRAGMA_QUIT = 5,
  PRAGMA_TESTCASE = 6,
  PRAGMA_ANNOTATION = 7,
  PRAGMA_NONE = 8,
};

struct pragma_state {
  // skip and endskip pragmas met in the current function body; the function start
  // clears it.
  std::uint32_t body_pragma_count = 0;
};

extern pragma_state g_pragma;

// STATUS_OK for a well-formed line, else STATUS_BAD_PRAGMA with its message arguments set.
// index_out gets the keyword index; argument_out (MAX_TOKEN + 1 bytes) the text behind
// the keyword of count, testcase and annotation, else "".
pre_status pre_classify_pragma(const char *text, std::uint32_t *index_out, char *argument_out);

// Acts on the whole line of a TOK_QUB_PRAGMA token. Whatever it does, the line's own
// line feed is replaced by exactly one line feed in the text.
void pre_handle_pragma(const char *text);

// A string token at a statement start, already copied. True when it is "QUB SKIP" or
// "QUB ENDSKIP" (quotes included), which is then acted on, or warned about when it is
// not at a statement start or next_kind is not `;`. False for any other string.
bool pre_skip_string_statement(const char *text, bool at_statement_start, std::uint32_t next_kind);

// --- skip depth (skip_depth of token.h, a signed count) -------------------------------
// Raises the depth; true when it was 0.
bool pre_skip_enter();
void pre_skip_leave();
bool pre_skip_active();
void pre_skip_reset();
// Sets the depth and returns the old one.
std::int32_t pre_skip_set(std::int32_t value);

#endif
