// The description format: records, "#line" records, index lists, the head and the
// fingerprint, checked through the record interface and the finished symbol file.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "symbol_test_support.h"

namespace {

using symtest::SymbolTest;

// Records of the description as they stand in the symbol file (without name, head,
// counts line and end mark), for a symbol file holding one description.
std::vector<std::string> record_lines(const std::string &sym) {
  std::vector<std::string> lines = symtest::lines_to_end_mark(symtest::read_file(sym));
  std::vector<std::string> records;
  for (std::size_t i = 4; i < lines.size() && lines[i][0] != '%'; i++) records.push_back(lines[i]);
  return records;
}

// The bytes that the fingerprint covers, taken from a description file: no name line,
// two characters of the head, every later line to the counts line without line feed.
std::string fingerprint_bytes(const std::string &description) {
  std::vector<std::string> lines = symtest::split_lines(description);
  std::string bytes = lines.at(1).substr(0, 2);
  for (std::size_t i = 2; i < lines.size(); i++) {
    bytes += lines[i];
    if (lines[i][0] == '%') break;
  }
  return bytes;
}

std::string hex8(unsigned long value) {
  char text[16];
  std::snprintf(text, sizeof text, "%08lX", value);
  return text;
}

TEST_F(SymbolTest, WorkedExampleLineForLine) {
  commit_example("t.c");
  std::vector<std::string> lines = symtest::split_lines(symtest::read_file(sym_path()));
  std::vector<std::string> expected = {
      "QUB++ sym 9",
      "",  // date, checked below
      "@t.c",
      "3 " + std::to_string(pre_symbol_time_stamp()) + " " + hex8(pre_symbol_fingerprint()) + " 0 0",
      "0 1 0 0 0 f",
      "90 0 0 0 0 int a",
      "20 3 0 0 1 a",
      "13 4 1 0 2 1",
      "3 4 1 0 1",
      "13 5 2 1 1 0",
      "2 6 2 0 0 f",
      "%6,1,2,1,0,0",
      "END OF SYMBOLFILE",
  };
  ASSERT_EQ(lines.size(), expected.size());
  for (std::size_t i = 0; i < lines.size(); i++)
    if (i != 1) {
      EXPECT_EQ(lines[i], expected[i]) << "line " << i + 1;
    }
  EXPECT_EQ(lines[1].size(), 24u);
  EXPECT_TRUE(std::regex_match(lines[1], std::regex("(Mon|Tue|Wed|Thu|Fri|Sat|Sun) "
                                                    "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) "
                                                    "[ 123][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4}")))
      << lines[1];
  long long now = static_cast<long long>(time(nullptr));
  EXPECT_LE(pre_symbol_time_stamp(), now);
  EXPECT_GE(pre_symbol_time_stamp(), now - 5);
}

TEST_F(SymbolTest, FingerprintIsWhatCksumPrintsForTheCoveredBytes) {
  commit_example("t.c");
  std::string bytes = fingerprint_bytes(symtest::read_file(pre_symbol_description_name()));
  std::string expected_bytes =
      "3 0 1 0 0 0 f90 0 0 0 0 int a20 3 0 0 1 a13 4 1 0 2 13 4 1 0 113 5 2 1 1 02 6 2 0 0 f%6,1,2,1,0,0";
  EXPECT_EQ(bytes, expected_bytes);
  EXPECT_EQ(symtest::cksum_command(dir, bytes),
            std::to_string(pre_symbol_fingerprint()) + " " + std::to_string(bytes.size()));
}

TEST_F(SymbolTest, ChecksumAgreesWithCksumOnAssortedBlocks) {
  std::vector<std::string> blocks = {"", "a", "123456789", std::string(256, '\0'), std::string(70000, 'x')};
  std::string mixed;
  for (int i = 0; i < 100000; i++) mixed += static_cast<char>((i * 7919 + i / 13) & 0xFF);
  blocks.push_back(mixed);
  for (const std::string &block : blocks) {
    std::uint32_t value =
        pre_symbol_cksum(reinterpret_cast<const unsigned char *>(block.data()), block.size());
    EXPECT_EQ(symtest::cksum_command(dir, block), std::to_string(value) + " " + std::to_string(block.size()))
        << "block of " << block.size() << " bytes";
  }
}

TEST_F(SymbolTest, FingerprintIgnoresNameAndHeadButNotRecordsOrMode) {
  commit_example("a.c");
  unsigned long base = pre_symbol_fingerprint();

  set_symbol_name(dir + "/other");
  commit_example("b.c");
  EXPECT_EQ(pre_symbol_fingerprint(), base) << "another name, same records";

  set_symbol_name(dir + "/third");
  commit_example("a.c", true);
  EXPECT_NE(pre_symbol_fingerprint(), base) << "one record more";

  set_symbol_name(dir + "/fourth");
  g_run.instrument_multicondition = true;
  commit_example("a.c");
  EXPECT_NE(pre_symbol_fingerprint(), base) << "mode digit 7";
}

TEST_F(SymbolTest, ModeBitsAndWhatTheFingerprintTakesOfThem) {
  struct mode_case {
    bool decision, multi, inclusive, exclusive;
    unsigned bits;
  };
  const mode_case cases[] = {
      {false, false, false, false, 1},  {true, false, false, false, 3},   {true, true, false, false, 7},
      {true, false, true, false, 11},   {true, false, false, true, 19},   {true, false, true, true, 11},
      {false, false, false, true, 17},  {true, true, true, false, 15},
  };
  int n = 0;
  for (const mode_case &c : cases) {
    set_symbol_name(dir + "/mode" + std::to_string(n++));
    g_run.instrument_decision = c.decision;
    g_run.instrument_multicondition = c.multi;
    g_run.instrument_inclusive_timing = c.inclusive;
    g_run.instrument_exclusive_timing = c.exclusive;
    commit_example("t.c");
    std::vector<std::string> lines = symtest::split_lines(symtest::read_file(pre_symbol_file_path()));
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[3].substr(0, lines[3].find(' ')), std::to_string(c.bits));
    std::string bytes = fingerprint_bytes(symtest::read_file(pre_symbol_description_name()));
    EXPECT_EQ(bytes.substr(0, 2), c.bits < 10 ? std::to_string(c.bits) + " " : std::to_string(c.bits));
    EXPECT_EQ(symtest::cksum_command(dir, bytes),
              std::to_string(pre_symbol_fingerprint()) + " " + std::to_string(bytes.size()));
    // The counts line carries the function count as TIME size when timing is on.
    std::string counts;
    for (const std::string &l : lines)
      if (!l.empty() && l[0] == '%') counts = l;
    EXPECT_EQ(counts, (c.inclusive || c.exclusive) ? "%6,1,2,1,0,1" : "%6,1,2,1,0,0");
  }
}

TEST_F(SymbolTest, RecordTextForms) {
  pre_symbol_begin_file("t.c");
  pre_symbol_record(0, 3, 1, 4, 1, "");
  pre_symbol_record(0, 40, 1, 4, 1, nullptr);
  pre_symbol_record(2, 20, 1, 7, 3, "a\n&&\nb");
  pre_symbol_record(3, 22, 2, 9, 4, std::string(5000, 'c').c_str());
  pre_symbol_record(4, 14, 2, 10, 4, "case 1:");
  pre_symbol_commit("t.c", 10);
  std::vector<std::string> records = record_lines(sym_path());
  ASSERT_EQ(records.size(), 5u);
  EXPECT_EQ(records[0], "3 4 1 0 1");
  EXPECT_EQ(records[1], "40 4 1 0 1");
  EXPECT_EQ(records[2], "20 7 3 2 1 a&&b");
  EXPECT_EQ(records[3], "22 9 4 3 2 " + std::string(4000, 'c'));
  EXPECT_EQ(records[4], "14 10 4 4 2 case 1:");
}

TEST_F(SymbolTest, IndexListsForKinds78To81) {
  pre_symbol_begin_file("t.c");
  for (std::uint32_t p : {0u, 2u, 5u}) pre_symbol_add_index(p);
  pre_symbol_record(7, 78, 0, 0, 0, "not used");
  pre_symbol_record(7, 79, 0, 0, 0, "not used");
  pre_symbol_add_index(12);
  pre_symbol_record(7, 80, 0, 0, 0, nullptr);
  pre_symbol_add_index(1);
  pre_symbol_add_index(3);
  pre_symbol_record(7, 81, 0, 0, 0, "");
  pre_symbol_record(0, 77, 2, 5, 1, "x > 0");
  pre_symbol_commit("t.c", 5);
  std::vector<std::string> records = record_lines(sym_path());
  ASSERT_EQ(records.size(), 5u);
  EXPECT_EQ(records[0], "78 0 0 7 0 0,2,5");
  EXPECT_EQ(records[1], "79 0 0 7 0");
  EXPECT_EQ(records[2], "80 0 0 7 0 12");
  EXPECT_EQ(records[3], "81 0 0 7 0 1,3");
  EXPECT_EQ(records[4], "77 5 1 0 2 x > 0");
}

// A line directive as the token layer reports it: the line before, the new number and
// file name in the shared state, then the kind 50 record.
void directive(std::uint32_t before, std::uint32_t number, const char *name, std::uint32_t level = 0,
               std::uint32_t statements = 0) {
  line_before_directive = before;
  line_number = number;
  std::snprintf(current_file_name, sizeof current_file_name, "%s", name);
  pre_symbol_record(0, 50, level, number, statements, name);
}

TEST_F(SymbolTest, FunctionInAHeaderGetsLineRecordsBothWays) {
  std::strcpy(current_file_name, "a.c");
  pre_symbol_begin_file("a.c");
  directive(0, 1, "a.c");
  directive(1, 1, "<built-in>");
  directive(1, 1, "a.c");
  directive(1, 1, "h.h");
  pre_symbol_record(0, 0, 0, 2, 0, "g");
  pre_symbol_record(0, 2, 0, 3, 1, "g");
  directive(4, 3, "a.c");
  pre_symbol_record(1, 0, 0, 3, 0, "f");
  pre_symbol_record(0, 2, 0, 5, 0, "f");
  pre_symbol_commit("a.c", 5);
  std::vector<std::string> records = record_lines(sym_path());
  std::vector<std::string> expected = {
      "50 1 0 0 0 #line 1 \"" + dir + "/h.h\"", "0 2 0 0 0 g", "2 3 1 0 0 g",
      "50 2 0 0 0 #line 3 \"" + dir + "/a.c\"", "0 3 0 1 0 f", "2 5 0 0 0 f",
  };
  EXPECT_EQ(records, expected);
}

TEST_F(SymbolTest, NoLineRecordWhenNothingFallsInTheIncludedFile) {
  std::strcpy(current_file_name, "a.c");
  pre_symbol_begin_file("a.c");
  directive(0, 1, "a.c");
  directive(1, 1, "h.h");
  directive(9, 2, "a.c");
  pre_symbol_record(0, 0, 0, 2, 0, "f");
  pre_symbol_commit("a.c", 5);
  std::vector<std::string> records = record_lines(sym_path());
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0], "0 2 0 0 0 f");
}

TEST_F(SymbolTest, SeveralDirectivesWithoutRecordsLeaveOneLineRecord) {
  std::strcpy(current_file_name, "a.c");
  pre_symbol_begin_file("a.c");
  directive(0, 1, "a.c");
  directive(3, 1, "h1.h");
  directive(2, 1, "h2.h");
  directive(4, 5, "h2.h");
  directive(7, 9, "h2.h");
  pre_symbol_record(0, 0, 0, 9, 0, "g");
  pre_symbol_commit("a.c", 12);
  std::vector<std::string> records = record_lines(sym_path());
  ASSERT_EQ(records.size(), 2u);
  // The entry that entered h2.h (number 1) is shown: the line before it was 2.
  EXPECT_EQ(records[0], "50 2 0 0 0 #line 1 \"" + dir + "/h2.h\"");
  EXPECT_EQ(records[1], "0 9 0 0 0 g");
}

TEST_F(SymbolTest, DirectiveInsideABodyGivesKind51WithStatementsAndLevel) {
  std::strcpy(current_file_name, "a.c");
  pre_symbol_begin_file("a.c");
  directive(0, 1, "a.c");
  pre_symbol_record(0, 0, 0, 1, 0, "f");
  directive(4, 1, "body.inc", 2, 3);
  pre_symbol_record(0, 13, 2, 1, 3, "x");
  directive(2, 5, "a.c", 1, 4);
  pre_symbol_record(1, 13, 1, 5, 4, "y");
  pre_symbol_record(0, 2, 0, 6, 4, "f");
  pre_symbol_commit("a.c", 6);
  std::vector<std::string> records = record_lines(sym_path());
  std::vector<std::string> expected = {
      "0 1 0 0 0 f",
      "51 4 3 0 2 #line 1 \"" + dir + "/body.inc\"",
      "13 1 3 0 2 x",
      "51 4 4 0 1 #line 5 \"" + dir + "/a.c\"",
      "13 5 4 1 1 y",
      "2 6 4 0 0 f",
  };
  EXPECT_EQ(records, expected);
}

TEST_F(SymbolTest, LongFileNamesAreCutAt3980Characters) {
  std::strcpy(current_file_name, "a.c");
  pre_symbol_begin_file("a.c");
  std::string long_name = "/" + std::string(250, 'd');
  // 17 components of 251 characters give an absolute name above 3980 characters; the
  // shared current_file_name holds 261 bytes, so the long name goes straight to the record.
  std::string path;
  for (int i = 0; i < 17; i++) path += long_name;
  directive(0, 1, "a.c");
  line_before_directive = 1;
  pre_symbol_record(0, 50, 0, 1, 0, path.c_str());
  std::strcpy(current_file_name, "elsewhere.h");
  pre_symbol_record(0, 0, 0, 1, 0, "f");
  pre_symbol_commit("a.c", 1);
  std::vector<std::string> records = record_lines(sym_path());
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0], "50 1 0 0 0 #line 1 \"" + path.substr(0, 3980) + "\"");
}

TEST_F(SymbolTest, RecordsWithoutAnOpenDescriptionAreDropped) {
  pre_symbol_record(0, 0, 0, 1, 0, "f");  // no description begun: nothing to write to
  commit_example("t.c");
  EXPECT_EQ(record_lines(sym_path()).size(), 7u);
}

std::string escape_regex(const std::string &text) {
  std::string out;
  for (char c : text) {
    if (std::strchr(".^$|()[]{}*+?\\", c)) out += '\\';
    out += c;
  }
  return out;
}

TEST_F(SymbolTest, DescriptionFileThatCannotBeOpenedIsError9) {
  pre_symbol_prepare();
  std::string name = pre_symbol_description_name();
  ASSERT_EQ(unlink(name.c_str()), 0);
  ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
  EXPECT_EXIT(pre_symbol_begin_file("t.c"), ::testing::ExitedWithCode(1),
              "QUB\\+\\+ error 9: Cannot create file " + escape_regex(name) + ": Is a directory\n");
}

TEST_F(SymbolTest, DescriptionWriteFailureIsError34) {
  pre_symbol_prepare();
  std::string name = pre_symbol_description_name();
  ASSERT_EQ(unlink(name.c_str()), 0);
  ASSERT_EQ(symlink("/dev/full", name.c_str()), 0);
  EXPECT_EXIT(commit_example("t.c"), ::testing::ExitedWithCode(1),
              "QUB\\+\\+ error 34: Cannot write file " + escape_regex(name) + ": No space left on device\n");
}

}  // namespace
