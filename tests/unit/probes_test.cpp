// Probe macros: the exact text, blanks and piece kind of every macro call, its number,
// its record, the guards of the modes, and the backward walks of the `?:` probes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "config/config.h"
#include "emit/pragma.h"
#include "emit/probes.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "symbol/symbol_state.h"
#include "symbol_test_support.h"

namespace {

struct piece_out {
  std::string text;
  std::uint32_t kind;
  bool operator==(const piece_out &o) const { return text == o.text && kind == o.kind; }
};

std::ostream &operator<<(std::ostream &out, const piece_out &p) {
  return out << "{\"" << p.text << "\", " << p.kind << "}";
}

class ProbeTest : public symtest::SymbolTest {
 protected:
  pre_text_piece *mark = nullptr;

  void SetUp() override {
    SymbolTest::SetUp();
    conf_reset();
    unsetenv("QUB_COND_OPER_NO_INSTR");
    source_language = LANG_CXX;
    g_writer.source_name = "t.c";
    pre_begin_instrumented_file((dir + "/out.c").c_str());
    pre_reset_counters();
    pre_symbol_begin_file("t.c");
    skip_depth = 0;
    level = 1;
    line_number = 3;
    statement_count = 0;
    mark = text_tail();
  }
  void TearDown() override {
    g_writer.in_function_body = false;
    skip_depth = 0;
    level = 0;
    unsetenv("QUB_COND_OPER_NO_INSTR");
    pre_finish_instrumented_file("t.c");
    conf_reset();
    SymbolTest::TearDown();
  }

  // The text appended since the set-up (or since the last restart()).
  std::string text() const {
    std::string s;
    for (pre_text_piece *p = mark->next; p; p = p->next) s += p->text;
    return s;
  }
  std::vector<piece_out> pieces() const {
    std::vector<piece_out> out;
    for (pre_text_piece *p = mark->next; p; p = p->next) out.push_back({p->text, p->kind});
    return out;
  }
  // The records of the description so far.
  std::vector<std::string> records() const {
    std::fflush(g_symbol.temp_file);
    std::vector<std::string> lines = symtest::split_lines(symtest::read_file(pre_symbol_description_name()));
    return std::vector<std::string>(lines.begin() + 2, lines.end());
  }
  // Tokens copied as the scanner would hand them over.
  static void tokens(const std::vector<std::pair<const char *, std::uint32_t>> &list) {
    for (const auto &t : list) emit_token(t.first, t.second);
  }
  void set_function(const char *name) {
    g_probes.function_name = name;
    g_probes.function_name_escaped = name;
  }
};

using strings = std::vector<std::string>;

// --- functions -------------------------------------------------------------------------------

TEST_F(ProbeTest, FunctionStartAndReachableEndWithDecision) {
  tokens({{"int", KW_INT}, {"f", TOK_IDENT}, {"(", TOK_LPAREN}});
  pre_text_piece *first = nullptr, *last = nullptr;
  emit_token("int", KW_INT);
  first = text_tail();
  tokens({{"a", TOK_IDENT}, {",", TOK_COMMA}});
  emit_newline();
  emit_directive("#line 2 \"t.c\"\n", true);
  tokens({{"int", KW_INT}, {"b", TOK_IDENT}});
  last = text_tail();
  tokens({{")", TOK_RPAREN}, {"{", TOK_LBRACE}});
  pre_name_entry entry{};
  entry.first_param = first;
  entry.last_param = last;
  level = 7;
  statement_count = 9;
  pre_emit_function_start(&entry, "f", 1);
  EXPECT_EQ(level, 0u);
  EXPECT_EQ(statement_count, 0u);
  EXPECT_TRUE(g_writer.in_function_body);
  EXPECT_EQ(g_writer.function_mark->text, std::string("{ "));
  EXPECT_EQ(text_tail()->kind, TOK_SEMI);
  tokens({{"g", TOK_IDENT}, {"(", TOK_LPAREN}, {")", TOK_RPAREN}, {";", TOK_SEMI}, {"}", TOK_RBRACE}});
  statement_count = 1;
  line_number = 6;
  pre_emit_function_end(true);
  EXPECT_FALSE(g_writer.in_function_body);
  EXPECT_EQ(text(), "int f ( int a , \n#line 2 \"t.c\"\nint b ) { QUB_FSTART(\"f\", 0) g ( ) ; }  QUB_FEND(\"f\", 0, 0) ");
  EXPECT_EQ(records(), (strings{"0 1 0 0 0 f", "90 0 0 0 0 int a , int b", "1 6 1 0 0 f"}));
  EXPECT_EQ(pre_function_count(), 1u);
  EXPECT_EQ(pre_jump_count(), 1u);
}

TEST_F(ProbeTest, FunctionWithoutParametersHasAnEmptyParameterRecord) {
  pre_emit_function_start(nullptr, "g", 4);
  line_number = 5;
  pre_emit_function_end(false);
  EXPECT_EQ(text(), "QUB_FSTART(\"g\", 0)  QUB_FEND_NR ");
  EXPECT_EQ(records(), (strings{"0 4 0 0 0 g", "90 0 0 0 0", "2 5 0 0 0 g"}));
  EXPECT_EQ(pre_jump_count(), 0u);
}

struct end_case {
  const char *what;
  bool decision;
  bool timing;
  const char *embed;  // EMBED_FUNCTION_NAME
  std::uint32_t language;
  bool reachable;
  const char *text;    // behind the `}`
  const char *record;  // the end record
  std::uint32_t jumps;
};

TEST_F(ProbeTest, FunctionEndForms) {
  const end_case cases[] = {
      {"decision", true, false, "", LANG_C, true, " QUB_FEND(\"f\", 0, 0) ", "1 6 0 0 0 f", 1},
      {"function only", false, false, "", LANG_C, true, " QUB_FEND(\"f\", 0, 0) ", "2 6 0 0 0 f", 0},
      {"not reachable", true, false, "", LANG_C, false, " QUB_FEND_NR ", "2 6 0 0 0 f", 0},
      {"timing", true, true, "", LANG_C, true, " QUB_FEND(\"f\", 0, 0) ", "1 6 0 0 0 f", 1},
      {"main", true, false, "m*,f", LANG_C, true, " QUB_FEND_MAIN(\"f\", 0, 0) ", "1 6 0 0 0 f", 1},
      {"main, function only", false, false, "f", LANG_C, true, " QUB_FEND_MAIN(\"f\", 0, 0) ", "2 6 0 0 0 f", 0},
      {"main, not reachable", true, false, "f", LANG_C, false, " QUB_FEND_NR ", "2 6 0 0 0 f", 0},
      {"java", true, false, "", LANG_JAVA, true, " QUB_FEND(\"f\", 0, 0) ", "2 6 0 0 0 f", 0},
      {"java main", true, false, "*f", LANG_JAVA, true, " QUB_MAIN_START  QUB_MAIN_END  QUB_FEND_NR ",
       "2 6 0 0 0 f", 0},
  };
  for (const end_case &c : cases) {
    SCOPED_TRACE(c.what);
    pre_run_state_reset();
    g_run.instrument_decision = c.decision;
    g_run.instrument_inclusive_timing = c.timing;
    conf_reset();
    conf_apply_line((std::string("EMBED_FUNCTION_NAME=") + c.embed).c_str());
    source_language = c.language;
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    mark = text_tail();
    pre_emit_function_start(nullptr, "f", 1);
    EXPECT_EQ(g_writer.is_main_function, *c.embed != '\0');
    pre_text_piece *body = text_tail();
    line_number = 6;
    pre_emit_function_end(c.reachable);
    std::string end;
    for (pre_text_piece *p = body->next; p; p = p->next) end += p->text;
    EXPECT_EQ(end, c.text);
    EXPECT_EQ(records().back(), c.record);
    EXPECT_EQ(pre_jump_count(), c.jumps);
  }
}

TEST_F(ProbeTest, TimerNumberIsTheLastFunctionNumber) {
  g_run.instrument_exclusive_timing = true;
  pre_emit_function_start(nullptr, "a", 1);
  pre_emit_function_end(true);
  pre_emit_function_start(nullptr, "b", 2);
  pre_emit_function_end(true);
  EXPECT_EQ(text(), "QUB_FSTART(\"a\", 0)  QUB_FEND(\"a\", 0, 0) QUB_FSTART(\"b\", 1)  QUB_FEND(\"b\", 1, 1) ");
}

TEST_F(ProbeTest, QuoteInANameIsEscapedInMacrosOnly) {
  const char *name = "operator\"\" _km";
  pre_emit_function_start(nullptr, name, 2);
  pre_emit_stmt_start(REC_RETURN);
  pre_emit_function_end(true);
  EXPECT_EQ(text(),
            "QUB_FSTART(\"operator\\\"\\\" _km\", 0)  QUB_STMT_RETURN(\"operator\\\"\\\" _km\", 0, 0) "
            " QUB_FEND(\"operator\\\"\\\" _km\", 1, 0) ");
  EXPECT_EQ(records().front(), "0 2 0 0 0 operator\"\" _km");
  EXPECT_EQ(records().back(), "1 3 0 1 0 operator\"\" _km");
}

TEST_F(ProbeTest, StatementCountIsZeroAfterASkipPragmaOrAnAbnormalLabel) {
  pre_emit_function_start(nullptr, "f", 1);
  statement_count = 4;
  pre_note_abnormal_case();
  pre_emit_function_end(true);
  pre_emit_function_start(nullptr, "g", 1);
  EXPECT_EQ(g_probes.abnormal_case_count, 0u);
  statement_count = 4;
  g_pragma.body_pragma_count = 2;
  pre_emit_function_end(true);
  pre_emit_function_start(nullptr, "h", 1);
  statement_count = 4;
  pre_emit_function_end(true);
  strings r = records();
  EXPECT_EQ(r[2], "1 3 0 0 0 f");
  EXPECT_EQ(r[5], "1 3 0 1 0 g");
  EXPECT_EQ(r[8], "1 3 4 2 0 h");
}

TEST_F(ProbeTest, MultiTmpGoesInFrontOfTheFunctionStartWhenNeeded) {
  emit_token("{", TOK_LBRACE);
  pre_emit_function_start(nullptr, "f", 1);
  g_writer.multi_tmp_needed = true;
  emit_token("}", TOK_RBRACE);
  std::uint32_t column = g_writer.line_position;
  pre_emit_function_end(false);
  EXPECT_EQ(text(), "{ QUB_MULTI_TMP QUB_FSTART(\"f\", 0) }  QUB_FEND_NR ");
  EXPECT_EQ(g_writer.line_position, column + std::string(" QUB_FEND_NR ").size());
}

TEST_F(ProbeTest, ListMatchingIsWildcardOrExact) {
  conf_apply_line("EMBED_FUNCTION_NAME=main");
  conf_apply_line("EMBED_FUNCTION_NAME+");
  conf_apply_line("EMBED_FUNCTION_NAME+App::*");
  EXPECT_TRUE(pre_name_in_list("EMBED_FUNCTION_NAME", "main", false));
  EXPECT_TRUE(pre_name_in_list("EMBED_FUNCTION_NAME", "App::run", false));
  EXPECT_FALSE(pre_name_in_list("EMBED_FUNCTION_NAME", "App::run", true));
  EXPECT_TRUE(pre_name_in_list("EMBED_FUNCTION_NAME", "main", true));
  EXPECT_FALSE(pre_name_in_list("EMBED_FUNCTION_NAME", "", false));
  EXPECT_FALSE(pre_name_in_list("SKIP_FUNCTION_NAME", "main", false));
}

// --- jump statements ------------------------------------------------------------------------

struct jump_case {
  const char *what;
  std::uint32_t kind;
  bool decision;
  bool timing;
  bool main_function;
  const char *text;    // around "return x ; "
  const char *record;  // the statement's record, or "" for none
};

TEST_F(ProbeTest, JumpStatementForms) {
  const jump_case cases[] = {
      {"break", REC_BREAK, true, false, false, " QUB_STMT_JUMP(0) return x ;  QUB_STMT_END ", "12 3 1 0 1 x"},
      {"goto", REC_GOTO, true, false, true, " QUB_STMT_JUMP(0) return x ;  QUB_STMT_END ", "10 3 1 0 1 x"},
      {"return", REC_RETURN, true, false, false, " QUB_STMT_RETURN(\"f\", 0, 0) return x ;  QUB_STMT_END ",
       "13 3 1 0 1 x"},
      {"throw", REC_THROW, true, true, false, " QUB_STMT_RETURN(\"f\", 0, 4) return x ;  QUB_STMT_END ",
       "62 3 1 0 1 x"},
      {"main return", REC_RETURN, true, false, true,
       " QUB_STMT_RETURN(\"f\", 0, 0)  QUB_MAIN_START return x ;  QUB_MAIN_END  QUB_STMT_END ", "13 3 1 0 1 x"},
      {"main throw", REC_THROW, true, false, true,
       " QUB_STMT_RETURN(\"f\", 0, 0)  QUB_MAIN_START return x ;  QUB_MAIN_END  QUB_STMT_END ", "62 3 1 0 1 x"},
      {"return, function only", REC_RETURN, false, false, false, "return x ; ", ""},
      {"break, function only, timing", REC_BREAK, false, true, true, "return x ; ", ""},
      {"return, timing", REC_RETURN, false, true, false, " QUB_STMT_TIMER_RETURN(\"f\", 4) return x ;  QUB_STMT_END ",
       ""},
      {"throw, timing", REC_THROW, false, true, false, "return x ; ", ""},
      {"main return, timing", REC_RETURN, false, true, true,
       " QUB_MAIN_START  QUB_STMT_TIMER_RETURN(\"f\", 4) return x ;  QUB_STMT_END  QUB_MAIN_END ", ""},
      {"main throw, function only", REC_THROW, false, false, true, " QUB_MAIN_START return x ;  QUB_MAIN_END ", ""},
  };
  for (const jump_case &c : cases) {
    SCOPED_TRACE(c.what);
    pre_run_state_reset();
    g_run.instrument_decision = c.decision;
    g_run.instrument_inclusive_timing = c.timing;
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    for (int i = 0; i < 5; i++) pre_next_function_counter();
    set_function("f");
    g_writer.is_main_function = c.main_function;
    statement_count = 1;
    mark = text_tail();
    pre_emit_stmt_start(c.kind);
    tokens({{"return", KW_RETURN}, {"x", TOK_IDENT}, {";", TOK_SEMI}});
    pre_emit_stmt_end(c.kind, "x");
    EXPECT_EQ(text(), c.text);
    strings r = records();
    EXPECT_EQ(r.empty() ? "" : r.back(), c.record);
    EXPECT_EQ(pre_jump_count(), c.decision ? 1u : 0u);
  }
  g_writer.is_main_function = false;
}

// --- decisions and the other statement probes -------------------------------------------------

TEST_F(ProbeTest, ConditionIsBracketedByStartAndEnd) {
  tokens({{"while", KW_WHILE}, {"(", TOK_LPAREN}});
  int n = pre_emit_cond_start();
  tokens({{"a", TOK_IDENT}, {"&&", TOK_ANDAND}, {"b", TOK_IDENT}});
  pre_emit_cond_end(REC_WHILE, n, "a && b");
  emit_token(")", TOK_RPAREN);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(text(), "while ( QUB_COND_START(0) a && b QUB_COND_END(0) ) ");
  std::vector<piece_out> p = pieces();
  EXPECT_EQ(p[2], (piece_out{"QUB_COND_START(0) ", TOK_LPAREN}));
  EXPECT_EQ(p[6], (piece_out{"QUB_COND_END(0) ", TOK_RPAREN}));
  EXPECT_EQ(records(), (strings{"22 3 0 0 1 a && b"}));
  EXPECT_EQ(pre_decision_count(), 1u);
}

TEST_F(ProbeTest, DeclarationConditionForm) {
  pre_emit_block_start();
  int n = pre_emit_decl_cond_start(REC_IF);
  tokens({{"if", KW_IF}, {"(", TOK_LPAREN}, {"T", TOK_TYPE_NAME}, {"x", TOK_IDENT}, {"=", TOK_ASSIGN},
          {"a", TOK_IDENT}, {")", TOK_RPAREN}});
  pre_emit_block_start();
  pre_emit_decl_cond_end(REC_IF, n, "T x = a");
  tokens({{"s1", TOK_IDENT}, {";", TOK_SEMI}});
  pre_emit_block_end();
  pre_emit_block_end();
  EXPECT_EQ(text(),
            "QUB_BLOCK_START  QUB_DECL_COND_START(0) if ( T x = a ) QUB_BLOCK_START  QUB_DECL_COND_END(0) s1 ; "
            "QUB_BLOCK_END QUB_BLOCK_END ");
  std::vector<piece_out> p = pieces();
  EXPECT_EQ(p[0].kind, 0u);
  EXPECT_EQ(p[1].kind, 0u);
  EXPECT_EQ(p[10], (piece_out{" QUB_DECL_COND_END(0) ", TOK_SEMI}));
  EXPECT_EQ(p.back(), (piece_out{"QUB_BLOCK_END ", TOK_SEMI}));
  EXPECT_EQ(records(), (strings{"20 3 0 0 1 T x = a"}));
}

struct simple_case {
  const char *what;
  void (*emit)();
  const char *text;
  std::uint32_t kind;
  const char *record;  // "" for none
  std::uint32_t jumps;
};

TEST_F(ProbeTest, StatementProbeTable) {
  const simple_case cases[] = {
      {"loop start", [] { pre_emit_loop_start(REC_LOOP_DECLARATION, "int c = next ( )"); },
       " QUB_LOOP_START(0) ", 0, "100 3 0 0 1 int c = next ( )", 1},
      {"loop end", [] { pre_emit_loop_end(); }, " QUB_LOOP_END ", TOK_SEMI, "", 0},
      {"case prev", [] { pre_emit_case_prev(); }, " QUB_CASE_PREV(0) ", 0, "", 1},
      {"case curr1", [] { pre_emit_case_curr(REC_CASE, false, "1"); }, " QUB_CASE_CURR1(0) ", TOK_SEMI,
       "14 3 0 0 1 1", 1},
      {"default curr1", [] { pre_emit_case_curr(REC_DEFAULT, false, ""); }, " QUB_CASE_CURR1(0) ", TOK_SEMI,
       "15 3 0 0 1", 1},
      {"missing default", [] { pre_emit_missing_default(true); }, " QUB_MISSING_DEFAULT(0) ", 0, "16 3 0 0 0", 1},
      {"missing default nr", [] { pre_emit_missing_default(false); }, " QUB_MISSING_DEFAULT_NR(0) ", 0,
       "16 3 0 0 0", 1},
      {"try", [] { pre_emit_try_start(REC_TRY, ""); }, " QUB_TRY_START(0) ", 0, "60 3 0 0 1", 1},
      {"__try", [] { pre_emit_try_start(REC_SEH_TRY, ""); }, " QUB_TRY_START(0) ", 0, "61 3 0 0 1", 1},
      {"try end", [] { pre_emit_try_end(); }, " QUB_TRY_END ", TOK_SEMI, "", 0},
      {"catch", [] { pre_emit_catch_start(REC_CATCH, "E & e"); }, " QUB_CATCH_START(0, 0) ", 0,
       "63 3 0 0 1 E & e", 1},
      {"catch end", [] { pre_emit_catch_end(); }, " QUB_CATCH_END ", TOK_SEMI, "", 0},
      {"lambda", [] { pre_emit_lambda_start("lambda-[]()"); }, " QUB_LAMBDA_START(0) ", 0,
       "4 3 0 0 1 lambda-[]()", 1},
      {"lambda end", [] { pre_emit_lambda_end(true); }, " QUB_LAMBDA_END(0) ", 0, "5 3 0 0 1", 1},
      {"lambda end nr", [] { pre_emit_lambda_end(false); }, " QUB_LAMBDA_END_NR ", 0, "6 3 0 0 1", 0},
      {"block start", [] { pre_emit_block_start(); }, "QUB_BLOCK_START ", 0, "", 0},
      {"block end", [] { pre_emit_block_end(); }, "QUB_BLOCK_END ", TOK_SEMI, "", 0},
      {"label", [] { pre_record_label("out"); }, "", 0, "45 3 0 0 1 out", 0},
      {"else", [] { pre_record_simple(REC_ELSE, 8, ""); }, "", 0, "40 8 0 0 1", 0},
      {"switch", [] { pre_record_simple(REC_SWITCH, 9, "x + 1"); }, "", 0, "42 9 0 0 1 x + 1", 0},
      {"function try", [] { pre_record_function_try(2); }, "", 0, "43 2 0 0 1", 0},
      {"ctrcatch start", [] { pre_emit_ctrcatch_start("...", 12); }, " QUB_CTRCATCH_START(0) ", TOK_SEMI,
       "63 12 0 0 1 ...", 1},
  };
  for (const simple_case &c : cases) {
    for (int mode = 0; mode < 3; mode++) {  // decision on; decision off; in a skipped region
      SCOPED_TRACE(std::string(c.what) + " mode " + std::to_string(mode));
      pre_run_state_reset();
      g_run.instrument_decision = mode != 1;
      skip_depth = mode == 2 ? 1 : 0;
      pre_symbol_begin_file("t.c");
      pre_reset_counters();
      mark = text_tail();
      c.emit();
      skip_depth = 0;
      bool on = mode == 0;
      EXPECT_EQ(text(), on ? c.text : "");
      if (on && *c.text) {
        EXPECT_EQ(text_tail()->kind, c.kind);
      }
      strings r = records();
      EXPECT_EQ(r.empty() ? "" : r.back(), on ? c.record : "");
      EXPECT_EQ(pre_jump_count(), on ? c.jumps : 0u);
      EXPECT_EQ(pre_decision_count(), 0u);
    }
  }
}

TEST_F(ProbeTest, ConstructEndRecordDependsOnTheModeOnly) {
  skip_depth = 1;
  pre_record_construct_end();
  skip_depth = 0;
  EXPECT_EQ(records(), (strings{"3 3 0 0 1"}));
}

TEST_F(ProbeTest, CaseCurr2TakesTheNumberOfItsPrev) {
  pre_emit_case_prev();
  tokens({{"case", KW_CASE}, {"3", TOK_INT_CONST}, {":", TOK_COLON}});
  pre_emit_case_curr(REC_CASE, true, "3");
  EXPECT_EQ(text(), " QUB_CASE_PREV(0) case 3 :  QUB_CASE_CURR2(0) ");
  EXPECT_EQ(records(), (strings{"14 3 0 0 1 3"}));
  EXPECT_EQ(pre_jump_count(), 1u);
}

TEST_F(ProbeTest, CasePrevGoesInFrontOfAFallThroughComment) {
  tokens({{"x", TOK_IDENT}, {";", TOK_SEMI}});
  emit_newline();
  emit_fallthrough_mark("/* FALLTHROUGH */ ");
  pre_emit_case_prev();
  tokens({{"case", KW_CASE}});
  EXPECT_EQ(text(), "x ; \n QUB_CASE_PREV(0) /* FALLTHROUGH */ case ");
}

TEST_F(ProbeTest, CatchCarriesTheTimerNumber) {
  g_run.instrument_inclusive_timing = true;
  pre_next_function_counter();
  pre_next_function_counter();
  pre_emit_catch_start(REC_FINALLY, "");
  EXPECT_EQ(text(), " QUB_CATCH_START(0, 1) ");
}

TEST_F(ProbeTest, HandlerEndForms) {
  set_function("f");
  pre_emit_ctrcatch_end(true);
  g_writer.is_main_function = true;
  pre_emit_ctrcatch_end(true);
  g_writer.is_main_function = false;
  pre_emit_ctrcatch_end(false);
  EXPECT_EQ(text(), " QUB_CTRCATCH_END(\"f\", 0)  QUB_CTRCATCH_END_MAIN(\"f\", 1)  QUB_CTRCATCH_END_NR ");
  EXPECT_EQ(records(), (strings{"3 3 0 0 1", "3 3 0 0 1", "3 3 0 0 1"}));
  EXPECT_EQ(pre_jump_count(), 2u);
}

TEST_F(ProbeTest, LambdaKeepsTheFunctionsMultiTmpFlagApart) {
  g_writer.multi_tmp_needed = true;
  tokens({{"[", TOK_LBRACKET}, {"]", TOK_RBRACKET}, {"{", TOK_INNER_LBRACE}});
  pre_emit_lambda_start("lambda-[]()");
  EXPECT_FALSE(g_writer.multi_tmp_needed);
  g_writer.multi_tmp_needed = true;  // a multicondition in the lambda
  emit_token("}", TOK_INNER_RBRACE);
  pre_emit_lambda_end(true);
  EXPECT_TRUE(g_writer.multi_tmp_needed);
  EXPECT_EQ(text(), "[ ] { QUB_MULTI_TMP  QUB_LAMBDA_START(0) }  QUB_LAMBDA_END(1) ");

  mark = text_tail();
  g_writer.multi_tmp_needed = false;
  emit_token("{", TOK_INNER_LBRACE);
  pre_emit_lambda_start("lambda-()->");
  emit_token("}", TOK_INNER_RBRACE);
  pre_emit_lambda_end(false);
  EXPECT_EQ(text(), "{  QUB_LAMBDA_START(2) }  QUB_LAMBDA_END_NR ");
  EXPECT_FALSE(g_writer.multi_tmp_needed);
}

// --- multiconditions --------------------------------------------------------------------------

TEST_F(ProbeTest, MulticonditionMacrosAndRecord) {
  g_run.instrument_multicondition = true;
  tokens({{"if", KW_IF}, {"(", TOK_LPAREN}});
  pre_emit_m_start();
  pre_emit_m_ind_start();
  tokens({{"a", TOK_IDENT}, {">", TOK_GREATER}, {"0", TOK_INT_CONST}});
  pre_emit_m_ind_end(1);
  emit_token("&&", TOK_ANDAND);
  pre_emit_m_ind_start();
  tokens({{"b", TOK_IDENT}, {">", TOK_GREATER}, {"0", TOK_INT_CONST}});
  pre_emit_m_ind_end(1);
  pre_emit_m_end(REC_IF, 0, "a > 0 && b > 0");
  emit_token(")", TOK_RPAREN);
  EXPECT_EQ(text(), "if ( QUB_M_START QUB_M_IND((a > 0 ),1) && QUB_M_IND((b > 0 ),1)  QUB_M_END(0)) ");
  std::vector<piece_out> p = pieces();
  EXPECT_EQ(p[3].kind, TOK_LPAREN);
  EXPECT_EQ(p[7].kind, TOK_RPAREN);
  pre_emit_m_end(REC_ASSIGNMENT, 3, "x && y");
  pre_emit_m_end(REC_DO_WHILE, 3, "z || w");
  EXPECT_EQ(records(), (strings{"70 3 0 0 1 a > 0 && b > 0", "85 3 0 0 1 x && y", "74 3 0 0 1 z || w"}));
  mark = text_tail();
  g_run.instrument_multicondition = false;
  pre_emit_m_start();
  pre_emit_m_ind_start();
  pre_emit_m_ind_end(1);
  pre_emit_m_end(REC_IF, 0, "");
  EXPECT_EQ(text(), "");
}

// --- `?:` -------------------------------------------------------------------------------------

// Runs the probes of a `?` met at the statement level: the pieces so far are copied, the
// `?` and the rest follow.
void cond_oper_at_statement() {
  pre_emit_cond_oper();
  emit_token("?", TOK_QUESTION);
}

TEST_F(ProbeTest, ConditionalOperatorAsAStatement) {
  emit_token(";", TOK_SEMI);
  mark = text_tail();
  emit_token("a", TOK_IDENT);
  cond_oper_at_statement();
  tokens({{"b", TOK_IDENT}, {":", TOK_COLON}, {"c", TOK_IDENT}, {";", TOK_SEMI}});
  EXPECT_EQ(text(), " QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? b : c ; ");
  EXPECT_EQ(records(), (strings{"25 3 0 0 1 a"}));
}

TEST_F(ProbeTest, WalkStopsAtTheHeadOfAStatement) {
  // if ( x ) y ? 1 : 2 ;
  emit_token("{", TOK_LBRACE);
  tokens({{"if", KW_IF}, {"(", TOK_LPAREN}});
  int n = pre_emit_cond_start();
  emit_token("x", TOK_IDENT);
  pre_emit_cond_end(REC_IF, n, "x");
  tokens({{")", TOK_RPAREN}, {"y", TOK_IDENT}});
  cond_oper_at_statement();
  EXPECT_EQ(text(), "{ if ( QUB_COND_START(0) x QUB_COND_END(0) )  QUB_COND_OPER_START(1) y  QUB_COND_OPER_END(1) ? ");
  EXPECT_EQ(records().back(), "25 3 0 1 1 y");
}

struct walk_case {
  const char *what;
  std::vector<std::pair<const char *, std::uint32_t>> before;  // behind a `=`
  const char *text;                                           // what the probes enclose
  const char *record;
};

TEST_F(ProbeTest, ConditionStartAndConstantFlag) {
  const walk_case cases[] = {
      {"constant", {{"true", KW_TRUE}}, "true ", "35 3 0 0 1 true"},
      {"number", {{"1", TOK_INT_CONST}}, "1 ", "35 3 0 0 1 1"},
      {"bracketed constant", {{"(", TOK_LPAREN}, {"true", KW_TRUE}, {")", TOK_RPAREN}}, "( true ) ",
       "25 3 0 0 1 ( true )"},
      {"two constants", {{"1", TOK_INT_CONST}, {"+", TOK_OPERATOR}, {"2", TOK_INT_CONST}}, "1 + 2 ",
       "25 3 0 0 1 1 + 2"},
      {"call", {{"f", TOK_IDENT}, {"(", TOK_LPAREN}, {"a", TOK_IDENT}, {",", TOK_COMMA}, {"b", TOK_IDENT},
                {")", TOK_RPAREN}, {"<", TOK_LESS}, {"c", TOK_IDENT}},
       "f ( a , b ) < c ", "25 3 0 0 1 f ( a , b ) < c"},
      {"subscript", {{"v", TOK_IDENT}, {"[", TOK_LBRACKET}, {"i", TOK_IDENT}, {"]", TOK_RBRACKET}},
       "v [ i ] ", "25 3 0 0 1 v [ i ]"},
      {"template arguments", {{"is", TOK_IDENT}, {"<", TOK_TARGS_OPEN}, {"T", TOK_TYPE_NAME},
                              {">", TOK_TARGS_CLOSE}, {"::", TOK_SCOPE}, {"value", TOK_IDENT}},
       "is < T > :: value ", "25 3 0 0 1 is < T > :: value"},
      {"stops at a comma", {{"a", TOK_IDENT}, {",", TOK_COMMA}, {"b", TOK_IDENT}}, "b ", "25 3 0 0 1 b"},
      {"stops at return", {{"return", KW_RETURN}, {"b", TOK_IDENT}}, "b ", "25 3 0 0 1 b"},
      {"directive in between", {{"a", TOK_IDENT}, {"#line 4\n", TOK_LINE_DIRECTIVE}, {"b", TOK_IDENT}},
       "a \n#line 4\nb ", "25 3 0 0 1 a b"},
  };
  for (const walk_case &c : cases) {
    SCOPED_TRACE(c.what);
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    emit_token("=", TOK_ASSIGN);
    mark = text_tail();
    for (const auto &t : c.before) {
      if (t.second == TOK_LINE_DIRECTIVE)
        emit_directive(t.first, true);
      else
        emit_token(t.first, t.second);
    }
    pre_emit_cond_oper();
    std::string t = text();
    std::string start = " QUB_COND_OPER_START(0) ";
    ASSERT_GE(t.size(), start.size());
    std::size_t at = t.find(start);
    ASSERT_NE(at, std::string::npos) << t;
    std::string inside = t.substr(at + start.size());
    std::string end = " QUB_COND_OPER_END(0) ";
    ASSERT_GE(inside.size(), end.size()) << t;
    EXPECT_EQ(inside.substr(inside.size() - end.size()), end);
    EXPECT_EQ(inside.substr(0, inside.size() - end.size()), c.text);
    EXPECT_EQ(records().back(), c.record);
  }
}

TEST_F(ProbeTest, StartMacroGoesBehindTheInnerBraceOfALambda) {
  tokens({{"{", TOK_INNER_LBRACE}});
  pre_text_piece *brace = text_tail();
  pre_emit_lambda_start("lambda-[]()");
  mark = brace;
  emit_token("a", TOK_IDENT);
  cond_oper_at_statement();
  EXPECT_EQ(text(), " QUB_LAMBDA_START(0)  QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? ");
}

TEST_F(ProbeTest, NoProbesWhenSwitchedOff) {
  emit_token(";", TOK_SEMI);
  mark = text_tail();
  emit_token("a", TOK_IDENT);
  setenv("QUB_COND_OPER_NO_INSTR", "", 1);
  pre_emit_cond_oper();
  unsetenv("QUB_COND_OPER_NO_INSTR");
  g_probes.no_instr_decl = true;
  pre_emit_cond_oper();
  g_probes.no_instr_decl = false;
  g_run.instrument_decision = false;
  pre_emit_cond_oper();
  g_run.instrument_decision = true;
  EXPECT_EQ(text(), "a ");
  EXPECT_EQ(pre_decision_count(), 0u);
  EXPECT_TRUE(records().empty());
}

TEST_F(ProbeTest, WalkWithoutAStartGivesNoProbe) {
  pre_text_list_destroy(&g_writer.text_list);
  g_writer.text_list = pre_text_list_create_arena();
  emit_token("a", TOK_IDENT);
  mark = nullptr;
  pre_emit_cond_oper();
  EXPECT_EQ(pre_text_list_count(g_writer.text_list), 1u);
  EXPECT_EQ(pre_decision_count(), 0u);
  // pre_finish_instrumented_file walks a list with no head mark: harmless.
  g_writer.head_mark = nullptr;
}

TEST_F(ProbeTest, OrInTheConditionWarnsOnceUnderMulticondition) {
  for (bool multi : {false, true}) {
    SCOPED_TRACE(multi);
    g_run.instrument_multicondition = multi;
    emit_token(";", TOK_SEMI);
    tokens({{"a", TOK_IDENT}, {"||", TOK_OROR}, {"(", TOK_LPAREN}, {"b", TOK_IDENT}, {"&&", TOK_ANDAND},
            {"c", TOK_IDENT}, {")", TOK_RPAREN}});
    testing::internal::CaptureStderr();
    pre_emit_cond_oper();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, multi ? "QUB++ warning 36: Ternary-?: instrumented for decision coverage only in file t.c at "
                           "line 3\n"
                         : "");
  }
}

// --- the rescan of a condition --------------------------------------------------------------

TEST_F(ProbeTest, RescanProbesEachQuestionMarkAfterTheCondition) {
  // while ( a ? b : c ? d : e ) with a single decision around it
  tokens({{"while", KW_WHILE}, {"(", TOK_LPAREN}});
  pre_mark_region_start();
  int n = pre_emit_cond_start();
  tokens({{"a", TOK_IDENT}, {"?", TOK_QUESTION}, {"b", TOK_IDENT}, {":", TOK_COLON}, {"c", TOK_IDENT},
          {"?", TOK_QUESTION}, {"d", TOK_IDENT}, {":", TOK_COLON}, {"e", TOK_IDENT}});
  pre_emit_cond_end(REC_WHILE, n, "a ? b : c ? d : e");
  emit_token(")", TOK_RPAREN);
  pre_scan_region_for_cond_opers();
  EXPECT_EQ(text(),
            "while ( QUB_COND_START(0)  QUB_COND_OPER_START(1) a  QUB_COND_OPER_END(1) ? b :  "
            "QUB_COND_OPER_START(2) c  QUB_COND_OPER_END(2) ? d : e QUB_COND_END(0) ) ");
  EXPECT_EQ(records(), (strings{"22 3 0 0 1 a ? b : c ? d : e", "25 3 0 1 1 a", "25 3 0 2 1 c"}));
  EXPECT_EQ(g_writer.region_start, nullptr);
  EXPECT_EQ(g_writer.region_end, nullptr);
}

TEST_F(ProbeTest, RescanPassesOverElvisBracesAndSkippedParameterLists) {
  conf_apply_line("SKIP_PARAMETER_LIST=assert");
  tokens({{"if", KW_IF}, {"(", TOK_LPAREN}});
  pre_mark_region_start();
  tokens({{"x", TOK_IDENT}, {"?", TOK_QUESTION}, {":", TOK_COLON}, {"y", TOK_IDENT}, {"+", TOK_OPERATOR},
          {"assert", TOK_IDENT}, {"(", TOK_LPAREN}, {"p", TOK_IDENT}, {"?", TOK_QUESTION}, {"1", TOK_INT_CONST},
          {":", TOK_COLON}, {"2", TOK_INT_CONST}, {")", TOK_RPAREN}, {"+", TOK_OPERATOR}, {"{", TOK_LBRACE},
          {"q", TOK_IDENT}, {"?", TOK_QUESTION}, {"1", TOK_INT_CONST}, {":", TOK_COLON}, {"2", TOK_INT_CONST},
          {"}", TOK_RBRACE}, {")", TOK_RPAREN}});
  std::string before = text();
  pre_scan_region_for_cond_opers();
  EXPECT_EQ(text(), before);
  EXPECT_TRUE(records().empty());
}

TEST_F(ProbeTest, RescanInAGuardedOffRegionDoesNothing) {
  g_run.instrument_decision = false;
  pre_mark_region_start();
  EXPECT_EQ(g_writer.region_start, nullptr);
  tokens({{"a", TOK_IDENT}, {"?", TOK_QUESTION}, {"b", TOK_IDENT}, {":", TOK_COLON}, {"c", TOK_IDENT}});
  pre_scan_region_for_cond_opers();
  EXPECT_EQ(text(), "a ? b : c ");
}

TEST_F(ProbeTest, MatchingOpenStopsAtStatementHeads) {
  struct {
    std::uint32_t keyword;
    bool found;
  } cases[] = {{KW_IF, false}, {KW_WHILE, false}, {KW_FOR, false}, {KW_SWITCH, false}, {TOK_IDENT, true}};
  for (auto &c : cases) {
    emit_token("k", c.keyword);
    pre_text_piece *head = text_tail();
    emit_token("(", TOK_LPAREN);
    emit_text("QUB_COND_START(0) ");
    emit_token(")", TOK_RPAREN);
    EXPECT_EQ(pre_find_matching_open(TOK_LPAREN, TOK_RPAREN, text_tail()), c.found ? head : nullptr);
  }
  emit_token("x", TOK_IDENT);
  emit_token(")", TOK_RPAREN);
  EXPECT_EQ(pre_find_matching_open(TOK_LPAREN, TOK_RPAREN, text_tail()), nullptr);
}

// --- wildcards ------------------------------------------------------------------------------

TEST(WildcardTest, Patterns) {
  struct {
    const char *text, *pattern;
    bool match;
  } cases[] = {
      {"main", "main", true},         {"main", "mai", false},       {"main", "*", true},
      {"main", "m*", true},           {"main", "*n", true},         {"main", "*ai*", true},
      {"main", "x*", false},          {"App::run", "App::*", true}, {"App::run", "*::r*n", true},
      {"abcabc", "a*c*c", true},      {"abc", "a*b*c*d", false},    {"", "*", true},
      {"", "", true},                 {"ab", "a**b", true},         {"main2", "*main", false},
      {"x_test_y", "*_test_*", true}, {"test", "*_test_*", false},
  };
  for (auto &c : cases) EXPECT_EQ(pre_wildcard_match(c.text, c.pattern), c.match) << c.text << " " << c.pattern;
  EXPECT_FALSE(pre_wildcard_match(nullptr, "*"));
  EXPECT_FALSE(pre_wildcard_match("a", nullptr));
}

}  // namespace
