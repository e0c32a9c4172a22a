// The token scanner: token kinds and texts, line counting, what reaches the
// instrumented text, directives, literals, marker mode and the scanner's errors.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/base.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "preerror/preerror.h"
#include "preparse/analyse.h"
#include "preparse/scanner.h"
#include "preparse/token.h"
#include "test_util.h"

using qubtest::write_file;

namespace {

struct tok {
  std::uint32_t kind;
  std::string text;
  std::uint32_t line;  // line_number after the token was handed out
};

bool operator==(const tok &a, const tok &b) { return a.kind == b.kind && a.text == b.text && a.line == b.line; }

std::ostream &operator<<(std::ostream &os, const tok &t) {
  return os << "{" << t.kind << ", \"" << t.text << "\", " << t.line << "}";
}

class ScannerTest : public testing::Test {
 protected:
  std::string dir;
  std::string input;
  std::string out;
  pre_text_piece *body_start = nullptr;
  char token[MAX_TOKEN + 1];

  void SetUp() override {
    pre_run_state_reset();
    source_language = LANG_CXX;
    compiler_family = FAMILY_ANSI;
    line_number = 1;
    line_before_directive = 0;
    statement_count = 0;
    skip_depth = 0;
    current_file_name[0] = '\0';
    dir = testing::TempDir() + "qub_scanner_" + std::to_string(getpid());
    std::string mk = "mkdir -p '" + dir + "'";
    ASSERT_EQ(std::system(mk.c_str()), 0);
    input = dir + "/t.i";
    out = dir + "/out.c";
    g_writer.source_name = "t.c";
    pre_begin_instrumented_file(out.c_str());
    body_start = text_tail();
  }

  void TearDown() override {
    pre_close_source();
    pre_finish_instrumented_file("t.c");
    std::string rm = "rm -rf '" + dir + "'";
    ASSERT_EQ(std::system(rm.c_str()), 0);
    source_language = LANG_C;
    compiler_family = FAMILY_ANSI;
    skip_depth = 0;
  }

  // A new file: the line count starts at 1 and the instrumented text is looked at
  // from here on.
  void open(const std::string &text) {
    line_number = 1;
    body_start = text_tail();
    write_file(input, text);
    ASSERT_EQ(pre_open_source(input.c_str()), STATUS_OK);
  }

  tok next() {
    std::uint32_t kind = pre_next_token(token);
    return tok{kind, token, line_number};
  }

  // Every token of the text up to the end of input (which is not included).
  std::vector<tok> scan(const std::string &text) {
    open(text);
    std::vector<tok> all;
    for (int guard = 0; guard < 100000; guard++) {
      tok t = next();
      if (t.kind == TOK_EOF) {
        EXPECT_EQ(t.text, "");
        break;
      }
      all.push_back(t);
    }
    return all;
  }

  std::vector<std::uint32_t> kinds(const std::string &text) {
    std::vector<std::uint32_t> k;
    for (const tok &t : scan(text)) k.push_back(t.kind);
    return k;
  }

  std::vector<std::string> texts(const std::string &text) {
    std::vector<std::string> k;
    for (const tok &t : scan(text)) k.push_back(t.text);
    return k;
  }

  // The kind and text of a text that must be one token.
  tok one(const std::string &text) {
    std::vector<tok> all = scan(text);
    EXPECT_EQ(all.size(), 1u) << text;
    return all.empty() ? tok{TOK_EOF, "", 0} : all[0];
  }

  // What has reached the instrumented text since the set-up.
  std::string body() {
    std::string s;
    for (pre_text_piece *p = body_start->next; p; p = p->next) s += p->text;
    return s;
  }

  // The text through the copy-every-token loop of the analysis. As C, which joins no
  // names and so reads nothing ahead: each token is written where the scanner stands.
  std::string instrument(const std::string &text) {
    body_start = text_tail();
    write_file(input, text);
    std::uint32_t language = source_language;
    source_language = LANG_C;
    EXPECT_EQ(pre_analyse_file(input.c_str(), "t.c"), STATUS_OK);
    source_language = language;
    return body();
  }
};

// --- files, lines, splices ----------------------------------------------------------

TEST_F(ScannerTest, EmptyFileIsTheEndAtOnceAndStaysSo) {
  open("");
  EXPECT_EQ(next(), (tok{TOK_EOF, "", 1}));
  EXPECT_EQ(next(), (tok{TOK_EOF, "", 1}));
  EXPECT_EQ(pre_read_raw_char(), 0);
  EXPECT_EQ(pre_peek_char(), 0);
}


TEST_F(ScannerTest, NoFileOpenIsTheEnd) {
  pre_close_source();
  EXPECT_EQ(next(), (tok{TOK_EOF, "", 1}));
  EXPECT_EQ(pre_read_raw_char(), 0);
}

TEST_F(ScannerTest, LastLineWithoutNewlineScansNormally) {
  EXPECT_EQ(scan("int x;\nx = 1"), (std::vector<tok>{{TOK_IDENT, "int", 1},
                                                     {TOK_IDENT, "x", 1},
                                                     {TOK_SEMI, ";", 1},
                                                     {TOK_IDENT, "x", 2},
                                                     {TOK_ASSIGN, "=", 2},
                                                     {TOK_INT_CONST, "1", 2}}));
}

TEST_F(ScannerTest, DirectiveOnTheLastLineWithoutNewline) {
  std::vector<tok> all = scan("int a;\n#define A 1");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[3], (tok{TOK_DIRECTIVE, "#define A 1", 2}));
}

TEST_F(ScannerTest, BackslashNewlineJoinsAnIdentifierAndStaysInTheText) {
  EXPECT_EQ(scan("a\\\nb c\n"), (std::vector<tok>{{TOK_IDENT, "ab", 2}, {TOK_IDENT, "c", 2}}));
  pre_close_source();
  EXPECT_EQ(instrument("x a\\\nb c\nd\n"), "x \\\nab c \nd \n\n");
}

TEST_F(ScannerTest, BackslashNewlineInAStringIsPartOfTheLiteral) {
  std::vector<tok> all = scan("s = \"x\\\ny\";\n");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[2], (tok{TOK_STRING, "\"x\\\ny\"", 2}));
  EXPECT_EQ(all[3], (tok{TOK_SEMI, ";", 2}));
  pre_close_source();
  EXPECT_EQ(instrument("s = \"x\\\ny\";\n"), "s = \"x\\\ny\" ; \n\n");
}

TEST_F(ScannerTest, NewlineInsideALiteralCountsAndStays) {
  EXPECT_EQ(one("\"a\nb\""), (tok{TOK_STRING, "\"a\nb\"", 2}));
  EXPECT_EQ(one("'a\nb'"), (tok{TOK_CHAR_CONST, "'a\nb'", 2}));
}

TEST_F(ScannerTest, LinesAndCommentsReachTheInstrumentedText) {
  EXPECT_EQ(instrument("a /* x\ny */ b // c\nd /*/ e */ f\n"), "a \nb \nd f \n\n");
  EXPECT_EQ(line_number, 4u);
}

TEST_F(ScannerTest, LineCommentGoesOnBehindABackslashNewline) {
  EXPECT_EQ(scan("// a\\\nb\nc\n"), (std::vector<tok>{{TOK_IDENT, "c", 3}}));
  pre_close_source();
  EXPECT_EQ(instrument("// a\\\nb\nc\n"), "\n\nc \n\n");
}

TEST_F(ScannerTest, EndOfInputInsideACommentIsSilent) {
  EXPECT_EQ(texts("a /* never closed\n"), (std::vector<std::string>{"a"}));
  EXPECT_EQ(texts("a // no newline"), (std::vector<std::string>{"a"}));
}

// What the line held behind the NUL is gone, its newline included, so the next line
// goes on where the NUL stood.
TEST_F(ScannerTest, NulByteEndsTheLineBuffer) {
  std::string text("int a;\nint b\0 = 3;\nint c;\n", 25);
  EXPECT_EQ(texts(text), (std::vector<std::string>{"int", "a", ";", "int", "bint", "c", ";"}));
  pre_close_source();
  text = std::string("x;\n\0y;\nz;\n", 10);
  EXPECT_EQ(scan(text), (std::vector<tok>{{TOK_IDENT, "x", 1}, {TOK_SEMI, ";", 1}, {TOK_IDENT, "z", 2}, {TOK_SEMI, ";", 2}}));
}

TEST_F(ScannerTest, ByteFFWhereATokenStartsEndsTheFile) {
  EXPECT_EQ(texts("a \xff b\n"), (std::vector<std::string>{"a"}));
}

// --- trigraphs --------------------------------------------------------------------------

TEST_F(ScannerTest, TrigraphsAreReplacedEverywhere) {
  EXPECT_EQ(scan("\"?\?=?\?x\" ?\?< ?\?> ?\?( ?\?) ?\?' ?\?! ?\?-\n"),
            (std::vector<tok>{{TOK_STRING, "\"#?\?x\"", 1},
                              {TOK_LBRACE, "{", 1},
                              {TOK_RBRACE, "}", 1},
                              {TOK_LBRACKET, "[", 1},
                              {TOK_RBRACKET, "]", 1},
                              {TOK_CARET, "^", 1},
                              {TOK_OPERATOR, "|", 1},
                              {TOK_TILDE, "~", 1}}));
  EXPECT_EQ(kinds("a ?\?x b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_OPERATOR, TOK_IDENT, TOK_IDENT}));
  EXPECT_EQ(scan("?\?=define X\ny\n"), (std::vector<tok>{{TOK_DIRECTIVE, "?\?=define X\n", 2}, {TOK_IDENT, "y", 2}}));
  // ?\?/ is a backslash, which carries a line comment on to the next line.
  EXPECT_EQ(scan("// c ?\?/\nhidden\nshown\n"), (std::vector<tok>{{TOK_IDENT, "shown", 3}}));
}

// --- long lines and tokens ---------------------------------------------------------------

TEST_F(ScannerTest, LongStringLiteralIsSplitIntoAdjacentLiterals) {
  std::string content;
  for (int i = 0; i < 19998; i++) content += static_cast<char>('a' + i % 26);
  std::vector<tok> all = scan("s = \"" + content + "\";\n");
  ASSERT_EQ(all.size(), 5u);
  const std::string &first = all[2].text, &second = all[3].text;
  EXPECT_EQ(all[2].kind, TOK_STRING);
  EXPECT_EQ(all[3].kind, TOK_STRING);
  ASSERT_EQ(first.size(), 14990u);
  EXPECT_EQ(first.front(), '"');
  EXPECT_EQ(first.back(), '"');
  ASSERT_EQ(second.size(), 5012u);
  EXPECT_EQ(second.front(), '"');
  EXPECT_EQ(second.back(), '"');
  EXPECT_EQ(first.substr(1, first.size() - 2) + second.substr(1, second.size() - 2), content);
  EXPECT_EQ(all[4], (tok{TOK_SEMI, ";", 1}));
}

TEST_F(ScannerTest, StringSplitNeverFallsInsideAnEscape) {
  std::string text = "\"" + std::string(14986, 'a') + "\\x41bc\"";
  std::vector<tok> all = scan(text);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_TRUE(all[0].text == "\"" + std::string(14986, 'a') + "\\x41bc\"");
  EXPECT_EQ(all[1].text, "\"\"");
  pre_close_source();
  std::string prefixed = "u8\"" + std::string(14985, 'a') + "bcd\"";
  all = scan(prefixed);
  ASSERT_EQ(all.size(), 2u);
  // A prefix counts in the length and is not repeated.
  EXPECT_TRUE(all[0].text == "u8\"" + std::string(14985, 'a') + "b\"");
  EXPECT_EQ(all[1].text, "\"cd\"");
}

TEST_F(ScannerTest, IdentifierOfTheLongestAllowedLength) {
  std::string id(14998, 'k');
  EXPECT_EQ(texts(id + ";\n"), (std::vector<std::string>{id, ";"}));
}

// A line longer than a line buffer is refilled; a token across the seam is whole.
TEST_F(ScannerTest, TokensAcrossARefillAreWhole) {
  struct probe {
    std::string text;
    std::size_t before_seam;
    std::uint32_t kind;
  };
  const probe probes[] = {
      {"abcdefghij", 5, TOK_IDENT},     {"12345.678e+5", 7, TOK_FLOAT_CONST},
      {"\"a\\\"bc\"", 3, TOK_STRING},  {"'\\n'", 2, TOK_CHAR_CONST},
      {"->*", 2, TOK_OPERATOR},
  };
  for (const probe &p : probes) {
    std::string line = std::string(14999 - p.before_seam, ' ') + p.text + " z\n";
    std::vector<tok> all = scan(line + "w\n");
    ASSERT_EQ(all.size(), 3u) << p.text;
    EXPECT_EQ(all[0], (tok{p.kind, p.text, 1}));
    EXPECT_EQ(all[1], (tok{TOK_IDENT, "z", 1}));
    EXPECT_EQ(all[2], (tok{TOK_IDENT, "w", 2}));
    pre_close_source();
  }
  // A raw string is cut at the end of the buffer into a piece and the rest.
  std::vector<tok> all = scan(std::string(14994, ' ') + "R\"x(ab)x\" z\n");
  EXPECT_EQ(all, (std::vector<tok>{{TOK_RAW_PIECE, "R\"x(a", 1}, {TOK_STRING, "b)x\"", 1}, {TOK_IDENT, "z", 1}}));
}

TEST_F(ScannerTest, TwentyThousandByteLineOfTokens) {
  std::string line;
  std::vector<std::string> expected;
  for (int i = 0; line.size() < 20000; i++) {
    std::string t = i % 3 == 0 ? "ident" + std::to_string(i) : i % 3 == 1 ? std::to_string(i * 7) : "\"s" + std::to_string(i) + "\"";
    line += t + (i % 2 ? " " : "\t");
    expected.push_back(t);
  }
  std::vector<tok> all = scan(line + "\nend\n");
  ASSERT_EQ(all.size(), expected.size() + 1);
  for (std::size_t i = 0; i < expected.size(); i++) {
    EXPECT_EQ(all[i].text, expected[i]) << i;
    EXPECT_EQ(all[i].line, 1u) << i;
  }
  EXPECT_EQ(all.back(), (tok{TOK_IDENT, "end", 2}));
}

// --- raw strings -----------------------------------------------------------------------------

TEST_F(ScannerTest, RawStringOnOneLine) {
  EXPECT_EQ(one("R\"xyz(a)\"b)xyz\""), (tok{TOK_STRING, "R\"xyz(a)\"b)xyz\"", 1}));
  EXPECT_EQ(one("u8R\"(a\\b?\?=)\"_s"), (tok{TOK_STRING, "u8R\"(a\\b?\?=)\"_s", 1}));
  EXPECT_EQ(one("LR\"()\""), (tok{TOK_STRING, "LR\"()\"", 1}));
  EXPECT_EQ(one("uR\"-(x)-\""), (tok{TOK_STRING, "uR\"-(x)-\"", 1}));
  EXPECT_EQ(one("UR\"(x)\""), (tok{TOK_STRING, "UR\"(x)\"", 1}));
}

TEST_F(ScannerTest, RawStringOverThreeLinesIsReproducedByteForByte) {
  const char *text = "r = R\"d(one \n two\\\nthree)d\"_x;\n";
  EXPECT_EQ(scan(text), (std::vector<tok>{{TOK_IDENT, "r", 1},
                                          {TOK_ASSIGN, "=", 1},
                                          {TOK_RAW_PIECE, "R\"d(one \n", 2},
                                          {TOK_RAW_PIECE, " two\\\n", 3},
                                          {TOK_STRING, "three)d\"_x", 3},
                                          {TOK_SEMI, ";", 3}}));
  pre_close_source();
  EXPECT_EQ(instrument(text), "r = R\"d(one \n two\\\nthree)d\"_x ; \n\n");
}

TEST_F(ScannerTest, RawStringDelimiterOfSixteenAndSeventeenCharacters) {
  EXPECT_EQ(one("R\"1234567890123456(x)1234567890123456\"").kind, TOK_STRING);
  pre_close_source();
  std::vector<tok> all = scan("R\"12345678901234567(x)12345678901234567\"");
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all[0].kind, TOK_BAD);
}

TEST_F(ScannerTest, RawStringWithoutItsParenthesisAtTheEnd) {
  std::vector<tok> all = scan("R\"abc");
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].kind, TOK_BAD);
}

TEST_F(ScannerTest, ByteFFInARawStringBody) {
  std::vector<tok> all = scan("R\"(a\xff)\"\n");
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all[0], (tok{TOK_BAD, "R\"(a", 1}));
}

// --- strings and character constants ----------------------------------------------------

TEST_F(ScannerTest, EscapesInStrings) {
  EXPECT_EQ(one("\"\\x0000000000041\"").text, "\"\\x00000041\"");
  EXPECT_EQ(one("\"\\x41\\x123456789\"").text, "\"\\x41\\x23456789\"");
  EXPECT_EQ(one("\"\\1234\\\"\\\\\"").text, "\"\\1234\\\"\\\\\"");
  EXPECT_EQ(one("\"\\u00e9\\U0001F600\\uZZ\"").text, "\"\\u00e9\\U0001F600\\uZZ\"");
}

TEST_F(ScannerTest, UnterminatedLiteralsAreBadTokens) {
  std::vector<tok> all = scan("char *s = \"never closed;\nint x;\n");
  ASSERT_EQ(all.size(), 5u);
  EXPECT_EQ(all[4], (tok{TOK_BAD, "\"never closed;\nint x;\n", 3}));
  pre_close_source();
  EXPECT_EQ(scan("c = 'x"), (std::vector<tok>{{TOK_IDENT, "c", 1}, {TOK_ASSIGN, "=", 1}, {TOK_BAD, "'x", 1}}));
}

TEST_F(ScannerTest, LiteralPrefixesAndSuffixes) {
  EXPECT_EQ(one("u8\"x\""), (tok{TOK_STRING, "u8\"x\"", 1}));
  for (const char *p : {"u", "U", "L", "S"}) EXPECT_EQ(one(std::string(p) + "\"x\""), (tok{TOK_STRING, std::string(p) + "\"x\"", 1}));
  for (const char *p : {"u8", "u", "U", "L", "R", "u8R", "uR", "UR", "LR"})
    EXPECT_EQ(one(std::string(p) + "'a'"), (tok{TOK_CHAR_CONST, std::string(p) + "'a'", 1}));
  EXPECT_EQ(kinds("S'a'"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_CHAR_CONST}));
  EXPECT_EQ(texts("x\"y\""), (std::vector<std::string>{"x", "\"y\""}));
  EXPECT_EQ(texts("\"a\"L\"b\"u8\"c\"u\"d\"U\"e\"S\"f\""),
            (std::vector<std::string>{"\"a\"", "L\"b\"", "u8\"c\"", "u\"d\"", "U\"e\"", "S\"f\""}));
  EXPECT_EQ(texts("\"abc\"_s \"a\"sv;"), (std::vector<std::string>{"\"abc\"_s", "\"a\"sv", ";"}));
  EXPECT_EQ(texts("'\\'' '\\\\' 'a'_c 'ab'"), (std::vector<std::string>{"'\\''", "'\\\\'", "'a'_c", "'ab'"}));
}

// --- identifiers ------------------------------------------------------------------------------

TEST_F(ScannerTest, IdentifierCharacters) {
  EXPECT_EQ(one("_a$b@c#d9"), (tok{TOK_IDENT, "_a$b@c#d9", 1}));
  EXPECT_EQ(one("a\\u00e9b"), (tok{TOK_IDENT, "a\\u00e9b", 1}));
  EXPECT_EQ(one("\\u00e9x"), (tok{TOK_IDENT, "\\u00e9x", 1}));
  EXPECT_EQ(one("\\U0001F600"), (tok{TOK_IDENT, "\\U0001F600", 1}));
  EXPECT_EQ(scan("\\x"), (std::vector<tok>{{TOK_NONE, "\\", 1}, {TOK_IDENT, "x", 1}}));
  EXPECT_EQ(texts("a\\u00e9"), (std::vector<std::string>{"a\\u00e9"}));
  EXPECT_EQ(texts("a\\u00e"), (std::vector<std::string>{"a", "\\", "u00e"}));
}

TEST_F(ScannerTest, HighBytesAreLettersInCSharpAndJavaOnly) {
  EXPECT_EQ(scan("caf\xc3\xa9"),
            (std::vector<tok>{{TOK_IDENT, "caf", 1}, {TOK_NONE, "\xc3", 1}, {TOK_NONE, "\xa9", 1}}));
  for (std::uint32_t lang : {LANG_CSHARP, LANG_JAVA}) {
    pre_close_source();
    source_language = lang;
    EXPECT_EQ(one("caf\xc3\xa9"), (tok{TOK_IDENT, "caf\xc3\xa9", 1}));
  }
}

TEST_F(ScannerTest, ObjectiveCAtWords) {
  source_language = LANG_OBJC;
  EXPECT_EQ(kinds("@interface @end @class @implementation @try @catch @finally @throw "
                  "@autoreleasepool @synchronized @ @other @\"s\""),
            (std::vector<std::uint32_t>{OBJC_INTERFACE, OBJC_END, OBJC_CLASS, OBJC_IMPLEMENTATION, 316, 318, 348,
                                        317, OBJC_AUTORELEASEPOOL, OBJC_SYNCHRONIZED, OBJC_AT, TOK_IDENT, OBJC_AT,
                                        TOK_STRING}));
  pre_close_source();
  source_language = LANG_CXX;
  EXPECT_EQ(kinds("@interface @"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_IDENT}));
}

TEST_F(ScannerTest, IdentifierWithTheQubPrefixIsAWarning) {
  testing::internal::CaptureStderr();
  std::vector<tok> all = scan("int\nqub_x; QUB_y; xqub_;\n");
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(all.size(), 7u);
  EXPECT_EQ(all[1], (tok{TOK_IDENT, "qub_x", 2}));
  EXPECT_EQ(err, "QUB++ warning 10: Identifier begins with 'qub_' in file " + input + " at line 2\n");
}

// --- numbers ----------------------------------------------------------------------------------

TEST_F(ScannerTest, NumberKinds) {
  struct number {
    const char *text;
    std::uint32_t kind;
  };
  const number numbers[] = {
      {"1.2.3", TOK_DOTTED_NUMBER}, {"10.0.0.1", TOK_DOTTED_NUMBER}, {"1.2e3", TOK_FLOAT_CONST},
      {"0x1.8p3", TOK_FLOAT_CONST}, {"0x1P-2f", TOK_FLOAT_CONST},    {"0x.8p1", TOK_FLOAT_CONST},
      {"1'000'000", TOK_INT_CONST}, {"0b1010", TOK_INT_CONST},       {"0B1'0uL", TOK_INT_CONST},
      {"42ULL", TOK_INT_CONST},     {"42uz", TOK_INT_CONST},         {"0xABCull", TOK_INT_CONST},
      {"1.5f", TOK_FLOAT_CONST},    {".5", TOK_FLOAT_CONST},         {"1e+5", TOK_FLOAT_CONST},
      {"1.e-3L", TOK_FLOAT_CONST},  {"5x1", TOK_INT_CONST},          {"7b01", TOK_INT_CONST},
      {"123_km", TOK_INT_CONST},    {"1.0_deg", TOK_FLOAT_CONST},    {"0", TOK_INT_CONST},
  };
  for (const number &n : numbers) {
    EXPECT_EQ(scan(std::string(n.text) + ";"), (std::vector<tok>{{n.kind, n.text, 1}, {TOK_SEMI, ";", 1}}))
        << n.text;
    pre_close_source();
  }
  EXPECT_EQ(texts("0x1e+5"), (std::vector<std::string>{"0x1e", "+", "5"}));
  EXPECT_EQ(kinds("s.a.5"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_DOT, TOK_IDENT, TOK_FLOAT_CONST}));
}

// --- operators and digraphs -------------------------------------------------------------------

TEST_F(ScannerTest, EveryOperatorAndDigraph) {
  struct op {
    const char *text;
    std::uint32_t kind;
  };
  const op ops[] = {
      {"::", TOK_SCOPE},       {"{", TOK_LBRACE},        {"<%", TOK_LBRACE},       {"}", TOK_RBRACE},
      {"%>", TOK_RBRACE},      {"(", TOK_LPAREN},        {")", TOK_RPAREN},        {"[", TOK_LBRACKET},
      {"<:", TOK_LBRACKET},    {"]", TOK_RBRACKET},      {":>", TOK_RBRACKET},     {"<", TOK_LESS},
      {">", TOK_GREATER},      {",", TOK_COMMA},         {"=", TOK_ASSIGN},        {":", TOK_COLON},
      {"*", TOK_STAR},         {"...", TOK_ELLIPSIS},    {";", TOK_SEMI},          {"?", TOK_QUESTION},
      {"&", TOK_AMP},          {"~", TOK_TILDE},         {"||", TOK_OROR},         {"&&", TOK_ANDAND},
      {"!", TOK_NOT},          {">>", TOK_SHR},          {"->", TOK_ARROW},        {".", TOK_DOT},
      {"^", TOK_CARET},        {"/", TOK_OPERATOR},      {"%", TOK_OPERATOR},      {"|", TOK_OPERATOR},
      {"+", TOK_OPERATOR},     {"-", TOK_OPERATOR},      {"++", TOK_OPERATOR},     {"--", TOK_OPERATOR},
      {"==", TOK_OPERATOR},    {"!=", TOK_OPERATOR},     {"<=", TOK_OPERATOR},     {">=", TOK_OPERATOR},
      {"<?", TOK_OPERATOR},    {">?", TOK_OPERATOR},     {"<<", TOK_OPERATOR},     {".*", TOK_OPERATOR},
      {"->*", TOK_OPERATOR},   {"?\?", TOK_OPERATOR},     {"+=", TOK_ASSIGN_OP},    {"-=", TOK_ASSIGN_OP},
      {"*=", TOK_ASSIGN_OP},   {"/=", TOK_ASSIGN_OP},    {"%=", TOK_ASSIGN_OP},    {"&=", TOK_ASSIGN_OP},
      {"|=", TOK_ASSIGN_OP},   {"^=", TOK_ASSIGN_OP},    {"<<=", TOK_ASSIGN_OP},   {">>=", TOK_ASSIGN_OP},
      {"=>", TOK_FAT_ARROW},   {"[[", TOK_ATTR_OPEN},    {"`", TOK_NONE},          {"\\", TOK_NONE},
      {"<=>", TOK_SPACESHIP},
      {"\x01", TOK_NONE},      {"\x7f", TOK_NONE},
  };
  for (const op &o : ops) {
    for (const char *behind : {"a", " a", "\na"}) {
      if (o.text[0] == '\\' && behind[0] == '\n') continue;  // that is a line continuation
      std::vector<tok> all = scan(std::string(o.text) + behind);
      ASSERT_EQ(all.size(), 2u) << o.text << behind;
      EXPECT_EQ(all[0], (tok{o.kind, o.text, 1})) << o.text << behind;
      EXPECT_EQ(all[1].text, "a");
      pre_close_source();
    }
  }
}

TEST_F(ScannerTest, DigraphColonsAndScope) {
  EXPECT_EQ(kinds("x<::y"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_LESS, TOK_SCOPE, TOK_IDENT}));
  EXPECT_EQ(texts("x<:::y"), (std::vector<std::string>{"x", "<:", "::", "y"}));
  EXPECT_EQ(kinds("x<:::y"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_LBRACKET, TOK_SCOPE, TOK_IDENT}));
  EXPECT_EQ(kinds("a<::>"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_LBRACKET, TOK_RBRACKET}));
  EXPECT_EQ(texts("a:::b"), (std::vector<std::string>{"a", ":", "::", "b"}));
  EXPECT_EQ(texts("a<<=b>>=c"), (std::vector<std::string>{"a", "<<=", "b", ">>=", "c"}));
  EXPECT_EQ(texts("p->*q.*r"), (std::vector<std::string>{"p", "->*", "q", ".*", "r"}));
}

TEST_F(ScannerTest, ShiftsAndArrowsByLanguage) {
  EXPECT_EQ(texts("a>>>b"), (std::vector<std::string>{"a", ">>", ">", "b"}));
  EXPECT_EQ(kinds("a>>>b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_SHR, TOK_GREATER, TOK_IDENT}));
  EXPECT_EQ(kinds("a>>>=b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_SHR, TOK_OPERATOR, TOK_IDENT}));
  EXPECT_EQ(kinds("a->b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_ARROW, TOK_IDENT}));
  pre_close_source();
  source_language = LANG_JAVA;
  EXPECT_EQ(scan("a>>>b"), (std::vector<tok>{{TOK_IDENT, "a", 1}, {TOK_USHR, ">>>", 1}, {TOK_IDENT, "b", 1}}));
  EXPECT_EQ(texts("a>>>=b"), (std::vector<std::string>{"a", ">>>=", "b"}));
  EXPECT_EQ(kinds("a>>>=b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_ASSIGN_OP, TOK_IDENT}));
  EXPECT_EQ(kinds("x->y a>>b"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_LAMBDA_ARROW, TOK_IDENT, TOK_IDENT,
                                                            TOK_SHR, TOK_IDENT}));
}

// --- statement counting ---------------------------------------------------------------------

TEST_F(ScannerTest, StatementCounting) {
  struct counted {
    const char *text;
    std::uint32_t count;
  };
  const counted cases[] = {
      {"{}", 1}, {"{ ; }", 1}, {"<%%>", 1}, {"f(); g();", 2}, {"{ x }", 0}, {"{\n#pragma x\n}", 1}, {"{ {} }", 1},
  };
  for (const counted &c : cases) {
    statement_count = 0;
    scan(c.text);
    EXPECT_EQ(statement_count, c.count) << c.text;
    pre_close_source();
  }
  skip_depth = 1;
  statement_count = 0;
  scan("{ ; } {} <%%> a;");
  EXPECT_EQ(statement_count, 0u);
}

// --- directives --------------------------------------------------------------------------------

TEST_F(ScannerTest, QubPragmaLines) {
  EXPECT_EQ(scan("#pragma QUB skip\nint a;\n")[0], (tok{TOK_QUB_PRAGMA, "#pragma QUB skip\n", 2}));
  pre_close_source();
  EXPECT_EQ(scan("  #  pragma\tQUB x\n")[0], (tok{TOK_QUB_PRAGMA, "  #  pragma\tQUB x\n", 2}));
  pre_close_source();
  EXPECT_EQ(scan("%:pragma QUB z\n")[0].kind, TOK_QUB_PRAGMA);
  pre_close_source();
  EXPECT_EQ(scan("?\?=pragma QUB w\n")[0].kind, TOK_QUB_PRAGMA);
  pre_close_source();
  EXPECT_EQ(scan("#pragma  QUB skip\n")[0].kind, TOK_DIRECTIVE);
  pre_close_source();
  EXPECT_EQ(scan("#pragma QUBx\n")[0].kind, TOK_DIRECTIVE);
  pre_close_source();
  EXPECT_EQ(scan("#pragmas QUB x\n")[0].kind, TOK_DIRECTIVE);
}

TEST_F(ScannerTest, LineDirectivesSetLineAndFile) {
  EXPECT_EQ(scan("a\n#line 7 \"f.c\"\nx\n"),
            (std::vector<tok>{{TOK_IDENT, "a", 1}, {TOK_LINE_DIRECTIVE, "#line 7 \"f.c\"\n", 7}, {TOK_IDENT, "x", 7}}));
  EXPECT_EQ(line_before_directive, 2u);
  EXPECT_STREQ(current_file_name, "f.c");
  EXPECT_STREQ(pre_input_name(), "f.c");
  pre_close_source();
  EXPECT_EQ(scan("# 12 \"dir\\\\x.c\" 2 3\nx\n")[1], (tok{TOK_IDENT, "x", 12}));
  EXPECT_STREQ(pre_input_name(), "dir\\\\x.c");
  EXPECT_STREQ(current_file_name, "dir\\x.c");
  // No file name, an unclosed one, or one behind two blanks: the name stays.
  for (const char *text : {"x\ny\n# 40\nz\n", "x\ny\n#line 40 \"unclosed\nz\n", "x\ny\n# 40  \"two.c\"\nz\n"}) {
    pre_close_source();
    std::vector<tok> all = scan(text);
    ASSERT_EQ(all.size(), 4u) << text;
    EXPECT_EQ(all[2].kind, TOK_LINE_DIRECTIVE);
    EXPECT_EQ(all[3], (tok{TOK_IDENT, "z", 40})) << text;
    EXPECT_EQ(line_before_directive, 3u);
    EXPECT_EQ(current_file_name, input);
  }
}

TEST_F(ScannerTest, LongLineDirectiveNameKeepsItsLastBytes) {
  std::string name = std::string(100, 'a') + std::string(200, 'b') + "\\\\" + std::string(60, 'c');
  scan("# 3 \"" + name + "\"\n");
  EXPECT_EQ(std::string(pre_input_name()), name.substr(name.size() - 261));
  EXPECT_EQ(std::string(current_file_name), std::string(199, 'b') + "\\" + std::string(60, 'c'));
}

TEST_F(ScannerTest, DigitDirectiveIsNoLineDirectiveInTheBorlandFamily) {
  compiler_family = FAMILY_BORLAND;
  EXPECT_EQ(scan("# 12 \"x.c\"\nz\n"), (std::vector<tok>{{TOK_DIRECTIVE, "# 12 \"x.c\"\n", 2}, {TOK_IDENT, "z", 2}}));
  pre_close_source();
  EXPECT_EQ(scan("#line 12 \"x.c\"\nz\n")[0].kind, TOK_LINE_DIRECTIVE);
}

TEST_F(ScannerTest, ContinuedDirectiveComesLineByLine) {
  EXPECT_EQ(scan("#define A \\\n  1 \\\n  + 2\nint b;\n"),
            (std::vector<tok>{{TOK_DIRECTIVE, "#define A \\\n", 2},
                              {TOK_DIRECTIVE, "  1 \\\n", 3},
                              {TOK_DIRECTIVE, "  + 2\n", 4},
                              {TOK_IDENT, "int", 4},
                              {TOK_IDENT, "b", 4},
                              {TOK_SEMI, ";", 4}}));
  pre_close_source();
  EXPECT_EQ(scan("#define A \\\n"), (std::vector<tok>{{TOK_DIRECTIVE, "#define A \\\n", 2}}));
}

TEST_F(ScannerTest, DirectiveLongerThanALineBufferGoesOn) {
  std::string value(20000, 'v');
  std::vector<tok> all = scan("#define LONG " + value + "\nx\n");
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].kind, TOK_DIRECTIVE);
  EXPECT_EQ(all[0].text.size(), 14999u);
  EXPECT_EQ(all[1].kind, TOK_DIRECTIVE);
  EXPECT_EQ(all[0].text + all[1].text, "#define LONG " + value + "\n");
  EXPECT_EQ(all[2], (tok{TOK_IDENT, "x", 2}));
}

TEST_F(ScannerTest, DirectivesGoToTheInstrumentedTextVerbatim) {
  EXPECT_EQ(instrument("int a;\n#define X 1\n# 20 \"b.c\"\nint b;\n"),
            "int a ; \n#define X 1\n# 20 \"b.c\"\nint b ; \n\n");
}

TEST_F(ScannerTest, MicrosoftFamilyTakesBackslashCarriageReturnAsContinuation) {
  compiler_family = FAMILY_MICROSOFT;
  EXPECT_EQ(scan("#define A \\\r\n 1\r\nx\r\n"),
            (std::vector<tok>{{TOK_DIRECTIVE, "#define A \\\n", 2}, {TOK_DIRECTIVE, " 1\r\n", 3}, {TOK_IDENT, "x", 3}}));
  pre_close_source();
  EXPECT_EQ(scan("a\\\r\nb\r\n"), (std::vector<tok>{{TOK_IDENT, "ab", 2}}));
  pre_close_source();
  compiler_family = FAMILY_ANSI;
  EXPECT_EQ(kinds("a\\\r\nb\r\n"), (std::vector<std::uint32_t>{TOK_IDENT, TOK_NONE, TOK_IDENT}));
}

// --- marker mode ------------------------------------------------------------------------------

TEST_F(ScannerTest, BorlandMarkerOfAnotherFileBecomesALineDirective) {
  compiler_family = FAMILY_BORLAND;
  EXPECT_EQ(scan("dir\\a.c 12: int x;\ndir\\a.c 13: y;\n"),
            (std::vector<tok>{{TOK_LINE_DIRECTIVE, "#line 12 \"dir\\\\a.c\"\n", 12},
                              {TOK_IDENT, "int", 12},
                              {TOK_IDENT, "x", 12},
                              {TOK_SEMI, ";", 12},
                              {TOK_IDENT, "y", 13},
                              {TOK_SEMI, ";", 13}}));
  EXPECT_STREQ(current_file_name, "dir\\a.c");
  EXPECT_STREQ(pre_input_name(), "dir\\\\a.c");
}

TEST_F(ScannerTest, BorlandCommentFormAndByteOrderMark) {
  compiler_family = FAMILY_BORLAND;
  EXPECT_EQ(texts("\xEF\xBB\xBF/* b.c 3: */ int y;\n/* b.c 4: */ z\n"),
            (std::vector<std::string>{"#line 3 \"b.c\"\n", "int", "y", ";", "z"}));
  EXPECT_EQ(line_number, 5u);
}

TEST_F(ScannerTest, BorlandFirstLineWithoutMarkerSwitchesMarkerModeOff) {
  compiler_family = FAMILY_BORLAND;
  EXPECT_EQ(texts("int x;\na.c 3: y;\n"),
            (std::vector<std::string>{"int", "x", ";", "a", ".", "c", "3", ":", "y", ";"}));
}

TEST_F(ScannerTest, BorlandLongLineRestHasNoMarker) {
  compiler_family = FAMILY_BORLAND;
  std::string filler(14999 - 9, ' ');  // "b.c 1: a " fills the rest of the first buffer
  std::vector<std::string> t = texts("b.c 1: a" + filler + "c 2: d\nb.c 2: e\n");
  EXPECT_EQ(t, (std::vector<std::string>{"#line 1 \"b.c\"\n", "a", "c", "2", ":", "d", "e"}));
}

TEST(LineMarker, Forms) {
  pre_line_marker m;
  ASSERT_TRUE(pre_parse_line_marker("dir\\a.c 12: int x;", &m));
  EXPECT_STREQ(m.path, "dir\\\\a.c");
  EXPECT_EQ(m.line, 12u);
  EXPECT_EQ(std::string("dir\\a.c 12: int x;").substr(m.text_offset), "int x;");
  ASSERT_TRUE(pre_parse_line_marker("/* a.c 3: */ int y;", &m));
  EXPECT_STREQ(m.path, "a.c");
  EXPECT_EQ(m.line, 3u);
  EXPECT_EQ(std::string("/* a.c 3: */ int y;").substr(m.text_offset), "int y;");
  ASSERT_TRUE(pre_parse_line_marker("C:\\src\\a b.c 7: x", &m));
  EXPECT_STREQ(m.path, "C:\\\\src\\\\a b.c");
  EXPECT_EQ(m.line, 7u);
  ASSERT_TRUE(pre_parse_line_marker("a.c 5:  two", &m));
  EXPECT_EQ(std::string("a.c 5:  two").substr(m.text_offset), "two");
  ASSERT_TRUE(pre_parse_line_marker("a.c 5: \n", &m));
  EXPECT_EQ(std::string("a.c 5: \n").substr(m.text_offset), "\n");
}

TEST(LineMarker, NoMarker) {
  pre_line_marker m;
  EXPECT_FALSE(pre_parse_line_marker("int x;", &m));
  EXPECT_FALSE(pre_parse_line_marker("a.c: x", &m));
  EXPECT_FALSE(pre_parse_line_marker("a.c12: x", &m));
  EXPECT_FALSE(pre_parse_line_marker("a.c 12:x", &m));
  EXPECT_FALSE(pre_parse_line_marker("/* a.c 3: no slash", &m));
  EXPECT_FALSE(pre_parse_line_marker((std::string(131, '\\') + " 1: x").c_str(), &m));
  EXPECT_TRUE(pre_parse_line_marker((std::string(130, '\\') + " 1: x").c_str(), &m));
}

// --- character-level services ---------------------------------------------------------------

TEST_F(ScannerTest, PeekAndSpaceBehindTheToken) {
  open("f  \t(x)\ng\n(y)");
  EXPECT_EQ(next().text, "f");
  EXPECT_TRUE(pre_space_follows());
  EXPECT_EQ(pre_peek_char(), '(');
  EXPECT_EQ(next().text, "(");
  EXPECT_FALSE(pre_space_follows());
  EXPECT_EQ(pre_peek_char(), 'x');
  next();
  next();
  EXPECT_EQ(next().text, "g");
  EXPECT_EQ(pre_peek_char(), '\n');  // no look past the line
  EXPECT_EQ(next().text, "(");
}

TEST_F(ScannerTest, RawCharactersThenTokensAgain) {
  open("asm { mov }\nint y;\n");
  EXPECT_EQ(next().text, "asm");
  std::string raw;
  for (int c = pre_read_raw_char(); c && c != '}'; c = pre_read_raw_char()) raw += static_cast<char>(c);
  EXPECT_EQ(raw, " { mov ");
  EXPECT_EQ(pre_read_raw_char(), '\n');
  EXPECT_EQ(next(), (tok{TOK_IDENT, "int", 2}));
  EXPECT_EQ(next().text, "y");
  EXPECT_EQ(next().text, ";");
  EXPECT_EQ(pre_read_raw_char(), '\n');
  EXPECT_EQ(pre_read_raw_char(), 0);
}

// --- errors ---------------------------------------------------------------------------------------

std::string regex_quote(const std::string &text) {
  std::string r;
  for (char c : text) {
    if (std::strchr(".[]()*+?{}|^$\\", c)) r += '\\';
    r += c;
  }
  return r;
}

using ScannerDeathTest = ScannerTest;

TEST_F(ScannerDeathTest, TokenTooLong) {
  std::string id(20000, 'a');
  EXPECT_EXIT(scan("int\n" + id + ";\n"), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 26: Syntax error in file " + regex_quote(input) + " at line 2 \\(token too long\\)\n$");
  EXPECT_EXIT(scan(std::string(14999, 'a') + ";\n"), testing::ExitedWithCode(1), "error 26: .* \\(token too long\\)");
  EXPECT_EXIT(scan("# 5 \"src.c\"\n" + std::string(14999, '7') + "\n"), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 26: Syntax error in file src\\.c at line 5 \\(token too long\\)\n$");
}

TEST_F(ScannerDeathTest, UnterminatedRawStringOverLines) {
  EXPECT_EXIT(scan("const char *r = R\"d(never\nclosed\n"), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 24: Cannot read file " + regex_quote(input) +
                  ": When searching raw string end \\.\\.\\.\\)d\"\n$");
}

TEST_F(ScannerDeathTest, ReadError) {
  EXPECT_EXIT(pre_open_source(dir.c_str()), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 24: Cannot read file " + regex_quote(dir) + ": Is a directory\n$");
}

TEST_F(ScannerDeathTest, SyntaxErrorNamesTheCurrentFileAndLine) {
  open("# 30 \"x.c\"\na\nb\n");
  next();
  next();
  next();
  EXPECT_EXIT(pre_syntax_error("(why)"), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 26: Syntax error in file x\\.c at line 31 \\(why\\)\n$");
}

TEST_F(ScannerTest, OpenFailureIsStatus22WithItsArguments) {
  std::string missing = dir + "/missing.i";
  EXPECT_EQ(pre_open_source(missing.c_str()), 22);
  EXPECT_EQ(std::string(pre_format_message(STATUS_OPEN_FAILED)),
            "QUB++ error 22: Cannot open file " + missing + ": No such file or directory\n");
  EXPECT_EQ(next().kind, TOK_EOF);
}

}  // namespace
