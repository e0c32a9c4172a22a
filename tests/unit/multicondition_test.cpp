// Multicondition instrumentation: token classes, the condition tree, evaluation paths
// with their indexes, the rewritten text and the records, the fallbacks and messages.
#include <cctype>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "analysis_test_support.h"

namespace {

using antest::strings;

class MultiTest : public antest::AnalysisTest {
 protected:
  void SetUp() override {
    AnalysisTest::SetUp();
    g_run.instrument_multicondition = true;
  }
  // `if` with the condition of `source` (its parentheses included) through
  // pre_condition; returns what the statement head left in the text.
  std::string if_head(const std::string &source, const std::string &messages = "") {
    open("if " + source + "\n");
    copy(2);
    testing::internal::CaptureStderr();
    g_run.verbose = true;
    pre_condition(CONDITION_IF);
    g_run.verbose = false;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), messages) << source;
    return text();
  }
  static std::string message(int status, const char *body) {
    return "QUB++ warning " + std::to_string(status) + ": " + body + " in file t.c at line 1" +
           (status == 38 ? " \n" : "\n");
  }
};

TEST_F(MultiTest, WorkedExample) {
  open("\n\nif (a > 0 && b > 0)\n");
  copy(2);
  pre_condition(CONDITION_IF);
  EXPECT_EQ(text(), "\n\nif ( QUB_M_START QUB_M_IND((a > 0 ),1) && QUB_M_IND((b > 0 ),1)  QUB_M_END(0)) ");
  EXPECT_EQ(records(), (strings{"78 0 0 0 0 2", "79 0 0 0 0 0,1", "70 3 0 0 1 a > 0 && b > 0", "75 3 0 2 1 T && T",
                                "76 3 0 1 1 T && F", "76 3 0 0 1 F && _", "80 0 0 0 0 1,2", "81 0 0 0 0 0",
                                "77 3 0 0 1 a > 0", "80 0 0 0 0 2", "81 0 0 0 0 1", "77 3 0 0 1 b > 0"}));
  EXPECT_EQ(pre_condition_count(), 3u);
  EXPECT_EQ(pre_decision_count(), 0u);
  EXPECT_TRUE(g_writer.multi_tmp_needed);
}

TEST_F(MultiTest, SecondConditionCountsFromTheBase) {
  open("if (a || b || c) ; while (!x && (y || z)) ;\n");
  copy(2);
  pre_condition(CONDITION_IF);
  copy(3);
  pre_condition(CONDITION_WHILE);
  copy_rest();
  EXPECT_EQ(text(),
            "if ( QUB_M_START QUB_M_IND((a ),3) || QUB_M_IND((b ),2) || QUB_M_IND((c ),1)  QUB_M_END(0)) ; "
            "while ( QUB_M_START QUB_M_IND((! x ),1) && ( QUB_M_IND((y ),2) || QUB_M_IND((z ),1) )  QUB_M_END(4)) ; \n");
  strings r = records();
  EXPECT_EQ(r[0], "78 0 0 0 0 1,2,3");
  EXPECT_EQ(r[1], "79 0 0 0 0 0");
  // a || b || c: a true is path 3, b true path 2, c true path 1, all false path 0;
  // the true paths come in the order in which the tree is walked, true side first.
  EXPECT_EQ(r[3], "75 1 0 3 1 T || _ || _");
  EXPECT_EQ(r[5], "75 1 0 1 1 F || F || T");
  EXPECT_EQ(r[6], "76 1 0 0 1 F || F || F");
  std::size_t second = 0;
  for (std::size_t i = 0; i < r.size(); i++)
    if (r[i].rfind("78 ", 0) == 0) second = i;
  EXPECT_EQ(r[second], "78 0 0 4 0 2,3");
  EXPECT_EQ(r[second + 1], "79 0 0 4 0 0,1");
  EXPECT_EQ(r[second + 2], "72 1 1 0 1 ! x && ( y || z )");
  EXPECT_EQ(r[second + 3], "75 1 1 7 1 T && (T || _)");
  EXPECT_EQ(pre_condition_count(), 8u);
}

struct shape_case {
  const char *source;
  const char *text;      // what the head leaves
  const char *messages;  // 0 for none; else the status and body separated by '|'
  std::uint32_t paths;   // C numbers taken
};

TEST_F(MultiTest, Shapes) {
  const shape_case cases[] = {
      {"(a)", "if ( QUB_COND_START(0) a QUB_COND_END(0) ) ", nullptr, 0},
      {"(!a)", "if ( QUB_COND_START(0) ! a QUB_COND_END(0) ) ", nullptr, 0},
      {"((a))", "if ( QUB_COND_START(0) ( a ) QUB_COND_END(0) ) ", nullptr, 0},
      {"(((a)))", "if ( QUB_COND_START(0) ( ( a ) ) QUB_COND_END(0) ) ", nullptr, 0},
      {"(!(a && b))", "if ( QUB_M_START ! ( QUB_M_IND((a ),1) && QUB_M_IND((b ),1) )  QUB_M_END(0)) ", nullptr, 3},
      {"((int) a && b)", "if ( QUB_M_START QUB_M_IND((( int )  a ),1) && QUB_M_IND((b ),1)  QUB_M_END(0)) ", nullptr,
       3},
      {"(f(a && b) && c)", "if ( QUB_M_START QUB_M_IND((f ( a && b ) ),1) && QUB_M_IND((c ),1)  QUB_M_END(0)) ",
       nullptr, 3},
      {"(f(a && b))", "if ( QUB_COND_START(0) f ( a && b ) QUB_COND_END(0) ) ", "38|Cannot instrument", 0},
      {"((a && b) == c)", "if ( QUB_COND_START(0) ( a && b ) == c QUB_COND_END(0) ) ", "38|Cannot instrument", 0},
      {"((a = b) && c)", "if ( QUB_M_START ( QUB_M_IND((a = b ),1) ) && QUB_M_IND((c ),1)  QUB_M_END(0)) ", nullptr,
       3},
      {"(a, b && c)", "if ( QUB_COND_START(0) a , b && c QUB_COND_END(0) ) ", nullptr, 0},
      {"(x ++ && y)", "if ( QUB_M_START QUB_M_IND((x ++ ),1) && QUB_M_IND((y ),1)  QUB_M_END(0)) ", nullptr, 3},
      {"(a == && b)", "if ( QUB_COND_START(0) a == && b QUB_COND_END(0) ) ", nullptr, 0},
      {"(a and b or not c)",
       "if ( QUB_M_START QUB_M_IND((a ),2) and QUB_M_IND((b ),2) or QUB_M_IND((not c ),1)  QUB_M_END(0)) ", nullptr,
       5},
      {"((a || b) && c)",
       "if ( QUB_M_START ( QUB_M_IND((a ),3) || QUB_M_IND((b ),1) ) && QUB_M_IND((c ),1)  QUB_M_END(0)) ", nullptr, 5},
      {"(p && p->q ? x : y)",
       "if ( QUB_COND_START(0)  QUB_COND_OPER_START(1) p && p -> q  QUB_COND_OPER_END(1) ? x : y QUB_COND_END(0) ) ",
       "36|Ternary-?: instrumented for decision coverage only", 0},
      {"((p ? x : y) || z)",
       "if ( QUB_M_START ( QUB_M_IND(( QUB_COND_OPER_START(0) p  QUB_COND_OPER_END(0) ? x : y ),2) ) || "
       "QUB_M_IND((z ),1)  QUB_M_END(0)) ",
       nullptr, 3},
      {"(operator&&(a, b) && c)",
       "if ( QUB_M_START QUB_M_IND((operator && ( a , b ) ),1) && QUB_M_IND((c ),1)  QUB_M_END(0)) ", nullptr, 3},
      {"(any([](int x) { return x && y; }) && z)",
       "if ( QUB_M_START QUB_M_IND((any ( [ ] ( int x ) { return x && y ; } ) ),1) && QUB_M_IND((z ),1)  "
       "QUB_M_END(0)) ",
       nullptr, 3},
      {"(v[i && j] || k)", "if ( QUB_M_START QUB_M_IND((v [ i && j ] ),2) || QUB_M_IND((k ),1)  QUB_M_END(0)) ",
       nullptr, 3},
  };
  for (const shape_case &c : cases) {
    SCOPED_TRACE(c.source);
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    std::string messages;
    if (c.messages) {
      std::string m = c.messages;
      messages = message(std::stoi(m.substr(0, 2)), m.substr(3).c_str());
    }
    EXPECT_EQ(if_head(c.source, messages), c.text);
    EXPECT_EQ(pre_condition_count(), c.paths);
    pre_close_source();
  }
}

TEST_F(MultiTest, NotOverABracketNegatesTheOutcome) {
  if_head("(!(a && b))");
  EXPECT_EQ(records(), (strings{"78 0 0 0 0 0,1", "79 0 0 0 0 2", "70 1 0 0 1 ! ( a && b )", "75 1 0 1 1 !(T && F)",
                                "75 1 0 0 1 !(F && _)", "76 1 0 2 1 !(T && T)", "80 0 0 0 0 2,1", "81 0 0 0 0 0",
                                "77 1 0 0 1 a", "80 0 0 0 0 2", "81 0 0 0 0 1", "77 1 0 0 1 b"}));
}

TEST_F(MultiTest, ElementaryConditionRecordsListNewestFirst) {
  if_head("((a || b) && c)");
  strings r = records();
  EXPECT_EQ(r[0], "78 0 0 0 0 2,4");
  EXPECT_EQ(r[1], "79 0 0 0 0 0,1,3");
  // a: true on 3 and 4, false on 0 to 2; b: true on 1, 2, false on 0; c: true on 2, 4.
  // The walk meets true paths first (4 before 3 for a), the lists show the last met first.
  strings leaves(r.end() - 9, r.end());
  EXPECT_EQ(leaves, (strings{"80 0 0 0 0 3,4", "81 0 0 0 0 0,1,2", "77 1 0 0 1 a", "80 0 0 0 0 1,2",
                             "81 0 0 0 0 0", "77 1 0 0 1 b", "80 0 0 0 0 2,4", "81 0 0 0 0 1,3", "77 1 0 0 1 c"}));
}

TEST_F(MultiTest, AssignmentRightSide) {
  open("x = a && b;\ny = a;\n");
  copy(2);
  pre_condition(CONDITION_ASSIGNMENT);
  copy(3);
  pre_condition(CONDITION_ASSIGNMENT);
  copy_rest();
  EXPECT_EQ(text(), "x = QUB_M_START QUB_M_IND((a ),1) && QUB_M_IND((b ),1)  QUB_M_END(0); \ny = a ; \n");
  strings r = records();
  EXPECT_EQ(r[2], "85 1 1 0 1 a && b");
  EXPECT_EQ(r.size(), 12u);  // 78, 79, 85, three paths, two times three for the operands
}

TEST_F(MultiTest, AssignmentEndsAtBracketsAndArrows) {
  open("f(x = a || b) ; v[i = j || k] ;\n");
  copy(4);
  pre_condition(CONDITION_ASSIGNMENT);
  copy(6);
  pre_condition(CONDITION_ASSIGNMENT);
  copy_rest();
  EXPECT_EQ(text(),
            "f ( x = QUB_M_START QUB_M_IND((a ),2) || QUB_M_IND((b ),1)  QUB_M_END(0)) ; v [ i = QUB_M_START "
            "QUB_M_IND((j ),2) || QUB_M_IND((k ),1)  QUB_M_END(3)] ; \n");
}

TEST_F(MultiTest, AssignmentEndsAtAClosingBrace) {
  // A requirement of a requires-expression: the brace is not part of the right side.
  open("{ a = b && c } -> T ;\n");
  copy(3);
  pre_condition(CONDITION_ASSIGNMENT);
  copy_rest();
  EXPECT_EQ(text(), "{ a = QUB_M_START QUB_M_IND((b ),1) && QUB_M_IND((c ),1)  QUB_M_END(0)} -> T ; \n");
}

TEST_F(MultiTest, ConstInitialiserIsCopiedWithANote) {
  open("x = a && b;\n");
  copy(2);
  pre_cond_quiet(true);
  testing::internal::CaptureStderr();
  g_run.verbose = true;
  pre_condition(CONDITION_ASSIGNMENT);
  g_run.verbose = false;
  EXPECT_EQ(testing::internal::GetCapturedStderr(), message(37, "Decision not instrumented (because of 'const')"));
  pre_cond_quiet(false);
  copy_rest();
  EXPECT_EQ(text(), "x = a && b ; \n");
  EXPECT_TRUE(records().empty());
}

TEST_F(MultiTest, MiddleClauseOfAForEndsAtTheSemicolon) {
  open("for (; i < n && ok; i++) ;\n");
  copy(3);
  pre_condition(CONDITION_FOR);
  copy_rest();
  EXPECT_EQ(text(),
            "for ( ; QUB_M_START QUB_M_IND((i < n ),1) && QUB_M_IND((ok ),1)  QUB_M_END(0); i ++ ) ; \n");
  EXPECT_EQ(records()[2], "73 1 2 0 1 i < n && ok");
}

TEST_F(MultiTest, TooManyPathsFallBackToOneDecision) {
  // Eight bracketed pairs joined by && have 511 paths.
  std::string cond = "(a0 || b0)";
  for (int i = 1; i < 8; i++) cond += " && (a" + std::to_string(i) + " || b" + std::to_string(i) + ")";
  std::string text = if_head("(" + cond + ")", message(28, "Too complex code, reduced to decision coverage"));
  EXPECT_EQ(text.rfind("if ( QUB_COND_START(0) ( a0 || b0 ) && ( a1", 0), 0u) << text;
  EXPECT_EQ(pre_condition_count(), 0u);
  EXPECT_EQ(pre_decision_count(), 1u);
  // Seven pairs, 255 paths, are still instrumented.
  cond = "(a0 || b0)";
  for (int i = 1; i < 7; i++) cond += " && (a" + std::to_string(i) + " || b" + std::to_string(i) + ")";
  pre_reset_counters();
  if_head("(" + cond + ")");
  EXPECT_EQ(pre_condition_count(), 255u);
}

TEST_F(MultiTest, AssignmentWithTooManyPathsIsCopied) {
  std::string cond = "(a0 || b0)";
  for (int i = 1; i < 9; i++) cond += " && (a" + std::to_string(i) + " || b" + std::to_string(i) + ")";
  open("x = " + cond + ";\n");
  copy(2);
  testing::internal::CaptureStderr();
  pre_condition(CONDITION_ASSIGNMENT);
  testing::internal::GetCapturedStderr();
  copy_rest();
  EXPECT_EQ(text().find("QUB_"), std::string::npos);
  EXPECT_EQ(pre_condition_count(), 0u);
}

TEST_F(MultiTest, SkippedRegionKeepsTheTextButCountsThePaths) {
  skip_depth = 1;
  std::string t = if_head("(a && b || c)");
  skip_depth = 0;
  EXPECT_EQ(t, "if ( a && b || c ) ");
  EXPECT_TRUE(records().empty());
  EXPECT_EQ(pre_condition_count(), 5u);
  EXPECT_FALSE(g_writer.multi_tmp_needed);
}

TEST_F(MultiTest, MissingOperandEndsTheRun) {
  open("if (a && ) x;\n");
  copy(2);
  EXPECT_EXIT(pre_condition(CONDITION_IF), testing::ExitedWithCode(1),
              qubtest::exactly("QUB++ error 26: Syntax error in file t.c at line 1 \n"));
  open("if (a && (b\n");
  copy(2);
  EXPECT_EXIT(pre_condition(CONDITION_IF), testing::ExitedWithCode(1), "error 26");
}

TEST_F(MultiTest, TokenClasses) {
  pre_name_add("T", st_class, nullptr, nullptr);
  struct {
    const char *source;
    std::vector<std::uint32_t> classes;
  } cases[] = {
      {"T && x )", {CT_OTHER, CT_OTHER, CT_OTHER}},
      {"x ++ && y )", {CT_OTHER, CT_OTHER, CT_AND, CT_OTHER}},
      {"a == && b )", {CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER}},
      {"&& l )", {CT_OTHER, CT_OTHER}},
      {"! ( a || b ) )", {CT_NOT, CT_LPAREN, CT_OTHER, CT_OR, CT_OTHER, CT_RPAREN}},
      {"( a = b ) && c )", {CT_LPAREN, CT_OTHER, CT_OTHER, CT_OTHER, CT_RPAREN, CT_AND, CT_OTHER}},
      {"( a , ( b && c ) ) || d )",
       {CT_LPAREN, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_RPAREN, CT_OR, CT_OTHER}},
      {"a && b , c )", {CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER}},
      {"static_cast < U && > ( x ) && y )",
       {CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_LPAREN, CT_OTHER, CT_RPAREN, CT_AND, CT_OTHER}},
      {"g < U && ... > ( ) || y )",
       {CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_OTHER, CT_LPAREN, CT_RPAREN, CT_OR, CT_OTHER}},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.source);
    open(c.source);
    pre_cond_tokens(CONDITION_IF);
    std::vector<std::uint32_t> classes;
    for (const cond_token &t : g_multi.tokens) classes.push_back(t.cls);
    EXPECT_EQ(classes, c.classes);
    EXPECT_EQ(pre_peek_kind(), TOK_RPAREN);
    pre_close_source();
  }
}

TEST_F(MultiTest, CastPrefixNeedsATypeAndAnOperand) {
  pre_name_add("size_type", st_typedef, nullptr, nullptr);
  pre_name_add_function("get", "t.c", 1, nullptr, nullptr, nullptr, false, false);
  struct {
    const char *source;
    const char *text;  // of the condition's first leaf as record 77 shows it
    bool message_38;
  } cases[] = {
      {"((size_type) a && b)", "77 1 0 0 1 ( size_type )  a", false},
      {"((const char *) p && b)", "77 1 0 0 1 ( const char * )  p", false},
      {"((struct s *) p && b)", "77 1 0 0 1 ( struct s * )  p", false},
      {"((unknown) a && b)", "77 1 0 0 1 ( unknown ) a", false},
      {"((int) && b)", "77 1 0 0 1 int", false},
      {"((int) !a && b)", "77 1 0 0 1 ( int )  ! a", false},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.source);
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    if_head(c.source);
    strings r = records();
    std::string first_leaf;
    for (const std::string &line : r)
      if (line.rfind("77 ", 0) == 0) {
        first_leaf = line;
        break;
      }
    EXPECT_EQ(first_leaf, c.text);
    pre_close_source();
  }
  // A cast-like function name keeps a single leaf with && from being reported.
  EXPECT_EQ(if_head("((get)(a && b))"), "if ( QUB_COND_START(0) ( get ) ( a && b ) QUB_COND_END(0) ) ");
}

// --- the path tree against an independent evaluation -------------------------------------------

// A random condition over n operands v0..v(n-1), with &&, ||, ! and brackets.
std::string random_condition(std::mt19937 &rng, int n) {
  std::vector<std::string> parts;
  for (int i = 0; i < n; i++) parts.push_back((rng() % 4 == 0 ? "!" : "") + std::string("v") + std::to_string(i));
  while (parts.size() > 1) {
    std::size_t i = rng() % (parts.size() - 1);
    std::string op = rng() % 2 ? " && " : " || ";
    std::string joined = parts[i] + op + parts[i + 1];
    if (rng() % 2) joined = (rng() % 4 == 0 ? "!(" : "(") + joined + ")";
    parts[i] = joined;
    parts.erase(parts.begin() + static_cast<long>(i) + 1);
  }
  return parts[0];
}

// Evaluates a condition text with short circuits, recording the operands evaluated.
struct evaluator {
  const std::string &s;
  std::size_t p = 0;
  std::uint32_t values;                // bit i: value of vi
  std::vector<std::pair<int, bool>> trace;  // operands evaluated, in order

  void blank() {
    while (p < s.size() && s[p] == ' ') p++;
  }
  bool eat(const char *t) {
    blank();
    std::size_t n = std::strlen(t);
    if (s.compare(p, n, t) == 0) {
      p += n;
      return true;
    }
    return false;
  }
  bool primary(bool live) {
    bool negated_operand = false;
    if (eat("!")) {
      blank();
      if (s[p] != 'v') return !primary(live);
      negated_operand = true;  // `!v` is one elementary condition
    }
    if (eat("(")) {
      bool v = orx(live);
      eat(")");
      return v;
    }
    blank();
    p++;  // v
    int i = 0;
    while (p < s.size() && std::isdigit(static_cast<unsigned char>(s[p]))) i = i * 10 + (s[p++] - '0');
    bool v = ((values >> i) & 1) != negated_operand;
    if (live) trace.push_back({i, v});
    return v;
  }
  bool andx(bool live) {
    bool v = primary(live);
    while (eat("&&")) {
      bool r = primary(live && v);
      v = v && r;
    }
    return v;
  }
  bool orx(bool live) {
    bool v = andx(live);
    while (eat("||")) {
      bool r = andx(live && !v);
      v = v || r;
    }
    return v;
  }
};

TEST_F(MultiTest, PathNumbersAreTheSumsOfTheIndexesOfTrueOperands) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 120; round++) {
    int n = 2 + round % 9;
    std::string cond = random_condition(rng, n);
    SCOPED_TRACE(cond);
    pre_symbol_begin_file("t.c");
    pre_reset_counters();
    if_head("(" + cond + ")");
    ASSERT_GE(pre_condition_count(), 3u);
    // m_index of each operand from the text, in source order.
    std::string t = text();
    std::vector<std::uint32_t> m_index(static_cast<std::size_t>(n));
    std::size_t at = 0;
    while ((at = t.find("QUB_M_IND((", at)) != std::string::npos) {
      std::size_t v = t.find('v', at), close = t.find("),", at);
      int i = std::stoi(t.substr(v + 1));
      m_index[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(std::stoul(t.substr(close + 2)));
      at = close;
    }
    // The path texts by number, from records 75 and 76, with their outcomes.
    std::map<std::uint32_t, std::pair<std::string, bool>> paths;
    for (const std::string &line : records()) {
      std::istringstream in(line);
      std::uint32_t kind, lineno, stmts, counter, lvl;
      in >> kind >> lineno >> stmts >> counter >> lvl;
      std::string rest;
      std::getline(in, rest);
      if (kind == 75 || kind == 76) paths[counter] = {rest.substr(1), kind == 75};
    }
    ASSERT_EQ(paths.size(), pre_condition_count());
    std::set<std::uint32_t> seen;
    for (std::uint32_t values = 0; values < (1u << n); values++) {
      evaluator e{cond, 0, values, {}};
      bool outcome = e.orx(true);
      std::uint32_t index = 0;
      for (auto &op : e.trace)
        if (op.second) index += m_index[static_cast<std::size_t>(op.first)];
      ASSERT_LT(index, pre_condition_count());
      ASSERT_EQ(paths[index].second, outcome) << values;
      // The path text shows exactly the operands evaluated, with their values.
      std::string expected;
      for (char ch : paths[index].first)
        if (ch == 'T' || ch == 'F' || ch == '_') expected += ch;
      std::string actual(static_cast<std::size_t>(n), '_');
      for (auto &op : e.trace) actual[static_cast<std::size_t>(op.first)] = op.second ? 'T' : 'F';
      ASSERT_EQ(expected, actual) << values;
      seen.insert(index);
    }
    EXPECT_EQ(seen.size(), pre_condition_count());  // every path can run
    pre_close_source();
  }
}

}  // namespace
