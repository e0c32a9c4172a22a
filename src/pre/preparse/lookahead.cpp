// Token lookahead, joining of qualified names, directive lines, and skipping.
#include "preparse/lookahead.h"

#include <cstdlib>
#include <cstring>

#include "config/config.h"
#include "emit/pragma.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/keywords.h"
#include "preparse/scanner.h"
#include "prepath/prepath.h"
#include "symbol/symbol.h"

lookahead_state g_lookahead;

char current_token[MAX_TOKEN + 1];
pre_name_entry *current_scope = nullptr;
pre_name_entry *name_entry = nullptr;
pre_name_entry *name_parent = nullptr;
char last_component[MAX_TOKEN + 1];
bool omp_for_pending = false;
std::uint32_t level = 0;

namespace {

lookahead_state &la = g_lookahead;

pre_text_list *queue() {
  if (!la.queue) la.queue = pre_text_list_create();
  return la.queue;
}

// --- bounded appending to current_token -------------------------------------------------

[[noreturn]] void token_too_big() {
  pre_set_message_args(current_file_name, "");
  pre_set_message_line(line_number);
  pre_fatal(STATUS_CAPACITY);
}

void append_blank() {
  std::size_t len = std::strlen(current_token);
  if (len + 1 > MAX_TOKEN) token_too_big();
  current_token[len] = ' ';
  current_token[len + 1] = '\0';
}

// A slot's text and, when whitespace followed it, a blank.
void append_slot(const la_slot &slot) {
  pre_append_to_token(slot.text);
  if (slot.space_after) append_blank();
}

// --- the scanner behind the queue and the slots -------------------------------------------

// Scans one token into a slot. The scanner counts from its own line, whatever the
// readers have since put into line_number; line_number is left on the new token.
void scan_slot(la_slot &slot) {
  line_number = la.scan_line;
  slot.kind = pre_next_token(slot.text);
  la.scan_line = line_number;
  slot.line = line_number;
  slot.space_after = pre_space_follows();
  slot.template_name = false;
}

void fill_la1() {
  if (la.la_count == 0) {
    scan_slot(la.la1);
    la.la_count = 1;
  }
}

void fill_la2() {
  fill_la1();
  if (la.la_count == 1) {
    scan_slot(la.la2);
    la.la_count = 2;
  }
}

// Empties la1; la2 moves up.
void drop_la1() {
  if (la.la_count == 2) {
    la.la1.kind = la.la2.kind;
    std::strcpy(la.la1.text, la.la2.text);
    la.la1.line = la.la2.line;
    la.la1.space_after = la.la2.space_after;
    la.la1.template_name = la.la2.template_name;
    la.la_count = 1;
  } else {
    la.la_count = 0;
  }
}

// --- directive lines -----------------------------------------------------------------------

// `#`, then "pragma", then " omp", then " for", in this order.
bool is_omp_for(const char *text) {
  const char *p = std::strchr(text, '#');
  if (p) p = std::strstr(p + 1, "pragma");
  if (p) p = std::strstr(p + 6, " omp");
  if (p) p = std::strstr(p + 4, " for");
  return p != nullptr;
}

void other_directive(const char *text) {
  if (is_omp_for(text)) omp_for_pending = true;
  emit_directive(text, false);
}

// The scanner has already taken the new file name and line from the directive.
void line_directive(const char *text) {
  pre_note_current_file(current_file_name);
  pre_symbol_record(0, 50, level, line_number, statement_count, current_file_name);
  emit_directive(text, true);
}

// --- template argument absorption ----------------------------------------------------------

bool opens_list(const la_slot &slot) {
  return slot.template_name || std::strcmp(slot.text, "template") == 0 ||
         std::strncmp(slot.text, "template ", 9) == 0;
}

// pre_next_token into la1, with the classification that tells template names.
void la_scan() {
  scan_slot(la.la1);
  la.la_count = 1;
  la_slot &s = la.la1;
  if (s.kind != TOK_IDENT) {
    if (s.kind != TOK_SCOPE) la.la_scope = nullptr;
    return;
  }
  pre_name_entry *e = pre_name_lookup(s.text, current_scope, false);
  if (!e && la.la_scope) e = pre_name_lookup(s.text, la.la_scope, true);
  if (!e) e = pre_name_lookup_using_scope(s.text, current_scope);
  if (!e && la.la_scope) e = pre_name_lookup_using_scope(s.text, la.la_scope);
  if (!e) e = pre_name_lookup_using_global(s.text);
  if (e) {
    la.la_scope = e;
    s.template_name = pre_name_is_template_kind(e) || pre_name_is_template(e, true);
    return;
  }
  la.la_scope = nullptr;
  pre_name_entry *f = pre_name_lookup_any_function(s.text, current_scope, false);
  s.template_name = pre_name_is_template_member(f) || std::strcmp(s.text, "static_cast") == 0;
}

// Directive kinds met inside an argument list go to the text, not into the token.
bool absorb_directive(const la_slot &s) {
  switch (s.kind) {
    case TOK_LINE_DIRECTIVE:
      line_directive(s.text);
      return true;
    case TOK_DIRECTIVE:
      other_directive(s.text);
      return true;
    case TOK_QUB_PRAGMA:
      emit_newline();
      return true;
    default:
      return false;
  }
}

bool is_closing_angle(std::uint32_t k) { return k == TOK_GREATER || k == TOK_SHR || k == TOK_USHR; }

// Blanks that keep the joined text readable as the same tokens.
bool needs_blank(std::uint32_t prev, std::uint32_t k, bool in_bracket) {
  if (prev == TOK_IDENT && k == TOK_IDENT) return true;
  if (prev == TOK_LESS && k == TOK_LESS) return true;
  if (in_bracket) {
    if (prev == TOK_GREATER && k == TOK_GREATER) return true;
  } else if (is_closing_angle(k) && (prev == TOK_GREATER || prev == TOK_SHR)) {
    return true;
  }
  return k == TOK_SCOPE && (prev == TOK_LESS || prev == TOK_COLON);
}

void absorb_slot(const la_slot &s, std::uint32_t prev, bool in_bracket) {
  if (needs_blank(prev, s.kind, in_bracket)) append_blank();
  append_slot(s);
}

// Everything up to the partner of `open`, counting only that kind of bracket. False
// at the end of the input, which then stays in la1.
bool absorb_bracket(std::uint32_t open, std::uint32_t close) {
  int depth = 1;
  std::uint32_t prev = open;
  for (;;) {
    la_scan();
    const la_slot &s = la.la1;
    if (s.kind == TOK_EOF) return false;
    if (absorb_directive(s)) continue;
    if (s.kind == open)
      depth++;
    else if (s.kind == close)
      depth--;
    absorb_slot(s, prev, true);
    prev = s.kind;
    if (depth == 0) return true;
  }
}

bool ends_unfinished_list(std::uint32_t k) {
  return k == TOK_EOF || k == TOK_LBRACE || k == TOK_RBRACE || k == TOK_RPAREN ||
         k == TOK_RBRACKET || k == TOK_COLON || k == TOK_SEMI;
}

// The token at hand names a template: a `<` behind it opens an argument list that
// becomes part of the token. la1 holds the token behind the list, if it was read.
void absorb_template_args() {
  if (la.la_count == 0) la_scan();
  if (la.la1.kind != TOK_LESS) return;
  append_slot(la.la1);
  int depth = 1;
  std::uint32_t prev = TOK_LESS;
  bool prev_opens = false;
  for (;;) {
    la_scan();
    la_slot &s = la.la1;
    std::uint32_t k = s.kind;
    if (ends_unfinished_list(k)) return;
    if (absorb_directive(s)) continue;
    bool opens = opens_list(s);
    switch (k) {
      case TOK_GREATER:
        depth--;
        absorb_slot(s, prev, false);
        break;
      case TOK_SHR:
        if (depth >= 2) {
          depth -= 2;
          absorb_slot(s, prev, false);
          break;
        }
        // `>>` behind the last list: its first half closes the list, the second
        // stays as the next token.
        if (needs_blank(prev, k, false)) append_blank();
        pre_append_to_token(">");
        s.kind = TOK_GREATER;
        std::strcpy(s.text, ">");
        return;
      case TOK_USHR:
        if (depth >= 3) depth -= 3;
        absorb_slot(s, prev, false);
        break;
      case TOK_LESS:
        if (prev_opens) depth++;
        absorb_slot(s, prev, false);
        break;
      case TOK_LPAREN:
      case TOK_LBRACKET:
      case TOK_QUESTION: {
        std::uint32_t close = k == TOK_QUESTION ? TOK_COLON : k + 1;
        absorb_slot(s, prev, false);
        if (!absorb_bracket(k, close)) return;
        k = close;
        opens = false;
        break;
      }
      default:
        absorb_slot(s, prev, false);
        break;
    }
    prev = k;
    prev_opens = opens;
    if (depth < 1) {
      la.la_count = 0;
      return;
    }
  }
}

// --- joining --------------------------------------------------------------------------------

// A name without the `::` in front of it and any blank behind it.
void global_name_text(char *out) {
  const char *p = current_token;
  if (p[0] == ':' && p[1] == ':') p += 2;
  std::size_t n = std::strlen(p);
  while (n && p[n - 1] == ' ') n--;
  std::memcpy(out, p, n);
  out[n] = '\0';
}

bool is_word(const la_slot &s, const char *word) {
  return s.kind == TOK_IDENT && std::strcmp(s.text, word) == 0;
}

bool joins(const la_slot &sep, const la_slot &name) {
  if (sep.kind == TOK_SCOPE)
    return name.kind == TOK_IDENT &&
           (pre_keyword_kind(name.text) == TOK_NONE || std::strcmp(name.text, "template") == 0);
  if (sep.kind == TOK_ARROW || sep.kind == TOK_DOT) return is_word(name, "template");
  return false;
}

std::uint32_t join_name_at(std::uint32_t kind) {
  last_component[0] = '\0';
  name_parent = nullptr;
  if (kind == TOK_IDENT) {
    name_entry = nullptr;
    std::uint32_t keyword = pre_keyword_kind(current_token);
    if (keyword != TOK_NONE) return keyword;
  }
  if (lang_is_c()) return kind;

  // The first name.
  pre_name_entry *e;
  if (kind == TOK_IDENT) {
    e = pre_name_lookup(current_token, current_scope, false);
    if (!e) e = pre_name_lookup_using_scope(current_token, current_scope);
    if (!e) e = pre_name_lookup_using_global(current_token);
  } else {
    e = name_entry;
  }
  if (e) {
    name_entry = e;
    if (pre_name_is_template(e, true)) absorb_template_args();
    kind = TOK_TYPE_NAME;
  } else {
    pre_name_entry *f;
    if (kind == TOK_IDENT) {
      f = pre_name_lookup_any_function(current_token, current_scope, false);
    } else {
      char plain[MAX_TOKEN + 1];
      global_name_text(plain);
      f = pre_name_lookup_any_function(plain, nullptr, true);
    }
    if (pre_name_is_template_member(f)) absorb_template_args();
    kind = TOK_IDENT;
  }

  // Qualifiers: `::name`, `::template`, `.template`, `->template`.
  fill_la1();
  if (la.la1.kind == TOK_SCOPE || la.la1.kind == TOK_ARROW || la.la1.kind == TOK_DOT) {
    fill_la2();
    std::strcpy(last_component, la.la2.text);
  }
  while (la.la_count == 2 && joins(la.la1, la.la2)) {
    append_slot(la.la1);
    append_slot(la.la2);
    std::strcpy(last_component, la.la2.text);
    la.la_count = 0;
    pre_name_entry *found = pre_name_lookup(last_component, name_entry, true);
    if (found) {
      name_parent = name_entry;
      name_entry = found;
      kind = TOK_TYPE_NAME;
      if (pre_name_is_template(found, true)) absorb_template_args();
    } else {
      kind = TOK_IDENT;
      pre_name_entry *f = pre_name_lookup_any_function(last_component, name_entry, true);
      if (pre_name_is_template_member(f)) absorb_template_args();
    }
    fill_la1();
    if (la.la1.kind != TOK_SCOPE) break;
    fill_la2();
  }
  if (la.la1.kind != TOK_SCOPE || la.la_count != 2) return kind;

  // `::` followed by what does not join.
  if (la.la2.kind == TOK_TILDE) {
    append_slot(la.la1);
    append_slot(la.la2);
    la.la_count = 0;
    fill_la1();
    if (la.la1.kind == TOK_IDENT) {
      pre_append_to_token(la.la1.text);
      la.la_count = 0;
    }
    return TOK_IDENT;
  }
  if (is_word(la.la2, "operator") || la.la2.kind == TOK_STAR) {
    std::uint32_t result = la.la2.kind == TOK_STAR ? std::uint32_t{TOK_STAR} : std::uint32_t{KW_OPERATOR};
    append_slot(la.la1);
    append_slot(la.la2);
    la.la_count = 0;
    return result;
  }
  return kind;
}

std::uint32_t join_name(std::uint32_t kind) {
  std::uint32_t entry_line = line_number;
  std::uint32_t result = join_name_at(kind);
  line_number = entry_line;
  return result;
}

// `::` at the start of a name.
std::uint32_t global_name() {
  std::uint32_t saved = line_number;
  fill_la1();
  line_number = saved;
  if (la.la1.kind != TOK_IDENT) return TOK_SCOPE;
  std::uint32_t keyword = pre_keyword_kind(la.la1.text);
  name_entry = keyword == TOK_NONE ? pre_name_lookup(la.la1.text, nullptr, true) : nullptr;
  append_slot(la.la1);
  drop_la1();
  if (keyword != TOK_NONE) {
    last_component[0] = '\0';
    name_parent = nullptr;
    return keyword;
  }
  return join_name(TOK_GLOBAL_NAME);
}

// --- copying ----------------------------------------------------------------------------------

// A QUB pragma passed over unacted: its line goes to the text as a token, and its line
// feed as one line feed. Like any directive it must start a line: behind a token still
// written late by the lookahead, a line feed and a #line repair go first.
void copy_pragma_line(const char *text) {
  if (g_writer.line_position != 0) emit_directive("", false);
  std::size_t n = std::strlen(text);
  while (n && (text[n - 1] == '\n' || text[n - 1] == '\r')) n--;
  char line[MAX_TOKEN + 1];
  std::memcpy(line, text, n);
  line[n] = '\0';
  emit_token(line, TOK_QUB_PRAGMA);
  emit_newline();
}

// A token read by a skipping routine goes to the text.
void copy_read_token(std::uint32_t kind) {
  if (kind == TOK_EOF) return;
  if (kind == TOK_QUB_PRAGMA)
    copy_pragma_line(current_token);
  else
    emit_token(current_token, kind);
}

bool is_fallthrough(std::uint32_t kind) {
  return kind == TOK_IDENT &&
         (std::strcmp(current_token, "fallthrough") == 0 || std::strcmp(current_token, "clang::fallthrough") == 0);
}

// One token inside a balanced stretch, with the rules for pragmas, assembler and
// `[ [fallthrough] ]`.
void pass_token(std::uint32_t kind, std::uint32_t open, int depth) {
  if (kind == KW_ASM) {
    emit_token(current_token, kind);
    if (pre_peek_char() == '(') {
      pre_skip_group(TOK_LPAREN, TOK_RPAREN);
    } else if (family_is_microsoft() || family_is_borland()) {
      pre_skip_asm_text();
      statement_count++;
    }
    return;
  }
  if (open == TOK_LBRACKET && depth == 2 && is_fallthrough(kind)) {
    pre_append_to_token("_disabled_by_qub");
    emit_token(current_token, kind);
    return;
  }
  copy_read_token(kind);
}

const char *asm_comment_chars() {
  if (!la.asm_comment_chars_loaded) {
    const char *value = conf_get("ASSEMBLY_COMMENT_CHARS");
    std::strncpy(la.asm_comment_chars, value ? value : "", MAX_TOKEN);
    la.asm_comment_chars[MAX_TOKEN] = '\0';
    la.asm_comment_chars_loaded = true;
  }
  return la.asm_comment_chars;
}

}  // namespace

// --- reading ----------------------------------------------------------------------------------

void pre_reset_parse_state(const char *source_name) {
  std::strncpy(current_file_name, source_name ? source_name : "", sizeof current_file_name - 1);
  current_file_name[sizeof current_file_name - 1] = '\0';
  current_token[0] = '\0';
  last_component[0] = '\0';
  g_writer.capture_text.clear();
  line_number = 1;
  la.scan_line = 1;
  current_scope = name_entry = name_parent = nullptr;
  statement_count = 0;
  level = 0;
  omp_for_pending = false;
  la.la_count = 0;
  la.la_scope = nullptr;
  pre_text_list_destroy(&la.queue);
  la.queue = pre_text_list_create();
}

void pre_append_to_token(const char *text) {
  std::size_t len = std::strlen(current_token), add = std::strlen(text);
  if (len + add > MAX_TOKEN) token_too_big();
  std::memcpy(current_token + len, text, add + 1);
}

std::uint32_t pre_fetch_token(bool bypass_queue) {
  pre_text_list *q = queue();
  if (!bypass_queue && pre_text_list_count(q) != 0) {
    pre_text_piece *head = pre_text_list_first(q);
    std::uint32_t kind = head->kind;
    std::strcpy(current_token, head->text);
    line_number = static_cast<std::uint32_t>(head->line);
    pre_text_list_remove_head(q);
    return kind;
  }
  for (;;) {
    std::uint32_t kind;
    if (la.la_count != 0) {
      kind = la.la1.kind;
      std::strcpy(current_token, la.la1.text);
      line_number = la.la1.line;
      drop_la1();
    } else {
      line_number = la.scan_line;
      kind = pre_next_token(current_token);
      la.scan_line = line_number;
    }
    switch (kind) {
      case TOK_DIRECTIVE:
        other_directive(current_token);
        continue;
      case TOK_LINE_DIRECTIVE:
        line_directive(current_token);
        continue;
      case TOK_IDENT:
        return join_name(TOK_IDENT);
      case TOK_SCOPE:
        return lang_not_c() ? global_name() : kind;
      default:
        return kind;
    }
  }
}

std::uint32_t pre_get_token() { return pre_fetch_token(false); }

std::uint32_t pre_copy_token() {
  std::uint32_t kind = pre_get_token();
  switch (kind) {
    case TOK_QUB_PRAGMA:
      pre_handle_pragma(current_token);
      break;
    case TOK_BAD:
      pre_syntax_error("");
    case TOK_EOF:
      break;
    default:
      emit_token(current_token, kind);
      break;
  }
  return kind;
}

namespace {

// Reads a token behind the queue's tail into it; line_number stays.
std::uint32_t read_into_queue() {
  std::uint32_t saved = line_number;
  std::uint32_t kind = pre_fetch_token(true);
  pre_text_list_append(queue(), kind, static_cast<std::int32_t>(line_number), current_token);
  line_number = saved;
  return kind;
}

}  // namespace

std::uint32_t pre_peek_kind() {
  pre_text_list *q = queue();
  if (pre_text_list_count(q) == 0) return read_into_queue();
  pre_text_piece *head = pre_text_list_first(q);
  std::strcpy(current_token, head->text);
  return head->kind;
}

std::uint32_t pre_peek_further() { return read_into_queue(); }

// --- skipping -----------------------------------------------------------------------------------

void pre_skip_balanced(std::uint32_t open, std::uint32_t close) {
  int depth = 1;
  for (;;) {
    std::uint32_t kind = pre_peek_kind();
    if (kind == TOK_EOF) return;
    if (kind == close) {
      if (--depth == 0) return;
    } else if (kind == open) {
      depth++;
    } else if (open == TOK_LESS) {
      if (kind == TOK_SHR && depth >= 2) {
        depth -= 2;
        if (depth == 0) return;
      } else if (kind == TOK_USHR && depth >= 3) {
        depth -= 3;
        if (depth == 0) return;
      } else if (kind == TOK_LPAREN || kind == TOK_LBRACKET || kind == TOK_LBRACE) {
        pre_skip_group(kind, kind + 1);
        continue;
      }
    }
    kind = pre_get_token();
    pass_token(kind, open, depth);
  }
}

void pre_skip_group(std::uint32_t open, std::uint32_t close) {
  if (pre_peek_kind() != open) return;
  std::uint32_t kind = pre_get_token();
  emit_token(current_token, kind);
  pre_skip_balanced(open, close);
  copy_read_token(pre_get_token());
}

bool pre_skip_attribute(std::uint32_t open, std::uint32_t close) {
  if (pre_peek_kind() != open) return false;
  std::uint32_t kind = pre_get_token();
  emit_token(current_token, kind);
  if (pre_peek_kind() != open) {
    pre_skip_balanced(open, close);
    copy_read_token(pre_get_token());
    return false;
  }
  kind = pre_get_token();
  emit_token(current_token, kind);
  bool naked = false;
  for (;;) {
    kind = pre_peek_kind();
    if (kind == TOK_EOF) return naked;
    if (kind == open) {
      // The nested list and the rest of this one, to the close at this level.
      pre_skip_balanced(open, close);
      continue;
    }
    kind = pre_get_token();
    if (kind == TOK_IDENT && std::strcmp(current_token, "naked") == 0) naked = true;
    copy_read_token(kind);
    if (kind == close) return naked;
  }
}

void pre_skip_until(std::uint32_t stop, std::uint32_t stop2, std::uint32_t flags) {
  static const struct {
    std::uint32_t bit, open;
  } groups[] = {{SKIP_BRACES, TOK_LBRACE}, {SKIP_PARENS, TOK_LPAREN}, {SKIP_BRACKETS, TOK_LBRACKET}};
  for (;;) {
    std::uint32_t kind = pre_peek_kind();
    if (kind == TOK_EOF || kind == stop || (stop2 != 0 && kind == stop2)) return;
    bool grouped = false;
    for (const auto &g : groups) {
      if (!(flags & g.bit)) continue;
      if (kind == g.open + 1) return;
      if (kind == g.open) {
        pre_skip_group(g.open, g.open + 1);
        grouped = true;
      }
    }
    if (grouped) continue;
    kind = pre_get_token();
    copy_read_token(kind);
    if (kind == KW_TEMPLATE) pre_skip_group(TOK_LESS, TOK_GREATER);
  }
}

void pre_skip_asm_text() {
  const char *comment_chars = asm_comment_chars();
  char buffer[MAX_TOKEN + 1];
  std::size_t n = 0;
  auto flush = [&]() {
    if (n == 0) return;
    buffer[n] = '\0';
    emit_text_kind(buffer, KW_ASM);
    n = 0;
  };
  int braces = 0, parens = 0;
  bool in_string = false, in_char = false, in_comment = false, first_line = true, single_line = false;
  int prev = 0;
  line_number = la.scan_line;
  for (;;) {
    int c = pre_read_raw_char();
    if (c == 0) break;
    if (c == '\n') {
      line_number++;
      in_comment = false;
      buffer[n++] = '\n';
      flush();
      first_line = false;
      if (single_line) break;
      prev = c;
      continue;
    }
    if (in_comment) {
      // nothing counts up to the end of the line
    } else if (!in_string && !in_char && std::strchr(comment_chars, c)) {
      in_comment = true;
    } else if (c == '"' && !in_char && prev != '\\') {
      in_string = !in_string;
    } else if (c == '\'' && !in_string && prev != '\\') {
      in_char = !in_char;
    } else if (!in_string && !in_char) {
      if (c == '{' && parens == 0) {
        braces++;
      } else if (c == '(' && braces == 0) {
        parens++;
      } else if (c == ')' && braces == 0 && parens > 0) {
        parens--;
      } else if (c == '}') {
        if (braces == 0 && parens == 0) {
          // The brace of the surrounding block: the analyser reads it as a token.
          flush();
          pre_text_list_append(queue(), TOK_RBRACE, static_cast<std::int32_t>(line_number), "}");
          break;
        }
        if (braces > 0) braces--;
      }
    }
    bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
    bool bracket = std::strchr("()[]{}", c) != nullptr;
    bool quote = c == '"' || c == '\'';
    if (!blank && !bracket && !quote) single_line = first_line && braces == 0 && parens == 0;
    buffer[n++] = static_cast<char>(c);
    if (n == MAX_TOKEN) flush();
    prev = c;
  }
  flush();
  pre_read_raw_char();  // back to the start of a token
  la.scan_line = line_number;
}
