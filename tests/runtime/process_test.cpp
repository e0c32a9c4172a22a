// The runtime in real processes: many processes merging into one data file
// (also while some are killed), threads, fork, dlopen/dlclose, the
// environment variable, and data files that cannot be written or read.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "runtime_support.h"

using namespace qubrt;

namespace {

// Builds runs_c.i: each round calls f() 10 times and writes the counters
// (argv[1] rounds, then 10 more calls written at exit, exit status argv[2]).
std::string build_runs(const scratch &dir) {
  std::string program = dir / "runs";
  build b;
  b.extra = "-O2";
  EXPECT_EQ(b.compile({sample("runs_c.i")}, program), "");
  return program;
}

TEST(Processes, SixteenAtOnceFiftyTimesEachLoseNothing) {
  scratch dir("parallel");
  std::string program = build_runs(dir);
  std::string data = dir / "MON.dat";
  std::string script = "for p in $(seq 16); do (for r in $(seq 50); do QUB_DATA_FILE=" +
                       quote(data) + " " + quote(program) +
                       " || echo failed; done) & done; wait";
  std::string output;
  ASSERT_EQ(run(script, &output), 0);
  EXPECT_EQ(output, "");
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_set *s = c.set("/src/runs.c");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(c.f.runs, 800u);
  EXPECT_EQ(s->f[0], 8000u);
  // Nothing else is left beside the data file.
  std::string listing;
  run("ls -A " + quote(dir.path), &listing);
  EXPECT_EQ(listing, "MON.dat\nruns\n");
}

// Processes that write 21 times each (10 counts per write) are killed at
// random moments: the file stays readable and every write in it is whole.
TEST(Processes, KilledWritersLeaveAReadableFileWithWholeRuns) {
  scratch dir("killed");
  std::string program = build_runs(dir);
  std::string data = dir / "MON.dat";
  std::vector<pid_t> children;
  int finished = 0, killed = 0;
  setenv("QUB_DATA_FILE", data.c_str(), 1);
  for (int wave = 0; wave < 6; wave++) {
    children.clear();
    for (int p = 0; p < 16; p++) {
      pid_t child = fork();
      if (child == 0) {
        execl(program.c_str(), program.c_str(), "20", (char *)nullptr);
        _exit(127);
      }
      children.push_back(child);
    }
    // Kill every second one after a short, varying delay.
    struct timespec pause = {0, (long)(wave + 1) * 3000000L};
    nanosleep(&pause, nullptr);
    for (size_t i = 0; i < children.size(); i += 2) kill(children[i], SIGKILL);
    for (pid_t child : children) {
      int status;
      waitpid(child, &status, 0);
      if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        finished++;
      else
        killed++;
    }
  }
  unsetenv("QUB_DATA_FILE");
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_set *s = c.set("/src/runs.c");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->f[0], 10 * c.f.runs);  // no write is partial
  EXPECT_GE(c.f.runs, 21u * (uint64_t)finished);
  EXPECT_LE(c.f.runs, 21u * (uint64_t)(finished + killed));
  EXPECT_GT(killed, 0);
}

void expect_hits(const std::string &extra, bool preprocessed, bool exact) {
  scratch dir("threads");
  std::string program = dir / "threads";
  build b;
  b.extra = extra;
  b.preprocessed = preprocessed;
  b.libs = "-pthread";
  ASSERT_EQ(b.compile({sample("threads_c.i")}, program), "");
  std::string data = dir / "t.dat";
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program)), 0);
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_set *s = c.set("/src/threads.c");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->f[1], 8u);  // worker
  if (exact) {
    EXPECT_EQ(s->f[0], 8000000u);
  } else {
    EXPECT_GE(s->f[0], 1u);
    EXPECT_LE(s->f[0], 8000000u);
  }
}

TEST(Threads, PlainCountingNeverLosesAHitToZero) { expect_hits("-O2 -pthread", false, false); }

TEST(Threads, AtomicModeByDefineIsExact) { expect_hits("-O2 -pthread -DQUB_ATOMIC", false, true); }

TEST(Threads, AtomicModeByIncludeDirectoryIsExactInThePreprocessedRoute) {
  expect_hits("-O2 -pthread -I" + quote(include_dir() + "/atomic"), true, true);
}

TEST(Fork, ChildDoesNotCountTheParentsCountsAgain) {
  scratch dir("fork");
  std::string program = dir / "fork";
  build b;
  ASSERT_EQ(b.compile({sample("fork_c.i")}, program), "");
  std::string data = dir / "f.dat";
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program)), 0);
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  const qub_data_set *s = c.set("/src/fork.c");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->f[0], 10u);  // 5 before the fork, 2 in the parent, 3 in the child
  EXPECT_EQ(c.f.runs, 2u);
}

// A host (not instrumented, but linked with the runtime) that loads an
// instrumented library with its own copy of the runtime twice, and reads the
// data file at each step. The host's qub_write and qub_testcase reach the
// library's copy; a library loaded while a test case runs counts into it.
const char *dl_host = R"(
#include <dlfcn.h>
#include <stdio.h>
#include <inttypes.h>
#include "qub.h"
#include "qub_data.h"
static void show(const char *when, const char *path) {
  qub_data_file f;
  uint32_t i;
  if (qub_data_read(path, &f) != QUB_DATA_OK) { printf("%s: unreadable\n", when); return; }
  qub_data_module *m = qub_data_find(&f, "/src/plugin.c");
  printf("%s:", when);
  for (i = 0; m && i < m->set_count; i++)
    printf(" [%s] %" PRIu64 " %" PRIu64 " %" PRIu64, f.testcases[m->sets[i].testcase].name,
           m->sets[i].f[0], m->sets[i].tf[0], m->sets[i].tf[1]);
  printf("\n");
  qub_data_free(&f);
}
int main(int argc, char **argv) {
  for (int round = 0; round < 2; round++) {
    void *lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) { printf("%s\n", dlerror()); return 1; }
    int (*work)(int);
    *(void **)&work = dlsym(lib, "plugin_work");
    for (int i = 0; i < 7; i++) work(i);
    if (round == 0) {
      qub_write();
      show("written", argv[2]);
      qub_testcase("second");
      work(9);
    }
    dlclose(lib);
    show("unloaded", argv[2]);
  }
  return argc == 3 ? 0 : 1;
}
)";

TEST(SharedLibraries, CountsOfAnUnloadedLibraryArriveAtUnload) {
  scratch dir("dlopen");
  std::string plugin = dir / "libplugin.so";
  build lib;
  lib.extra = "-O2 -fPIC -shared";
  ASSERT_EQ(lib.compile({sample("plugin_c.i")}, plugin), "");
  std::string host_source = dir / "host.c";
  FILE *f = fopen(host_source.c_str(), "w");
  ASSERT_NE(f, nullptr);
  fputs(dl_host, f);
  fclose(f);
  std::string host = dir / "host";
  std::string output;
  ASSERT_EQ(run("gcc -std=c99 -Wall -I" + quote(include_dir()) + " " + quote(host_source) +
                    " " + quote(library()) +
                    " -Wl,--export-dynamic-symbol=qub_runtime_copy_1 -o " + quote(host),
                &output),
            0)
      << output;
  std::string data = dir / "p.dat";
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(host) + " " + quote(plugin) + " " +
                    quote(data),
                &output),
            0)
      << output;
  // plugin_work(i) for i = 0..6: n > 3 is true for 4, 5, 6; then once more
  // with 9 in "second", and after loading again 7 calls in "second".
  EXPECT_EQ(output,
            "written: [] 7 3 4\n"
            "unloaded: [] 7 3 4 [second] 1 1 0\n"
            "unloaded: [] 7 3 4 [second] 8 4 4\n");
}

TEST(DataFile, EnvironmentNamesADirectory) {
  scratch dir("envdir");
  std::string program = build_runs(dir);
  run("mkdir -p " + quote(dir / "out"));
  ASSERT_EQ(run("cd " + quote(dir.path) + " && QUB_DATA_FILE=out/ " + quote(program)), 0);
  counts c(dir / "out/MON.dat");
  ASSERT_EQ(c.status, QUB_DATA_OK);
  EXPECT_EQ(c.set("/src/runs.c")->f[0], 10u);
}

TEST(DataFile, DefaultNameComesFromTheModuleTail) {
  scratch dir("default");
  std::string program = build_runs(dir);
  ASSERT_EQ(run("cd " + quote(dir.path) + " && unset QUB_DATA_FILE && " + quote(program)), 0);
  counts c(dir / "MON.dat");  // the tail names "MON.dat", relative to the current directory
  ASSERT_EQ(c.status, QUB_DATA_OK);
  EXPECT_EQ(c.set("/src/runs.c")->f[0], 10u);
}

// A damaged or foreign data file is kept aside with one line on stderr; the
// program's exit status stays its own.
TEST(DataFile, UnreadableFileIsKeptAsideAndCountingGoesOn) {
  struct bad_file {
    const char *what;
    std::string content;
    const char *reason;
  } cases[] = {
      {"foreign", "just some text\n", "no data file header"},
      {"damaged", std::string("QUB++DAT\x01\0\0\0\0\0\0\0", 16) + std::string(40, 'x'),
       "size differs from the recorded size"},
  };
  for (const bad_file &bad : cases) {
    scratch dir(bad.what);
    std::string program = build_runs(dir);
    std::string data = dir / "MON.dat";
    FILE *f = fopen(data.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    fwrite(bad.content.data(), 1, bad.content.size(), f);
    fclose(f);
    std::string output;
    EXPECT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program) + " 0 3", &output), 3);
    EXPECT_EQ(output, "qub: " + data + " is not a readable coverage data file (" + bad.reason +
                          "); kept as " + data + ".bad, a new one is started\n");
    std::string kept;
    run("cat " + quote(data + ".bad"), &kept);
    EXPECT_EQ(kept, bad.content) << bad.what;
    counts c(data);
    ASSERT_EQ(c.status, QUB_DATA_OK);
    EXPECT_EQ(c.set("/src/runs.c")->f[0], 10u);
  }
}

TEST(DataFile, UnwritableFileGivesOneLineAndTheProgramsOwnStatus) {
  scratch dir("unwritable");
  std::string program = build_runs(dir);
  std::string data = dir / "missing/dir/MON.dat";
  std::string output;
  EXPECT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program) + " 0 5", &output), 5);
  EXPECT_EQ(output, "qub: cannot write coverage data file " + data +
                        ": No such file or directory\n");
}

TEST(DataFile, ProgramWritesNowAndTheNextWriteAddsOnlyWhatIsNew) {
  scratch dir("writenow");
  std::string program = build_runs(dir);
  std::string data = dir / "MON.dat";
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program) + " 3"), 0);
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  EXPECT_EQ(c.set("/src/runs.c")->f[0], 40u);
  EXPECT_EQ(c.f.runs, 4u);
}

// A module instrumented anew (another time stamp) replaces its counts.
TEST(DataFile, NewInstrumentationReplacesOldCounts) {
  scratch dir("reinstrumented");
  std::string program = build_runs(dir);
  std::string data = dir / "MON.dat";
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program)), 0);
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(program)), 0);
  std::string changed = dir / "runs2.i";
  ASSERT_EQ(run("sed 's/1763900008/1763900999/g' " + quote(sample("runs_c.i")) + " > " +
                quote(changed)),
            0);
  build b;
  ASSERT_EQ(b.compile({changed}, dir / "runs2"), "");
  ASSERT_EQ(run("QUB_DATA_FILE=" + quote(data) + " " + quote(dir / "runs2")), 0);
  counts c(data);
  ASSERT_EQ(c.status, QUB_DATA_OK);
  EXPECT_EQ(c.module("/src/runs.c")->time_stamp, 1763900999);
  EXPECT_EQ(c.set("/src/runs.c")->f[0], 10u);
}

}  // namespace
