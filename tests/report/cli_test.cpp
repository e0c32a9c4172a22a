// The command line: defaults, options, exit statuses, and one clear message for each
// kind of bad input.
#include <gtest/gtest.h>

#include <cstdlib>

#include "options.h"
#include "report.h"
#include "report_test_util.h"

namespace {

using rtest::quote;
using rtest::result;

struct cli : testing::Test {
  std::string dir;
  void SetUp() override {
    dir = rtest::scratch(testing::UnitTest::GetInstance()->current_test_info()->name());
    ASSERT_TRUE(rtest::make_demo(dir));
  }
  result report(const std::string &arguments) { return rtest::run_in(dir, rtest::report_command() + " " + arguments); }
  // Exactly one line on the error output, and it is the expected message.
  void expect_error(const std::string &arguments, const std::string &message) {
    result r = report(arguments);
    EXPECT_EQ(r.status, 1) << arguments;
    EXPECT_EQ(r.err, "qub-report: error " + message + "\n") << arguments;
    EXPECT_EQ(r.out, "") << arguments;
  }
};

TEST_F(cli, DefaultsWorkWhereTheBuildRan) {
  // MON.sym and MON.dat in the current directory, text on the standard output.
  ASSERT_EQ(std::rename((dir + "/mixed.dat").c_str(), (dir + "/MON.dat").c_str()), 0);
  result r = report("");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("Coverage report of MON.sym with MON.dat\n"), std::string::npos);
  EXPECT_NE(r.out.find("\nTotal                        6/7 85.7%         27/34 79.4%"), std::string::npos) << r.out;
  result summary = report("--summary");
  EXPECT_EQ(summary.out.rfind("Directory / file ", 0), 0u) << summary.out;
  EXPECT_EQ(summary.out.find("Not covered"), std::string::npos);
  EXPECT_NE(r.out.find(summary.out), std::string::npos);
}

TEST_F(cli, NoDataFileYetIsAWarningAndZeroCounts) {
  result r = report("");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            "qub-report: warning 115: no data file MON.dat: no instrumented program has written its counts yet; all "
            "counts are 0\n");
  EXPECT_NE(r.out.find("0/7 0.0%"), std::string::npos);
}

TEST_F(cli, SymbolFileElsewhereFindsItsDataFileBesideIt) {
  ASSERT_EQ(std::system(("mkdir " + quote(dir + "/sub") + " && mv " + quote(dir + "/MON.sym") + " " +
                         quote(dir + "/sub/x.sym") + " && cp " + quote(dir + "/small.dat") + " " + quote(dir + "/sub/x.dat"))
                            .c_str()),
            0);
  result r = report("-s sub/x.sym --format json");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"data_files\":[\"sub/x.dat\"]"), std::string::npos);
  // Names are shown relative to the symbol file's directory unless --base says otherwise.
  EXPECT_NE(r.out.find("\"name\":\"" + dir + "/src/demo.c\""), std::string::npos);
  r = report("-s sub/x.sym --base . --format json");
  EXPECT_NE(r.out.find("\"name\":\"src/demo.c\""), std::string::npos);
}

TEST_F(cli, FailUnderGivesStatusTwo) {
  result r = report("small.dat mixed.dat --fail-under decision=79 --fail-under function=85.7");
  EXPECT_EQ(r.status, 0) << r.err;
  r = report("small.dat mixed.dat --fail-under decision=80% --fail-under mcdc=70 --fail-under mcdc-masking=71");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "qub-report: decision coverage 79.4% (27/34) is below 80%\n"
            "qub-report: mcdc-masking coverage 70.0% (7/10) is below 71%\n");
  EXPECT_NE(r.out.find("Not covered:"), std::string::npos);  // the report is written all the same
  // Nothing to measure is no failure, but it is said.
  r = report("small.dat --filter '*main.c' --fail-under multicondition=90");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "qub-report: warning 116: --fail-under multicondition=90: there is nothing to measure for "
                   "multicondition\n");
}

TEST_F(cli, TestCasesListedSelectedAndMissing) {
  result r = report("--list-testcases small.dat mixed.dat");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "(unnamed)\nsmall\nmixed\n");
  r = report("-t small small.dat mixed.dat");
  EXPECT_NE(r.out.find("Test cases: small\n"), std::string::npos);
  EXPECT_NE(r.out.find("Total                        6/7 85.7%         16/34 47.1%"), std::string::npos) << r.out;
  expect_error("-t large small.dat mixed.dat", "106: no test case in the data files matches large");
}

TEST_F(cli, OutputFilesAndDirectories) {
  result r = report("--format html -o out/deeper small.dat");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "HTML report: out/deeper/index.html\n");
  EXPECT_FALSE(rtest::read_file(dir + "/out/deeper/qub-report.css").empty());
  rtest::write_file(dir + "/plain", "x");
  expect_error("--format html -o plain/html small.dat", "107: cannot create directory plain/html: Not a directory");
  expect_error("-o /nonexistent/dir/r.txt small.dat", "107: cannot create /nonexistent/dir/r.txt: No such file or directory");
}

TEST_F(cli, BadOptions) {
  expect_error("--colour", "101: unknown option --colour (see qub-report --help)");
  expect_error("-s", "101: option -s needs a value");
  expect_error("--format pdf", "101: --format: unknown format \"pdf\" (text, html, json, lcov or cobertura)");
  expect_error("--fail-under 80", "101: --fail-under needs MEASURE=PERCENT, not \"80\"");
  expect_error("--fail-under lines=80",
               "101: --fail-under: unknown measure \"lines\" (function, decision, multicondition, mcdc or mcdc-masking)");
  expect_error("--fail-under decision=120", "101: --fail-under: \"120\" is not a percentage from 0 to 100");
  expect_error("--help=yes", "101: option --help takes no value");
  result r = report("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, options_usage());
  r = report("-V");
  EXPECT_EQ(r.out, "qub-report 9.1.4.1\n");
}

TEST_F(cli, BadSymbolFiles) {
  std::string sym = rtest::read_file(dir + "/MON.sym");
  expect_error("-s none.sym", "102: cannot read the symbol file none.sym: No such file or directory");
  rtest::write_file(dir + "/cut.sym", sym.substr(0, sym.size() / 2));
  result r = report("-s cut.sym small.dat");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("qub-report: error 10", 0), 0u) << r.err;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
  rtest::write_file(dir + "/nomark.sym", sym.substr(0, sym.find("END OF")));
  expect_error("-s nomark.sym small.dat",
               "103: bad symbol file nomark.sym, line 94: the end mark \"END OF SYMBOLFILE\" is missing");
  expect_error("-s small.dat small.dat",
               "103: bad symbol file small.dat, line 1: this is not a symbol file of this format (\"QUB++ sym 9\" "
               "expected on line 1)");
  rtest::write_file(dir + "/counter.sym", rtest::replace_all(sym, "13 44 1 16 1 x * 2", "13 44 1 17 1 x * 2"));
  expect_error("-s counter.sym small.dat",
               "103: bad symbol file counter.sym, line 82: the counter 17 of a record of kind 13 lies outside its array "
               "of 17");
}

TEST_F(cli, BadDataFiles) {
  std::string data = rtest::read_file(dir + "/small.dat");
  expect_error("none.dat", "104: cannot read the data file none.dat: no such file");
  expect_error("-d MON.sym", "105: bad data file MON.sym: this is not a data file of this tool (no data file header)");
  rtest::write_file(dir + "/cut.dat", data.substr(0, data.size() - 20));
  result r = report("cut.dat");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("qub-report: error 105: bad data file cut.dat: the data file is damaged", 0), 0u) << r.err;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
  std::string flipped = data;
  flipped[60] = static_cast<char>(flipped[60] ^ 0x20);
  rtest::write_file(dir + "/flipped.dat", flipped);
  r = report("small.dat flipped.dat");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("qub-report: error 105: bad data file flipped.dat: ", 0), 0u) << r.err;
}

TEST_F(cli, DataOfAnotherBuildIsReportedModuleByModule) {
  std::string spec = rtest::read_file(rtest::source_dir() + "/golden/demo/small.spec");
  rtest::write_file(dir + "/old.spec", rtest::replace_all(spec, "241214B5", "0BADF00D"));
  ASSERT_EQ(std::system((quote(rtest::binary_dir() + "/tests/qub_report_mkdata") + " -D " + quote(dir) + " " +
                         quote(dir + "/old.dat") + " < " + quote(dir + "/old.spec"))
                            .c_str()),
            0);
  result r = report("old.dat");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "qub-report: warning 112: " + dir +
                       "/src/main.c: the data holds counts of another build (time stamp 1700000100, fingerprint "
                       "0BADF00D) than the symbol file describes (time stamp 1700000100, fingerprint 241214B5); its "
                       "counts are left out\n");
}

}  // namespace
