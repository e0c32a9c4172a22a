// Golden reports: the demo's two runs through qub-report in every format, compared byte
// for byte with the expected files under golden/demo (the scratch directory stands as
// @DIR@ in them). QUB_UPDATE_GOLDEN=1 rewrites the expected files instead.
#include <gtest/gtest.h>

#include <cstdlib>

#include "report_test_util.h"

namespace {

struct golden_case {
  const char *expected;  // file under golden/demo
  const char *arguments;
  const char *output;    // file the command writes, or "" for its standard output
};

void check_golden(const std::string &dir, const golden_case &c) {
  rtest::result r = rtest::run_in(dir, rtest::report_command() + " " + c.arguments);
  ASSERT_EQ(r.status, 0) << c.arguments << "\n" << r.err;
  EXPECT_EQ(r.err, "") << c.arguments;
  std::string actual = *c.output ? rtest::read_file(dir + "/" + c.output) : r.out;
  actual = rtest::replace_all(actual, dir, "@DIR@");
  std::string path = rtest::source_dir() + "/golden/demo/" + c.expected;
  if (std::getenv("QUB_UPDATE_GOLDEN")) {
    rtest::write_file(path, actual);
    return;
  }
  std::string expected = rtest::read_file(path);
  EXPECT_EQ(actual, expected) << c.arguments << ": differs from " << path;
}

TEST(ReportGolden, EveryFormat) {
  std::string dir = rtest::scratch("golden");
  ASSERT_TRUE(rtest::make_demo(dir));
  const golden_case cases[] = {
      {"expected.txt", "small.dat mixed.dat", ""},
      {"expected-small.txt", "-d small.dat", ""},
      {"expected-per-testcase.txt", "--per-testcase -d small.dat -d mixed.dat", ""},
      {"expected.json", "--format json -o out.json small.dat mixed.dat", "out.json"},
      {"expected.info", "--format=lcov small.dat mixed.dat", ""},
      {"expected.xml", "-f cobertura small.dat mixed.dat", ""},
      {"expected-index.html", "--format html -o html small.dat mixed.dat", "html/index.html"},
      {"expected-demo.c.html", "--format html -o html small.dat mixed.dat", "html/f00001-demo.c.html"},
  };
  for (const golden_case &c : cases) check_golden(dir, c);
}

TEST(ReportGolden, RecordsAloneWhenTheSourceIsGone) {
  std::string dir = rtest::scratch("nosource");
  ASSERT_TRUE(rtest::make_demo(dir));
  ASSERT_EQ(std::system(("rm -r " + rtest::quote(dir + "/include")).c_str()), 0);
  check_golden(dir, {"expected-util.h-records.html", "--format html -o html small.dat mixed.dat",
                     "html/f00000-util.h.html"});
}

}  // namespace
