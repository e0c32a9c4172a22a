// The instrumented text writer: frame, directives, capture, counters, hashes.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include "base/version.h"
#include "driver/run_state.h"
#include "config/config.h"
#include "emit/writer.h"
#include "symbol/symbol.h"
#include "preparse/token.h"

namespace {

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class WriterTest : public testing::Test {
 protected:
  std::string out = testing::TempDir() + "qub_writer_out_" + std::to_string(getpid()) + ".c";
  void SetUp() override {
    pre_run_state_reset();
    g_writer.source_name = "src\\dir\\a.c";
    pre_begin_instrumented_file(out.c_str());
    pre_reset_counters();
  }
  void TearDown() override { std::remove(out.c_str()); }
  // The text behind the banner comment.
  std::string finish(const char *source_id) {
    pre_finish_instrumented_file(source_id);
    std::string all = read_file(out);
    std::size_t end = all.find("*/\n\n");
    EXPECT_NE(end, std::string::npos);
    return all.substr(end + 4);
  }
};

TEST_F(WriterTest, FileWithoutModuleHasNoRuntimeReference) {
  emit_token("int", TOK_IDENT);
  emit_token("x", TOK_IDENT);
  emit_token(";", TOK_SEMI);
  emit_newline();
  EXPECT_EQ(finish("src\\dir\\a.c"),
            "#define QUB_FUNCTION\n#define QUB_DECISION\n#line 1 \"src\\\\dir\\\\a.c\"\nint x ; \n");
}

TEST_F(WriterTest, BannerHoldsMonitorDateAndSourceInAFrame) {
  pre_finish_instrumented_file("a.c");
  std::string all = read_file(out);
  std::istringstream lines(all);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "# 1 \"src\\\\dir\\\\a.c\"");  // the compilers' name of the unit
  int framed = 0;
  while (std::getline(lines, line) && line != "") {
    EXPECT_EQ(line.size(), 77u) << line;
    framed++;
  }
  EXPECT_EQ(framed, 12);
  EXPECT_NE(all.find("*    Monitor name    : MON                                                  *\n"), std::string::npos);
  EXPECT_NE(all.find("*    Source file     : src\\dir\\a.c"), std::string::npos);
  EXPECT_NE(all.find("Version " + std::string(PRE_VERSION_TEXT) + "        *\n"), std::string::npos);
}

TEST_F(WriterTest, ModeDefinitionsFollowTheFlags) {
  pre_run_state_reset();
  g_run.instrument_decision = false;
  g_run.instrument_multicondition = true;
  g_run.instrument_exclusive_timing = true;
  pre_begin_instrumented_file(out.c_str());
  EXPECT_EQ(finish("a.c"),
            "#define QUB_FUNCTION\n#define QUB_MULTICONDITION\n#define QUB_TIMING\n"
            "#define QUB_EXCLUSIVE_TIMING\n#line 1 \"src\\\\dir\\\\a.c\"\n");
}

TEST_F(WriterTest, ModuleDefinitionsHeadAndTailWhenNeeded) {
  g_writer.module_needed = true;
  pre_next_function_counter();
  pre_next_function_counter();
  pre_next_jump_counter();
  pre_next_decision_counter();
  pre_add_condition_counters(4);
  emit_token("f", TOK_IDENT);
  std::string text = finish("src\\dir\\a.c");
  std::uint32_t hash = pre_name_hash("src\\dir\\a.c");
  char crc[32], fid[32];
  std::snprintf(crc, sizeof crc, "%#X", hash);
  std::snprintf(fid, sizeof fid, "%#lX", static_cast<unsigned long>(hash << 12));
  EXPECT_EQ(text, std::string("#define QUB_FUNCTION\n#define QUB_DECISION\n") +
                      "#define QUB_FN         \"src\\\\dir\\\\a.c\"\n"
                      "#define QUB_FNBASE     \"a.c\"\n"
                      "#define QUB_FNCRC      " + crc + "\n"
                      "#define QUB_TS         0\n"
                      "#define QUB_FP         0\n"
                      "#define QUB_FID        " + fid + "\n"
                      "#define QUB_F_SIZE     2\n#define QUB_J_SIZE     1\n#define QUB_TF_SIZE    1\n"
                      "#define QUB_C_SIZE     4\n#define QUB_TIME_SIZE  0\n"
                      "#include \"qub.h\"\nQUB_MODULE_HEAD((void *) 0)\n"
                      "#line 1 \"src\\\\dir\\\\a.c\"\n"
                      "f \nQUB_MODULE_TAIL(\"src\\\\dir\\\\a.c\",\"" + pre_symbol_data_file_name() + "\",0,0,2,1,1,4,0)\n");
}

TEST_F(WriterTest, TimingSizeEqualsTheFunctionCount) {
  pre_run_state_reset();
  g_run.instrument_inclusive_timing = true;
  pre_begin_instrumented_file(out.c_str());
  pre_reset_counters();
  g_writer.module_needed = true;
  pre_next_function_counter();
  pre_next_function_counter();
  pre_next_function_counter();
  std::string text = finish("a.c");
  EXPECT_NE(text.find("#define QUB_TIME_SIZE  3\n"), std::string::npos);
  EXPECT_NE(text.find(",3,0,0,0,3)\n"), std::string::npos);
  EXPECT_NE(text.find("#define QUB_TIMING\n#define QUB_INCLUSIVE_TIMING\n"), std::string::npos);
}

TEST_F(WriterTest, DirectiveAfterTokensStartsANewLineWithARepair) {
  emit_token("int", TOK_IDENT);
  line_number = 8;
  emit_directive("#pragma once\n", false);
  emit_token("x", TOK_IDENT);
  emit_directive("# 20 \"b.h\"\n", true);
  emit_newline();
  emit_directive("#ident \"x\"\n", false);
  EXPECT_EQ(finish("a.c"),
            "#define QUB_FUNCTION\n#define QUB_DECISION\n#line 1 \"src\\\\dir\\\\a.c\"\n"
            "int \n#line 7\n#pragma once\nx \n# 20 \"b.h\"\n\n#ident \"x\"\n");
}

TEST_F(WriterTest, RawPiecesGetNoBlank) {
  emit_token("R\"(a\n", TOK_RAW_PIECE);
  emit_token("b)\"", TOK_STRING);
  EXPECT_EQ(g_writer.line_position, 4u);
  EXPECT_EQ(finish("a.c").substr(std::string("#define QUB_FUNCTION\n#define QUB_DECISION\n#line 1 \"src\\\\dir\\\\a.c\"\n").size()),
            "R\"(a\nb)\" ");
}

TEST_F(WriterTest, CaptureCollectsTokenTextWithoutTheLastBlank) {
  emit_token("if", TOK_IDENT);
  capture_begin();
  emit_token("a", TOK_IDENT);
  emit_macro("QUB_X(1)", 0);
  emit_token("&&", TOK_ANDAND);
  emit_text("b");
  emit_token("c", TOK_IDENT);
  capture_end();
  emit_token("d", TOK_IDENT);
  EXPECT_STREQ(capture_result(), "a && bc");
  capture_begin();
  capture_end();
  EXPECT_STREQ(capture_result(), "");
}

TEST_F(WriterTest, CaptureIsCutAt14999Characters) {
  capture_begin();
  std::string big(10000, 'x');
  emit_token(big.c_str(), TOK_IDENT);
  emit_token(big.c_str(), TOK_IDENT);
  capture_end();
  EXPECT_EQ(std::string(capture_result()).size(), 14999u);
}

TEST_F(WriterTest, LinePositionCountsCharactersSinceTheLastLineFeed) {
  emit_token("ab", TOK_IDENT);
  EXPECT_EQ(g_writer.line_position, 3u);
  emit_text("x\n");
  EXPECT_EQ(g_writer.line_position, 0u);
  emit_macro("QUB_F(0)", 0);
  EXPECT_EQ(g_writer.line_position, 8u);
  emit_newline();
  EXPECT_EQ(g_writer.line_position, 0u);
}

TEST_F(WriterTest, CountersNumberFromZero) {
  EXPECT_EQ(pre_next_function_counter(), 0u);
  EXPECT_EQ(pre_next_function_counter(), 1u);
  EXPECT_EQ(pre_last_function_number(), 1u);
  EXPECT_EQ(pre_next_jump_counter(), 0u);
  EXPECT_EQ(pre_next_decision_counter(), 0u);
  pre_add_condition_counters(3);
  EXPECT_EQ(pre_condition_count(), 3u);
  pre_reset_counters();
  EXPECT_EQ(pre_function_count(), 0u);
}

TEST_F(WriterTest, CounterLimitIsError29) {
  g_writer.jump_count = 0x7FFFFFFE;
  EXPECT_EXIT(pre_next_jump_counter(), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 29: Counter limit reached \\(jump counters\\)\n$");
  g_writer.condition_count = 0x7FFFFFF0;
  EXPECT_EXIT(pre_add_condition_counters(0x10), testing::ExitedWithCode(1),
              "Counter limit reached \\(condition counters\\)");
  pre_add_condition_counters(0xE);
  EXPECT_EQ(pre_condition_count(), 0x7FFFFFFEu);
}

TEST(WriterFile, UncreatableFileIsError9) {
  pre_run_state_reset();
  EXPECT_EXIT(pre_begin_instrumented_file("/nonexistent-dir/x.c"), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 9: Cannot create file /nonexistent-dir/x.c: No such file or directory\n$");
}

TEST(WriterFile, FinishWithoutAnOpenFileDoesNothing) {
  pre_finish_instrumented_file("a.c");
  SUCCEED();
}

TEST(NameHash, IgnoresCaseAndSeparatorKind) {
  EXPECT_EQ(pre_name_hash("Dir/Sub\\File.C"), pre_name_hash("dir\\sub/file.c"));
  EXPECT_NE(pre_name_hash("a.c"), pre_name_hash("b.c"));
  EXPECT_EQ(pre_name_hash(""), 351555u);
  // Worked by hand: 351555*2 = 703110 (fits 20 bits); 703110 ^ 'a' (97) = 703207.
  EXPECT_EQ(pre_name_hash("a"), 703207u);
  // 703207*2 = 1406414 > 0xFFFFF: low 20 bits (357838) + 1 = 357839; ^ 'b' (98) = 357805.
  EXPECT_EQ(pre_name_hash("ab"), 357805u);
}

TEST(NameHash, HighBytesAreWidenedAsSignedCharacters) {
  // 0xE9 widens to 0xFFFFFFE9: the XOR sets the high bits, which the next step folds.
  EXPECT_EQ(pre_name_hash("\xE9"), (351555u * 2) ^ 0xFFFFFFE9u);
}

TEST(FileIdentity, HashShiftedOrLowTimeStampBits) {
  EXPECT_EQ(pre_file_identity(0x12345, 0x1ABC), 0x12345ABCu);
  EXPECT_EQ(pre_file_identity(0xFFFFFFFF, 0), 0xFFFFF000u);
}

}  // namespace

namespace {

class WriterConfigTest : public testing::Test {
 protected:
  std::string out = testing::TempDir() + "qub_writer_conf_" + std::to_string(getpid()) + ".c";
  void SetUp() override {
    pre_run_state_reset();
    conf_reset();
    g_writer.source_name = "a.c";
  }
  void TearDown() override {
    conf_reset();
    std::remove(out.c_str());
  }
  std::string instrument_with(const char *assignment) {
    if (assignment) {
      EXPECT_EQ(conf_apply_line(assignment), STATUS_OK) << assignment;
    }
    pre_begin_instrumented_file(out.c_str());
    g_writer.module_needed = true;
    pre_finish_instrumented_file("a.c");
    return read_file(out);
  }
};

TEST_F(WriterConfigTest, TimerIsTheArgumentOfTheModuleHead) {
  EXPECT_NE(instrument_with("TIMER = qub_clock()").find("\nQUB_MODULE_HEAD(qub_clock())\n"), std::string::npos);
}

TEST_F(WriterConfigTest, EmptyTimerGivesANullPointer) {
  EXPECT_NE(instrument_with(nullptr).find("\nQUB_MODULE_HEAD((void *) 0)\n"), std::string::npos);
}

TEST_F(WriterConfigTest, DataFileWithoutExtensionGetsDat) {
  EXPECT_NE(instrument_with("DATAFILE = out\\cover").find("QUB_MODULE_TAIL(\"a.c\",\"out\\\\cover.dat\","),
            std::string::npos);
}

TEST_F(WriterConfigTest, DataFileWithDatKeepsIt) {
  EXPECT_NE(instrument_with("DATAFILE = cover.dat").find("QUB_MODULE_TAIL(\"a.c\",\"cover.dat\","), std::string::npos);
}

TEST_F(WriterConfigTest, DefaultDataFileIsTheSymbolFilesDataFile) {
  std::string dflt = instrument_with("DATAFILE = %DEFAULT%");
  std::string expected = std::string("QUB_MODULE_TAIL(\"a.c\",\"") + pre_symbol_data_file_name() + "\",";
  EXPECT_NE(dflt.find(expected), std::string::npos) << dflt;
}

}  // namespace
