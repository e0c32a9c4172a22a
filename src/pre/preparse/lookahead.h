// The token layer the analysers read: lookahead of any depth, qualified C++ names
// joined into single tokens, directive lines sent to the text, and the routines that
// pass over bracketed stretches while copying every token.
#ifndef QUB_PREPARSE_LOOKAHEAD_H
#define QUB_PREPARSE_LOOKAHEAD_H

#include <cstdint>

#include "base/base.h"
#include "emit/text_list.h"
#include "preparse/token.h"
#include "symbol/names.h"

// One token read ahead by the joining code.
struct la_slot {
  std::uint32_t kind = TOK_NONE;
  char text[MAX_TOKEN + 1] = {0};
  std::uint32_t line = 0;
  bool space_after = false;    // whitespace followed the token in the source
  bool template_name = false;  // names a template (set only inside an argument list)
};

struct lookahead_state {
  // Tokens read ahead by the peeks, first in first out; piece kind, line and text.
  pre_text_list *queue = nullptr;
  la_slot la1;
  la_slot la2;
  std::uint32_t la_count = 0;  // slots in use: 0, 1 or 2
  // Entry of the previous name inside a template argument list.
  pre_name_entry *la_scope = nullptr;
  // The scanner's own line count: where it stands behind the last token it scanned.
  std::uint32_t scan_line = 1;
  // ASSEMBLY_COMMENT_CHARS, read once per run.
  bool asm_comment_chars_loaded = false;
  char asm_comment_chars[MAX_TOKEN + 1] = {0};
};

extern lookahead_state g_lookahead;

// --- shared with the analysers --------------------------------------------------------
extern char current_token[MAX_TOKEN + 1];  // text of the token at hand
extern pre_name_entry *current_scope;      // class or namespace under analysis; none at file level
extern pre_name_entry *name_entry;         // entry of the last name joined, or none
extern pre_name_entry *name_parent;        // entry of its qualifier when that is known
extern char last_component[MAX_TOKEN + 1];  // last part of a qualified name; "" for a simple one
extern bool omp_for_pending;               // an OpenMP loop directive went by
// Nesting level of the statement analysis, written into every symbol record.
extern std::uint32_t level;

// --- reading ------------------------------------------------------------------------
// Start of a file: current_file_name, token, capture text, line 1, scopes, statement
// count and the lookahead are all made new.
void pre_reset_parse_state(const char *source_name);
// The next token: kind as result, text in current_token, line in line_number. With
// bypass_queue the queue is passed by (that is how tokens are read into it).
std::uint32_t pre_fetch_token(bool bypass_queue);
std::uint32_t pre_get_token();
// pre_get_token, and the token goes to the text: QUB pragmas to pre_handle_pragma,
// TOK_BAD to message 26, TOK_EOF nowhere, everything else to emit_token.
std::uint32_t pre_copy_token();
// Kind of the next token, not consumed. current_token takes its text; line_number
// stays as it is.
std::uint32_t pre_peek_kind();
// Reads one token more behind the queue's tail and returns its kind.
std::uint32_t pre_peek_further();
// Appends to current_token; past MAX_TOKEN bytes message 33 ends the run.
void pre_append_to_token(const char *text);

// --- skipping: every token passed is copied -------------------------------------------
// With `open` consumed: copies up to the matching `close`, which stays unread.
void pre_skip_balanced(std::uint32_t open, std::uint32_t close);
// When `open` is next: copies it, the stretch and its closing token.
void pre_skip_group(std::uint32_t open, std::uint32_t close);
// __attribute__((...)) and its like; true when the word `naked` stands in the inner list.
// The outer closing bracket stays unread.
bool pre_skip_attribute(std::uint32_t open, std::uint32_t close);
// Bits of pre_skip_until's flags: brackets passed as groups and closing at this level.
enum : std::uint32_t { SKIP_BRACES = 1, SKIP_PARENS = 2, SKIP_BRACKETS = 4 };
// Copies tokens until `stop` or the non-zero `stop2` is next; that token stays unread.
void pre_skip_until(std::uint32_t stop, std::uint32_t stop2 = 0, std::uint32_t flags = 0);
// Assembler text behind __asm with no parenthesis, copied raw line by line.
void pre_skip_asm_text();

#endif
