// Condition analysis: the class of a condition, the single-decision form with its
// record and the `?:` probes inside it, and `?:` met at the statement level.
#include "analysis_test_support.h"

namespace {

using antest::strings;

class ConditionTest : public antest::AnalysisTest {};

struct class_case {
  std::uint32_t language;
  const char *source;  // from the `(` (or the first `;` of a `for`)
  int expected;
};

TEST_F(ConditionTest, Classes) {
  const class_case cases[] = {
      {LANG_CXX, "( x )", COND_ORDINARY},
      {LANG_CXX, "( 1 )", COND_CONSTANT},
      {LANG_CXX, "( ( 1 ) )", COND_CONSTANT},
      {LANG_CXX, "( a * b )", COND_ORDINARY},
      {LANG_CXX, "( a * b = c )", COND_DECLARATION},
      {LANG_CXX, "( T x = f ( ) )", COND_DECLARATION},
      {LANG_CXX, "( T * * p = q )", COND_DECLARATION},
      {LANG_CXX, "( T & r = q )", COND_DECLARATION},
      {LANG_CXX, "( T const x = 1 )", COND_DECLARATION},
      {LANG_CXX, "( int n = 3 )", COND_DECLARATION},
      {LANG_CXX, "( auto [ a , b ] = f ( ) )", COND_DECLARATION},
      {LANG_CXX, "( x = 1 )", COND_CONSTANT},
      {LANG_CXX, "( x += 1 )", COND_ORDINARY},
      {LANG_CXX, "; ; )", COND_CONSTANT},
      {LANG_CXX, "; i < n ; i ++ )", COND_ORDINARY},
      {LANG_CXX, "; 1 ; i ++ )", COND_CONSTANT},
      {LANG_CXX, "( sizeof ( unknown ) == 4 )", COND_ORDINARY},
      {LANG_CXX, "( sizeof ( int ) == 4 )", COND_ORDINARY},
      {LANG_CXX, "( \"x\" )", COND_CONSTANT},
      {LANG_CXX, "( ( int ) 2 )", COND_CONSTANT},
      {LANG_CXX, "( 1 + 2 == 3 )", COND_CONSTANT},
      {LANG_CXX, "( true )", COND_CONSTANT},
      {LANG_CXX, "( ! false && 1 )", COND_CONSTANT},
      {LANG_CXX, "( 1 ? 2 : 3 )", COND_CONSTANT},
      {LANG_CXX, "( 1 ? a : 3 )", COND_ORDINARY},
      {LANG_CXX, "( 1 , 2 )", COND_CONSTANT},
      {LANG_CXX, "( a , 2 )", COND_CONSTANT},
      {LANG_CXX, "( a )", COND_ORDINARY},
      {LANG_CXX, "( a == 1 )", COND_ORDINARY},
      {LANG_CXX, "( f ( ) )", COND_ORDINARY},
      {LANG_CXX, "( i ++ )", COND_ORDINARY},
      {LANG_CXX, "( - 1 < 0 )", COND_CONSTANT},
      {LANG_CXX, "( 1 bitor 2 )", COND_CONSTANT},
      {LANG_C, "( T * x )", COND_ORDINARY},
      {LANG_C, "( T x = a )", COND_ORDINARY},
      {LANG_C, "( int )", COND_ORDINARY},
      {LANG_C, "( 1 << 2 )", COND_CONSTANT},
  };
  for (const class_case &c : cases) {
    SCOPED_TRACE(c.source);
    source_language = c.language;
    open(std::string(c.source) + " rest");
    EXPECT_EQ(pre_classify_condition(), c.expected);
    // Nothing was consumed: the statement head reads the same tokens.
    EXPECT_EQ(pre_get_token(), std::string(c.source)[0] == ';' ? TOK_SEMI : TOK_LPAREN);
    pre_close_source();
  }
}

TEST_F(ConditionTest, CastTestTellsKnownTypesFromFunctions) {
  pre_name_add("size_type", st_typedef, nullptr, nullptr);
  pre_name_add_function("get", "t.c", 1, nullptr, nullptr, nullptr, false, false);
  struct {
    const char *source;
    int expected;
  } cases[] = {
      {"( ( size_type ) 1 )", COND_CONSTANT},
      {"( ( get ) 1 )", COND_ORDINARY},
      {"( ( unsigned long ) - 1 )", COND_CONSTANT},
      {"( ( 1 ) )", COND_CONSTANT},
      {"( ( struct s * ) 0 )", COND_CONSTANT},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.source);
    open(c.source);
    EXPECT_EQ(pre_classify_condition(), c.expected);
    pre_close_source();
  }
}

TEST_F(ConditionTest, TokensAlreadyQueuedAreClassifiedFromTheFirst) {
  open("( a == 1 ) ;\n");
  pre_peek_kind();
  pre_peek_further();
  pre_peek_further();
  EXPECT_EQ(pre_classify_condition(), COND_ORDINARY);
  copy_rest();
  EXPECT_EQ(text(), "( a == 1 ) ; \n");
}

TEST_F(ConditionTest, PureTokenClassifier) {
  cond_eval_token constant[] = {{TOK_LPAREN, "("}, {TOK_INT_CONST, "1"}, {TOK_RPAREN, ")"}};
  cond_eval_token call[] = {{TOK_LPAREN, "("}, {TOK_IDENT, "f"}, {TOK_LPAREN, "("}, {TOK_RPAREN, ")"},
                            {TOK_RPAREN, ")"}};
  EXPECT_EQ(pre_classify_tokens(constant, 3), COND_CONSTANT);
  EXPECT_EQ(pre_classify_tokens(call, 5), COND_ORDINARY);
}

TEST_F(ConditionTest, SingleDecisionWrapsTheCondition) {
  open("while (a && b) x;\n");
  copy(2);
  line_number = 3;
  pre_condition(CONDITION_WHILE);
  copy_rest();
  EXPECT_EQ(text(), "while ( QUB_COND_START(0) a && b QUB_COND_END(0) ) x ; \n");
  EXPECT_EQ(records(), (strings{"22 1 0 0 1 a && b"}));
}

TEST_F(ConditionTest, MiddleClauseOfAFor) {
  open("for (i = 0; i < n; i++) ;\n");
  copy(6);
  pre_condition(CONDITION_FOR);
  copy_rest();
  EXPECT_EQ(text(), "for ( i = 0 ; QUB_COND_START(0) i < n QUB_COND_END(0) ; i ++ ) ; \n");
  EXPECT_EQ(records(), (strings{"23 1 2 0 1 i < n"}));
}

TEST_F(ConditionTest, ConditionalOperatorsInAConditionFollowItsRecord) {
  open("if (a ? b : c ? d : e) x;\n");
  copy(2);
  pre_condition(CONDITION_IF);
  copy_rest();
  EXPECT_EQ(text(),
            "if ( QUB_COND_START(0)  QUB_COND_OPER_START(1) a  QUB_COND_OPER_END(1) ? b :  QUB_COND_OPER_START(2) c  "
            "QUB_COND_OPER_END(2) ? d : e QUB_COND_END(0) ) x ; \n");
  EXPECT_EQ(records(), (strings{"20 1 0 0 1 a ? b : c ? d : e", "25 1 0 1 1 a", "25 1 0 2 1 c"}));
}

TEST_F(ConditionTest, QuietConditionHasNoConditionalOperatorProbes) {
  open("if (a ? b : c)");
  copy(2);
  pre_cond_quiet(true);
  pre_condition(CONDITION_IF);
  EXPECT_TRUE(pre_cond_quiet(false));
  EXPECT_EQ(text(), "if ( QUB_COND_START(0) a ? b : c QUB_COND_END(0) ) ");
}

TEST_F(ConditionTest, NothingButTheTokensWithoutDecision) {
  g_run.instrument_decision = false;
  open("if (a ? b : c) ;\n");
  copy(2);
  pre_condition(CONDITION_IF);
  copy_rest();
  EXPECT_EQ(text(), "if ( a ? b : c ) ; \n");
  EXPECT_TRUE(records().empty());
  EXPECT_EQ(pre_decision_count(), 0u);
}

TEST_F(ConditionTest, ForClauseWithoutSemicolonEndsTheRun) {
  open("for (; i < n");
  copy(3);
  EXPECT_EXIT(pre_condition(CONDITION_FOR), testing::ExitedWithCode(1),
              qubtest::exactly("QUB++ error 26: Syntax error in file t.c at line 1 \n"));
}

// --- `?:` at the statement level ----------------------------------------------------------------

struct walk_case {
  const char *what;
  const char *source;  // up to the `?`, then the rest
  bool seen_static, seen_const;
  const char *const_instr;
  const char *text;
  const char *messages;
  std::uint32_t decisions;
};

TEST_F(ConditionTest, WalkOfAConditionalOperator) {
  const walk_case cases[] = {
      {"assignment", "x = a ? b : c ;", false, false, "", "x =  QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? b : c ; \n",
       "", 1},
      {"statement", "a ? b : c ;", false, false, "", " QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? b : c ; \n", "",
       1},
      {"nested in the middle", "x = a ? b ? c : d : e ;", false, false, "",
       "x =  QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ?  QUB_COND_OPER_START(1) b  QUB_COND_OPER_END(1) ? c : d "
       ": e ; \n",
       "", 2},
      {"braces in an operand", "x = a ? S { 1 , 2 } : t ;", false, false, "",
       "x =  QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? S { 1 , 2 } : t ; \n", "", 1},
      {"two operands", "x = a ?: c ;", false, false, "", "x = a ? : c ; \n", "", 0},
      {"static", "x = a ? b : c ;", true, false, "", "x = a ? b : c ; \n", "", 0},
      {"const", "x = a ? b : c ;", false, true, "",
       "x = a ? b : c ; \n",
       "QUB++ warning 37: Decision not instrumented (because of 'const') in file t.c at line 1\n", 0},
      {"const, nested", "x = a ? b ? c : d : e ;", false, true, "", "x = a ? b ? c : d : e ; \n",
       "QUB++ warning 37: Decision not instrumented (because of 'const') in file t.c at line 1\n", 0},
      {"const instrumented", "x = a ? b : c ;", false, true, "ON",
       "x =  QUB_COND_OPER_START(0) a  QUB_COND_OPER_END(0) ? b : c ; \n", "", 1},
  };
  for (const walk_case &c : cases) {
    SCOPED_TRACE(c.what);
    conf_reset();
    conf_apply_line((std::string("CONST_INSTR=") + c.const_instr).c_str());
    pre_reset_counters();
    g_run.verbose = true;  // notes are shown
    emit_token("{", TOK_LBRACE);  // the statement starts a body
    open(std::string(c.source) + "\n");
    while (pre_peek_kind() != TOK_QUESTION) copy(1);
    pre_get_token();
    testing::internal::CaptureStderr();
    pre_walk_cond_oper(c.seen_static, c.seen_const);
    std::string err = testing::internal::GetCapturedStderr();
    copy_rest();
    g_run.verbose = false;
    EXPECT_EQ(text(), c.text);
    EXPECT_EQ(err, c.messages);
    EXPECT_EQ(pre_decision_count(), c.decisions);
    pre_close_source();
  }
}

TEST_F(ConditionTest, WalkWithoutColonEndsTheRun) {
  open("x = a ? b ;");
  copy(3);
  pre_get_token();
  EXPECT_EXIT(pre_walk_cond_oper(false, false), testing::ExitedWithCode(1), "error 26");
}

TEST_F(ConditionTest, EnvironmentTakesAllConditionalOperatorsOut) {
  setenv("QUB_COND_OPER_NO_INSTR", "0", 1);
  open("x = a ? b : c ;\n");
  copy(3);
  pre_get_token();
  pre_walk_cond_oper(false, false);
  copy_rest();
  unsetenv("QUB_COND_OPER_NO_INSTR");
  EXPECT_EQ(text(), "x = a ? b : c ; \n");
  EXPECT_TRUE(records().empty());
}

}  // namespace
