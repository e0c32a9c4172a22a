// Probe macros and their records.
#include "emit/probes.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/base.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "preparse/token.h"
#include "symbol/symbol.h"

probe_state g_probes;

namespace {

bool decision_guard() { return g_run.instrument_decision && !pre_skip_active(); }

bool multi_guard() { return g_run.instrument_multicondition && !pre_skip_active(); }

bool timing_on() { return g_run.instrument_inclusive_timing || g_run.instrument_exclusive_timing; }

int timer_number() { return timing_on() ? static_cast<int>(pre_last_function_number()) : 0; }

bool returns(std::uint32_t kind) { return kind == REC_RETURN || kind == REC_THROW; }

// Formats into the writer's scratch buffer and appends the call with its kind.
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
pre_text_piece *
macro(std::uint32_t kind, const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::vsnprintf(g_writer.scratch, sizeof g_writer.scratch, format, args);
  va_end(args);
  return emit_macro(g_writer.scratch, kind);
}

// The same, inserted behind a piece; the column is not changed.
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
pre_text_piece *
insert_macro(pre_text_piece *after, const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::vsnprintf(g_writer.scratch, sizeof g_writer.scratch, format, args);
  va_end(args);
  return pre_text_list_insert_after(g_writer.text_list, after, 0, -1, g_writer.scratch);
}

void record(std::uint32_t counter, std::uint32_t kind, const char *text) {
  pre_symbol_record(counter, kind, level, line_number, statement_count, text ? text : "");
}

int jump_number() { return static_cast<int>(pre_next_jump_counter()); }

const char *fname() { return g_probes.function_name_escaped.c_str(); }

bool ignored_by_walks(std::uint32_t kind) {
  return kind == 0 || kind == TOK_LINE_DIRECTIVE || kind == TOK_DIRECTIVE;
}

void warn_ternary(std::uint32_t kind) {
  if ((kind != TOK_OROR && kind != TOK_ANDAND) || !g_run.instrument_multicondition) return;
  if (g_probes.warned_ternary) return;
  g_probes.warned_ternary = true;
  pre_set_message_args(current_file_name, "");
  pre_set_message_line(line_number);
  pre_report(STATUS_TERNARY_DECISION_ONLY, REPORT_CONTINUE);
}

bool stops_walk(std::uint32_t kind) {
  switch (kind) {
    case TOK_LBRACE:
    case TOK_RBRACE:
    case TOK_LPAREN:
    case TOK_LBRACKET:
    case TOK_COMMA:
    case TOK_ASSIGN:
    case TOK_COLON:
    case TOK_SEMI:
    case TOK_QUESTION:
    case TOK_ASSIGN_OP:
    case TOK_FAT_ARROW:
    case TOK_INNER_LBRACE:
    case TOK_LAMBDA_ARROW:
    case KW_DO:
    case KW_ELSE:
    case KW_RETURN:
    case KW_ASM:
    case KW_THROW:
      return true;
    default:
      return false;
  }
}

bool closes_group(std::uint32_t kind) {
  return kind == TOK_RPAREN || kind == TOK_RBRACKET || kind == TOK_INNER_RBRACE || kind == TOK_TARGS_CLOSE;
}

bool is_constant_kind(std::uint32_t kind) {
  return kind == TOK_STRING || kind == TOK_INT_CONST || kind == TOK_CHAR_CONST || kind == TOK_FLOAT_CONST ||
         kind == KW_TRUE || kind == KW_FALSE;
}

// The piece behind the partner of the opening piece `open_piece`; none when the list
// ends first.
pre_text_piece *skip_forward_group(pre_text_piece *open_piece) {
  std::uint32_t open = open_piece->kind, close = open + 1;
  int depth = 0;
  for (pre_text_piece *p = open_piece; p; p = p->next) {
    if (p->kind == open) {
      depth++;
    } else if (p->kind == close && --depth == 0) {
      return p->next;
    }
  }
  return nullptr;
}

// The text of a piece without its trailing blanks equals an item of the parameter.
bool names_skip_parameter(const pre_text_piece *p) {
  std::size_t len = p->length;
  while (len && p->text[len - 1] == ' ') len--;
  return conf_each_value("SKIP_PARAMETER_LIST", [&](const char *item) {
    return std::strlen(item) == len && std::strncmp(item, p->text, len) == 0;
  });
}

}  // namespace

void pre_probes_reset() {
  g_probes.function_name.clear();
  g_probes.function_name_escaped.clear();
  g_probes.abnormal_case_count = 0;
  g_probes.case_prev_number = 0;
  g_probes.lambda_open = false;
  g_probes.saved_multi_tmp_needed = false;
  g_probes.no_instr_decl = false;
  g_probes.warned_ternary = false;
}

// --- names ----------------------------------------------------------------------------------

bool pre_wildcard_match(const char *text, const char *pattern) {
  if (!text || !pattern) return false;
  if (std::strcmp(text, pattern) == 0) return true;
  const char *star = std::strchr(pattern, '*');
  if (!star) return false;
  std::size_t head = static_cast<std::size_t>(star - pattern);
  if (std::strncmp(text, pattern, head) != 0) return false;
  const char *t = text + head;
  const char *seg = star + 1;
  for (;;) {
    if (*seg == '\0') return true;  // a `*` at the end matches the rest
    const char *next_star = std::strchr(seg, '*');
    std::size_t len = next_star ? static_cast<std::size_t>(next_star - seg) : std::strlen(seg);
    if (!next_star) {
      // The last segment: the text must end in it, behind the last match.
      std::size_t rest = std::strlen(t);
      return rest >= len && std::strcmp(t + rest - len, seg) == 0;
    }
    if (len > 0) {
      std::string piece(seg, len);
      const char *found = std::strstr(t, piece.c_str());
      if (!found) return false;
      t = found + len;
    }
    seg = next_star + 1;
  }
}

bool pre_name_in_list(const char *parameter, const char *name, bool exact) {
  return conf_each_value(parameter, [&](const char *item) {
    return exact ? std::strcmp(item, name) == 0 : pre_wildcard_match(name, item);
  });
}

// --- functions ------------------------------------------------------------------------------

void pre_insert_multi_tmp(pre_text_piece *mark) {
  if (!g_writer.multi_tmp_needed || !mark) return;
  pre_text_list_insert_after(g_writer.text_list, mark, 0, -1, "QUB_MULTI_TMP ");
}

void pre_emit_function_start(const pre_name_entry *entry, const char *name, std::uint32_t head_line) {
  statement_count = 0;
  level = 0;
  g_writer.multi_tmp_needed = false;
  g_writer.is_main_function = false;
  g_pragma.body_pragma_count = 0;
  g_probes.abnormal_case_count = 0;
  g_probes.lambda_open = false;
  g_writer.in_function_body = true;
  g_probes.function_name = name ? name : "";
  char *escaped = pre_str_escape('"', g_probes.function_name.c_str());
  g_probes.function_name_escaped = escaped;
  std::free(escaped);
  g_writer.is_main_function = pre_name_in_list("EMBED_FUNCTION_NAME", g_probes.function_name.c_str(), false);

  std::uint32_t number = pre_next_function_counter();
  g_writer.function_mark = text_tail();
  macro(TOK_SEMI, "QUB_FSTART(\"%s\", %d) ", fname(), static_cast<int>(number));
  pre_symbol_record(number, REC_FUNCTION_START, 0, head_line, statement_count, g_probes.function_name.c_str());

  std::string params;
  const pre_text_piece *first = nullptr, *last = nullptr;
  if (entry) {
    first = entry->first_param;
    last = entry->last_param;
  }
  for (const pre_text_piece *p = first; p; p = p->next) {
    if (!ignored_by_walks(p->kind) && p->kind != TOK_QUB_PRAGMA) params.append(p->text, p->length);
    if (p == last) break;
  }
  if (!params.empty() && params.back() == ' ') params.pop_back();
  pre_symbol_record(0, REC_PARAMETERS, 0, 0, 0, params.c_str());
}

void pre_emit_function_end(bool reachable) {
  bool counted = g_pragma.body_pragma_count == 0 && g_probes.abnormal_case_count == 0;
  std::uint32_t statements = counted ? statement_count : 0;
  const char *name = g_probes.function_name.c_str();
  if (!reachable) {
    emit_macro(" QUB_FEND_NR ", 0);
    pre_symbol_record(0, REC_FUNCTION_END_UNCOUNTED, level, line_number, statements, name);
  } else {
    int number = 0;
    std::uint32_t kind = REC_FUNCTION_END_UNCOUNTED;
    if (g_run.instrument_decision && !lang_is_java()) {
      number = jump_number();
      kind = REC_FUNCTION_END;
    }
    int timer = timer_number();
    if (!g_writer.is_main_function) {
      macro(0, " QUB_FEND(\"%s\", %d, %d) ", fname(), number, timer);
    } else if (!lang_is_java()) {
      macro(0, " QUB_FEND_MAIN(\"%s\", %d, %d) ", fname(), number, timer);
    } else {
      emit_macro(" QUB_MAIN_START ", 0);
      emit_macro(" QUB_MAIN_END ", 0);
      emit_macro(" QUB_FEND_NR ", 0);
    }
    pre_symbol_record(static_cast<std::uint32_t>(number), kind, level, line_number, statements, name);
  }
  pre_insert_multi_tmp(g_writer.function_mark);
  g_writer.in_function_body = false;
}

void pre_emit_main_start() { emit_macro(" QUB_MAIN_START ", 0); }

void pre_emit_main_end() { emit_macro(" QUB_MAIN_END ", TOK_SEMI); }

// --- jump statements -----------------------------------------------------------------------

void pre_emit_stmt_start(std::uint32_t kind) {
  bool main_exit = g_writer.is_main_function && returns(kind);
  if (g_run.instrument_decision) {
    if (returns(kind)) {
      int number = jump_number();
      macro(0, " QUB_STMT_RETURN(\"%s\", %d, %d) ", fname(), number, timer_number());
      if (main_exit) pre_emit_main_start();
    } else {
      macro(0, " QUB_STMT_JUMP(%d) ", jump_number());
    }
    return;
  }
  if (main_exit) pre_emit_main_start();
  if (kind == REC_RETURN && timing_on())
    macro(0, " QUB_STMT_TIMER_RETURN(\"%s\", %d) ", fname(), static_cast<int>(pre_last_function_number()));
}

void pre_emit_stmt_end(std::uint32_t kind, const char *text) {
  bool main_exit = g_writer.is_main_function && returns(kind);
  if (g_run.instrument_decision) {
    if (main_exit) pre_emit_main_end();
    emit_macro(" QUB_STMT_END ", TOK_SEMI);
    record(pre_last_jump_number(), kind, text);
    return;
  }
  if (kind == REC_RETURN && timing_on()) emit_macro(" QUB_STMT_END ", TOK_SEMI);
  if (main_exit) pre_emit_main_end();
}

// --- decisions ----------------------------------------------------------------------------

int pre_emit_cond_start() {
  if (!decision_guard()) return -1;
  int number = static_cast<int>(pre_next_decision_counter());
  macro(TOK_LPAREN, "QUB_COND_START(%d) ", number);
  return number;
}

void pre_emit_cond_end(std::uint32_t kind, int number, const char *text) {
  if (!decision_guard() || number < 0) return;
  macro(TOK_RPAREN, "QUB_COND_END(%d) ", number);
  record(static_cast<std::uint32_t>(number), kind, text);
}

int pre_emit_decl_cond_start(std::uint32_t) {
  if (!decision_guard()) return -1;
  int number = static_cast<int>(pre_next_decision_counter());
  macro(0, " QUB_DECL_COND_START(%d) ", number);
  return number;
}

void pre_emit_decl_cond_end(std::uint32_t kind, int number, const char *text) {
  if (!decision_guard() || number < 0) return;
  macro(TOK_SEMI, " QUB_DECL_COND_END(%d) ", number);
  record(static_cast<std::uint32_t>(number), kind, text);
}

void pre_emit_block_start() {
  if (decision_guard()) emit_macro("QUB_BLOCK_START ", 0);
}

void pre_emit_block_end() {
  if (decision_guard()) emit_macro("QUB_BLOCK_END ", TOK_SEMI);
}

// --- `?:` ---------------------------------------------------------------------------------------

bool pre_cond_oper_disabled() { return std::getenv("QUB_COND_OPER_NO_INSTR") != nullptr; }

pre_text_piece *pre_find_matching_open(std::uint32_t open, std::uint32_t close, pre_text_piece *piece) {
  int depth = 0;
  pre_text_piece *p = piece;
  for (; p; p = p->prev) {
    if (p->kind == close) {
      depth++;
    } else if (p->kind == open) {
      if (--depth == 0) break;
    } else {
      warn_ternary(p->kind);
    }
  }
  if (!p) return nullptr;
  p = p->prev;
  while (p && ignored_by_walks(p->kind)) p = p->prev;
  if (!p) return nullptr;
  if (p->kind == KW_FOR || p->kind == KW_IF || p->kind == KW_SWITCH || p->kind == KW_WHILE) return nullptr;
  return p;
}

pre_text_piece *pre_find_cond_oper_start(bool *constant) {
  g_probes.warned_ternary = false;
  bool flag = true;
  std::uint32_t counted = 0;
  pre_text_piece *p = g_writer.region_end ? g_writer.region_end : text_tail();
  while (p) {
    std::uint32_t kind = p->kind;
    if (stops_walk(kind)) break;
    if (closes_group(kind)) {
      flag = false;
      pre_text_piece *open = pre_find_matching_open(kind - 1, kind, p);
      if (!open) break;
      p = open;
      continue;
    }
    if (!ignored_by_walks(kind)) {
      counted++;
      if (!is_constant_kind(kind)) flag = false;
      warn_ternary(kind);
    }
    p = p->prev;
  }
  if (constant) *constant = flag && counted <= 1;
  return p;
}

void pre_emit_cond_oper() {
  if (!decision_guard() || pre_cond_oper_disabled() || g_probes.no_instr_decl) return;
  bool constant = false;
  pre_text_piece *start = pre_find_cond_oper_start(&constant);
  if (!start) return;
  if (start->kind == TOK_INNER_LBRACE && start->next) start = start->next;
  int number = static_cast<int>(pre_next_decision_counter());
  std::string text;
  pre_text_piece *end = g_writer.region_end ? g_writer.region_end : text_tail();
  if (start != end) {
    for (pre_text_piece *p = start->next; p; p = p->next) {
      if (!ignored_by_walks(p->kind)) text.append(p->text, p->length);
      if (p == end) break;
    }
  }
  if (text.size() > MAX_TOKEN - 1) text.resize(MAX_TOKEN - 1);
  if (!text.empty() && text.back() == ' ') text.pop_back();
  record(static_cast<std::uint32_t>(number), constant ? REC_COND_OPER_CONSTANT : REC_COND_OPER, text.c_str());
  insert_macro(start, " QUB_COND_OPER_START(%d) ", number);
  if (g_writer.region_end)
    insert_macro(g_writer.region_end, " QUB_COND_OPER_END(%d) ", number);
  else
    macro(0, " QUB_COND_OPER_END(%d) ", number);
}

void pre_mark_region_start() {
  if (decision_guard()) g_writer.region_start = text_tail();
}

void pre_scan_region_for_cond_opers() {
  pre_text_piece *p = decision_guard() && g_writer.region_start ? g_writer.region_start->next : nullptr;
  while (p) {
    pre_text_piece *next = p->next;
    if (p->kind == TOK_IDENT && next && next->kind == TOK_LPAREN && names_skip_parameter(p)) {
      p = skip_forward_group(next);
      continue;
    }
    if (p->kind == TOK_QUESTION && !(next && next->kind == TOK_COLON)) {
      g_writer.region_end = p->prev;
      pre_emit_cond_oper();
    } else if (p->kind == TOK_LBRACE || p->kind == TOK_INNER_LBRACE) {
      p = skip_forward_group(p);
      continue;
    }
    p = p->next;
  }
  g_writer.region_start = g_writer.region_end = nullptr;
}

// --- multiconditions ------------------------------------------------------------------------

void pre_emit_m_start() {
  if (multi_guard()) emit_macro("QUB_M_START ", 0);
}

void pre_emit_m_ind_start() {
  if (multi_guard()) emit_macro("QUB_M_IND((", TOK_LPAREN);
}

void pre_emit_m_ind_end(std::uint32_t index) {
  if (multi_guard()) macro(TOK_RPAREN, "),%d) ", static_cast<int>(index));
}

void pre_emit_m_end(std::uint32_t kind, std::uint32_t base, const char *text) {
  if (!multi_guard()) return;
  macro(0, " QUB_M_END(%d)", static_cast<int>(base));
  std::uint32_t rec = kind >= REC_IF && kind <= REC_DO_WHILE ? kind + REC_MULTI_OFFSET : kind;
  record(0, rec, text);
}

// --- loops, switch, exceptions ------------------------------------------------------------

void pre_emit_loop_start(std::uint32_t kind, const char *text) {
  if (!decision_guard()) return;
  int number = jump_number();
  macro(0, " QUB_LOOP_START(%d) ", number);
  record(static_cast<std::uint32_t>(number), kind, text);
}

void pre_emit_loop_end() {
  if (decision_guard()) emit_macro(" QUB_LOOP_END ", TOK_SEMI);
}

void pre_emit_case_prev() {
  if (!decision_guard()) return;
  int number = jump_number();
  g_probes.case_prev_number = static_cast<std::uint32_t>(number);
  // A fall-through comment must stay directly in front of the label for gcc to see it.
  if (pre_text_piece *mark = fallthrough_mark_at_tail()) {
    insert_macro(pre_text_piece_prev(mark), " QUB_CASE_PREV(%d) ", number);
    g_writer.line_position += static_cast<std::uint32_t>(std::strlen(g_writer.scratch));
    return;
  }
  macro(0, " QUB_CASE_PREV(%d) ", number);
}

void pre_emit_case_curr(std::uint32_t kind, bool fall, const char *text) {
  if (!decision_guard()) return;
  int number;
  if (fall) {
    number = static_cast<int>(g_probes.case_prev_number);
    macro(TOK_SEMI, " QUB_CASE_CURR2(%d) ", number);
  } else {
    number = jump_number();
    macro(TOK_SEMI, " QUB_CASE_CURR1(%d) ", number);
  }
  record(static_cast<std::uint32_t>(number), kind, text);
}

void pre_emit_missing_default(bool reachable) {
  if (!decision_guard()) return;
  int number = jump_number();
  macro(0, reachable ? " QUB_MISSING_DEFAULT(%d) " : " QUB_MISSING_DEFAULT_NR(%d) ", number);
  pre_symbol_record(static_cast<std::uint32_t>(number), REC_MISSING_DEFAULT, level - 1, line_number,
                    statement_count, "");
}

void pre_emit_try_start(std::uint32_t kind, const char *text) {
  if (!decision_guard()) return;
  int number = jump_number();
  macro(0, " QUB_TRY_START(%d) ", number);
  record(static_cast<std::uint32_t>(number), kind, text);
}

void pre_emit_try_end() {
  if (decision_guard()) emit_macro(" QUB_TRY_END ", TOK_SEMI);
}

void pre_emit_catch_start(std::uint32_t kind, const char *text) {
  if (!decision_guard()) return;
  int number = jump_number();
  macro(0, " QUB_CATCH_START(%d, %d) ", number, timer_number());
  record(static_cast<std::uint32_t>(number), kind, text);
}

void pre_emit_catch_end() {
  if (decision_guard()) emit_macro(" QUB_CATCH_END ", TOK_SEMI);
}

// --- handlers of a function try block -------------------------------------------------------

void pre_record_function_try(std::uint32_t try_line) {
  if (decision_guard()) pre_symbol_record(0, REC_FUNCTION_TRY, level, try_line, statement_count, "");
}

void pre_emit_ctrcatch_start(const char *declaration, std::uint32_t line) {
  if (!decision_guard()) return;
  int number = jump_number();
  macro(TOK_SEMI, " QUB_CTRCATCH_START(%d) ", number);
  pre_symbol_record(static_cast<std::uint32_t>(number), REC_CATCH, level, line, statement_count,
                    declaration ? declaration : "");
}

void pre_emit_ctrcatch_end(bool reachable) {
  if (!decision_guard()) return;
  record(0, REC_CONSTRUCT_END, "");
  if (!reachable) {
    emit_macro(" QUB_CTRCATCH_END_NR ", 0);
    return;
  }
  int number = jump_number();
  if (g_writer.is_main_function)
    macro(0, " QUB_CTRCATCH_END_MAIN(\"%s\", %d) ", fname(), number);
  else
    macro(0, " QUB_CTRCATCH_END(\"%s\", %d) ", fname(), number);
}

// --- lambdas -------------------------------------------------------------------------------

void pre_emit_lambda_start(const char *name) {
  if (!decision_guard()) return;
  int number = jump_number();
  g_writer.lambda_mark = text_tail();
  g_probes.saved_multi_tmp_needed = g_writer.multi_tmp_needed;
  g_probes.lambda_open = true;
  g_writer.multi_tmp_needed = false;
  macro(0, " QUB_LAMBDA_START(%d) ", number);
  record(static_cast<std::uint32_t>(number), REC_LAMBDA_START, name);
}

void pre_emit_lambda_end(bool reachable) {
  if (decision_guard()) {
    if (reachable) {
      int number = jump_number();
      macro(0, " QUB_LAMBDA_END(%d) ", number);
      record(static_cast<std::uint32_t>(number), REC_LAMBDA_END, "");
    } else {
      emit_macro(" QUB_LAMBDA_END_NR ", 0);
      record(0, REC_LAMBDA_END_UNREACHABLE, "");
    }
    if (g_probes.lambda_open) pre_insert_multi_tmp(g_writer.lambda_mark);
  }
  // The function's own flag comes back even when the end fell into a skipped region.
  if (g_probes.lambda_open) {
    g_writer.multi_tmp_needed = g_probes.saved_multi_tmp_needed;
    g_probes.lambda_open = false;
  }
}

// --- records without a macro ----------------------------------------------------------------

void pre_record_construct_end() {
  if (g_run.instrument_decision) record(0, REC_CONSTRUCT_END, "");
}

void pre_record_label(const char *name) {
  if (decision_guard()) record(0, REC_LABEL, name);
}

void pre_record_simple(std::uint32_t kind, std::uint32_t line, const char *text) {
  if (decision_guard()) pre_symbol_record(0, kind, level, line, statement_count, text ? text : "");
}

void pre_note_abnormal_case() { g_probes.abnormal_case_count++; }
