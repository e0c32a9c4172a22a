// QUB pragmas: classification, what each keyword leaves in the text, the misplaced and
// malformed forms with their warnings, the string statements, and the skip depth.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>

#include "base/base.h"
#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/lookahead.h"
#include "preparse/token.h"
#include "test_util.h"

namespace {

class PragmaTest : public testing::Test {
 protected:
  std::string dir;
  pre_text_piece *body_start = nullptr;

  void SetUp() override {
    pre_run_state_reset();
    dir = qubtest::make_temp_dir("pragma");
    ASSERT_FALSE(dir.empty());
    g_writer.source_name = "src.c";
    pre_begin_instrumented_file((dir + "/out.c").c_str());
    pre_reset_counters();
    body_start = text_tail();
    std::strcpy(current_file_name, "src.c");
    line_number = 11;  // the scanner stands behind a pragma on line 10
    statement_count = 0;
    skip_depth = 0;
    g_pragma.body_pragma_count = 0;
    g_writer.in_function_body = false;
  }

  void TearDown() override {
    g_writer.in_function_body = false;
    skip_depth = 0;
    pre_finish_instrumented_file("src.c");
    qubtest::run_command("rm -rf '" + dir + "'");
  }

  // What reached the text since the set-up.
  std::string body() {
    std::string s;
    for (pre_text_piece *p = body_start->next; p; p = p->next) s += p->text;
    return s;
  }

  // The body and the error output of one pragma line.
  struct handled {
    std::string text;
    std::string messages;
  };
  handled handle(const std::string &line) {
    body_start = text_tail();
    testing::internal::CaptureStderr();
    pre_handle_pragma(line.c_str());
    std::string err = testing::internal::GetCapturedStderr();
    return handled{body(), err};
  }

  static std::string bad_pragma(const std::string &line) {
    return "QUB++ warning 3: Bad or misplaced QUB++ pragma \"" + line + "\" in file src.c at line 10\n";
  }
};

std::size_t line_feeds(const std::string &s) {
  std::size_t n = 0;
  for (char c : s) n += c == '\n';
  return n;
}

// --- classification ---------------------------------------------------------------------

TEST_F(PragmaTest, KeywordsAreFoundInAnyCaseBehindACapitalQub) {
  const char *words[] = {"skip", "ENDSKIP", "Count", "append", "INIT", "quit", "TestCase", "annotation"};
  for (std::uint32_t i = 0; i < 8; i++) {
    std::string line = std::string("#pragma QUB ") + words[i];
    std::uint32_t index = 99;
    char argument[MAX_TOKEN + 1] = "junk";
    EXPECT_EQ(pre_classify_pragma(line.c_str(), &index, argument), STATUS_OK) << line;
    EXPECT_EQ(index, i) << line;
    EXPECT_STREQ(argument, "") << line;
  }
  std::uint32_t index;
  char argument[MAX_TOKEN + 1];
  EXPECT_EQ(pre_classify_pragma("#  pragma \t QUB \t skip", &index, argument), STATUS_OK);
  EXPECT_EQ(index, PRAGMA_SKIP);
}

TEST_F(PragmaTest, ArgumentIsTheUnchangedRestBehindOneSeparator) {
  std::uint32_t index;
  char argument[MAX_TOKEN + 1];
  EXPECT_EQ(pre_classify_pragma("#pragma QUB count my  text ", &index, argument), STATUS_OK);
  EXPECT_EQ(index, PRAGMA_COUNT);
  EXPECT_STREQ(argument, "my  text ");
  EXPECT_EQ(pre_classify_pragma("#pragma QUB testcase\t\tx", &index, argument), STATUS_OK);
  EXPECT_EQ(index, PRAGMA_TESTCASE);
  EXPECT_STREQ(argument, "\tx");
  EXPECT_EQ(pre_classify_pragma("#pragma QUB annotation", &index, argument), STATUS_OK);
  EXPECT_EQ(index, PRAGMA_ANNOTATION);
  EXPECT_STREQ(argument, "");
}

TEST_F(PragmaTest, MalformedLinesGiveThreeWithTheMessagePrepared) {
  std::uint32_t index;
  char argument[MAX_TOKEN + 1];
  const char *bad[] = {"#pragma QUB skip now", "#pragma QUB endskip x", "#pragma QUB init 1",
                       "#pragma QUB frobnicate", "#pragma QUB", "#pragma QUBskip"};
  for (const char *line : bad) {
    EXPECT_EQ(pre_classify_pragma(line, &index, argument), 3) << line;
    EXPECT_EQ(std::string(pre_format_message(3)), bad_pragma(line));
  }
  EXPECT_EQ(pre_classify_pragma("#pragma QUB frobnicate", &index, argument), 3);
  EXPECT_EQ(index, PRAGMA_NONE);
  EXPECT_EQ(pre_classify_pragma("#pragma QUB skip now", &index, argument), 3);
  EXPECT_EQ(index, PRAGMA_SKIP);
  pre_format_message(3);
}

// --- acting on pragmas ------------------------------------------------------------------

TEST_F(PragmaTest, SkipAndEndskipNestAndKeepTheLineCount) {
  handled h = handle("#pragma QUB SKIP\n");
  EXPECT_EQ(h.text, "\n");
  EXPECT_EQ(h.messages, "");
  EXPECT_TRUE(pre_skip_active());
  EXPECT_EQ(handle("#pragma QUB skip\n").text, "\n");
  EXPECT_EQ(handle("#pragma QUB ENDSKIP\n").text, "\n");
  EXPECT_EQ(static_cast<std::int32_t>(skip_depth), 1);
  EXPECT_TRUE(pre_skip_active());
  EXPECT_EQ(handle("#pragma QUB endskip\n").text, "\n");
  EXPECT_FALSE(pre_skip_active());
}

TEST_F(PragmaTest, EndskipWithoutSkipWarnsAndLeavesTheDepthAlone) {
  handled h = handle("#pragma QUB endskip\n");
  EXPECT_EQ(h.text, "\n");
  EXPECT_EQ(h.messages, "QUB++ warning 19: Mismatched \"QUB ENDSKIP\" in file src.c at line 10\n");
  EXPECT_EQ(skip_depth, 0u);
}

TEST_F(PragmaTest, SkipPragmasInAFunctionBodyWarnOnce) {
  g_writer.in_function_body = true;
  handled first = handle("#pragma QUB skip\n");
  EXPECT_EQ(first.messages, "QUB++ warning 25: Pragma \"QUB SKIP\" encountered in function body (file src.c:10)\n");
  EXPECT_EQ(handle("#pragma QUB skip\n").messages, "");
  EXPECT_EQ(handle("#pragma QUB endskip\n").messages, "");
  EXPECT_EQ(handle("#pragma QUB endskip\n").messages, "");
  EXPECT_EQ(g_pragma.body_pragma_count, 4u);
  // A new body (the function start clears the count) that opens with an endskip.
  g_pragma.body_pragma_count = 0;
  handle("#pragma QUB skip\n");
  g_pragma.body_pragma_count = 0;
  EXPECT_EQ(handle("#pragma QUB endskip\n").messages,
            "QUB++ warning 25: Pragma \"QUB ENDSKIP\" encountered in function body (file src.c:10)\n");
}

TEST_F(PragmaTest, SkipOutsideAFunctionIsNoBodyPragma) {
  handle("#pragma QUB skip\n");
  EXPECT_EQ(g_pragma.body_pragma_count, 0u);
}

TEST_F(PragmaTest, CountInAFunctionTakesAJumpNumber) {
  g_writer.in_function_body = true;
  pre_next_jump_counter();  // J 0 is taken already
  handled h = handle("#pragma QUB count my text\n");
  EXPECT_EQ(h.text, "QUB_PRAGMA_COUNT(1)\n");
  EXPECT_EQ(h.messages, "");
  EXPECT_EQ(text_tail()->kind, static_cast<std::uint32_t>(TOK_SEMI));
  EXPECT_EQ(pre_jump_count(), 2u);
  // The macro leaves the column standing, so a directive behind it repairs the count.
  EXPECT_NE(g_writer.line_position, 0u);
  body_start = text_tail();
  emit_directive("#pragma weak x\n", false);
  EXPECT_EQ(body(), "\n#line 10\n#pragma weak x\n");
}

TEST_F(PragmaTest, CountWithoutDecisionOrInASkipIsOnlyALineFeed) {
  g_writer.in_function_body = true;
  g_run.instrument_decision = false;
  EXPECT_EQ(handle("#pragma QUB count x\n").text, "\n");
  g_run.instrument_decision = true;
  pre_skip_enter();
  EXPECT_EQ(handle("#pragma QUB count x\n").text, "\n");
  EXPECT_EQ(pre_jump_count(), 0u);
}

TEST_F(PragmaTest, MisplacedOutsideAFunction) {
  const char *lines[] = {"#pragma QUB COUNT", "#pragma QUB append", "#pragma QUB init", "#pragma QUB quit",
                         "#pragma QUB testcase abc", "#pragma QUB annotation note"};
  for (const char *line : lines) {
    handled h = handle(std::string("  ") + line + " \t\n");
    EXPECT_EQ(h.text, "\n") << line;
    EXPECT_EQ(h.messages, bad_pragma(line));
  }
  EXPECT_EQ(pre_jump_count(), 0u);
  EXPECT_FALSE(g_writer.module_needed);
}

TEST_F(PragmaTest, MalformedPragmasWarnAndDoNothing) {
  handled h = handle("#pragma QUB skip now\n");
  EXPECT_EQ(h.text, "\n");
  EXPECT_EQ(h.messages, bad_pragma("#pragma QUB skip now"));
  EXPECT_FALSE(pre_skip_active());
  g_writer.in_function_body = true;
  h = handle("#pragma QUB nothing here\n");
  EXPECT_EQ(h.text, "\n");
  EXPECT_EQ(h.messages, bad_pragma("#pragma QUB nothing here"));
}

TEST_F(PragmaTest, AppendInitQuitAreMacrosInAnyModeAndSkipState) {
  g_writer.in_function_body = true;
  g_run.instrument_decision = false;
  g_run.instrument_function = false;
  pre_skip_enter();
  EXPECT_EQ(handle("#pragma QUB append\n").text, "QUB_PRAGMA_APPEND\n");
  EXPECT_EQ(text_tail()->kind, static_cast<std::uint32_t>(TOK_SEMI));
  EXPECT_TRUE(g_writer.module_needed);
  EXPECT_EQ(handle("#pragma QUB Init\n").text, "QUB_PRAGMA_INIT\n");
  EXPECT_EQ(handle("#pragma QUB QUIT\n").text, "QUB_PRAGMA_QUIT\n");
}

TEST_F(PragmaTest, TestcaseQuotesItsArgumentAsItStands) {
  g_writer.in_function_body = true;
  EXPECT_EQ(handle("#pragma QUB testcase abc\n").text, "QUB_PRAGMA_TESTCASE(\"abc\")\n");
  EXPECT_TRUE(g_writer.module_needed);
  EXPECT_EQ(handle("#pragma QUB testcase\n").text, "QUB_PRAGMA_TESTCASE(\"\")\n");
  EXPECT_EQ(handle("#pragma QUB testcase a \\n b\n").text, "QUB_PRAGMA_TESTCASE(\"a \\n b\")\n");
}

TEST_F(PragmaTest, AnnotationLeavesOnlyALineFeed) {
  g_writer.in_function_body = true;
  handled h = handle("#pragma QUB annotation reviewed by x\n");
  EXPECT_EQ(h.text, "\n");
  EXPECT_EQ(h.messages, "");
  EXPECT_EQ(pre_jump_count(), 0u);
}

TEST_F(PragmaTest, EveryPathWritesExactlyOneLineFeed) {
  const char *lines[] = {"#pragma QUB skip",  "#pragma QUB endskip",       "#pragma QUB endskip",
                         "#pragma QUB count", "#pragma QUB count n",       "#pragma QUB append",
                         "#pragma QUB init",  "#pragma QUB quit",          "#pragma QUB testcase t",
                         "#pragma QUB annotation a", "#pragma QUB bogus", "#pragma QUB skip x"};
  for (bool in_function : {false, true}) {
    g_writer.in_function_body = in_function;
    for (const char *line : lines) {
      handled h = handle(std::string(line) + "\n");
      EXPECT_EQ(line_feeds(h.text), 1u) << line;
      EXPECT_EQ(h.text.back(), '\n') << line;
    }
  }
}

// --- string statements ------------------------------------------------------------------

TEST_F(PragmaTest, SkipStringStatementOpensARegionAndTakesBackItsSemicolon) {
  statement_count = 5;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(pre_skip_string_statement("\"QUB SKIP\"", true, TOK_SEMI));
  EXPECT_EQ(statement_count, 4u);
  EXPECT_TRUE(pre_skip_active());
  EXPECT_TRUE(pre_skip_string_statement("\"QUB SKIP\"", true, TOK_SEMI));
  EXPECT_EQ(statement_count, 4u);  // already inside: the `;` was not counted
  EXPECT_TRUE(pre_skip_string_statement("\"QUB ENDSKIP\"", true, TOK_SEMI));
  EXPECT_TRUE(pre_skip_string_statement("\"QUB ENDSKIP\"", true, TOK_SEMI));
  EXPECT_FALSE(pre_skip_active());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(g_pragma.body_pragma_count, 0u);
}

TEST_F(PragmaTest, MisplacedOrUnmatchedStringStatementsWarn) {
  testing::internal::CaptureStderr();
  EXPECT_TRUE(pre_skip_string_statement("\"QUB SKIP\"", false, TOK_SEMI));
  EXPECT_TRUE(pre_skip_string_statement("\"QUB ENDSKIP\"", true, TOK_COMMA));
  EXPECT_TRUE(pre_skip_string_statement("\"QUB ENDSKIP\"", true, TOK_SEMI));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "QUB++ warning 11: Misplaced string \"QUB SKIP\" in file src.c at line 11\n"
            "QUB++ warning 11: Misplaced string \"QUB ENDSKIP\" in file src.c at line 11\n"
            "QUB++ warning 19: Mismatched \"QUB ENDSKIP\" in file src.c at line 11\n");
  EXPECT_FALSE(pre_skip_active());
}

TEST_F(PragmaTest, OtherStringsAreOrdinaryTokens) {
  EXPECT_FALSE(pre_skip_string_statement("\"QUB skip\"", true, TOK_SEMI));
  EXPECT_FALSE(pre_skip_string_statement("QUB SKIP", true, TOK_SEMI));
  EXPECT_FALSE(pre_skip_string_statement("L\"QUB SKIP\"", true, TOK_SEMI));
  EXPECT_FALSE(pre_skip_active());
}

// --- skip depth ---------------------------------------------------------------------------

TEST_F(PragmaTest, SkipDepthIsACountNotAFlag) {
  EXPECT_TRUE(pre_skip_enter());
  EXPECT_FALSE(pre_skip_enter());
  pre_skip_leave();
  EXPECT_TRUE(pre_skip_active());
  pre_skip_leave();
  EXPECT_FALSE(pre_skip_active());
  EXPECT_EQ(pre_skip_set(3), 0);
  EXPECT_EQ(pre_skip_set(-1), 3);
  EXPECT_FALSE(pre_skip_active());
  EXPECT_FALSE(pre_skip_enter());  // from -1 to 0: it was not 0
  EXPECT_FALSE(pre_skip_active());
  pre_skip_set(2);
  pre_skip_reset();
  EXPECT_EQ(skip_depth, 0u);
}

}  // namespace

// --- records ------------------------------------------------------------------------------

#include "symbol_test_support.h"

namespace {

// Records as they stand in the symbol file of one description.
std::vector<std::string> record_lines(const std::string &sym) {
  std::vector<std::string> lines = symtest::lines_to_end_mark(symtest::read_file(sym));
  std::vector<std::string> records;
  for (std::size_t i = 4; i < lines.size() && lines[i][0] != '%'; i++) records.push_back(lines[i]);
  return records;
}

class PragmaRecordTest : public symtest::SymbolTest {
 protected:
  void SetUp() override {
    SymbolTest::SetUp();
    g_writer.source_name = "t.c";
    pre_begin_instrumented_file((dir + "/out.c").c_str());
    pre_reset_counters();
    pre_symbol_begin_file("t.c");
    skip_depth = 0;
    line_number = 11;
    statement_count = 3;
    level = 2;
    g_writer.in_function_body = true;
  }
  void TearDown() override {
    g_writer.in_function_body = false;
    skip_depth = 0;
    level = 0;
    pre_finish_instrumented_file("t.c");
    SymbolTest::TearDown();
  }
};

TEST_F(PragmaRecordTest, CountAndAnnotationWriteTheirRecords) {
  pre_handle_pragma("#pragma QUB count my text\n");
  line_number = 21;
  pre_handle_pragma("#pragma QUB annotation checked  by hand\n");
  pre_handle_pragma("#pragma QUB count\n");
  pre_handle_pragma("#pragma QUB testcase not recorded\n");
  pre_symbol_commit("t.c", 30);
  std::vector<std::string> expected = {"55 10 3 0 2 my text", "56 20 3 0 2 checked  by hand", "55 20 3 1 2"};
  EXPECT_EQ(record_lines(sym_path()), expected);
}

TEST_F(PragmaRecordTest, NoRecordsWithoutDecisionOrInASkip) {
  g_run.instrument_decision = false;
  pre_handle_pragma("#pragma QUB count a\n");
  pre_handle_pragma("#pragma QUB annotation b\n");
  g_run.instrument_decision = true;
  testing::internal::CaptureStderr();  // warning 25 of the skip in a body
  pre_handle_pragma("#pragma QUB skip\n");
  pre_handle_pragma("#pragma QUB count c\n");
  pre_handle_pragma("#pragma QUB annotation d\n");
  testing::internal::GetCapturedStderr();
  pre_symbol_record(0, 45, 1, 12, 0, "label");
  pre_symbol_commit("t.c", 30);
  EXPECT_EQ(record_lines(sym_path()), (std::vector<std::string>{"45 12 0 0 1 label"}));
}

}  // namespace
