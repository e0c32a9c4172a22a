// Golden cases: a small preprocessed source in, the exact instrumented text and the
// exact description in the symbol file out. Each tests/golden/NAME.i (C) or NAME.ii
// (C++) has a NAME.expected: the instrumented text behind the banner, a separator line
// "---- description ----", and the file's description with its time stamp as <TS>.
#include <gtest/gtest.h>

#include <dirent.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "prepath/prepath.h"
#include "preparse/keywords.h"
#include "symbol/symbol.h"
#include "test_util.h"

using namespace qubtest;

namespace {

std::string golden_dir() { return std::string(QUB_TEST_SOURCE_DIR) + "/golden"; }

std::vector<std::string> golden_cases() {
  std::vector<std::string> names;
  if (DIR *d = opendir(golden_dir().c_str())) {
    while (dirent *e = readdir(d)) {
      std::string n = e->d_name;
      if (n.size() > 2 && (n.substr(n.size() - 2) == ".i" || n.substr(n.size() - 3) == ".ii")) names.push_back(n);
    }
    closedir(d);
  }
  return names;
}

// The description of one file: from its "@" line up to the next "@" or the end mark,
// with the time stamp of the head replaced by <TS>.
std::string description_of(const std::string &sym, const std::string &name) {
  std::size_t at = sym.find("\n@" + name + "\n");
  if (at == std::string::npos) return "(no description of " + name + ")";
  std::size_t end = sym.find("\n@", at + 1);
  std::size_t mark = sym.find("\nEND OF SYMBOLFILE", at + 1);
  if (end == std::string::npos || (mark != std::string::npos && mark < end)) end = mark;
  std::string d = sym.substr(at + 1, end - at);
  std::size_t head = d.find('\n') + 1;
  std::size_t first_blank = d.find(' ', head);
  std::size_t second_blank = d.find(' ', first_blank + 1);
  return d.substr(0, first_blank + 1) + "<TS>" + d.substr(second_blank);
}

class GoldenTest : public testing::TestWithParam<std::string> {
 protected:
  scratch_dir scratch;
  std::string dir;
  void SetUp() override {
    ASSERT_TRUE(scratch.enter("golden"));
    dir = scratch.path;
    pre_path_cache_destroy();
    pre_path_cache_create();
    pre_run_state_reset();
    pre_symbol_reset();
  }
  void TearDown() override {
    pre_symbol_reset();
    if (!scratch.leave()) ADD_FAILURE() << "cannot return to " << scratch.previous;
    pre_path_cache_destroy();
    run_command("rm -rf '" + dir + "'");
  }
};

TEST_P(GoldenTest, InstrumentedTextAndDescription) {
  const std::string name = GetParam();
  const std::string input = golden_dir() + "/" + name;
  const std::string base = name.substr(0, name.rfind('.'));
  const std::string expected = read_file(golden_dir() + "/" + base + ".expected");
  ASSERT_FALSE(expected.empty()) << "missing " << base << ".expected";
  pre_set_language(name.substr(name.size() - 3) == ".ii" ? LANG_CXX : LANG_C);
  std::string out = dir + "/out.txt";
  ASSERT_EQ(pre_instrument_preprocessed(input.c_str(), name.c_str(), out.c_str()), STATUS_OK);
  std::string text = read_file(out);
  std::size_t banner_end = text.find("*/\n\n");
  ASSERT_NE(banner_end, std::string::npos);
  std::string actual = text.substr(banner_end + 4) + "---- description ----\n" +
                       description_of(read_file(pre_symbol_file_path()), name);
  EXPECT_EQ(actual, expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, GoldenTest, testing::ValuesIn(golden_cases()),
                         [](const testing::TestParamInfo<std::string> &info) {
                           std::string n = info.param;
                           for (char &c : n)
                             if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                           return n;
                         });

}  // namespace
