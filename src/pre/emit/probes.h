// Probe macros: every macro call that the analysis puts into the instrumented text,
// with its number from a counter array and its record in the description.
//
// Each emitter formats one macro call, appends it to the text (or inserts it behind a
// remembered piece), takes its number and writes its record. The piece kind of a macro
// matters to the backward walks of the `?:` probes: TOK_SEMI stops a walk like a
// semicolon, TOK_LPAREN/TOK_RPAREN are hopped over like a bracket pair, 0 is ignored.
//
// Guards. "Decision guard": instrument_decision is set and no skipped region is
// active. "Multicondition guard": the same with instrument_multicondition. An emitter
// whose guard fails does nothing at all: no text, no number, no record. So one walk of
// a body serves every instrumentation mode.
//
// Records are written with the current `level` (lookahead.h), `line_number` and
// `statement_count` (token.h) unless said otherwise.
#ifndef QUB_EMIT_PROBES_H
#define QUB_EMIT_PROBES_H

#include <cstdint>
#include <string>

#include "emit/text_list.h"
#include "symbol/names.h"

// Record kinds of the description that the emitters write (the full table is the
// symbol file's).
enum : std::uint32_t {
  REC_FUNCTION_START = 0,
  REC_FUNCTION_END = 1,
  REC_FUNCTION_END_UNCOUNTED = 2,
  REC_CONSTRUCT_END = 3,
  REC_LAMBDA_START = 4,
  REC_LAMBDA_END = 5,
  REC_LAMBDA_END_UNREACHABLE = 6,
  REC_GOTO = 10,
  REC_CONTINUE = 11,
  REC_BREAK = 12,
  REC_RETURN = 13,
  REC_CASE = 14,
  REC_DEFAULT = 15,
  REC_MISSING_DEFAULT = 16,
  REC_IF = 20,
  REC_ELSE_IF = 21,
  REC_WHILE = 22,
  REC_FOR = 23,
  REC_DO_WHILE = 24,
  REC_COND_OPER = 25,
  REC_CONSTANT_OFFSET = 10,  // 30..34: as 20..24 with a constant condition
  REC_COND_OPER_CONSTANT = 35,
  REC_ELSE = 40,
  REC_DO = 41,
  REC_SWITCH = 42,
  REC_FUNCTION_TRY = 43,
  REC_LABEL = 45,
  REC_TRY = 60,
  REC_SEH_TRY = 61,
  REC_THROW = 62,
  REC_CATCH = 63,
  REC_SEH_EXCEPT = 64,
  REC_FINALLY = 65,
  REC_SEH_LEAVE = 66,
  REC_MULTI_OFFSET = 50,  // 70..74: as 20..24 with a multicondition
  REC_TRUE_PATH = 75,
  REC_FALSE_PATH = 76,
  REC_ELEMENTARY = 77,
  REC_TRUE_PATHS = 78,
  REC_FALSE_PATHS = 79,
  REC_TRUE_ON = 80,
  REC_FALSE_ON = 81,
  REC_ASSIGNMENT = 85,
  REC_PARAMETERS = 90,
  REC_LOOP_DECLARATION = 100,
  REC_FOR_DECLARATION = 101,
  REC_FOR_RANGE = 102,
  REC_FOR_EACH = 103,
  REC_FOREACH = 104,
};

// State of the emitters, reset with every instrumented file.
struct probe_state {
  std::string function_name;          // name of the current function, as the records show it
  std::string function_name_escaped;  // the same with `"` escaped, as the macros show it
  std::uint32_t abnormal_case_count = 0;  // labels of this function left uninstrumented
  std::uint32_t case_prev_number = 0;     // J number of the last QUB_CASE_PREV
  bool lambda_open = false;               // a QUB_LAMBDA_START is waiting for its end
  bool saved_multi_tmp_needed = false;    // the function's flag while a lambda is open
  // A `using` or `constexpr` statement is being walked: `?:` gets no probes. The
  // statement analysis keeps this in step as it walks.
  bool no_instr_decl = false;
  bool warned_ternary = false;  // warning 36 given in the current backward walk
};

extern probe_state g_probes;

// Forgets the state of the previous file; called when an instrumented file begins.
void pre_probes_reset();

// --- functions -----------------------------------------------------------------------
// At the `{` of an instrumented body, already copied. Clears the per-function state
// (statement_count, level, multi_tmp_needed, pragma and abnormal-label counts), sets
// in_function_body and is_main_function (EMBED_FUNCTION_NAME), sets function_mark,
// appends "QUB_FSTART(\"name\", F) " (kind TOK_SEMI), writes record 0 at head_line and
// record 90 with the text of the entry's parameter pieces.
void pre_emit_function_start(const pre_name_entry *entry, const char *name, std::uint32_t head_line);
// Behind the body's closing `}`. `reachable`: the function's end can be reached, that
// is the function has no `return` with a value and the body does not end in a jump
// standing directly in its braces. Appends QUB_FEND, QUB_FEND_MAIN or QUB_FEND_NR
// (the Java main form too), writes record 1 or 2, inserts "QUB_MULTI_TMP " behind
// function_mark when a multicondition occurred, clears in_function_body.
void pre_emit_function_end(bool reachable);
// " QUB_MAIN_START " (kind 0) and " QUB_MAIN_END " (kind TOK_SEMI), no number, no
// record; for bodies of a main function that are passed through uninstrumented.
void pre_emit_main_start();
void pre_emit_main_end();
// Inserts "QUB_MULTI_TMP " behind mark when multi_tmp_needed is set.
void pre_insert_multi_tmp(pre_text_piece *mark);
// The item list of a configuration parameter holds a non-empty item that matches name:
// by pre_wildcard_match, or, with exact set, by plain comparison.
bool pre_name_in_list(const char *parameter, const char *name, bool exact);

// --- jump statements -------------------------------------------------------------------
// kind: 10 goto, 11 continue, 12 break, 13 return, 62 throw, 66 __leave. Not called in
// a skipped region. In front of the keyword:
//   decision on: " QUB_STMT_RETURN(\"f\", J, T) " for 13 and 62, then " QUB_MAIN_START "
//   in a main function; " QUB_STMT_JUMP(J) " for the others.
//   decision off: " QUB_MAIN_START " in a main function (13, 62); then for 13 with a
//   timing flag " QUB_STMT_TIMER_RETURN(\"f\", T) ". No number is taken.
void pre_emit_stmt_start(std::uint32_t kind);
// Behind the `;`: " QUB_MAIN_END " and " QUB_STMT_END " in the order of the mode;
// with decision on also the record (counter the last J number, text the expression).
void pre_emit_stmt_end(std::uint32_t kind, const char *text);

// --- decisions (decision guard) -----------------------------------------------------------
// "QUB_COND_START(n) " (TOK_LPAREN); returns the TF number, -1 when the guard fails.
int pre_emit_cond_start();
// "QUB_COND_END(n) " (TOK_RPAREN) and record `kind` with counter n.
void pre_emit_cond_end(std::uint32_t kind, int number, const char *text);
// The declaration form of `if` and `else if`: " QUB_DECL_COND_START(n) " (kind 0),
// returning n or -1; " QUB_DECL_COND_END(n) " (TOK_SEMI) with record `kind`.
int pre_emit_decl_cond_start(std::uint32_t kind);
void pre_emit_decl_cond_end(std::uint32_t kind, int number, const char *text);
// "QUB_BLOCK_START " (kind 0) and "QUB_BLOCK_END " (TOK_SEMI).
void pre_emit_block_start();
void pre_emit_block_end();

// --- `?:` ---------------------------------------------------------------------------------
// The probes of one `?:`, with the `?` not yet copied (or, in a rescan, region_end on the
// piece in front of it). Walks back to where its condition starts, takes a TF number,
// writes record 25 (35 for a single constant) with the condition's text, and wraps the
// condition in " QUB_COND_OPER_START(n) " ... " QUB_COND_OPER_END(n) " (kind 0).
// Nothing under QUB_COND_OPER_NO_INSTR or g_probes.no_instr_decl.
void pre_emit_cond_oper();
// The piece behind which the condition of a `?:` starts, walking back from region_end
// or the tail; none when the walk finds no start. *constant tells that the condition is
// one constant token. Warning 36 once per walk at `&&`/`||` under multicondition.
pre_text_piece *pre_find_cond_oper_start(bool *constant);
// From the closing bracket `piece` back to its partner of kind `open`, then one piece
// further back over kind 0 and directives. None when there is no partner or when that
// piece is `for`, `if`, `switch` or `while` (the head of a statement ends the walk).
pre_text_piece *pre_find_matching_open(std::uint32_t open, std::uint32_t close, pre_text_piece *piece);
// Around a condition copied in one go: mark the tail before it (decision guard), then
// give each `?` in it its probes, in order, behind the condition's own record.
void pre_mark_region_start();
void pre_scan_region_for_cond_opers();
// Set when the environment variable QUB_COND_OPER_NO_INSTR exists.
bool pre_cond_oper_disabled();

// --- multiconditions (multicondition guard) -------------------------------------------------
// "QUB_M_START " (0), "QUB_M_IND((" (TOK_LPAREN), "),m_index) " (TOK_RPAREN),
// " QUB_M_END(base)" (0, no blank behind). The end writes record kind + 50 for kinds 20
// to 24, else `kind`, counter 0, text the condition. The caller then adds the paths
// with pre_add_condition_counters and sets multi_tmp_needed.
void pre_emit_m_start();
void pre_emit_m_ind_start();
void pre_emit_m_ind_end(std::uint32_t index);
void pre_emit_m_end(std::uint32_t kind, std::uint32_t base, const char *text);

// --- loops without a decision, switch, exceptions (decision guard) ---------------------------
// " QUB_LOOP_START(J) " (0), record `kind` 100 to 104; " QUB_LOOP_END " (TOK_SEMI).
void pre_emit_loop_start(std::uint32_t kind, const char *text);
void pre_emit_loop_end();
// " QUB_CASE_PREV(J) " (0) in front of `case` or `default`; no record.
void pre_emit_case_prev();
// Behind the label's colon (TOK_SEMI): " QUB_CASE_CURR1(J) " with a new number, or with
// fall set " QUB_CASE_CURR2(J) " with the number of the QUB_CASE_PREV; record `kind`.
void pre_emit_case_curr(std::uint32_t kind, bool fall, const char *text);
// In front of the `}` of a switch without `default`: " QUB_MISSING_DEFAULT(J) ", or the
// _NR form when the end of the last label cannot be reached; record 16 at level - 1.
void pre_emit_missing_default(bool reachable);
// " QUB_TRY_START(J) " (0), record kind 60 or 61; " QUB_TRY_END " (TOK_SEMI).
void pre_emit_try_start(std::uint32_t kind, const char *text);
void pre_emit_try_end();
// " QUB_CATCH_START(J, T) " (0), record kind 63 to 65; " QUB_CATCH_END " (TOK_SEMI).
void pre_emit_catch_start(std::uint32_t kind, const char *text);
void pre_emit_catch_end();

// --- handlers of a function try block --------------------------------------------------------
// Record 43 at the line of the `try` in front of the body (decision guard).
void pre_record_function_try(std::uint32_t try_line);
// Behind the handler's `{`: " QUB_CTRCATCH_START(J) " (TOK_SEMI), record 63 at `line`
// (the line of the handler head's `)`) with the exception declaration.
void pre_emit_ctrcatch_start(const char *declaration, std::uint32_t line);
// Behind the handler's `}`: record 3, then " QUB_CTRCATCH_END(\"f\", J) ",
// " QUB_CTRCATCH_END_MAIN(\"f\", J) " or, when not reachable, " QUB_CTRCATCH_END_NR ".
void pre_emit_ctrcatch_end(bool reachable);

// --- lambdas and other inner bodies (decision guard) -----------------------------------------
// Behind the `{`: sets lambda_mark, keeps the function's multi_tmp_needed aside,
// " QUB_LAMBDA_START(J) " and record 4 with name ("lambda-[]()", "lambda-()->",
// "()=>", "block-^()").
void pre_emit_lambda_start(const char *name);
// Behind the `}`: " QUB_LAMBDA_END(J) " with record 5, or " QUB_LAMBDA_END_NR " with
// record 6; "QUB_MULTI_TMP " behind lambda_mark when needed; the function's flag back.
void pre_emit_lambda_end(bool reachable);

// --- records without a macro ------------------------------------------------------------------
// Record 3; when instrument_decision is set (the callers test the skip state).
void pre_record_construct_end();
// Record 45 with the label's name (decision guard).
void pre_record_label(const char *name);
// Record `kind` (40 else, 41 do, 42 switch) at `line`, counter 0 (decision guard).
void pre_record_simple(std::uint32_t kind, std::uint32_t line, const char *text);
// An abnormal `case` or `default`: the function's end record gets 0 statements.
void pre_note_abnormal_case();

// --- names --------------------------------------------------------------------------------------
// `*` in the pattern matches any run of characters; without `*` the texts must be equal.
// False when either is absent.
bool pre_wildcard_match(const char *text, const char *pattern);

#endif
