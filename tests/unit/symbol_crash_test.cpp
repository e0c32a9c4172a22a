// Many processes merge into one symbol file while others are killed at random moments,
// many of them while they hold the lock. Afterwards the file is well formed and holds
// each description whose commit finished, byte for byte as a single run writes it.
//
// QUB_CRASH_KILLS sets how many kills must land on a lock holder under the system lock
// (default 40), QUB_CRASH_LOCK_FILE_KILLS the same under the lock file (default 3).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "symbol/symbol_state.h"
#include "symbol_file_check.h"
#include "symbol_test_support.h"

namespace {

using symtest::SymbolTest;

constexpr int SOURCES_PER_WORKER = 6;
constexpr int POPULATION = 12;
constexpr int MAX_WORKERS = 8192;
constexpr int BACKGROUND = 1000;     // descriptions that nobody changes
constexpr int SEEDED_WORKERS = 200;  // workers whose sources stand in the file at the start

int from_environment(const char *name, int fallback) {
  const char *value = std::getenv(name);
  return value && *value ? std::atoi(value) : fallback;
}

std::string source_name(int worker, int source) {
  return "w" + std::to_string(worker) + "/f" + std::to_string(source) + ".c";
}

// The records of one source in one version: the later version has one function more,
// and later sources are longer, so that commits take a while.
void describe(const std::string &name, int source, int version) {
  pre_reset_counters();
  pre_symbol_begin_file(name.c_str());
  int functions = 1 + 4 * source + version;
  for (int f = 0; f < functions; f++) {
    std::string function = "function_" + std::to_string(f);
    std::uint32_t line = static_cast<std::uint32_t>(10 * f + 1);
    pre_symbol_record(pre_next_function_counter(), 0, 0, line, 0, function.c_str());
    pre_symbol_record(0, 90, 0, 0, 0, "int argument, const char *text");
    pre_symbol_record(pre_next_decision_counter(), 20, 1, line + 2, 0, "argument > 0 && text != 0");
    pre_symbol_record(pre_next_jump_counter(), 13, 2, line + 3, 1, "argument * 2");
    pre_symbol_record(0, 2, 0, line + 5, 2, function.c_str());
  }
}

std::uint32_t line_count(int source, int version) { return static_cast<std::uint32_t>(10 * (1 + 4 * source + version)); }

// What the worker processes share with the test: which of them is inside a commit.
struct shared_state {
  volatile int in_commit[MAX_WORKERS];
};

// A worker commits each of its sources, then each again in its later version, and notes
// every finished commit as "source version stamp revision" in its result file.
void run_worker(int id, const std::string &results, shared_state *shared) {
  int out = open(results.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (out < 0) _exit(3);
  for (int version = 0; version < 2; version++)
    for (int source = 0; source < SOURCES_PER_WORKER; source++) {
      std::string name = source_name(id, source);
      describe(name, source, version);
      shared->in_commit[id] = 1;
      pre_symbol_commit(name.c_str(), line_count(source, version));
      shared->in_commit[id] = 0;
      dprintf(out, "%d %d %lld %u\n", source, version, pre_symbol_time_stamp(), g_symbol.revision);
    }
  close(out);
}

struct worker {
  int id;
  pid_t pid;
  bool running;
  bool killed;
};

struct crash_figures {
  int started = 0, kills = 0, kills_in_commit = 0, kills_holding_lock = 0;
};

// The process that holds the lock now, 0 if none is seen: the owner of a write lock in
// /proc/locks among the given processes, or the identifier in the lock file.
pid_t lock_holder(bool lock_file, const std::string &lock_path, const std::set<pid_t> &ours) {
  if (lock_file) {
    pid_t pid = static_cast<pid_t>(std::atol(symtest::read_file(lock_path).c_str()));
    return ours.count(pid) ? pid : 0;
  }
  for (const std::string &line : symtest::split_lines(symtest::read_file("/proc/locks"))) {
    char kind[32], advisory[32], mode[32];
    long pid = 0;
    if (std::sscanf(line.c_str(), "%*s %31s %31s %31s %ld", kind, advisory, mode, &pid) == 4 &&
        std::string(kind) == "POSIX" && std::string(mode) == "WRITE" && ours.count(static_cast<pid_t>(pid)))
      return static_cast<pid_t>(pid);
  }
  return 0;
}

class SymbolCrashTest : public SymbolTest {
 protected:
  // The description of one source as a single run writes it, with the settled time
  // stamp and revision of the commit in question. References are made once per shape.
  std::string expected(int worker_id, int source, int version, long long stamp, unsigned revision) {
    std::pair<int, int> shape(source, version);
    if (!reference.count(shape)) {
      std::string saved = g_run.symbol_file_name;
      std::string ref = dir + "/ref_" + std::to_string(source) + "_" + std::to_string(version);
      set_symbol_name(ref);
      describe("ref.c", source, version);
      pre_symbol_commit("ref.c", line_count(source, version));
      symtest::symbol_file_view view = symtest::check_symbol_file(symtest::read_file(ref + ".sym"));
      EXPECT_TRUE(view.ok) << view.why;
      reference[shape] = view.sources["ref.c"];
      set_symbol_name(saved);
    }
    const symtest::stored_description &d = reference[shape];
    char head[96];
    std::snprintf(head, sizeof head, "%u %lld %08X %u 0\n", d.mode, stamp, d.fingerprint, revision);
    std::string text = "@" + source_name(worker_id, source) + "\n" + head;
    for (const std::string &line : d.records) text += line + "\n";
    return text;
  }

  // Checks the symbol file against what the workers noted; counts what it found.
  // Returns how many finished commits the workers noted.
  int check_against_results(const std::vector<worker> &workers, const std::string &text) {
    int commits = 0;
    symtest::symbol_file_view view = symtest::check_symbol_file(text);
    EXPECT_TRUE(view.ok) << view.why;
    if (!view.ok) return commits;
    std::size_t worker_sources = 0;
    for (const worker &w : workers) {
      // The last finished commit of each source, as noted.
      std::map<int, std::vector<long long>> noted;  // source -> version, stamp, revision
      for (const std::string &line : symtest::split_lines(symtest::read_file(results_of(w.id)))) {
        int source = 0, version = 0;
        long long stamp = 0;
        unsigned revision = 0;
        if (std::sscanf(line.c_str(), "%d %d %lld %u", &source, &version, &stamp, &revision) == 4)
          noted[source] = {version, stamp, revision}, commits++;
      }
      if (!w.killed) {
        EXPECT_EQ(noted.size(), static_cast<std::size_t>(SOURCES_PER_WORKER)) << "worker " << w.id;
      }
      for (int source = 0; source < SOURCES_PER_WORKER; source++) {
        std::string name = source_name(w.id, source);
        auto found = view.sources.find(name);
        bool present = found != view.sources.end();
        worker_sources += present && w.id >= SEEDED_WORKERS;
        auto note = noted.find(source);
        bool seeded = w.id < SEEDED_WORKERS;
        if (note == noted.end()) {
          // Never noted: as before, or its first version if the kill came after the rename.
          if (present && !(seeded && found->second.text == symtest::one_function_description(name))) {
            EXPECT_EQ(found->second.text, expected(w.id, source, 0, found->second.stamp, seeded ? 1 : 0)) << name;
          }
          EXPECT_TRUE(present || !seeded) << name << " lost";
          continue;
        }
        int version = static_cast<int>(note->second[0]);
        EXPECT_TRUE(present) << name << " lost";
        if (!present) continue;
        const std::string &stored = found->second.text;
        unsigned revision = static_cast<unsigned>(note->second[2]);
        EXPECT_EQ(revision, static_cast<unsigned>(version + seeded)) << name;
        if (stored == expected(w.id, source, version, note->second[1], revision)) continue;
        // Only a commit that the kill cut short may stand behind the one noted last.
        bool later = version == 0 && w.killed && stored == expected(w.id, source, 1, found->second.stamp, 1 + seeded);
        EXPECT_TRUE(later) << name << " is not as written:\n" << stored;
      }
    }
    // Sources of workers that never ran stay as they were.
    for (int id = static_cast<int>(workers.size()); id < SEEDED_WORKERS; id++)
      for (int source = 0; source < SOURCES_PER_WORKER; source++)
        EXPECT_EQ(view.sources[source_name(id, source)].text, symtest::one_function_description(source_name(id, source)));
    EXPECT_EQ(view.sources.size(), BACKGROUND + SEEDED_WORKERS * SOURCES_PER_WORKER + worker_sources);
    for (int i = 0; i < BACKGROUND; i++)
      EXPECT_EQ(view.sources["file" + std::to_string(i) + ".c"].records.size(), 2u) << "file" << i;
    return commits;
  }

  std::string results_of(int id) const { return dir + "/results/" + std::to_string(id); }

  // Keeps POPULATION workers running and kills one now and then, at random, a lock
  // holder half of the time, until enough kills have landed on a holder. Then lets the
  // rest finish.
  crash_figures run(bool lock_file, int holder_kills_wanted, std::vector<worker> *workers, int first_id) {
    crash_figures figures;
    std::mt19937 random(static_cast<unsigned>(getpid()) ^ static_cast<unsigned>(first_id));
    int next_id = first_id;
    auto start_worker = [&] {
      int id = next_id++;
      std::fflush(nullptr);
      pid_t pid = fork();
      if (pid == 0) {
        pre_symbol_reset();
        run_worker(id, results_of(id), shared);
        _exit(0);
      }
      workers->push_back({id, pid, true, false});
      figures.started++;
    };
    // Children are reaped at once: a dead process that is not reaped still exists, and
    // would count as a live holder of its lock file.
    auto reap = [&](bool block) {
      for (;;) {
        int status = 0;
        pid_t done = waitpid(-1, &status, block ? 0 : WNOHANG);
        if (done <= 0) return;
        for (worker &w : *workers) {
          if (w.pid != done || !w.running) continue;
          w.running = false;
          if (!w.killed) {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
                << "worker " << w.id << " ended with status " << status;
          }
        }
      }
    };
    auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(30);
    while (figures.kills_holding_lock < holder_kills_wanted && std::chrono::steady_clock::now() < deadline &&
           next_id < MAX_WORKERS) {
      reap(false);
      std::size_t running = 0;
      for (const worker &w : *workers) running += w.running && !w.killed;
      for (; running < POPULATION; running++) start_worker();
      usleep(std::uniform_int_distribution<int>(0, lock_file ? 20000 : 3000)(random));
      std::vector<worker *> live;
      std::set<pid_t> pids;
      for (worker &w : *workers)
        if (w.running && !w.killed) {
          live.push_back(&w);
          pids.insert(w.pid);
        }
      // The holder half of the time; else, now and then, anyone. Under the lock file a
      // killed holder stops everyone for the wait limit, so others are spared more.
      pid_t holder = lock_holder(lock_file, pre_symbol_lock_path(), pids);
      worker *victim = nullptr;
      if (holder != 0 && random() % 2 == 0) {
        for (worker *w : live)
          if (w->pid == holder) victim = w;
      } else if (!live.empty() && random() % (lock_file ? 8 : 2) == 0) {
        victim = live[std::uniform_int_distribution<std::size_t>(0, live.size() - 1)(random)];
      }
      if (!victim) continue;
      bool in_commit = shared->in_commit[victim->id] != 0;
      bool holding = lock_holder(lock_file, pre_symbol_lock_path(), pids) == victim->pid;
      if (kill(victim->pid, SIGKILL) != 0) continue;
      victim->killed = true;
      victim->running = false;
      waitpid(victim->pid, nullptr, 0);
      figures.kills++;
      figures.kills_in_commit += in_commit;
      figures.kills_holding_lock += holding;
    }
    reap(true);
    return figures;
  }

  void SetUp() override {
    SymbolTest::SetUp();
    shared = static_cast<shared_state *>(
        mmap(nullptr, sizeof(shared_state), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(shared, MAP_FAILED);
    ASSERT_EQ(mkdir((dir + "/results").c_str(), 0700), 0);
  }

  void TearDown() override {
    munmap(shared, sizeof(shared_state));
    SymbolTest::TearDown();
  }

  shared_state *shared = nullptr;
  std::map<std::pair<int, int>, symtest::stored_description> reference;
};

// The sources of the first workers, then the background: so most commits change a
// description near the start, and all that follows it moves.
std::string seed_file() {
  std::string text = "QUB++ sym 9\nMon Jan  1 00:00:00 2024\n";
  for (int id = 0; id < SEEDED_WORKERS; id++)
    for (int source = 0; source < SOURCES_PER_WORKER; source++) text += symtest::one_function_description(source_name(id, source));
  for (int i = 0; i < BACKGROUND; i++) text += symtest::one_function_description("file" + std::to_string(i) + ".c");
  return text + "END OF SYMBOLFILE\n";
}

TEST_F(SymbolCrashTest, KillsAtRandomMomentsLoseNoFinishedCommit) {
  symtest::write_file(sym_path(), seed_file());
  std::vector<worker> workers;
  auto start = std::chrono::steady_clock::now();
  crash_figures system = run(false, from_environment("QUB_CRASH_KILLS", 40), &workers, 0);
  double system_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  int system_commits = check_against_results(workers, symtest::read_file(sym_path()));

  setenv("QUB_LOCK_MAX_WAIT", "1", 1);
  start = std::chrono::steady_clock::now();
  crash_figures lock_file = run(true, from_environment("QUB_CRASH_LOCK_FILE_KILLS", 3), &workers, workers.size());
  double lock_file_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  int all_commits = check_against_results(workers, symtest::read_file(sym_path()));

  // One more change by an undisturbed process reuses what a killed holder left beside
  // the symbol file.
  unsetenv("QUB_LOCK_MAX_WAIT");
  describe("last.c", 1, 0);
  pre_symbol_commit("last.c", line_count(1, 0));
  EXPECT_EQ(symtest::check_symbol_file(symtest::read_file(sym_path())).ok, true);
  for (const char *leftover : {"MON.sym.new", "MON.sym.lock"})
    EXPECT_NE(access((dir + "/" + leftover).c_str(), F_OK), 0) << leftover;

  std::printf("system lock: %d workers, %d kills, %d during a commit, %d holding the lock, %d commits, %.1f s\n",
              system.started, system.kills, system.kills_in_commit, system.kills_holding_lock, system_commits,
              system_seconds);
  std::printf("lock file:   %d workers, %d kills, %d during a commit, %d holding the lock, %d commits, %.1f s\n",
              lock_file.started, lock_file.kills, lock_file.kills_in_commit, lock_file.kills_holding_lock,
              all_commits - system_commits, lock_file_seconds);
  EXPECT_GE(system.kills_holding_lock, from_environment("QUB_CRASH_KILLS", 40));
  EXPECT_GE(lock_file.kills_holding_lock, from_environment("QUB_CRASH_LOCK_FILE_KILLS", 3));
}

}  // namespace
