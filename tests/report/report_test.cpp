// The report model on the golden demo: every measure per file and in total as worked
// out by hand from the demo's source and its two runs, then matching, merging,
// selecting and filtering.
#include <gtest/gtest.h>

#include "data_in.h"
#include "report.h"
#include "report_test_util.h"

namespace {

struct demo_fixture : testing::Test {
  std::string dir;
  symfile sym;
  counts_data data;

  void SetUp() override {
    dir = rtest::scratch(testing::UnitTest::GetInstance()->current_test_info()->name());
    ASSERT_TRUE(rtest::make_demo(dir));
    symfile_error error;
    ASSERT_TRUE(symfile_read(dir + "/MON.sym", &sym, &error)) << error.message;
    std::string message;
    for (const char *name : {"small", "mixed"})
      ASSERT_EQ(data_in_read(dir + "/" + name + ".dat", &data, &message), DATA_IN_OK) << message;
  }

  report build(const std::vector<std::string> &testcases = {}, const report_options *given = nullptr) {
    report_options options;
    if (given) options = *given;
    options.base_directory = dir;
    report r;
    report_build(sym, counts_select(data, testcases), options, &r);
    return r;
  }
};

const report_file *file_named(const report &r, const std::string &name) {
  for (const report_file &f : r.files)
    if (f.display == name) return &f;
  return nullptr;
}

// "covered/total" of each measure, in the order of the measure ids.
std::vector<std::string> figures(const report_measures &m) {
  std::vector<std::string> out;
  for (int k = 0; k < MEASURE_COUNT; k++) out.push_back(std::to_string(m.m[k].covered) + "/" + std::to_string(m.m[k].total));
  return out;
}

using strings = std::vector<std::string>;

TEST_F(demo_fixture, MeasuresOfBothRunsAsWorkedOutByHand) {
  report r = build();
  ASSERT_EQ(r.files.size(), 3u);
  EXPECT_EQ(r.files[0].display, "include/util.h");
  EXPECT_EQ(r.files[1].display, "src/demo.c");
  EXPECT_EQ(r.files[2].display, "src/main.c");
  // util.h: clamp entered; v < lo never true; return lo never reached.
  EXPECT_EQ(figures(r.files[0].measures), (strings{"1/1", "5/7", "3/4", "1/2", "1/2"}));
  // demo.c: unused never entered; classify's case 1, its break and return 4 never
  // reached; of (a || b) && c only the paths F T F, T _ F and T _ T ran, which show c
  // alone; in_range's three paths all ran.
  EXPECT_EQ(figures(r.files[1].measures), (strings{"4/5", "18/22", "12/14", "6/8", "6/8"}));
  // main.c, decision mode only: the ?: was never true.
  EXPECT_EQ(figures(r.files[2].measures), (strings{"1/1", "4/5", "0/0", "0/0", "0/0"}));
  EXPECT_EQ(figures(r.total), (strings{"6/7", "27/34", "15/18", "7/10", "7/10"}));
  ASSERT_EQ(r.directories.size(), 2u);
  EXPECT_EQ(r.directories[1].display, "src");
  EXPECT_EQ(figures(r.directories[1].measures), (strings{"5/6", "22/27", "12/14", "6/8", "6/8"}));
  EXPECT_TRUE(r.warnings.empty());
  for (const report_module &m : r.modules) EXPECT_EQ(m.state, MODULE_MATCHED);
}

TEST_F(demo_fixture, FunctionsItemsAndMulticonditions) {
  report r = build();
  const report_file *demo = file_named(r, "src/demo.c");
  ASSERT_NE(demo, nullptr);
  ASSERT_EQ(demo->functions.size(), 5u);
  const report_function &classify = r.functions[demo->functions[2]];
  EXPECT_EQ(classify.name, "classify");
  EXPECT_EQ(classify.line, 19u);
  EXPECT_EQ(classify.entered, 4u);
  EXPECT_EQ(figures(classify.measures), (strings{"1/1", "7/10", "3/5", "1/3", "1/3"}));
  const report_item &cond = r.items[classify.items[0]];
  EXPECT_EQ(cond.kind, 70u);
  EXPECT_EQ(cond.true_count, 1u);
  EXPECT_EQ(cond.false_count, 3u);
  const report_multi &m = r.multis[static_cast<std::size_t>(cond.multi)];
  ASSERT_EQ(m.paths.size(), 5u);
  EXPECT_EQ(m.paths[4].text, "(T || _) && T");
  EXPECT_TRUE(m.shape_known);
  ASSERT_EQ(m.conditions.size(), 3u);
  EXPECT_EQ(m.conditions[2].text, "c");
  // c: unique-cause by T _ T and T _ F; masking takes the first pair it meets, T _ T
  // and F T F, where a and b change but are masked.
  EXPECT_EQ(m.conditions[2].verdict[MCDC_UNIQUE_CAUSE].first, 4);
  EXPECT_EQ(m.conditions[2].verdict[MCDC_UNIQUE_CAUSE].second, 3);
  EXPECT_EQ(m.conditions[2].verdict[MCDC_MASKING].second, 1);
  // a: needs F F _ (path 0) beside T _ T (path 4), which ran.
  EXPECT_EQ(m.conditions[0].verdict[MCDC_UNIQUE_CAUSE].need_first, 4);
  EXPECT_EQ(m.conditions[0].verdict[MCDC_UNIQUE_CAUSE].need_second, 0);
  // The function in the header stands in its own file, with its own items.
  const report_file *util = file_named(r, "include/util.h");
  ASSERT_NE(util, nullptr);
  ASSERT_EQ(util->functions.size(), 1u);
  EXPECT_EQ(r.functions[util->functions[0]].name, "clamp");
  EXPECT_EQ(r.functions[util->functions[0]].entered, 17u);
  EXPECT_EQ(util->items.size(), 5u);
}

TEST_F(demo_fixture, TestCasesOneByOne) {
  report small = build({"small"});
  EXPECT_EQ(figures(small.total), (strings{"6/7", "16/34", "7/18", "1/10", "1/10"}));
  report mixed = build({"mix*"});
  EXPECT_EQ(figures(mixed.total), (strings{"6/7", "27/34", "15/18", "7/10", "7/10"}));
  report none = build({"nothing"});
  EXPECT_EQ(figures(none.total), (strings{"0/7", "0/34", "0/18", "0/10", "0/10"}));
}

TEST_F(demo_fixture, FiltersKeepOrDropFiles) {
  report_options options;
  options.filters = {"src/*"};
  options.excludes = {"*main.c"};
  report r = build({}, &options);
  ASSERT_EQ(r.files.size(), 1u);
  EXPECT_EQ(r.files[0].display, "src/demo.c");
  EXPECT_EQ(figures(r.total), (strings{"4/5", "18/22", "12/14", "6/8", "6/8"}));
}

TEST_F(demo_fixture, CountsOfAnotherBuildAreLeftOutWithAWarning) {
  for (counts_testcase &t : data.testcases)
    for (counts_module &m : t.modules)
      if (m.source_id == dir + "/src/main.c") m.fingerprint ^= 1;
  report r = build();
  ASSERT_EQ(r.warnings.size(), 1u);
  EXPECT_EQ(r.warnings[0].number, 112);
  EXPECT_NE(r.warnings[0].text.find(dir + "/src/main.c: the data holds counts of another build"), std::string::npos)
      << r.warnings[0].text;
  EXPECT_EQ(r.modules[1].state, MODULE_MISMATCHED);
  EXPECT_EQ(figures(file_named(r, "src/main.c")->measures)[0], "0/1");
  EXPECT_EQ(r.modules[0].state, MODULE_MATCHED);
}

TEST_F(demo_fixture, CountsOfTwoBuildsUseTheMatchingOne) {
  counts_data old;
  for (const counts_testcase &t : data.testcases) {
    counts_testcase copy = t;
    for (counts_module &m : copy.modules) m.fingerprint ^= 0x100;
    old.testcases.push_back(copy);
  }
  std::string message;
  ASSERT_TRUE(counts_merge(&data, old, &message));
  report r = build();
  ASSERT_EQ(r.warnings.size(), 2u);
  EXPECT_EQ(r.warnings[0].number, 117);
  EXPECT_NE(r.warnings[0].text.find("src/demo.c: the data also holds counts of another build (time stamp 1700000000, "
                                    "fingerprint FA2EC6DD); they are left out"),
            std::string::npos)
      << r.warnings[0].text;
  EXPECT_EQ(figures(r.total), (strings{"6/7", "27/34", "15/18", "7/10", "7/10"}));
}

TEST_F(demo_fixture, SameFingerprintOtherTimeStampIsUsedWithAWarning) {
  for (counts_testcase &t : data.testcases)
    for (counts_module &m : t.modules) m.time_stamp += 5;
  report r = build();
  ASSERT_EQ(r.warnings.size(), 2u);
  EXPECT_EQ(r.warnings[0].number, 114);
  EXPECT_EQ(figures(r.total)[0], "6/7");
}

TEST_F(demo_fixture, WrongArraySizesAndUnknownModules) {
  counts_module stray;
  stray.source_id = "/elsewhere/x.c";
  data.testcases[0].modules.push_back(stray);
  for (counts_testcase &t : data.testcases)
    for (counts_module &m : t.modules)
      if (m.source_id == dir + "/src/demo.c") m.c.pop_back();
  report r = build();
  ASSERT_EQ(r.warnings.size(), 2u);
  EXPECT_EQ(r.warnings[0].number, 113);
  EXPECT_EQ(r.warnings[1].number, 111);
  EXPECT_EQ(r.modules[0].state, MODULE_MISMATCHED);
}

TEST(ReportCounts, MergingAddsAndSelectsByName) {
  counts_module a;
  a.source_id = "/a.c";
  a.f = {1, 0};
  a.c = {UINT64_MAX - 1};
  counts_data one, two;
  one.testcases.push_back({"t1", {a}});
  two.testcases.push_back({"t1", {a}});
  two.testcases.push_back({"t2", {a}});
  std::string message;
  ASSERT_TRUE(counts_merge(&one, two, &message));
  ASSERT_EQ(one.testcases.size(), 2u);
  ASSERT_EQ(one.testcases[0].modules.size(), 1u);
  EXPECT_EQ(one.testcases[0].modules[0].f[0], 2u);
  EXPECT_EQ(one.testcases[0].modules[0].c[0], UINT64_MAX);  // saturates
  EXPECT_EQ(counts_select(one, {}).at(0).f[0], 3u);
  EXPECT_EQ(counts_select(one, {"t?"}).at(0).f[0], 3u);
  EXPECT_EQ(counts_select(one, {"t2"}).at(0).f[0], 1u);
  counts_data bad;
  counts_module b = a;
  b.f.push_back(0);
  bad.testcases.push_back({"t1", {b}});
  EXPECT_FALSE(counts_merge(&one, bad, &message));
  EXPECT_NE(message.find("/a.c"), std::string::npos);
}

TEST(ReportMeasures, PercentagesNeverRoundToFullOrNothing) {
  struct row {
    std::uint64_t covered, total;
    const char *text;
  };
  for (const row &r : std::vector<row>{{2, 3, "66.7"}, {1, 3, "33.3"}, {9999, 10000, "99.9"}, {1, 10000, "0.1"},
                                       {0, 5, "0.0"}, {5, 5, "100.0"}, {0, 0, "-"}, {1, 8, "12.5"}}) {
    report_measure m;
    m.covered = r.covered;
    m.total = r.total;
    EXPECT_EQ(report_percent(m), r.text) << r.covered << "/" << r.total;
  }
}

}  // namespace

namespace {

// A module built with inclusive timing and decision coverage: the time per function,
// summed per file, and a record outside any function.
TEST(ReportTiming, TimesPerFunctionAndFile) {
  std::string text = "QUB++ sym 9\nTue Nov 14 22:13:20 2023\n"
                     "@/t/a.c\n11 5 00000001 0 0\n"
                     "25 1 0 0 0 k\n"
                     "0 2 0 0 0 f\n2 3 0 0 0 f\n"
                     "0 4 0 1 0 g\n55 5 0 0 1 here\n1 6 0 1 0 g\n"
                     "%6,2,2,1,0,2\nEND OF SYMBOLFILE\n";
  symfile sym;
  symfile_error error;
  ASSERT_TRUE(symfile_parse(text, &sym, &error)) << error.message;
  counts_module m;
  m.source_id = "/t/a.c";
  m.time_stamp = 5;
  m.fingerprint = 1;
  m.f = {3, 0};
  m.j = {9, 0};
  m.tf_true = {1};
  m.tf_false = {0};
  m.time = {1200, 34};
  report r;
  report_options options;
  options.base_directory = "/t";
  report_build(sym, {m}, options, &r);
  ASSERT_EQ(r.files.size(), 1u);
  const report_file &f = r.files[0];
  EXPECT_TRUE(f.measures.timed);
  EXPECT_EQ(f.measures.time, 1234u);
  EXPECT_EQ(r.total.time, 1234u);
  EXPECT_EQ(r.functions[0].time, 1200u);
  // The ?: before the first function counts in the file; the count pragma counts nowhere.
  ASSERT_EQ(f.items.size(), 3u);
  EXPECT_EQ(r.items[f.items[0]].function, -1);
  EXPECT_EQ(r.items[f.items[1]].item_class, ITEM_COUNT_PRAGMA);
  EXPECT_EQ(r.items[f.items[1]].count, 9u);
  EXPECT_EQ(figures(f.measures), (strings{"1/2", "1/3", "0/0", "0/0", "0/0"}));
}

}  // namespace
