// The merge into the symbol file: new file, added, unchanged and updated descriptions,
// the names, and the refusals of bad symbol files and bad settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "symbol_file_check.h"
#include "symbol_test_support.h"

namespace {

using symtest::SymbolTest;


// One description of a symbol file: its lines from "@" to the counts line.
struct description {
  std::string name;
  std::vector<std::string> lines;
};

std::vector<description> descriptions_of(const std::string &text) {
  std::vector<std::string> lines = symtest::lines_to_end_mark(text);
  std::vector<description> result;
  for (std::size_t i = 2; i < lines.size(); i++) {
    if (lines[i][0] == '@') result.push_back({lines[i].substr(1), {}});
    if (lines[i][0] == 'E') break;
    if (!result.empty()) result.back().lines.push_back(lines[i]);
  }
  return result;
}

std::vector<std::string> head_fields(const description &d) {
  std::vector<std::string> fields;
  std::string head = d.lines.at(1);
  std::size_t start = 0;
  while (start <= head.size()) {
    std::size_t end = head.find(' ', start);
    if (end == std::string::npos) end = head.size();
    fields.push_back(head.substr(start, end - start));
    start = end + 1;
  }
  return fields;
}

std::string verbose_line(const char *what) { return std::string(what) + pre_symbol_display_name() + "\n"; }

// Puts a time stamp into the head of the named description of the symbol file.
void set_stored_time_stamp(const std::string &path, const std::string &source, long long stamp) {
  std::vector<std::string> lines = symtest::split_lines(symtest::read_file(path));
  for (std::size_t i = 0; i + 1 < lines.size(); i++) {
    if (lines[i] != "@" + source) continue;
    std::string &head = lines[i + 1];
    std::size_t a = head.find(' '), b = head.find(' ', a + 1);
    head = head.substr(0, a + 1) + std::to_string(stamp) + head.substr(b);
  }
  std::string text;
  for (const std::string &l : lines) text += l + "\n";
  symtest::write_file(path, text);
}

// --- the three ways a description enters -----------------------------------------------------

TEST_F(SymbolTest, NewFileIsCreatedWithBothVerboseLines) {
  g_run.verbose = true;
  ::testing::internal::CaptureStderr();
  commit_example("a.c");
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, verbose_line("qub: creating ") + verbose_line("qub: adding file to "));
  EXPECT_EQ(std::string(pre_symbol_display_name()), dir + "/MON.sym");
  std::vector<description> ds = descriptions_of(symtest::read_file(sym_path()));
  ASSERT_EQ(ds.size(), 1u);
  EXPECT_EQ(ds[0].name, "a.c");
  EXPECT_EQ(head_fields(ds[0]).at(3), "0");
}

TEST_F(SymbolTest, SecondFileIsAddedInFrontOfTheEndMark) {
  commit_example("a.c");
  std::string first = symtest::read_file(sym_path());
  g_run.verbose = true;
  ::testing::internal::CaptureStderr();
  commit_example("b.c", true);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), verbose_line("qub: adding file to "));
  std::string second = symtest::read_file(sym_path());
  std::size_t end_mark = first.find("END OF SYMBOLFILE\n");
  // Everything of the first description stays byte for byte; line 2 is the new date.
  std::size_t after_date = first.find('\n', first.find('\n') + 1) + 1;
  EXPECT_EQ(second.substr(after_date, end_mark - after_date), first.substr(after_date, end_mark - after_date));
  std::vector<description> ds = descriptions_of(second);
  ASSERT_EQ(ds.size(), 2u);
  EXPECT_EQ(ds[1].name, "b.c");
  EXPECT_EQ(ds[1].lines.size(), 11u);
  EXPECT_EQ(second.substr(second.size() - 18), "END OF SYMBOLFILE\n");
}

TEST_F(SymbolTest, UnchangedDescriptionWritesNothingAndKeepsTheTimeStamp) {
  commit_example("a.c");
  commit_example("b.c");
  set_stored_time_stamp(sym_path(), "a.c", 1234567890);
  std::string before = symtest::read_file(sym_path());
  struct timeval old_times[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(utimes(sym_path().c_str(), old_times), 0);
  unsigned long stored_fingerprint = std::stoul(head_fields(descriptions_of(before)[0]).at(2), nullptr, 16);

  g_run.verbose = true;
  ::testing::internal::CaptureStderr();
  commit_example("a.c");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), verbose_line("qub: unchanged file in "));
  EXPECT_EQ(pre_symbol_time_stamp(), 1234567890);
  EXPECT_EQ(pre_symbol_fingerprint(), stored_fingerprint);
  EXPECT_EQ(symtest::read_file(sym_path()), before);
  struct stat st;
  ASSERT_EQ(stat(sym_path().c_str(), &st), 0);
  EXPECT_EQ(st.st_mtime, 1000000000);
}

TEST_F(SymbolTest, ChangedDescriptionIsUpdatedInPlace) {
  commit_example("a.c");
  commit_example("b.c");
  commit_example("c.c");
  std::vector<description> before = descriptions_of(symtest::read_file(sym_path()));
  set_stored_time_stamp(sym_path(), "b.c", 1234567890);

  g_run.verbose = true;
  ::testing::internal::CaptureStderr();
  commit_example("b.c", true);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), verbose_line("qub: updating file in "));
  g_run.verbose = false;
  EXPECT_NE(pre_symbol_time_stamp(), 1234567890);
  std::vector<description> after = descriptions_of(symtest::read_file(sym_path()));
  ASSERT_EQ(after.size(), 3u);
  EXPECT_EQ(after[0].lines, before[0].lines);
  EXPECT_EQ(after[1].name, "b.c");
  EXPECT_EQ(after[1].lines.size(), before[1].lines.size() + 1);
  EXPECT_EQ(head_fields(after[1]).at(3), "1");
  EXPECT_EQ(head_fields(after[1]).at(1), std::to_string(pre_symbol_time_stamp()));
  EXPECT_EQ(after[2].lines, before[2].lines);

  // Shorter again: the file ends at its end mark.
  std::size_t long_size = symtest::read_file(sym_path()).size();
  commit_example("b.c");
  std::string text = symtest::read_file(sym_path());
  EXPECT_LT(text.size(), long_size);
  EXPECT_EQ(text.find("END OF SYMBOLFILE\n"), text.size() - 18);
  after = descriptions_of(text);
  ASSERT_EQ(after.size(), 3u);
  EXPECT_EQ(after[1].lines.size(), before[1].lines.size());
  EXPECT_EQ(head_fields(after[1]).at(3), "2");
  EXPECT_EQ(after[2].lines, before[2].lines);

  // The next addition writes over the stale bytes.
  commit_example("d.c");
  after = descriptions_of(symtest::read_file(sym_path()));
  ASSERT_EQ(after.size(), 4u);
  EXPECT_EQ(after[3].name, "d.c");
  EXPECT_EQ(after[2].lines, before[2].lines);
}

TEST_F(SymbolTest, ChangeInTheSameSecondRaisesTheTimeStampByOne) {
  commit_example("a.c");
  describe_example("a.c", true);
  long long taken = pre_symbol_time_stamp();
  set_stored_time_stamp(sym_path(), "a.c", taken);
  pre_symbol_commit("a.c", 6);
  EXPECT_EQ(pre_symbol_time_stamp(), taken + 1);
  std::vector<description> ds = descriptions_of(symtest::read_file(sym_path()));
  EXPECT_EQ(head_fields(ds.at(0)).at(1), std::to_string(taken + 1));
}

TEST_F(SymbolTest, TimeStampsOfOneSourceNeverRepeat) {
  // Changes faster than the clock: every revision gets a time stamp of its own.
  std::vector<long long> stamps;
  for (int i = 0; i < 6; i++) {
    commit_example("a.c", i % 2 == 1);
    stamps.push_back(pre_symbol_time_stamp());
  }
  for (std::size_t i = 1; i < stamps.size(); i++) EXPECT_GT(stamps[i], stamps[i - 1]) << "revision " << i;
  // A stored time stamp ahead of the clock is still passed.
  set_stored_time_stamp(sym_path(), "a.c", stamps.back() + 100);
  commit_example("a.c", false);
  EXPECT_EQ(pre_symbol_time_stamp(), stamps.back() + 101);
}

TEST_F(SymbolTest, AnotherModeCountsAsAChange) {
  commit_example("a.c");
  g_run.instrument_multicondition = true;
  commit_example("a.c");
  std::vector<description> ds = descriptions_of(symtest::read_file(sym_path()));
  ASSERT_EQ(ds.size(), 1u);
  EXPECT_EQ(head_fields(ds[0]).at(0), "7");
  EXPECT_EQ(head_fields(ds[0]).at(3), "1");
}

TEST_F(SymbolTest, TrailingBlanksOfStoredLinesAreNotCopiedAgain) {
  commit_example("a.c");
  commit_example("b.c");
  std::string text = symtest::read_file(sym_path());
  std::size_t at = text.find("@b.c\n");
  ASSERT_NE(at, std::string::npos);
  text.insert(at + 4, "   ");  // "@b.c   "
  std::size_t counts = text.find("%6,1,2,1,0,0\n", at);
  text.insert(counts + 12, "  ");
  symtest::write_file(sym_path(), text);
  commit_example("a.c", true);  // rewrites b.c behind the changed a.c
  std::string after = symtest::read_file(sym_path());
  EXPECT_NE(after.find("@b.c\n"), std::string::npos);
  EXPECT_EQ(after.find("@b.c "), std::string::npos);
  EXPECT_EQ(after.find("%6,1,2,1,0,0 "), std::string::npos);
  // The stored name with blanks still matches its source.
  commit_example("b.c");
  EXPECT_EQ(descriptions_of(symtest::read_file(sym_path())).size(), 2u);
}

TEST_F(SymbolTest, RecordTextEndingInBlanksKeepsARebuildUnchanged) {
  auto describe = [] {
    pre_reset_counters();
    pre_symbol_begin_file("a.c");
    pre_symbol_record(pre_next_function_counter(), 0, 0, 1, 0, "f");
    pre_symbol_record(pre_next_decision_counter(), 20, 1, 2, 0, "x > 0 ");
    pre_symbol_record(0, 42, 1, 3, 0, "   ");
    pre_symbol_record(0, 2, 0, 4, 0, "f");
    pre_symbol_commit("a.c", 4);
  };
  describe();
  long long first = pre_symbol_time_stamp();
  std::string stored = symtest::read_file(sym_path());
  EXPECT_NE(stored.find("\n20 2 0 0 1 x > 0\n42 3 0 0 1\n"), std::string::npos) << stored;
  // The fingerprint covers the lines as stored.
  std::vector<description> ds = descriptions_of(stored);
  ASSERT_EQ(ds.size(), 1u);
  std::string covered = ds[0].lines[1].substr(0, 2);
  for (std::size_t i = 2; i < ds[0].lines.size(); i++) covered += ds[0].lines[i];
  EXPECT_EQ(pre_symbol_cksum(reinterpret_cast<const unsigned char *>(covered.data()), covered.size()),
            std::stoul(head_fields(ds[0]).at(2), nullptr, 16));

  g_run.verbose = true;
  ::testing::internal::CaptureStderr();
  describe();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), verbose_line("qub: unchanged file in "));
  EXPECT_EQ(pre_symbol_time_stamp(), first);
  EXPECT_EQ(symtest::read_file(sym_path()), stored);
}

// --- crashes and full disks ---------------------------------------------------------------------

// Entries of the directory whose names begin with the prefix.
std::vector<std::string> entries_with_prefix(const std::string &dir, const std::string &prefix) {
  std::vector<std::string> names;
  std::string listing = qubtest::run_command("ls -A '" + dir + "'").output;
  for (const std::string &name : symtest::split_lines(listing))
    if (name.rfind(prefix, 0) == 0) names.push_back(name);
  return names;
}

TEST_F(SymbolTest, KilledDuringAnUpdateLeavesTheOldFileOrTheNew) {
  const int n = 10000;
  const std::string original = symtest::symbol_file_of(n);
  // The change of the first description makes everything behind it move.
  auto commit_in_child = [this] {
    std::fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
      pre_symbol_reset();
      commit_example("file0.c");
      _exit(0);
    }
    return child;
  };
  // The shortest of three whole commits: the kills are spread over that time.
  double whole = 1e12;
  pid_t child = 0;
  int status = 0;
  for (int i = 0; i < 3; i++) {
    symtest::write_file(sym_path(), original);
    auto start = std::chrono::steady_clock::now();
    child = commit_in_child();
    waitpid(child, &status, 0);
    whole = std::min(whole, std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }

  int killed = 0;
  const int trials = 24;
  for (int t = 0; t < trials; t++) {
    symtest::write_file(sym_path(), original);
    child = commit_in_child();
    usleep(static_cast<useconds_t>(whole * t / trials));
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) killed++;
    symtest::symbol_file_view view = symtest::check_symbol_file(symtest::read_file(sym_path()));
    EXPECT_TRUE(view.ok) << "killed after " << whole * t / trials << " us: " << view.why;
    EXPECT_EQ(view.sources.size(), static_cast<std::size_t>(n));
    std::size_t records = view.sources["file0.c"].records.size();
    EXPECT_TRUE(records == 2 || records == 8) << records;
  }
  EXPECT_GE(killed, trials / 4);
}

TEST_F(SymbolTest, SymbolFileBehindALinkIsReplacedWhereItLies) {
  ASSERT_EQ(mkdir((dir + "/real").c_str(), 0700), 0);
  ASSERT_EQ(symlink("real/shared.sym", sym_path().c_str()), 0);
  commit_example("a.c");
  commit_example("a.c", true);
  struct stat st;
  ASSERT_EQ(lstat(sym_path().c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  std::vector<description> ds = descriptions_of(symtest::read_file(dir + "/real/shared.sym"));
  ASSERT_EQ(ds.size(), 1u);
  EXPECT_EQ(head_fields(ds[0]).at(3), "1");
  EXPECT_EQ(entries_with_prefix(dir + "/real", ""), std::vector<std::string>{"shared.sym"});
}

// Commits a longer description of source as a process that may write no file beyond
// the given size.
void commit_with_file_limit(SymbolTest *test, const char *source, rlim_t limit) {
  test->describe_example(source, true);
  std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit size = {limit, limit};
  if (setrlimit(RLIMIT_FSIZE, &size) != 0) std::_Exit(3);
  pre_symbol_commit(source, 6);
}

TEST_F(SymbolTest, WriteFailureLeavesTheOldFileUnchangedWithError34) {
  commit_example("a.c");
  commit_example("b.c");
  const std::string before = symtest::read_file(sym_path());
  const std::string message =
      qubtest::exactly("QUB++ error 34: Cannot write file " + sym_path() + ": File too large\n");
  // Growing a description in the middle, and adding one at the end.
  for (const char *source : {"a.c", "c.c"}) {
    EXPECT_EXIT(commit_with_file_limit(this, source, before.size()), ::testing::ExitedWithCode(1), message)
        << source;
    EXPECT_EQ(symtest::read_file(sym_path()), before) << source;
    EXPECT_EQ(entries_with_prefix(dir, "MON.sym"), std::vector<std::string>{"MON.sym"});
  }
  // A new symbol file that cannot be written is not left behind half written. The limit
  // leaves room for the description, not for the file around it.
  unlink(sym_path().c_str());
  commit_example("a.c", true);
  std::size_t whole = symtest::read_file(sym_path()).size();
  unlink(sym_path().c_str());
  EXPECT_EXIT(commit_with_file_limit(this, "a.c", whole - 20), ::testing::ExitedWithCode(1), message);
  EXPECT_EQ(entries_with_prefix(dir, "MON.sym"), std::vector<std::string>{});
}

// --- names -----------------------------------------------------------------------------------

TEST_F(SymbolTest, NamesFromTheMonitorName) {
  struct name_case {
    const char *given, *symbol, *data, *monitor;
  };
  const name_case cases[] = {
      {"x.sym", "x.sym", "x.dat", "x"},          {"x", "x.sym", "x.dat", "x"},
      {"x.foo", "x.foo.sym", "x.foo.dat", "x"},  {"sub/y.sym", "sub/y.sym", "sub/y.dat", "y"},
      {"MON", "MON.sym", "MON.dat", "MON"},      {"./d/../z", "./d/../z.sym", "z.dat", "z"},
  };
  for (const name_case &c : cases) {
    set_symbol_name(c.given);
    EXPECT_EQ(std::string(pre_symbol_file_path()), c.symbol) << c.given;
    EXPECT_EQ(std::string(pre_symbol_data_file_name()), dir + "/" + c.data) << c.given;
    EXPECT_EQ(std::string(pre_symbol_monitor_name()), c.monitor) << c.given;
    EXPECT_EQ(std::string(pre_symbol_lock_path()), std::string(c.symbol) + ".lock") << c.given;
  }
  set_symbol_name("/abs/where/w");
  EXPECT_EQ(std::string(pre_symbol_file_path()), "/abs/where/w.sym");
  EXPECT_EQ(std::string(pre_symbol_display_name()), "/abs/where/w.sym");
  EXPECT_EQ(std::string(pre_symbol_data_file_name()), "/abs/where/w.dat");
  // Settled once: a later change of the option does not move them.
  std::free(g_run.symbol_file_name);
  g_run.symbol_file_name = pre_xstrdup("other");
  EXPECT_EQ(std::string(pre_symbol_file_path()), "/abs/where/w.sym");
}

TEST_F(SymbolTest, PrepareGivesADescriptionFileThatIsRemovedAtExit) {
  pre_symbol_prepare();
  std::string name = pre_symbol_description_name();
  EXPECT_EQ(name.rfind(dir + "/QUB." + std::to_string(getpid()) + ".", 0), 0u) << name;
  EXPECT_EQ(access(name.c_str(), F_OK), 0);
  // A child process that ends through exit() removes it.
  pid_t child = fork();
  if (child == 0) std::exit(0);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_NE(access(name.c_str(), F_OK), 0);
}

// --- refusals --------------------------------------------------------------------------------

TEST_F(SymbolTest, WrongFirstLineIsError2AndLeavesTheFileAlone) {
  const char *bad_heads[] = {"QUB++ sym 8\n", "QUB++ sym 9 extra\n", "hello\n", "\n"};
  for (const char *head : bad_heads) {
    std::string text = std::string(head) + "Mon Jan  1 00:00:00 2024\n@a.c\n1 5 00000000 0 0\n%1,0,0,0,0,0\n"
                                           "END OF SYMBOLFILE\n";
    symtest::write_file(sym_path(), text);
    EXPECT_EXIT(commit_example("b.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly("QUB++ error 2: Bad identification stamp in symbol file " + sym_path() + "\n"))
        << head;
    EXPECT_EQ(symtest::read_file(sym_path()), text);
  }
}

TEST_F(SymbolTest, FirstTwoLinesNotAsWrittenAreError2AndLeaveTheFileAlone) {
  const std::string rest = "@a.c\n1 5 00000000 0 0\n%1,0,0,0,0,0\nEND OF SYMBOLFILE\n";
  const std::string good_date = "Mon Jan  1 00:00:00 2024\n";
  const std::string heads[] = {
      "QUB++ sym 9  \n" + good_date,                      // blanks behind the identification
      "QUB++ sym 9\r\n" + good_date,
      "QUB++ sym 9\nbroken\n",                            // a damaged date line
      "QUB++ sym 9\n\n",
      "QUB++ sym 9\nMon Jan  1 00:00:00 2024 \n",         // 25 characters
      "QUB++ sym 9\nMon Jan  1 00:00:00 202\n",           // 23 characters
      "QUB++ sym 9\nXyz Jan  1 00:00:00 2024\n",
      "QUB++ sym 9\nMon Jan 1  00:00:00 2024\n",
      "QUB++ sym 9\nMon Jan  1 00-00:00 2024\n",
  };
  for (const std::string &head : heads) {
    symtest::write_file(sym_path(), head + rest);
    EXPECT_EXIT(commit_example("b.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly("QUB++ error 2: Bad identification stamp in symbol file " + sym_path() + "\n"))
        << head;
    EXPECT_EQ(symtest::read_file(sym_path()), head + rest);
  }
  // Every form that the date takes is accepted.
  for (const char *date : {"Sun Dec 31 23:59:59 1999", "Wed Feb 29 12:05:09 2040", "Sat Oct 10 01:02:03 2020"}) {
    symtest::write_file(sym_path(), "QUB++ sym 9\n" + std::string(date) + "\n" + rest);
    commit_example("b.c");
    EXPECT_EQ(descriptions_of(symtest::read_file(sym_path())).size(), 2u) << date;
  }
}

TEST_F(SymbolTest, NamesWithALineEndAreRefusedBeforeAnythingIsWritten) {
  commit_example("a.c");
  std::string before = symtest::read_file(sym_path());
  const std::string hint = "Type 'qub -h' for usage information\n";
  const std::string refusal =
      "QUB++ error 13: Erroneous command line, file name holds a line feed or carriage return: ";
  for (const char *source : {"x.c\nEND OF SYMBOLFILE\n@y.c", "x\r.c", "\n"}) {
    EXPECT_EXIT(commit_example(source), ::testing::ExitedWithCode(1),
                qubtest::exactly(refusal + source + "\n" + hint));
    EXPECT_EQ(symtest::read_file(sym_path()), before);
  }
  for (const char *name : {"M\nON", "MON\r"}) {
    set_symbol_name(dir + "/" + name);
    std::string symbol = dir + "/" + name + ".sym";
    EXPECT_EXIT(commit_example("a.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly(refusal + symbol + "\n" + hint));
    EXPECT_NE(access(symbol.c_str(), F_OK), 0);
  }
}

TEST_F(SymbolTest, TruncatedFileIsError24) {
  const std::string cut_files[] = {
      "QUB++ sym 9\n",
      "QUB++ sym 9\nMon Jan  1 00:00:00 2024\n@a.c\n3 5 00000000 0 0\n0 1 0 0 0 f\n",
      "QUB++ sym 9\nMon Jan  1 00:00:00 2024\n@b.c\n",
  };
  for (const std::string &text : cut_files) {
    symtest::write_file(sym_path(), text);
    EXPECT_EXIT(commit_example("b.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly("QUB++ error 24: Cannot read file " + sym_path() + ": unexpected end of file\n"));
    EXPECT_EQ(symtest::read_file(sym_path()), text);
  }
}

TEST_F(SymbolTest, StoredHeadWithoutFiveFieldsIsError24) {
  const char *heads[] = {"3 5 00000000 0\n", "3 5 00000000 0 0 7\n", "3 x 00000000 0 0\n", "\n"};
  for (const char *head : heads) {
    std::string text = "QUB++ sym 9\nMon Jan  1 00:00:00 2024\n@b.c\n" + std::string(head) +
                       "%1,0,0,0,0,0\nEND OF SYMBOLFILE\n";
    symtest::write_file(sym_path(), text);
    EXPECT_EXIT(commit_example("b.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly("QUB++ error 24: Cannot read file " + sym_path() + ": bad description head\n"))
        << head;
    EXPECT_EQ(symtest::read_file(sym_path()), text);
  }
}

// Runs the commit as a user who may not write the symbol file.
void commit_without_write_permission(SymbolTest *test) {
  if (geteuid() == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) std::_Exit(3);
    pre_symbol_reset();
  }
  test->commit_example("a.c");
}

TEST_F(SymbolTest, ReadOnlySymbolFileIsError9) {
  std::string text = "QUB++ sym 9\nMon Jan  1 00:00:00 2024\nEND OF SYMBOLFILE\n";
  symtest::write_file(sym_path(), text);
  ASSERT_EQ(chmod(sym_path().c_str(), 0444), 0);
  ASSERT_EQ(chmod(dir.c_str(), 0777), 0);
  EXPECT_EXIT(commit_without_write_permission(this), ::testing::ExitedWithCode(1),
              qubtest::exactly("QUB++ error 9: Cannot create file " + sym_path() + ": Permission denied\n"));
  EXPECT_EQ(symtest::read_file(sym_path()), text);
}

TEST_F(SymbolTest, LockWaitThatIsNoNumberIsError4) {
  for (const char *value : {"abc", "12x", "", "5 "}) {
    setenv("QUB_LOCK_MAX_WAIT", value, 1);
    EXPECT_EXIT(commit_example("a.c"), ::testing::ExitedWithCode(1),
                qubtest::exactly("QUB++ error 4: Environment variable QUB_LOCK_MAX_WAIT has illegal value \"" +
                                 std::string(value) + "\"\n"));
    EXPECT_NE(access(sym_path().c_str(), F_OK), 0) << "nothing may be created";
  }
}

}  // namespace
