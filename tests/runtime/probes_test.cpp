// Hand-written instrumented text that uses every probe macro compiles with no
// diagnostic under strict warnings, in every language version, by gcc and
// clang, as an ordinary source and as gcc compiles instrumented text; and the
// program counts exactly what it executed.
#include <string>
#include <vector>

#include "runtime_support.h"

using namespace qubrt;

namespace {

// Expected counts of probes_c.i (derivation in the comments of each line:
// main calls both() and sw() for i = -2..4 and loops(6) once, then names the
// test case "second" and calls both(5, 5)).
const std::vector<uint64_t> c_f = {14, 1, 7, 1};
const std::vector<uint64_t> c_j = {
    14,  // both: return
    1,   // loops: continue at i == 3
    1,   // loops: break when k == 2
    1,   // loops: falls off its end
    1,   // sw: case 1
    2,   // sw: case 2, entered from case 1 and by x == 2
    2,   // sw: break of case 2
    1,   // sw: case 3
    1,   // sw: break of case 3
    4,   // sw: no label matched (x = -2, -1, 0, 4)
    0,   // sw: goto never taken
    7,   // sw: empty switch, always the missing default
    7,   // sw: return
    1,   // main: count pragma
    0};  // main: return, in the test case "second"
const std::vector<uint64_t> c_tf = {
    2, 4,  // both: else if (a < 0)
    6, 1,  // loops: for i < 6
    1, 5,  // loops: if (i == 3)
    2, 0,  // loops: while (k > 0), left by break
    1, 1,  // loops: if (k == 2)
    0, 1,  // loops: do ... while (k < 0)
    3, 4,  // sw: (x > 1) ? r : -r
    0, 7,  // sw: if (r == 1000)
    7, 1};  // main: for i < 5
const std::vector<uint64_t> c_c = {
    3, 3, 8,  // both: a > 0 && b > 0, paths F_, TF, TT
    1, 3, 3};  // sw: total = x && r, paths F_, TF, TT

void expect_c_counts(const std::string &data) {
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK) << data;
  const qub_data_module *m = c.module("/src/probes.c");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->mode, 7u);
  EXPECT_EQ(m->time_stamp, 1763900000);
  EXPECT_EQ(m->fingerprint, 0xABCDEF12u);
  const qub_data_set *s = c.set("/src/probes.c");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(vec(s->f, m->f_size), c_f);
  EXPECT_EQ(vec(s->j, m->j_size), c_j);
  EXPECT_EQ(vec(s->tf, 2 * m->tf_size), c_tf);
  EXPECT_EQ(vec(s->c, m->c_size), c_c);
  const qub_data_set *second = c.set("/src/probes.c", "second");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(vec(second->f, m->f_size), (std::vector<uint64_t>{1, 0, 0, 0}));
  std::vector<uint64_t> j(15, 0);
  j[0] = j[14] = 1;
  EXPECT_EQ(vec(second->j, m->j_size), j);
  EXPECT_EQ(vec(second->c, m->c_size), (std::vector<uint64_t>{0, 0, 1, 0, 0, 0}));
  EXPECT_EQ(c.runs(""), 1u);
  EXPECT_EQ(c.runs("second"), 1u);
}

// Compiles `source` with `b`, runs it and returns the data file's path.
std::string compile_and_run(const scratch &dir, const build &b, const std::string &source,
                            int expected_status = 0) {
  std::string program = dir / "program";
  std::string diagnostics = b.compile({sample(source)}, program);
  EXPECT_EQ(diagnostics, "");
  std::string data = dir / "run.dat";
  std::remove(data.c_str());
  std::string output;
  EXPECT_EQ(run("cd " + quote(dir.path) + " && QUB_DATA_FILE=" + quote(data) + " " +
                    quote(program),
                &output),
            expected_status);
  EXPECT_EQ(output, "");
  return data;
}

struct language_case {
  const char *compiler;
  const char *std_;
  bool cxx;
  bool preprocessed;
  const char *extra;
};

class CProbes : public testing::TestWithParam<language_case> {};

TEST_P(CProbes, CompileSilentlyAndCountExactly) {
  const language_case &l = GetParam();
  scratch dir("cprobes");
  build b;
  b.compiler = l.compiler;
  b.std_ = l.std_;
  b.cxx = l.cxx;
  b.preprocessed = l.preprocessed;
  b.extra = l.extra;
  expect_c_counts(compile_and_run(dir, b, "probes_c.i"));
}

INSTANTIATE_TEST_SUITE_P(
    Versions, CProbes,
    testing::Values(language_case{"gcc", "c89", false, false, "-O2"},
                    language_case{"gcc", "c99", false, false, "-O0 -fexceptions"},
                    language_case{"gcc", "c11", false, false, "-O1"},
                    language_case{"gcc", "c17", false, false, "-O2 -fexceptions"},
                    language_case{"gcc", "c2x", false, false, "-O3"},
                    language_case{"clang", "c89", false, false, "-O0"},
                    language_case{"clang", "c99", false, false, "-O2 -fexceptions"},
                    language_case{"clang", "c11", false, false, "-O1"},
                    language_case{"clang", "c17", false, false, "-O2"},
                    language_case{"clang", "c2x", false, false, "-O3 -fexceptions"},
                    language_case{"gcc", "c89", false, true, "-O2"},
                    language_case{"gcc", "c2x", false, true, "-O0"},
                    // The same C text read as C++.
                    language_case{"g++", "c++98", true, false, "-O2"},
                    language_case{"g++", "c++11", true, false, "-O0 -fno-exceptions"},
                    language_case{"g++", "c++14", true, false, "-O1"},
                    language_case{"g++", "c++17", true, false, "-O2 -fno-exceptions"},
                    language_case{"g++", "c++20", true, false, "-O2"},
                    language_case{"g++", "c++23", true, false, "-O3"},
                    language_case{"clang++", "c++98", true, false, "-O0"},
                    language_case{"clang++", "c++11", true, false, "-O2 -fno-exceptions"},
                    language_case{"clang++", "c++14", true, false, "-O2"},
                    language_case{"clang++", "c++17", true, false, "-O1"},
                    language_case{"clang++", "c++20", true, false, "-O2 -fno-exceptions"},
                    language_case{"clang++", "c++2b", true, false, "-O3"},
                    language_case{"g++", "c++98", true, true, "-O2"},
                    language_case{"g++", "c++23", true, true, "-O0"}));

// Expected counts of probes_cxx.ii.
const std::vector<uint64_t> cxx_f = {11, 9, 5, 3, 2, 2, 3, 2, 1};
const std::vector<uint64_t> cxx_j = {
    11,            // Flag::operator bool: return (every test of a Flag)
    9,             // find: return
    5,             // decl: return
    4, 2, 2,       // flags: lambda entered, its two returns
    9,             // flags: range for, 3 elements in 3 calls
    4,             // flags: while with a declaration, 3 + 1 + 0 rounds
    1,             // flags: continue at w == 2
    3,             // flags: return
    2, 1, 1, 0, 2,  // risky: try, throw, catch (int), catch (...), return
    1, 1, 1, 1,    // guarded: throw, return, handler, handler's return
    1, 2, 2, 1, 1,  // sw: case 1, case 2 (also by fall-through), break, default, break
    3,             // sw: falls off its end
    1, 1,          // fallback: throw, falls off its end
    1, 1,          // fallback: handler entered, falls off the handler
    2, 2,          // main: lambda entered, falls off the lambda
    1,             // main: falls off its end
    0, 0};         // main: handler never entered
const std::vector<uint64_t> cxx_tf = {
    3, 6,  // find: k > 2 ? &x : nullptr
    1, 4,  // decl: if (int *p = find(k))
    2, 2,  // decl: else if (int *q = find(k + 2))
    2, 1,  // flags: if (a), a class with explicit operator bool
    2, 1,  // flags: b ? 4 : 8
    4, 3,  // flags: for i < n
    1, 3,  // flags: if (w == 2)
    1, 1,  // risky: if (k < 0)
    1, 1,  // guarded: if (k == 7)
    5, 1,  // main: for k < 4
    1, 1};  // fallback: if (k)
const std::vector<uint64_t> cxx_c = {
    1, 1, 1,  // flags: a and not b
    2, 0, 2};  // the lambda: x > 0 && x < 10

class CxxProbes : public testing::TestWithParam<language_case> {};

TEST_P(CxxProbes, CompileSilentlyAndCountExactly) {
  const language_case &l = GetParam();
  scratch dir("cxxprobes");
  build b;
  b.compiler = l.compiler;
  b.std_ = l.std_;
  b.cxx = true;
  b.preprocessed = l.preprocessed;
  b.extra = l.extra;
  std::string data = compile_and_run(dir, b, "probes_cxx.ii");
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_module *m = c.module("/src/probes.cpp");
  ASSERT_NE(m, nullptr);
  const qub_data_set *s = c.set("/src/probes.cpp");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(vec(s->f, m->f_size), cxx_f);
  EXPECT_EQ(vec(s->j, m->j_size), cxx_j);
  EXPECT_EQ(vec(s->tf, 2 * m->tf_size), cxx_tf);
  EXPECT_EQ(vec(s->c, m->c_size), cxx_c);
}

INSTANTIATE_TEST_SUITE_P(Versions, CxxProbes,
                         testing::Values(language_case{"g++", "c++17", true, false, "-O2"},
                                         language_case{"g++", "c++20", true, false, "-O0"},
                                         language_case{"g++", "c++23", true, false, "-O3"},
                                         language_case{"clang++", "c++17", true, false, "-O0"},
                                         language_case{"clang++", "c++20", true, false, "-O2"},
                                         language_case{"clang++", "c++2b", true, false, "-O1"},
                                         language_case{"g++", "c++17", true, true, "-O2"}));

// Inclusive timing by the monotonic clock: inner() spends 20 ms of processor
// time per call and is called twice by outer(), itself called by main().
TEST(Timing, InclusiveTimesContainTheCallees) {
  for (const char *compiler : {"gcc", "clang"}) {
    scratch dir("inclusive");
    build b;
    b.compiler = compiler;
    b.std_ = "c89";
    std::string data = compile_and_run(dir, b, "timing_c.i");
    counts c(data);
    ASSERT_EQ(c.status, QUB_DATA_OK);
    const qub_data_module *m = c.module("/src/timing.c");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->mode, 9u);
    EXPECT_EQ(m->timer, QUB_DATA_TIMER_NANOSECONDS);
    const qub_data_set *s = c.set("/src/timing.c");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(vec(s->f, 3), (std::vector<uint64_t>{2, 1, 1}));
    EXPECT_GE(s->time[0], 40000000u);  // 2 x 20 ms at least
    EXPECT_LT(s->time[0], 60000000000u);
    EXPECT_GE(s->time[1], s->time[0]);
    EXPECT_GE(s->time[2], s->time[1]);
  }
}

// Exclusive timing by a TIMER function that advances one tick per read:
// each function's own time is exactly the number of reads inside it that
// belong to no timed callee, also when a callee is left by an exception.
TEST(Timing, ExclusiveTimesByTheTimerFunction) {
  for (const char *compiler : {"g++", "clang++"}) {
    for (const char *opt : {"-O0", "-O2"}) {
      scratch dir("exclusive");
      build b;
      b.compiler = compiler;
      b.std_ = "c++11";
      b.cxx = true;
      b.extra = std::string(opt) + " -rdynamic";
      std::string data = compile_and_run(dir, b, "timing_cxx.ii");
      counts c(data);
      ASSERT_EQ(c.status, QUB_DATA_OK);
      const qub_data_module *m = c.module("/src/timing.cpp");
      ASSERT_NE(m, nullptr);
      EXPECT_EQ(m->mode, 19u);
      EXPECT_EQ(m->timer, QUB_DATA_TIMER_USER);
      const qub_data_set *s = c.set("/src/timing.cpp");
      ASSERT_NE(s, nullptr);
      // main reads 1, 14; outer(0) 2, 5; inner 3, 4; outer(1) 6, 13; inner
      // 7, 8; thrower 9, 12 (left by the throw); its inner 10, 11.
      EXPECT_EQ(vec(s->time, 4), (std::vector<uint64_t>{3, 2, 5, 3})) << compiler << opt;
      EXPECT_EQ(vec(s->j, 6), (std::vector<uint64_t>{3, 1, 1, 1, 2, 1}));
    }
  }
}

// Pragmas: append writes now, init clears, quit stops counting until the
// next test case, testcase keeps counts apart.
TEST(Pragmas, AppendInitQuitTestcase) {
  scratch dir("pragmas");
  build b;
  std::string data = compile_and_run(dir, b, "pragmas_c.i");
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_set *unnamed = c.set("/src/pragmas.c");
  const qub_data_set *named = c.set("/src/pragmas.c", "b");
  ASSERT_NE(unnamed, nullptr);
  ASSERT_NE(named, nullptr);
  // f: 1 written by append; 1 cleared by init; 1 after init; 1 after quit
  // not kept; 1 in "b"; 1 back in "".
  EXPECT_EQ(unnamed->f[0], 3u);
  EXPECT_EQ(unnamed->f[1], 1u);  // main, written by append
  EXPECT_EQ(named->f[0], 1u);
  EXPECT_EQ(named->f[1], 0u);
  EXPECT_EQ(c.f.runs, 2u);  // the append and the exit
}

}  // namespace
