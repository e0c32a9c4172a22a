// Numbered messages: classes, modes, argument placement and cutting; the settings log.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <sys/stat.h>

#include "driver/run_state.h"
#include "preerror/preerror.h"

namespace {

std::string format(int status, const char *t1, const char *t2, unsigned long line) {
  pre_set_message_args(t1, t2);
  pre_set_message_line(line);
  return pre_format_message(status);
}

TEST(MessageFormat, LinePositionFollowsTheTemplate) {
  // %lu as the third conversion.
  EXPECT_EQ(format(1, "X=", "qub.ini", 7),
            "QUB++ error 1: Bad configuration format \"X=\" in file qub.ini at line 7\n");
  // %lu as the second conversion.
  EXPECT_EQ(format(26, "a.c", "(token too long)", 12),
            "QUB++ error 26: Syntax error in file a.c at line 12 (token too long)\n");
  // %lu behind a single text.
  EXPECT_EQ(format(10, "a.c", nullptr, 3),
            "QUB++ warning 10: Identifier begins with 'qub_' in file a.c at line 3\n");
  // No %lu: the two texts.
  EXPECT_EQ(format(8, ": 0x", "2", 0),
            "QUB++ error 8: Cannot execute C or C++ compiler or compilation failed: 0x2\n");
  EXPECT_EQ(format(25, "QUB skip", "b.c", 40),
            "QUB++ warning 25: Pragma \"QUB skip\" encountered in function body (file b.c:40)\n");
}

TEST(MessageFormat, NotesCarryTheWordWarning) {
  EXPECT_EQ(format(37, "m.c", "", 5),
            "QUB++ warning 37: Decision not instrumented (because of 'const') in file m.c at line 5\n");
  EXPECT_TRUE(pre_is_note(37));
  EXPECT_TRUE(pre_is_warning(3));
  EXPECT_FALSE(pre_is_warning(9));
  EXPECT_TRUE(pre_is_error(9));
}

TEST(MessageFormat, ArgumentsAreClearedAfterEachMessage) {
  format(22, "first", "second", 0);
  EXPECT_EQ(std::string(pre_format_message(STATUS_OPEN_FAILED)), "QUB++ error 22: Cannot open file : \n");
}

TEST(MessageFormat, AbsentArgumentIsNull) {
  EXPECT_EQ(format(22, nullptr, "x", 0), "QUB++ error 22: Cannot open file (null): x\n");
}

TEST(MessageFormat, LongArgumentsAreCutInStoreAndByTheTemplate) {
  std::string long_text(2000, 'a');
  // 900 by the template of message 2.
  std::string m = format(2, long_text.c_str(), "", 0);
  EXPECT_EQ(m, "QUB++ error 2: Bad identification stamp in symbol file " + std::string(900, 'a') + "\n");
  // 450 by message 22.
  m = format(22, long_text.c_str(), long_text.c_str(), 0);
  EXPECT_EQ(m, "QUB++ error 22: Cannot open file " + std::string(450, 'a') + ": " + std::string(450, 'a') + "\n");
}

TEST(MessageFormat, StatusOutsideTheTableIsAnInternalError) {
  testing::internal::CaptureStderr();
  std::string m = pre_format_message(STATUS_OK);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(m, "QUB++ error 14: Unknown error\n");
  EXPECT_EQ(err, "** Please notify vendor about error on\n** line " + err.substr(err.find("line ") + 5, err.find(',') - err.find("line ") - 5) +
                     ", module src/pre/preerror\n\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(std::string(pre_format_message(39)), "QUB++ error 14: Unknown error\n");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Please notify vendor"), std::string::npos);
  testing::internal::CaptureStderr();
  EXPECT_EQ(std::string(pre_format_message(15)), "QUB++ error 14: Unknown error\n");
  testing::internal::GetCapturedStderr();
}

class ReportTest : public testing::Test {
 protected:
  void SetUp() override { pre_run_state_reset(); }
  void TearDown() override { pre_run_state_reset(); }
  std::string report(pre_status status, report_mode mode) {
    testing::internal::CaptureStderr();
    pre_report(status, mode);
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(ReportTest, WarningsShowUnlessSuppressed) {
  pre_set_message_args("a.c", "");
  pre_set_message_line(4);
  EXPECT_EQ(report(STATUS_MISMATCHED_ENDSKIP, REPORT_CONTINUE), "QUB++ warning 19: Mismatched \"QUB ENDSKIP\" in file a.c at line 4\n");
  g_run.no_warnings = true;
  pre_set_message_args("a.c", "");
  EXPECT_EQ(report(STATUS_MISMATCHED_ENDSKIP, REPORT_CONTINUE), "");
}

TEST_F(ReportTest, NotesShowOnlyWithVerboseAndNeverWithNoWarnings) {
  pre_set_message_args("a.c", "");
  EXPECT_EQ(report(STATUS_ABNORMAL_CASE, REPORT_CONTINUE), "");
  g_run.verbose = true;
  pre_set_message_args("a.c", "");
  pre_set_message_line(9);
  EXPECT_EQ(report(STATUS_ABNORMAL_CASE, REPORT_CONTINUE), "QUB++ warning 32: Abnormal use of case/default, not instrumented (file a.c:9)\n");
  g_run.no_warnings = true;
  EXPECT_EQ(report(STATUS_ABNORMAL_CASE, REPORT_CONTINUE), "");
}

TEST_F(ReportTest, ErrorsPrintInModeZeroAndReturn) {
  pre_set_message_args("f", "why");
  EXPECT_EQ(report(STATUS_CREATE_FAILED, REPORT_CONTINUE), "QUB++ error 9: Cannot create file f: why\n");
}

TEST_F(ReportTest, ModeTwoReturnsForAWarning) {
  pre_set_message_args("QUB x", "a.c");
  pre_set_message_line(2);
  EXPECT_EQ(report(STATUS_BAD_PRAGMA, REPORT_FATAL_IF_ERROR), "QUB++ warning 3: Bad or misplaced QUB++ pragma \"QUB x\" in file a.c at line 2\n");
}

TEST(ReportDeath, ModeTwoEndsTheProcessForAnError) {
  EXPECT_EXIT(
      {
        pre_set_message_args("f", "why");
        pre_report(STATUS_CREATE_FAILED, REPORT_FATAL_IF_ERROR);
      },
      testing::ExitedWithCode(1), "^QUB\\+\\+ error 9: Cannot create file f: why\n$");
}

TEST(ReportDeath, ModeOneEndsWithStatusOne) {
  EXPECT_EXIT(pre_report(STATUS_OUT_OF_MEMORY, REPORT_FATAL), testing::ExitedWithCode(1), "^QUB\\+\\+ error 23: Out of memory\n$");
}

TEST(ReportDeath, CommandLineErrorAddsTheHintLine) {
  EXPECT_EXIT(
      {
        pre_set_message_args("compiler command is missing", "");
        pre_report(STATUS_BAD_COMMAND_LINE, REPORT_FATAL);
      },
      testing::ExitedWithCode(1),
      "^QUB\\+\\+ error 13: Erroneous command line, compiler command is missing \n"
      "Type 'qub -h' for usage information\n$");
}

TEST(ReportDeath, UsageStatusExitsZero) {
  EXPECT_EXIT(pre_report(STATUS_USAGE, REPORT_FATAL), testing::ExitedWithCode(0), "");
}

TEST(ReportDeath, FatalReportClosesTrackedFilesSoTheirDataIsWritten) {
  std::string path = testing::TempDir() + "qub_tracked_file_" + std::to_string(getpid()) + ".txt";
  std::remove(path.c_str());
  EXPECT_EXIT(
      {
        std::FILE *f = pre_fopen(path.c_str(), "w");
        std::fputs("kept", f);
        pre_report(STATUS_UNKNOWN_ERROR, REPORT_FATAL);
      },
      testing::ExitedWithCode(1), "Unknown error");
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  EXPECT_EQ(s.str(), "kept");
  std::remove(path.c_str());
}

TEST(ReportDeath, FatalIsAReportThatNeverReturns) {
  EXPECT_EXIT(
      {
        pre_set_message_args("f", "why");
        pre_fatal(STATUS_CLOSE_FAILED);
      },
      testing::ExitedWithCode(1), "^QUB\\+\\+ error 5: Cannot close file f: why\n$");
}

TEST(WholeFile, WritesTheTextAndNamesTheFailingStep) {
  std::string path = testing::TempDir() + "qub_whole_file_" + std::to_string(getpid()) + ".txt";
  pre_write_file(path.c_str(), "one\0two", 7);
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  EXPECT_EQ(s.str(), std::string("one\0two", 7));
  std::remove(path.c_str());
  EXPECT_EXIT(pre_write_file("/nonexistent-dir/x", "a", 1), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 9: Cannot create file /nonexistent-dir/x: No such file or directory\n$");
  EXPECT_EXIT(pre_write_file("/dev/full", "a", 1), testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 34: Cannot write file /dev/full: No space left on device\n$");
}

TEST(OpenFiles, CloseRemovesFromTheList) {
  std::string path = testing::TempDir() + "qub_open_files_" + std::to_string(getpid()) + ".txt";
  std::FILE *f = pre_fopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(pre_fclose(f), 0);
  pre_close_all_files();  // nothing left to close twice
  EXPECT_EQ(pre_fopen("/nonexistent-dir/x", "r"), nullptr);
  std::remove(path.c_str());
}

TEST(SettingsLog, FoldsAtSeventyFiveColumns) {
  std::string dir = testing::TempDir() + "qub_log_test_" + std::to_string(getpid());
  mkdir(dir.c_str(), 0700);
  setenv("TEMP", dir.c_str(), 1);
  pre_run_state_reset();
  pre_log_forget();
  ASSERT_TRUE(pre_log_open("qub"));
  EXPECT_TRUE(pre_log_is_open());
  std::string name = pre_log_name();
  EXPECT_EQ(name.rfind(dir + "/qublog/qublog_", 0), 0u) << name;
  EXPECT_EQ(name.size() - name.rfind('/') - 1, std::string("qublog_20261122_101010_12345.txt").size());
  pre_log_text(std::string(200, 'x').c_str());
  pre_log_newline();
  pre_log_text("");
  pre_log_line(nullptr);
  pre_log_close();
  EXPECT_FALSE(pre_log_is_open());
  // A later open appends to the same file.
  ASSERT_TRUE(pre_log_open("qub"));
  EXPECT_EQ(name, pre_log_name());
  pre_log_line("again");
  pre_log_close();
  std::ifstream in(name);
  std::stringstream s;
  s << in.rdbuf();
  EXPECT_EQ(s.str(), std::string(75, 'x') + "\n" + std::string(75, 'x') + "\n" + std::string(50, 'x') +
                         "\n(null)\nagain\n");
  std::string date = pre_log_date();
  EXPECT_EQ(date.size(), 25u);
  EXPECT_EQ(date.back(), '\n');
  std::remove(name.c_str());
  unsetenv("TEMP");
}

}  // namespace
