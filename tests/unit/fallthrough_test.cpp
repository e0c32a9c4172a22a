// Comments that gcc reads as fall-through markers survive into the instrumented text
// directly in front of their case or default label.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

#include "base/base.h"
#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "preparse/fallthrough.h"
#include "preparse/scanner.h"
#include "preparse/token.h"
#include "symbol/symbol.h"
#include "test_util.h"

using namespace qubtest;

namespace {

TEST(FallthroughComment, TextsThatGccMayTakeAsMarkers) {
  struct row {
    const char *text;
    bool marker;
  };
  const row rows[] = {
      {" FALLTHROUGH ", true},        {" FALLTHRU ", true},         {" fall through ", true},
      {" Falls through. ", true},     {"fall-through", true},       {"fallthrough", true},
      {" @fallthrough@ ", true},      {"lint -fallthrough", true},  {" Intentional fallthru! ", true},
      {" else FALLS THROUGH - x ", true}, {" fall\tthrough", true},  {" fall ", false},
      {" through ", false},           {" falling into ", false},    {" fallthr ", false},
      {"", false},                    {" break; ", false},
  };
  for (const row &r : rows) EXPECT_EQ(pre_is_fallthrough_comment(r.text), r.marker) << r.text;
}

class FallthroughTest : public testing::Test {
 protected:
  std::string dir;
  void SetUp() override {
    pre_run_state_reset();
    dir = make_temp_dir("fallthrough");
    ASSERT_FALSE(dir.empty());
    std::free(g_run.symbol_file_name);
    g_run.symbol_file_name = pre_xstrdup((dir + "/MON").c_str());
    pre_symbol_reset();
  }
  void TearDown() override {
    run_command("rm -rf '" + dir + "'");
    pre_run_state_reset();  // later tests of this process find the symbol file as before
    pre_symbol_reset();
  }

  // The instrumented text of a source: its preprocessed form is the source's own text
  // behind a line marker that names it (the scanner drops the comments). What follows
  // the marker is returned.
  std::string instrument(const std::string &text, std::uint32_t language = LANG_C, const char *flags = "") {
    pre_fallthrough_forget();
    std::string src = dir + "/a.c";
    write_file(src, text);
    write_file(dir + "/in.i", "# 1 \"" + src + "\"" + flags + "\n" + text);
    source_language = language;
    std::string out = dir + "/out.c";
    EXPECT_EQ(pre_instrument_preprocessed((dir + "/in.i").c_str(), "a.c", out.c_str()), 21);
    std::string all = read_file(out);
    std::size_t at = all.find("# 1 \"" + src);
    EXPECT_NE(at, std::string::npos);
    return all.substr(all.find('\n', at) + 1);
  }
};

TEST_F(FallthroughTest, CommentStandsAgainInFrontOfTheLabel) {
  EXPECT_EQ(instrument("switch (x) {\ncase 1: x++;\n  /* FALLTHROUGH */\ncase 2: break;\n}\n"),
            "switch ( x ) { \ncase 1 : x ++ ; \n\n/* FALLTHROUGH */ case 2 : break ; \n} \n\n");
  // A line comment becomes a block comment; the text is kept as it stood.
  EXPECT_EQ(instrument("case 1: x++; // fall through */\n default: ;\n", LANG_CXX),
            "case 1 : x ++ ; \n/* fall through * /*/ default : ; \n\n");
  // Blank lines and other comments between comment and label; strings that look like
  // comments do not count.
  EXPECT_EQ(instrument("f(\"/* fall through */\");\n/* Fall thru */\n/* other */\n\ndefault: ;\n"),
            "f ( \"/* fall through */\" ) ; \n\n\n\n/* Fall thru */ default : ; \n\n");
}

TEST_F(FallthroughTest, OnlyInFrontOfALabel) {
  // In front of another statement, after a token, with a directive between, or no
  // fall-through text at all: nothing is added.
  EXPECT_EQ(instrument("x++; /* fall through */ y++;\ncase 1: ;\n"), "x ++ ; y ++ ; \ncase 1 : ; \n\n");
  EXPECT_EQ(instrument("/* nothing to see */\ncase 1: ;\n"), "\ncase 1 : ; \n\n");
  EXPECT_EQ(instrument("/* fallthrough */ x /* */ case 1: ;\n"), "x case 1 : ; \n\n");
  EXPECT_EQ(instrument("/* fallthrough */\n#pragma x\ncase 1: ;\n"), "\n#pragma x\ncase 1 : ; \n\n");
  // A multi-line comment stays on the label's line: the line count is unchanged.
  EXPECT_EQ(instrument("/* we\n fall through */ case 1: ;\n"), "\n/* we  fall through */ case 1 : ; \n\n");
  // In a system header nothing is added: its warnings are not shown anyway.
  EXPECT_EQ(instrument("x++; /* FALLTHRU */ case 1: ;\n", LANG_C, " 1 3 4"), "x ++ ; case 1 : ; \n\n");
}

TEST_F(FallthroughTest, MarkAtTailIsFoundBehindLineFeeds) {
  pre_fallthrough_forget();
  std::string src = dir + "/b.c";
  std::string text = "x++;\n/* FALLTHRU */\n\ncase 2: ;\n";
  write_file(src, text);
  write_file(dir + "/in.i", "# 1 \"" + src + "\"\n" + text);
  source_language = LANG_C;
  g_writer.source_name = "b.c";
  pre_begin_instrumented_file((dir + "/o.c").c_str());
  ASSERT_EQ(pre_open_source((dir + "/in.i").c_str()), 21);
  char token[MAX_TOKEN + 1];
  ASSERT_EQ(pre_next_token(token), TOK_LINE_DIRECTIVE);
  for (int i = 0; i < 3; i++) emit_token(token, pre_next_token(token));  // x ++ ;
  EXPECT_EQ(fallthrough_mark_at_tail(), nullptr);
  ASSERT_EQ(pre_next_token(token), TOK_IDENT);  // case: the comment is written now
  pre_text_piece *mark = fallthrough_mark_at_tail();
  ASSERT_NE(mark, nullptr);
  EXPECT_STREQ(mark->text, "/* FALLTHRU */ ");
  emit_token(token, TOK_IDENT);
  EXPECT_EQ(fallthrough_mark_at_tail(), nullptr);
  pre_close_source();
  pre_finish_instrumented_file("b.c");
}

TEST_F(FallthroughTest, SpaceshipIsOneToken) {
  EXPECT_EQ(instrument("auto r = a <=> b; bool c = a<=b;\n", LANG_CXX), "auto r = a <=> b ; bool c = a <= b ; \n\n");
}

}  // namespace
