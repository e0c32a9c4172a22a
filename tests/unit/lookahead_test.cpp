// The token layer: joined names with the entries they leave, template argument lists,
// peeking at depth, directive lines, the copy loop, and the skipping routines, which
// copy every token they pass.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/base.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/analyse.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "preparse/scanner.h"
#include "preparse/token.h"
#include "prepath/prepath.h"
#include "symbol/names.h"
#include "test_util.h"

namespace {

struct tok {
  std::uint32_t kind;
  std::string text;
  std::uint32_t line;
};

bool operator==(const tok &a, const tok &b) { return a.kind == b.kind && a.text == b.text && a.line == b.line; }

std::ostream &operator<<(std::ostream &os, const tok &t) {
  return os << "{" << t.kind << ", \"" << t.text << "\", " << t.line << "}";
}

class LookaheadTest : public testing::Test {
 protected:
  std::string dir;
  std::string input;
  pre_text_piece *body_start = nullptr;

  void SetUp() override {
    pre_run_state_reset();
    pre_name_clear();
    source_language = LANG_CXX;
    compiler_family = FAMILY_ANSI;
    skip_depth = 0;
    dir = qubtest::make_temp_dir("lookahead");
    ASSERT_FALSE(dir.empty());
    input = dir + "/t.i";
    g_writer.source_name = "t.cpp";
    pre_begin_instrumented_file((dir + "/out.cpp").c_str());
    pre_reset_counters();
    body_start = text_tail();
  }

  void TearDown() override {
    pre_close_source();
    pre_finish_instrumented_file("t.cpp");
    pre_name_clear();
    source_language = LANG_C;
    compiler_family = FAMILY_ANSI;
    skip_depth = 0;
    current_scope = nullptr;
    qubtest::run_command("rm -rf '" + dir + "'");
  }

  void open(const std::string &text) {
    qubtest::write_file(input, text);
    pre_reset_parse_state("t.cpp");
    ASSERT_EQ(pre_open_source(input.c_str()), STATUS_OK);
    body_start = text_tail();
  }

  tok get() {
    std::uint32_t kind = pre_get_token();
    return tok{kind, current_token, line_number};
  }

  // Every token up to the end of input, not included.
  std::vector<tok> tokens(const std::string &text) {
    open(text);
    std::vector<tok> all;
    for (int guard = 0; guard < 10000; guard++) {
      tok t = get();
      if (t.kind == TOK_EOF) break;
      all.push_back(t);
    }
    return all;
  }

  std::vector<std::string> texts(const std::string &text) {
    std::vector<std::string> all;
    for (const tok &t : tokens(text)) all.push_back(t.text);
    return all;
  }

  // What reached the text since the file was opened.
  std::string body() {
    std::string s;
    for (pre_text_piece *p = body_start->next; p; p = p->next) s += p->text;
    return s;
  }

  static pre_name_entry *class_template(const char *name, pre_name_entry *scope = nullptr) {
    pre_name_entry *e = pre_name_add(name, st_class, nullptr, scope);
    pre_name_mark_template(e, true);
    return e;
  }
};

// --- joining ----------------------------------------------------------------------------

TEST_F(LookaheadTest, QualifiedNameThroughNamespacesIsOneToken) {
  pre_name_entry *a = pre_name_add("a", st_namespace, nullptr, nullptr);
  pre_name_entry *b = pre_name_add("b", st_namespace, nullptr, a);
  pre_name_add_function("c", "t.cpp", 1, nullptr, nullptr, b, false, false);
  open("a::b::c(1);");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "a::b::c", 1}));
  EXPECT_EQ(name_entry, b);
  EXPECT_EQ(name_parent, a);
  EXPECT_STREQ(last_component, "c");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_LPAREN));
}

TEST_F(LookaheadTest, NamesThatAreKnownAreTypeNames) {
  pre_name_entry *a = pre_name_add("A", st_class, nullptr, nullptr);
  pre_name_entry *inner = pre_name_add("In", st_class, nullptr, a);
  open("A x; A::In y; z;");
  EXPECT_EQ(get(), (tok{TOK_TYPE_NAME, "A", 1}));
  EXPECT_EQ(name_entry, a);
  EXPECT_STREQ(last_component, "");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "x", 1}));
  EXPECT_EQ(name_entry, nullptr);
  get();
  EXPECT_EQ(get(), (tok{TOK_TYPE_NAME, "A::In ", 1}));  // the blank behind the last part stays
  EXPECT_EQ(name_entry, inner);
  EXPECT_EQ(name_parent, a);
  EXPECT_STREQ(last_component, "In");
}

TEST_F(LookaheadTest, UnknownQualifierStillJoins) {
  EXPECT_EQ(tokens("a::b= 1;")[0], (tok{TOK_IDENT, "a::b", 1}));
  EXPECT_EQ(name_entry, nullptr);
}

TEST_F(LookaheadTest, NamesAreFoundInTheEnclosingScopesAndThroughUsing) {
  pre_name_entry *ns = pre_name_add("ns", st_namespace, nullptr, nullptr);
  pre_name_entry *t = pre_name_add("T", st_class, nullptr, ns);
  pre_name_entry *inner = pre_name_add("inner", st_namespace, nullptr, ns);
  open("T");
  current_scope = inner;
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_TYPE_NAME));
  EXPECT_EQ(name_entry, t);
  EXPECT_EQ(tokens("T")[0].kind, static_cast<std::uint32_t>(TOK_IDENT));
  pre_name_add_using("ns", pre_name_global_scope());
  EXPECT_EQ(tokens("T")[0].kind, static_cast<std::uint32_t>(TOK_TYPE_NAME));
  EXPECT_EQ(name_entry, t);
}

TEST_F(LookaheadTest, TemplateArgumentsBecomePartOfTheName) {
  pre_name_entry *a = class_template("A");
  pre_name_add_function("f", "t.cpp", 1, nullptr, nullptr, a, false, false);
  std::vector<tok> all = tokens("A<int>::f();");
  ASSERT_GE(all.size(), 1u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "A<int>::f", 1}));
  EXPECT_EQ(name_entry, a);
}

TEST_F(LookaheadTest, UnknownNameOpensNoList) {
  EXPECT_EQ(texts("A<int>::f();"), (std::vector<std::string>{"A", "<", "int", ">", "::f", "(", ")", ";"}));
}

TEST_F(LookaheadTest, ShiftRightClosesTwoListsOrIsSplit) {
  class_template("vector");
  EXPECT_EQ(texts("vector<vector<int>>x;"), (std::vector<std::string>{"vector<vector<int>>", "x", ";"}));
  class_template("A");
  pre_name_add("B", st_class, nullptr, nullptr);
  std::vector<tok> all = tokens("A<B>>1;");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[0], (tok{TOK_TYPE_NAME, "A<B>", 1}));
  EXPECT_EQ(all[1], (tok{TOK_GREATER, ">", 1}));
  EXPECT_EQ(all[2].text, "1");
}

TEST_F(LookaheadTest, ComparisonsInBracketsDoNotClose) {
  class_template("A");
  EXPECT_EQ(texts("A<(1>2)> a;"), (std::vector<std::string>{"A<(1>2)> ", "a", ";"}));
  EXPECT_EQ(texts("A<x?1:2> a;"), (std::vector<std::string>{"A<x?1:2> ", "a", ";"}));
  EXPECT_EQ(texts("A<v[1>2]> a;"), (std::vector<std::string>{"A<v[1>2]> ", "a", ";"}));
}

TEST_F(LookaheadTest, ListSpacingFollowsTheSource) {
  class_template("A");
  class_template("B");
  EXPECT_EQ(texts("A<B<int> >a;")[0], "A<B<int>  >");
  EXPECT_EQ(texts("A<B<int>>a;")[0], "A<B<int>>");
  EXPECT_EQ(texts("A<B<int>> a;")[0], "A<B<int>> ");
  // Two words: the blank between names and the one of the source.
  EXPECT_EQ(texts("A<unsigned int, ::B<int>>a;")[0], "A<unsigned  int, ::B<int>>");
  EXPECT_EQ(texts("A<const char*>a;")[0], "A<const  char*>");
}

TEST_F(LookaheadTest, LessOpensANestedListOnlyBehindATemplateName) {
  class_template("A");
  // `x < 2` is a comparison: the first `>` closes the list.
  EXPECT_EQ(texts("A<x<2>y;"), (std::vector<std::string>{"A<x<2>", "y", ";"}));
  // Behind `template` a `<` opens a list.
  EXPECT_EQ(texts("A<template<class> class>y;")[0], "A<template<class> class>");
}

TEST_F(LookaheadTest, UnfinishedListStopsAtABraceOrSemicolon) {
  class_template("A");
  EXPECT_EQ(texts("A<b; c"), (std::vector<std::string>{"A<b", ";", "c"}));
  EXPECT_EQ(texts("if (A<b) {}"), (std::vector<std::string>{"if", "(", "A<b", ")", "{", "}"}));
}

TEST_F(LookaheadTest, FunctionTemplateArgumentsAreAbsorbed) {
  pre_name_add_function("make", "t.cpp", 1, nullptr, nullptr, nullptr, false, true);
  pre_name_add_function("plain", "t.cpp", 1, nullptr, nullptr, nullptr, false, false);
  EXPECT_EQ(texts("make<int>(1); plain<1;")[0], "make<int>");
  EXPECT_EQ(texts("plain<1;")[0], "plain");
}

TEST_F(LookaheadTest, StaticCastCountsAsATemplateName) {
  class_template("A");
  EXPECT_EQ(texts("A<sizeof(static_cast<int>(1))>a;")[0], "A<sizeof(static_cast<int>(1))>");
  EXPECT_EQ(texts("A<static_cast<int>(1)>a;")[0], "A<static_cast<int>(1)>");
}

TEST_F(LookaheadTest, DestructorOperatorAndMemberPointer) {
  pre_name_entry *x = pre_name_add("X", st_class, nullptr, nullptr);
  std::vector<tok> all = tokens("X::~X() {}");
  ASSERT_GE(all.size(), 2u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "X::~X", 1}));
  EXPECT_EQ(all[1].kind, static_cast<std::uint32_t>(TOK_LPAREN));
  EXPECT_EQ(name_entry, x);

  all = tokens("bool X::operator==(X);");
  ASSERT_GE(all.size(), 3u);
  EXPECT_EQ(all[1], (tok{KW_OPERATOR, "X::operator", 1}));
  EXPECT_EQ(all[2].text, "==");

  all = tokens("int X::*p;");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[1], (tok{TOK_STAR, "X::*", 1}));
  EXPECT_EQ(all[2].text, "p");
}

TEST_F(LookaheadTest, LeadingScopeNamesTheGlobalLevel) {
  std::vector<tok> all = tokens("::f(); ::new int; ::operator delete(p); ::*x;");
  ASSERT_GE(all.size(), 8u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "::f", 1}));
  EXPECT_EQ(all[4], (tok{KW_NEW, "::new ", 1}));  // with the blank that followed
  EXPECT_EQ(all[7], (tok{KW_OPERATOR, "::operator ", 1}));
  EXPECT_EQ(all[all.size() - 4].kind, static_cast<std::uint32_t>(TOK_SCOPE));

  pre_name_entry *ns = pre_name_add("ns", st_namespace, nullptr, nullptr);
  pre_name_entry *c = pre_name_add("C", st_class, nullptr, nullptr);
  pre_name_add("C", st_class, nullptr, ns);
  open("::C*x;");
  current_scope = ns;
  EXPECT_EQ(get(), (tok{TOK_TYPE_NAME, "::C", 1}));
  EXPECT_EQ(name_entry, c);
}

TEST_F(LookaheadTest, TemplateKeywordJoinsAfterDotArrowAndScope) {
  open("a.template f<int>();");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "a.template ", 1}));
  EXPECT_STREQ(last_component, "template");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "f", 1}));
  EXPECT_STREQ(last_component, "");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_LESS));
  EXPECT_EQ(texts("p->template g<1>();")[0], "p->template ");
  EXPECT_EQ(texts("T::template h<1>();")[0], "T::template ");
  // A plain member access is not joined.
  EXPECT_EQ(texts("a.b;"), (std::vector<std::string>{"a", ".", "b", ";"}));
}

TEST_F(LookaheadTest, CJoinsNothingAndLooksNothingUp) {
  source_language = LANG_C;
  pre_name_add("a", st_class, nullptr, nullptr);
  std::vector<tok> all = tokens("a::b x.template");
  ASSERT_EQ(all.size(), 6u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "a", 1}));
  EXPECT_EQ(all[1], (tok{TOK_SCOPE, "::", 1}));
  EXPECT_EQ(all[2], (tok{TOK_IDENT, "b", 1}));
  EXPECT_EQ(name_entry, nullptr);
  EXPECT_EQ(all[5], (tok{TOK_IDENT, "template", 1}));
}

TEST_F(LookaheadTest, KeywordsComeWithTheirKinds) {
  std::vector<tok> all = tokens("int template class");
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].kind, static_cast<std::uint32_t>(KW_INT));
  EXPECT_EQ(all[1].kind, static_cast<std::uint32_t>(KW_TEMPLATE));
  EXPECT_EQ(all[2].kind, static_cast<std::uint32_t>(KW_CLASS));
}

TEST_F(LookaheadTest, JoinedNameKeepsItsLineAndTheCountGoesOn) {
  std::vector<tok> all = tokens("a ::\n b\n c\n");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "a::b", 1}));
  EXPECT_EQ(all[1], (tok{TOK_IDENT, "c", 3}));
  pre_name_add("X", st_class, nullptr, nullptr);
  all = tokens("X::\n~\nX\nd");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0], (tok{TOK_IDENT, "X::~X", 1}));
  EXPECT_EQ(all[1], (tok{TOK_IDENT, "d", 4}));
}

TEST_F(LookaheadTest, LineDirectiveBetweenNameAndScopeEndsTheName) {
  pre_name_entry *b = pre_name_add("b", st_class, nullptr, nullptr);
  open("A\n# 7 \"h.h\"\n::b x;\n");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "A", 1}));
  EXPECT_EQ(get(), (tok{TOK_TYPE_NAME, "::b ", 7}));
  EXPECT_EQ(name_entry, b);
  EXPECT_STREQ(current_file_name, "h.h");
  EXPECT_EQ(body(), "\n# 7 \"h.h\"\n");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "x", 7}));
}

TEST_F(LookaheadTest, TokenOverflowIsMessage33) {
  open("x");
  EXPECT_EXIT(
      {
        std::string big(MAX_TOKEN - 1, 'a');
        std::strcpy(current_token, big.c_str());
        pre_append_to_token("b");
        std::fputs("still fine\n", stderr);
        pre_append_to_token("c");
      },
      testing::ExitedWithCode(1),
      "still fine\nQUB\\+\\+ error 33: Capacity restriction, something too big for QUB\\+\\+ \\(file .*t.i:1\\)");
}

// --- peeking ----------------------------------------------------------------------------

TEST_F(LookaheadTest, PeekingReadsAheadAtAnyDepthWithoutMovingTheLine) {
  open("a\nb\nc\nd\n");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "a", 1}));
  EXPECT_EQ(pre_peek_kind(), static_cast<std::uint32_t>(TOK_IDENT));
  EXPECT_STREQ(current_token, "b");
  EXPECT_EQ(line_number, 1u);
  EXPECT_EQ(pre_peek_kind(), static_cast<std::uint32_t>(TOK_IDENT));  // the same one
  EXPECT_EQ(pre_peek_further(), static_cast<std::uint32_t>(TOK_IDENT));
  EXPECT_STREQ(current_token, "c");
  EXPECT_EQ(pre_peek_further(), static_cast<std::uint32_t>(TOK_IDENT));
  EXPECT_STREQ(current_token, "d");
  EXPECT_EQ(pre_peek_further(), static_cast<std::uint32_t>(TOK_EOF));
  EXPECT_EQ(line_number, 1u);
  EXPECT_EQ(pre_text_list_count(g_lookahead.queue), 4u);
  EXPECT_EQ(get(), (tok{TOK_IDENT, "b", 2}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "c", 3}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "d", 4}));
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_EOF));
}

TEST_F(LookaheadTest, PeekedNamesAreJoinedAndLinesCountOnBehindTheQueue) {
  class_template("A");
  open("x A<int>::f\n(\n)\ny");
  get();
  EXPECT_EQ(pre_peek_kind(), static_cast<std::uint32_t>(TOK_IDENT));
  EXPECT_STREQ(current_token, "A<int>::f");
  EXPECT_EQ(pre_peek_further(), static_cast<std::uint32_t>(TOK_LPAREN));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "A<int>::f", 1}));
  EXPECT_EQ(get(), (tok{TOK_LPAREN, "(", 2}));
  EXPECT_EQ(get(), (tok{TOK_RPAREN, ")", 3}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "y", 4}));
}

// --- directives and the copy loop -------------------------------------------------------

TEST_F(LookaheadTest, DirectivesGoToTheTextAndTheReaderSeesNone) {
  std::vector<tok> all = tokens("a;\n#pragma once\nb;\n#line 20 \"c.h\"\nc;\n");
  ASSERT_EQ(all.size(), 6u);
  EXPECT_EQ(all[2], (tok{TOK_IDENT, "b", 3}));
  EXPECT_EQ(all[4], (tok{TOK_IDENT, "c", 20}));
  EXPECT_STREQ(current_file_name, "c.h");
  EXPECT_EQ(body(), "\n#pragma once\n\n#line 20 \"c.h\"\n\n");
  EXPECT_FALSE(omp_for_pending);
}

TEST_F(LookaheadTest, OpenMpLoopDirectiveIsNoted) {
  tokens("#pragma omp parallel for\nfor(;;);\n");
  EXPECT_TRUE(omp_for_pending);
  tokens("#pragma omp parallel\n");
  EXPECT_FALSE(omp_for_pending);  // a new file clears it, and this is no loop
}

TEST_F(LookaheadTest, LineDirectiveSettlesWhetherTheTextIsInstrumented) {
  conf_reset();
  ASSERT_EQ(conf_apply_line("EXCLUDE = *excluded.h"), STATUS_OK);
  tokens("# 1 \"/x/excluded.h\"\nint a;\n");
  EXPECT_FALSE(g_path.file_instrumented);
  tokens("# 1 \"/x/excluded.h\"\nint a;\n# 3 \"/x/main.cpp\"\nint b;\n");
  EXPECT_TRUE(g_path.file_instrumented);
  conf_reset();
}

TEST_F(LookaheadTest, CopyTokenWritesTokensAndHandsPragmasOn) {
  open("int a;\n#pragma QUB skip\nint b;\n");
  testing::internal::CaptureStderr();
  while (pre_copy_token() != TOK_EOF) {
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(body(), "int a ; \n\nint b ; \n");
  EXPECT_TRUE(pre_skip_active());
}

TEST_F(LookaheadTest, UnterminatedLiteralEndsTheRunInTheCopy) {
  open("int a;\nchar *s = \"open\n");
  EXPECT_EXIT(
      {
        while (pre_copy_token() != TOK_EOF) {
        }
      },
      testing::ExitedWithCode(1), "^QUB\\+\\+ error 26: Syntax error in file .*/t\\.i at line 3 \n$");
}

TEST_F(LookaheadTest, AnalysisLoopKeepsLinesAndActsOnPragmas) {
  std::string text = "int a;\n#pragma QUB COUNT\n#pragma QUB skip\nint b;\n";
  qubtest::write_file(input, text);
  testing::internal::CaptureStderr();
  EXPECT_EQ(pre_analyse_file(input.c_str(), "t.cpp"), STATUS_OK);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("QUB++ warning 3: Bad or misplaced QUB++ pragma \"#pragma QUB COUNT\""), std::string::npos)
      << err;
  EXPECT_TRUE(pre_skip_active());
  std::string out = body();
  std::size_t feeds = 0;
  for (char c : out) feeds += c == '\n';
  EXPECT_EQ(feeds, 5u) << out;  // four lines and the line feed at the end
  EXPECT_EQ(pre_analyse_file((dir + "/missing.i").c_str(), "t.cpp"), 22);
  EXPECT_FALSE(pre_skip_active());
  pre_format_message(22);
}

// --- skipping ---------------------------------------------------------------------------

TEST_F(LookaheadTest, SkipBalancedCopiesToTheClosingToken) {
  open("a, (b, (c)), d) e");
  pre_skip_balanced(TOK_LPAREN, TOK_RPAREN);
  EXPECT_EQ(body(), "a , ( b , ( c ) ) , d ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_RPAREN));
}

TEST_F(LookaheadTest, SkipBalancedOverAngleBrackets) {
  open("B<int>> rest");
  pre_skip_balanced(TOK_LESS, TOK_GREATER);
  EXPECT_EQ(body(), "B < int ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_SHR));

  open("int N = (1 > 2), T = X[a > b]> rest");
  pre_skip_balanced(TOK_LESS, TOK_GREATER);
  EXPECT_EQ(body(), "int N = ( 1 > 2 ) , T = X [ a > b ] ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_GREATER));

  open("a >> b> rest");  // depth 1: `>>` is an ordinary token
  pre_skip_balanced(TOK_LESS, TOK_GREATER);
  EXPECT_EQ(body(), "a >> b ");
}

TEST_F(LookaheadTest, SkipBalancedStopsAtTheEnd) {
  open("a ( b");
  pre_skip_balanced(TOK_LPAREN, TOK_RPAREN);
  EXPECT_EQ(body(), "a ( b ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_EOF));
}

TEST_F(LookaheadTest, PragmaInASkippedStretchIsWrittenNotActedOn) {
  open("f(a,\n#pragma QUB count\nb) x");
  g_writer.in_function_body = true;
  get();
  get();
  emit_token("(", TOK_LPAREN);
  testing::internal::CaptureStderr();
  pre_skip_balanced(TOK_LPAREN, TOK_RPAREN);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  g_writer.in_function_body = false;
  EXPECT_EQ(body(), "( a , \n#pragma QUB count \nb ");
  EXPECT_EQ(pre_jump_count(), 0u);
}

TEST_F(LookaheadTest, FallthroughAttributeIsDisabled) {
  open("[fallthrough]] x");
  pre_skip_balanced(TOK_LBRACKET, TOK_RBRACKET);
  EXPECT_EQ(body(), "[ fallthrough_disabled_by_qub ] ");
  open("[clang::fallthrough]] x");
  pre_skip_balanced(TOK_LBRACKET, TOK_RBRACKET);
  EXPECT_EQ(body(), "[ clang::fallthrough_disabled_by_qub ] ");
  open("fallthrough] x");  // depth 1: an ordinary name
  pre_skip_balanced(TOK_LBRACKET, TOK_RBRACKET);
  EXPECT_EQ(body(), "fallthrough ");
}

TEST_F(LookaheadTest, SkipGroupOnlyWhenTheOpeningComesNext) {
  open("(a(b)c) d");
  pre_skip_group(TOK_LPAREN, TOK_RPAREN);
  EXPECT_EQ(body(), "( a ( b ) c ) ");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "d", 1}));
  open("d (a)");
  pre_skip_group(TOK_LPAREN, TOK_RPAREN);
  EXPECT_EQ(body(), "");
  EXPECT_EQ(get(), (tok{TOK_IDENT, "d", 1}));
}

TEST_F(LookaheadTest, SkipAttributeFindsNaked) {
  open("((noinline, naked)) void");
  EXPECT_TRUE(pre_skip_attribute(TOK_LPAREN, TOK_RPAREN));
  EXPECT_EQ(body(), "( ( noinline , naked ) ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_RPAREN));

  // Words behind a nested parenthesis are not compared.
  open("((aligned(4), naked)) void");
  EXPECT_FALSE(pre_skip_attribute(TOK_LPAREN, TOK_RPAREN));
  EXPECT_EQ(body(), "( ( aligned ( 4 ) , naked ) ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_RPAREN));

  open("(naked) void");
  EXPECT_FALSE(pre_skip_attribute(TOK_LPAREN, TOK_RPAREN));
  EXPECT_EQ(body(), "( naked ) ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(KW_VOID));

  open("void");
  EXPECT_FALSE(pre_skip_attribute(TOK_LPAREN, TOK_RPAREN));
  EXPECT_EQ(body(), "");
}

TEST_F(LookaheadTest, SkipUntilStopsAtTheStopTokens) {
  open("a = f(x; y); b; c {");
  pre_skip_until(TOK_SEMI);
  EXPECT_EQ(body(), "a = f ( x ");
  open("a = f(x; y); b;");
  pre_skip_until(TOK_SEMI, 0, SKIP_PARENS);
  EXPECT_EQ(body(), "a = f ( x ; y ) ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_SEMI));
  open("int x { 1 };");
  pre_skip_until(TOK_SEMI, TOK_LBRACE);
  EXPECT_EQ(body(), "int x ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_LBRACE));
}

TEST_F(LookaheadTest, SkipUntilEndsAtAClosingBracketOfAGroupedType) {
  open("a, b) c;");
  pre_skip_until(TOK_SEMI, 0, SKIP_PARENS);
  EXPECT_EQ(body(), "a , b ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_RPAREN));
  open("a { b; [c;] } d; e");
  pre_skip_until(TOK_SEMI, 0, SKIP_BRACES | SKIP_BRACKETS);
  EXPECT_EQ(body(), "a { b ; [ c ; ] } d ");
}

TEST_F(LookaheadTest, SkipUntilPassesTemplateHeadersWhole) {
  open("template<class T, class U = X<T>> f, g;");
  pre_skip_until(TOK_COMMA);
  EXPECT_EQ(body(), "template < class T , class U = X < T >> f ");
  EXPECT_EQ(get().kind, static_cast<std::uint32_t>(TOK_COMMA));
}

TEST_F(LookaheadTest, SkipUntilWritesAPragmaOnItsOwnLine) {
  open("a\n#pragma QUB skip\nb;");
  pre_skip_until(TOK_SEMI);
  // The name read ahead is written behind the line feed that followed it, so the
  // pragma gets a line of its own and the count is repaired.
  EXPECT_EQ(body(), "\na \n#line 2\n#pragma QUB skip \nb ");
  EXPECT_FALSE(pre_skip_active());
}

TEST_F(LookaheadTest, AsmWithParenthesesIsAGroup) {
  open("asm(\"nop\" : : ); x; }");
  pre_skip_balanced(TOK_LBRACE, TOK_RBRACE);
  EXPECT_EQ(body(), "asm ( \"nop\" : : ) ; x ; ");
}

TEST_F(LookaheadTest, AsmTextOfOneLineIsCopiedRaw) {
  compiler_family = FAMILY_MICROSOFT;
  open("__asm mov eax, [ebx]\nx = 1; } y");
  statement_count = 0;
  pre_skip_balanced(TOK_LBRACE, TOK_RBRACE);
  EXPECT_EQ(body(), "__asm  mov eax, [ebx]\nx = 1 ; ");
  EXPECT_EQ(statement_count, 2u);  // the assembler line and `x = 1;`
  EXPECT_EQ(get(), (tok{TOK_RBRACE, "}", 2}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "y", 2}));
}

TEST_F(LookaheadTest, AsmBlockRunsToTheBraceItDidNotOpen) {
  compiler_family = FAMILY_MICROSOFT;
  open("{ __asm { mov eax, 1 }\nx = 1;\n}\ny");
  get();
  pre_skip_balanced(TOK_LBRACE, TOK_RBRACE);
  EXPECT_EQ(body(), "__asm  { mov eax, 1 }\nx = 1;\n");
  std::uint32_t asm_pieces = 0;
  for (pre_text_piece *p = body_start->next; p; p = p->next) asm_pieces += p->kind == KW_ASM;
  EXPECT_EQ(asm_pieces, 3u);  // the keyword and two raw lines
  EXPECT_EQ(get(), (tok{TOK_RBRACE, "}", 3}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "y", 4}));
}

TEST_F(LookaheadTest, AsmCommentsHideBracketsAndQuotes) {
  compiler_family = FAMILY_MICROSOFT;
  g_lookahead.asm_comment_chars_loaded = true;
  std::strcpy(g_lookahead.asm_comment_chars, ";");
  open("__asm {\n mov al, '}' ; don't } stop\n}\n}\nz");
  pre_skip_balanced(TOK_LBRACE, TOK_RBRACE);
  g_lookahead.asm_comment_chars_loaded = false;
  EXPECT_EQ(body(), "__asm  {\n mov al, '}' ; don't } stop\n}\n");
  EXPECT_EQ(get(), (tok{TOK_RBRACE, "}", 4}));
  EXPECT_EQ(get(), (tok{TOK_IDENT, "z", 5}));
}

TEST_F(LookaheadTest, AsmInTheAnsiFamilyIsAnOrdinaryToken) {
  open("asm volatile; }");
  pre_skip_balanced(TOK_LBRACE, TOK_RBRACE);
  EXPECT_EQ(body(), "asm volatile ; ");
}

}  // namespace

// --- line directives in the description ----------------------------------------------------

#include "symbol_test_support.h"

namespace {

class LookaheadRecordTest : public symtest::SymbolTest {
 protected:
  void SetUp() override {
    SymbolTest::SetUp();
    source_language = LANG_CXX;
    g_writer.source_name = "a.c";
    pre_begin_instrumented_file((dir + "/out.c").c_str());
  }
  void TearDown() override {
    pre_close_source();
    pre_finish_instrumented_file("a.c");
    source_language = LANG_C;
    SymbolTest::TearDown();
  }

  // Reads tokens up to and including the one with this text.
  void read_to(const char *text) {
    for (std::uint32_t kind = pre_get_token(); kind != TOK_EOF; kind = pre_get_token())
      if (std::strcmp(current_token, text) == 0) return;
    ADD_FAILURE() << text << " not found";
  }
};

TEST_F(LookaheadRecordTest, LineDirectivesReachTheDescription) {
  symtest::write_file(dir + "/a.i", "# 1 \"a.c\"\nint a;\n# 1 \"h.h\"\nint g;\n# 3 \"a.c\"\nint f;\n");
  pre_symbol_begin_file("a.c");
  pre_reset_parse_state("a.c");
  ASSERT_EQ(pre_open_source((dir + "/a.i").c_str()), STATUS_OK);
  read_to("g");
  pre_symbol_record(0, 0, 0, line_number, 0, "g");
  read_to("f");
  pre_symbol_record(1, 0, 0, line_number, 0, "f");
  pre_symbol_commit("a.c", 3);
  std::vector<std::string> lines = symtest::lines_to_end_mark(symtest::read_file(sym_path()));
  std::vector<std::string> records(lines.begin() + 4, lines.end() - 2);
  std::vector<std::string> expected = {
      "50 2 0 0 0 #line 1 \"" + dir + "/h.h\"", "0 1 0 0 0 g",
      "50 2 0 0 0 #line 3 \"" + dir + "/a.c\"", "0 3 0 1 0 f",
  };
  EXPECT_EQ(records, expected);
}

}  // namespace
