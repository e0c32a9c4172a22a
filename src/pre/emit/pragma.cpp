// QUB pragmas and skipped regions.
#include "emit/pragma.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "base/base.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/lookahead.h"
#include "preparse/token.h"
#include "symbol/symbol.h"

pragma_state g_pragma;

namespace {

const char *const PRAGMA_WORDS[PRAGMA_NONE] = {"skip",  "endskip", "count",    "append",
                                               "init",  "quit",    "testcase", "annotation"};

inline bool is_separator(char c) { return c == ' ' || c == '\t'; }

inline bool is_line_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Moves p over blanks and tabs.
const char *skip_separators(const char *p) {
  while (is_separator(*p)) p++;
  return p;
}

// The word at p (up to a blank, a tab or the end) into word, at most size - 1 bytes;
// returns the position behind it.
const char *take_word(const char *p, char *word, std::size_t size) {
  std::size_t n = 0;
  while (*p && !is_separator(*p)) {
    if (n + 1 < size) word[n++] = *p;
    p++;
  }
  word[n] = '\0';
  return p;
}

// Line argument of pragma messages: the pragma's own line, the scanner being one ahead.
unsigned long pragma_line() { return static_cast<unsigned long>(line_number) - 1; }

void prepare_bad_pragma(const char *line) {
  pre_set_message_args(line, current_file_name);
  pre_set_message_line(pragma_line());
}

void misplaced(const char *line) {
  prepare_bad_pragma(line);
  emit_newline();
  pre_report(STATUS_BAD_PRAGMA, REPORT_FATAL_IF_ERROR);
}

// Warning 25 the first time a skip or endskip pragma stands in a function body.
void note_body_pragma(const char *what) {
  if (!g_writer.in_function_body) return;
  if (++g_pragma.body_pragma_count != 1) return;
  pre_set_message_args(what, current_file_name);
  pre_set_message_line(pragma_line());
  pre_report(STATUS_PRAGMA_IN_BODY, REPORT_FATAL_IF_ERROR);
}

void append_macro(const char *text) { emit_macro(text, TOK_SEMI); }

}  // namespace

// --- skip depth --------------------------------------------------------------------------
// skip_depth is kept as a 32-bit pattern shared with the scanner; it is read as signed.

bool pre_skip_enter() {
  std::int32_t old = static_cast<std::int32_t>(skip_depth);
  skip_depth = static_cast<std::uint32_t>(old + 1);
  return old == 0;
}

void pre_skip_leave() { skip_depth = static_cast<std::uint32_t>(static_cast<std::int32_t>(skip_depth) - 1); }

bool pre_skip_active() { return static_cast<std::int32_t>(skip_depth) > 0; }

void pre_skip_reset() { skip_depth = 0; }

std::int32_t pre_skip_set(std::int32_t value) {
  std::int32_t old = static_cast<std::int32_t>(skip_depth);
  skip_depth = static_cast<std::uint32_t>(value);
  return old;
}

// --- pragmas -----------------------------------------------------------------------------

pre_status pre_classify_pragma(const char *text, std::uint32_t *index_out, char *argument_out) {
  *index_out = PRAGMA_NONE;
  argument_out[0] = '\0';
  std::string line = text;
  const char *p = std::strstr(line.c_str(), "pragma");
  char word[MAX_TOKEN + 1];
  bool qub = false;
  if (p) {
    p = take_word(skip_separators(p + 6), word, sizeof word);
    qub = std::strcmp(word, "QUB") == 0;
  }
  if (!qub) {
    prepare_bad_pragma(line.c_str());
    return STATUS_BAD_PRAGMA;
  }
  p = take_word(skip_separators(p), word, sizeof word);
  pre_str_lower(word);
  std::uint32_t index = PRAGMA_NONE;
  if (word[0])
    for (std::uint32_t i = 0; i < PRAGMA_NONE; i++)
      if (std::strcmp(word, PRAGMA_WORDS[i]) == 0) index = i;
  *index_out = index;
  if (index == PRAGMA_NONE) {
    prepare_bad_pragma(line.c_str());
    return STATUS_BAD_PRAGMA;
  }
  if (index == PRAGMA_COUNT || index == PRAGMA_TESTCASE || index == PRAGMA_ANNOTATION) {
    if (*p) p++;  // the one separator behind the keyword
    std::size_t n = std::strlen(p);
    if (n > MAX_TOKEN) n = MAX_TOKEN;
    std::memcpy(argument_out, p, n);
    argument_out[n] = '\0';
    return STATUS_OK;
  }
  if (*skip_separators(p)) {
    prepare_bad_pragma(line.c_str());
    return STATUS_BAD_PRAGMA;
  }
  return STATUS_OK;
}

void pre_handle_pragma(const char *text) {
  const char *start = text;
  while (is_line_space(*start)) start++;
  std::size_t len = std::strlen(start);
  while (len && is_line_space(start[len - 1])) len--;
  std::string line(start, len);

  std::uint32_t index;
  char argument[MAX_TOKEN + 1];
  if (pre_classify_pragma(line.c_str(), &index, argument) != STATUS_OK) {
    misplaced(line.c_str());
    return;
  }
  bool in_function = g_writer.in_function_body;
  switch (index) {
    case PRAGMA_SKIP:
      pre_skip_enter();
      emit_newline();
      note_body_pragma("QUB SKIP");
      return;
    case PRAGMA_ENDSKIP:
      if (!pre_skip_active()) {
        emit_newline();
        pre_set_message_args(current_file_name, "");
        pre_set_message_line(pragma_line());
        pre_report(STATUS_MISMATCHED_ENDSKIP, REPORT_FATAL_IF_ERROR);
        return;
      }
      pre_skip_leave();
      emit_newline();
      note_body_pragma("QUB ENDSKIP");
      return;
    case PRAGMA_COUNT:
      if (!in_function) break;
      if (g_run.instrument_decision && !pre_skip_active()) {
        std::uint32_t number = pre_next_jump_counter();
        char macro[64];
        std::snprintf(macro, sizeof macro, "QUB_PRAGMA_COUNT(%d)\n", static_cast<int>(number));
        append_macro(macro);
        pre_symbol_record(number, 55, level, line_number - 1, statement_count, argument);
      } else {
        emit_newline();
      }
      return;
    case PRAGMA_APPEND:
    case PRAGMA_INIT:
    case PRAGMA_QUIT:
      if (!in_function) break;
      append_macro(index == PRAGMA_APPEND ? "QUB_PRAGMA_APPEND\n"
                   : index == PRAGMA_INIT ? "QUB_PRAGMA_INIT\n"
                                          : "QUB_PRAGMA_QUIT\n");
      g_writer.module_needed = true;
      return;
    case PRAGMA_TESTCASE: {
      if (!in_function) break;
      std::string macro = "QUB_PRAGMA_TESTCASE(\"";
      macro += argument;
      macro += "\")\n";
      append_macro(macro.c_str());
      g_writer.module_needed = true;
      return;
    }
    case PRAGMA_ANNOTATION:
      if (!in_function) break;
      if (g_run.instrument_decision && !pre_skip_active())
        pre_symbol_record(0, 56, level, line_number - 1, statement_count, argument);
      emit_newline();
      return;
    default:
      break;
  }
  misplaced(line.c_str());
}

bool pre_skip_string_statement(const char *text, bool at_statement_start, std::uint32_t next_kind) {
  bool skip = std::strcmp(text, "\"QUB SKIP\"") == 0;
  bool endskip = !skip && std::strcmp(text, "\"QUB ENDSKIP\"") == 0;
  if (!skip && !endskip) return false;
  if (!at_statement_start || next_kind != TOK_SEMI) {
    pre_set_message_args(text, current_file_name);
    pre_set_message_line(line_number);
    pre_report(STATUS_MISPLACED_STRING, REPORT_CONTINUE);
    return true;
  }
  if (skip) {
    // The scanner counted the `;` before the region began; it belongs to the region.
    if (pre_skip_enter() && statement_count > 0) statement_count--;
  } else if (!pre_skip_active()) {
    pre_set_message_args(current_file_name, "");
    pre_set_message_line(line_number);
    pre_report(STATUS_MISMATCHED_ENDSKIP, REPORT_CONTINUE);
  } else {
    pre_skip_leave();
  }
  return true;
}
