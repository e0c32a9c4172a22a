// Shared set-up of the symbol file tests: a private directory that holds the symbol
// file and the temporary files, and small file helpers.
#ifndef QUB_TESTS_SYMBOL_TEST_SUPPORT_H
#define QUB_TESTS_SYMBOL_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "base/base.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "preparse/token.h"
#include "prepath/prepath.h"
#include "symbol/symbol.h"
#include "test_util.h"

namespace symtest {

using qubtest::read_file;
using qubtest::write_file;

inline std::vector<std::string> split_lines(const std::string &text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// Lines of a symbol file up to and including the end mark.
inline std::vector<std::string> lines_to_end_mark(const std::string &text) {
  std::vector<std::string> all = split_lines(text), result;
  for (const std::string &line : all) {
    result.push_back(line);
    if (line == "END OF SYMBOLFILE") break;
  }
  return result;
}

// What the cksum command prints for a block of bytes: the checksum and the length.
inline std::string cksum_command(const std::string &dir, const std::string &bytes) {
  std::string path = dir + "/cksum_input";
  write_file(path, bytes);
  std::string command = "/usr/bin/cksum < '" + path + "'";
  std::FILE *pipe = popen(command.c_str(), "r");
  if (!pipe) return "";
  char buffer[256] = "";
  if (!std::fgets(buffer, sizeof buffer, pipe)) buffer[0] = '\0';
  pclose(pipe);
  std::string out = buffer;
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

// A test in its own directory, which also serves as TEMP; the symbol file is
// <dir>/MON.sym unless a test names another.
class SymbolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/qub_symbol_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir = pattern;
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    old_cwd = cwd;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    // Canonical names are cached against the current directory, which moved.
    pre_path_cache_destroy();
    pre_path_cache_create();
    save_env("TEMP");
    save_env("QUB_LOCK_MAX_WAIT");
    setenv("TEMP", dir.c_str(), 1);
    unsetenv("QUB_LOCK_MAX_WAIT");
    std::free(g_run.symbol_file_name);
    std::free(g_run.opts_env);
    g_run.symbol_file_name = g_run.opts_env = nullptr;
    pre_run_state_reset();
    pre_symbol_reset();
    pre_reset_counters();
    set_symbol_name(dir + "/MON");
    std::strcpy(current_file_name, "t.c");
    line_number = 1;
    line_before_directive = 0;
    statement_count = 0;
  }

  void TearDown() override {
    pre_symbol_reset();
    std::free(g_run.symbol_file_name);
    g_run.symbol_file_name = nullptr;
    for (auto &saved : saved_env) {
      if (saved.second.first)
        setenv(saved.first.c_str(), saved.second.second.c_str(), 1);
      else
        unsetenv(saved.first.c_str());
    }
    if (chdir(old_cwd.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_cwd;
    std::string command = "chmod -R u+w '" + dir + "' 2>/dev/null; rm -rf '" + dir + "'";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "cannot remove " << dir;
  }


 public:
  void save_env(const char *name) {
    const char *value = std::getenv(name);
    saved_env.push_back({name, {value != nullptr, value ? value : ""}});
  }

  void set_symbol_name(const std::string &name) {
    std::free(g_run.symbol_file_name);
    g_run.symbol_file_name = pre_xstrdup(name.c_str());
    pre_symbol_reset();
  }

  std::string sym_path() const { return dir + "/MON.sym"; }

  // The description of the worked example: int f(int a) { if (a) return 1; return 0; }
  void describe_example(const char *source_id, bool extra_record = false) {
    pre_reset_counters();
    pre_symbol_begin_file(source_id);
    std::uint32_t f = pre_next_function_counter();
    pre_symbol_record(f, 0, 0, 1, 0, "f");
    pre_symbol_record(0, 90, 0, 0, 0, "int a");
    std::uint32_t tf = pre_next_decision_counter();
    pre_symbol_record(tf, 20, 1, 3, 0, "a");
    std::uint32_t j0 = pre_next_jump_counter();
    pre_symbol_record(j0, 13, 2, 4, 1, "1");
    pre_symbol_record(0, 3, 1, 4, 1, "");
    std::uint32_t j1 = pre_next_jump_counter();
    pre_symbol_record(j1, 13, 1, 5, 2, "0");
    if (extra_record) pre_symbol_record(0, 45, 1, 5, 2, "label");
    pre_symbol_record(0, 2, 0, 6, 2, "f");
  }

  void commit_example(const char *source_id, bool extra_record = false) {
    describe_example(source_id, extra_record);
    pre_symbol_commit(source_id, 6);
  }

  std::string dir;
  std::string old_cwd;
  std::vector<std::pair<std::string, std::pair<bool, std::string>>> saved_env;
};

}  // namespace symtest

#endif
