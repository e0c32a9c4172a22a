// Locking of the symbol file: the system lock, the lock file with its waiting rules,
// no locking, ignored signals, and many processes committing into one file at once.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "symbol_file_check.h"
#include "symbol_test_support.h"

namespace {

using symtest::SymbolTest;


void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

bool still_running(pid_t child) {
  int status = 0;
  return waitpid(child, &status, WNOHANG) == 0;
}

// Exit status of a child, or -1 when it did not end normally.
int wait_child(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A process identifier that no process holds any more.
long dead_process_id() {
  pid_t child = fork();
  if (child == 0) _exit(0);
  wait_child(child);
  return child;
}

template <typename F>
pid_t start_child(F body) {
  std::fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    // A test run started in the background by a script inherits SIGINT ignored.
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) std::signal(sig, SIG_DFL);
    pre_symbol_reset();  // own description file, named with this process's identifier
    body();
    _exit(0);
  }
  return child;
}

bool has_description(const std::string &path, const std::string &source) {
  for (const std::string &line : symtest::lines_to_end_mark(symtest::read_file(path)))
    if (line == "@" + source) return true;
  return false;
}

// The signal that ended a child, 0 when it ended otherwise, -1 when it still runs after
// some seconds (it is then killed).
int ending_signal(pid_t child) {
  int status = 0;
  for (int i = 0; i < 500; i++) {
    if (waitpid(child, &status, WNOHANG) == child) return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    sleep_ms(10);
  }
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return -1;
}

// Holds the system lock of the symbol file with an open file description lock, which
// conflicts with the process lock that the commit takes and, unlike that one, survives
// the test's own reading of the file. The descriptor, or -1.
int hold_system_lock(const std::string &path) {
  int fd = open(path.c_str(), O_RDWR);
  struct flock region = {};
  region.l_type = F_WRLCK;
  region.l_whence = SEEK_SET;
  region.l_len = static_cast<off_t>(0xFFFF0000u);
  if (fd >= 0 && fcntl(fd, F_OFD_SETLK, &region) != 0) {
    close(fd);
    fd = -1;
  }
  return fd;
}

TEST_F(SymbolTest, WaitForTheLockCanBeInterrupted) {
  commit_example("a.c");
  const std::string before = symtest::read_file(sym_path());
  const std::string lock = pre_symbol_lock_path();
  const std::string holder = std::to_string(getpid()) + "\n";
  for (bool lock_file : {false, true}) {
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) {
      int fd = -1;
      if (lock_file) {
        setenv("QUB_LOCK_MAX_WAIT", "30", 1);
        symtest::write_file(lock, holder);
      } else {
        unsetenv("QUB_LOCK_MAX_WAIT");
        fd = hold_system_lock(sym_path());
        ASSERT_GE(fd, 0);
      }
      pid_t child = start_child([this, fd] {
        if (fd >= 0) close(fd);  // the lock belongs to the parent's open file description alone
        commit_example("b.c");
      });
      sleep_ms(200);
      EXPECT_TRUE(still_running(child));
      kill(child, sig);
      EXPECT_EQ(ending_signal(child), sig) << (lock_file ? "lock file, signal " : "system lock, signal ") << sig;
      EXPECT_EQ(symtest::read_file(sym_path()), before);
      if (lock_file) {
        EXPECT_EQ(symtest::read_file(lock), holder) << "the holder's lock file stays";
      }
      if (fd >= 0) close(fd);
      unlink(lock.c_str());
    }
  }
}

TEST_F(SymbolTest, SignalsDuringTheCommitTakeEffectAfterIt) {
  // Under the lock file: the signal comes while the lock file shows the commit running.
  symtest::write_file(sym_path(), symtest::symbol_file_of(150000));
  std::string lock = pre_symbol_lock_path();
  setenv("QUB_LOCK_MAX_WAIT", "5", 1);
  pid_t child = start_child([this] { commit_example("new.c"); });
  bool running = false;
  for (int i = 0; i < 2000000 && !running && still_running(child); i++)
    running = symtest::read_file(lock) == std::to_string(child) + "\n";
  ASSERT_TRUE(running);
  kill(child, SIGTERM);
  EXPECT_EQ(ending_signal(child), SIGTERM);
  EXPECT_TRUE(has_description(sym_path(), "new.c"));
  EXPECT_NE(access(lock.c_str(), F_OK), 0);

  // Under the system lock: the signal comes just as the lock is released, so it finds
  // the process waiting or committing. Either way the file is whole and the signal is
  // not lost.
  unsetenv("QUB_LOCK_MAX_WAIT");
  for (int trial = 0; trial < 8; trial++) {
    std::string source = "s" + std::to_string(trial) + ".c";
    int fd = hold_system_lock(sym_path());
    ASSERT_GE(fd, 0);
    child = start_child([this, fd, source] {
      close(fd);
      commit_example(source.c_str());
    });
    sleep_ms(100);
    close(fd);
    usleep(static_cast<useconds_t>(trial * 500));
    kill(child, SIGINT);
    EXPECT_EQ(ending_signal(child), SIGINT) << "trial " << trial;
  }
}

TEST_F(SymbolTest, SignalDispositionsComeBackAfterTheCommit) {
  struct sigaction custom = {};
  custom.sa_handler = [](int) {};
  struct sigaction old_int, old_term, old_hup;
  sigaction(SIGINT, &custom, &old_int);
  sigaction(SIGTERM, nullptr, &old_term);
  sigaction(SIGHUP, nullptr, &old_hup);
  commit_example("a.c");
  struct sigaction now_int, now_term, now_hup;
  sigaction(SIGINT, nullptr, &now_int);
  sigaction(SIGTERM, nullptr, &now_term);
  sigaction(SIGHUP, nullptr, &now_hup);
  EXPECT_EQ(now_int.sa_handler, custom.sa_handler);
  EXPECT_EQ(now_term.sa_handler, old_term.sa_handler);
  EXPECT_EQ(now_hup.sa_handler, old_hup.sa_handler);
  sigaction(SIGINT, &old_int, nullptr);
}

TEST_F(SymbolTest, LockFileOfALiveHolderMakesTheCommitWait) {
  commit_example("a.c");
  std::string before = symtest::read_file(sym_path());
  std::string lock = pre_symbol_lock_path();
  symtest::write_file(lock, std::to_string(getpid()) + "\n");
  setenv("QUB_LOCK_MAX_WAIT", "30", 1);
  pid_t child = start_child([this] { commit_example("b.c"); });
  sleep_ms(300);
  EXPECT_TRUE(still_running(child));
  EXPECT_EQ(symtest::read_file(sym_path()), before);
  ASSERT_EQ(unlink(lock.c_str()), 0);
  EXPECT_EQ(wait_child(child), 0);
  EXPECT_TRUE(has_description(sym_path(), "b.c"));
  EXPECT_NE(access(lock.c_str(), F_OK), 0);
}

TEST_F(SymbolTest, LockFileHoldsTheCommittersIdentifierWhileItRuns) {
  // A large symbol file keeps the commit busy long enough to be watched.
  symtest::write_file(sym_path(), symtest::symbol_file_of(150000));
  std::string lock = pre_symbol_lock_path();
  setenv("QUB_LOCK_MAX_WAIT", "5", 1);
  pid_t child = start_child([this] { commit_example("new.c"); });
  std::string seen;
  for (int i = 0; i < 2000000 && seen.empty() && still_running(child); i++) seen = symtest::read_file(lock);
  EXPECT_EQ(seen, std::to_string(child) + "\n");
  EXPECT_EQ(wait_child(child), 0);
  EXPECT_NE(access(lock.c_str(), F_OK), 0);
  EXPECT_TRUE(has_description(sym_path(), "new.c"));
}

TEST_F(SymbolTest, LockFileRemovedByAnotherHandIsError18) {
  symtest::write_file(sym_path(), symtest::symbol_file_of(150000));
  std::string lock = pre_symbol_lock_path();
  setenv("QUB_LOCK_MAX_WAIT", "5", 1);
  int err[2];
  ASSERT_EQ(pipe(err), 0);
  pid_t child = start_child([this, err] {
    close(err[0]);
    dup2(err[1], 2);
    commit_example("new.c");
  });
  close(err[1]);
  bool removed = false;
  for (int i = 0; i < 5000000 && !removed && still_running(child); i++) removed = unlink(lock.c_str()) == 0;
  EXPECT_TRUE(removed);
  std::string message;
  char buffer[512];
  ssize_t n;
  while ((n = read(err[0], buffer, sizeof buffer)) > 0) message.append(buffer, static_cast<std::size_t>(n));
  close(err[0]);
  EXPECT_EQ(wait_child(child), 1);
  EXPECT_EQ(message, "QUB++ error 18: Cannot remove lock file " + lock + ": No such file or directory\n");
}

TEST_F(SymbolTest, LockFileLeftByAGoneProcessDoesNotBlock) {
  std::string lock = pre_symbol_lock_path();
  symtest::write_file(lock, std::to_string(dead_process_id()) + "\n");
  setenv("QUB_LOCK_MAX_WAIT", "1", 1);
  auto start = std::chrono::steady_clock::now();
  commit_example("a.c");
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 5.0);
  EXPECT_TRUE(has_description(sym_path(), "a.c"));
  EXPECT_NE(access(lock.c_str(), F_OK), 0);
}

TEST_F(SymbolTest, LiveHolderBeyondTheLimitIsError17) {
  std::string lock = pre_symbol_lock_path();
  std::string holder = std::to_string(getpid()) + "\n";
  symtest::write_file(lock, holder);
  setenv("QUB_LOCK_MAX_WAIT", "1", 1);
  EXPECT_EXIT(commit_example("a.c"), ::testing::ExitedWithCode(1),
              qubtest::exactly("QUB++ error 17: Cannot create lock file " + lock + ": File exists\n"));
  EXPECT_EQ(symtest::read_file(lock), holder);
  EXPECT_NE(access(sym_path().c_str(), F_OK), 0);
}

// Sets a file's modification time some seconds into the past.
void age_file(const std::string &path, int seconds) {
  struct timeval times[2];
  gettimeofday(&times[0], nullptr);
  times[0].tv_sec -= seconds;
  times[1] = times[0];
  ASSERT_EQ(utimes(path.c_str(), times), 0);
}

TEST_F(SymbolTest, LockFileNamingTheWaiterItselfIsStale) {
  // Left by an earlier process that had this identifier (containers restart their ids).
  std::string lock = pre_symbol_lock_path();
  setenv("QUB_LOCK_MAX_WAIT", "1", 1);
  pid_t child = start_child([this, lock] {
    symtest::write_file(lock, std::to_string(getpid()) + "\n");
    commit_example("a.c");
  });
  EXPECT_EQ(wait_child(child), 0);
  EXPECT_TRUE(has_description(sym_path(), "a.c"));
  EXPECT_NE(access(lock.c_str(), F_OK), 0);
}

TEST_F(SymbolTest, EmptyOrNonNumericLockFileIsStaleOnceOlderThanTheLimit) {
  // A process killed between creating the lock file and writing its identifier.
  std::string lock = pre_symbol_lock_path();
  setenv("QUB_LOCK_MAX_WAIT", "1", 1);
  const char *contents[] = {"", "not a number\n", "\n"};
  for (const char *content : contents) {
    std::string source = "old" + std::to_string(std::strlen(content)) + ".c";
    symtest::write_file(lock, content);
    age_file(lock, 5);
    pid_t child = start_child([this, source] { commit_example(source.c_str()); });
    EXPECT_EQ(wait_child(child), 0) << "old: \"" << content << "\"";
    EXPECT_TRUE(has_description(sym_path(), source));
    // A fresh one is waited for until it is older than the limit, then taken over.
    source = "new" + std::to_string(std::strlen(content)) + ".c";
    symtest::write_file(lock, content);
    auto start = std::chrono::steady_clock::now();
    child = start_child([this, source] { commit_example(source.c_str()); });
    EXPECT_EQ(wait_child(child), 0) << "fresh: \"" << content << "\"";
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(seconds, 0.9);
    EXPECT_TRUE(has_description(sym_path(), source));
    EXPECT_NE(access(lock.c_str(), F_OK), 0);
  }
}

#if defined(__x86_64__)
// Lets a traced child run until it enters kill(pid, 0) for the given pid, and leaves it
// stopped there. False when the child ends first.
bool run_until_query_of(pid_t child, long queried) {
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (;;) {
    if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) return false;
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
    struct user_regs_struct regs;
    if (ptrace(PTRACE_GETREGS, child, nullptr, &regs) != 0) return false;
    bool entering = static_cast<long long>(regs.rax) == -ENOSYS;
    if (entering && regs.orig_rax == SYS_kill && static_cast<long>(regs.rdi) == queried && regs.rsi == 0)
      return true;
  }
}

TEST_F(SymbolTest, AWaiterHeldUpWhileTakingOverCannotStealTheLock) {
  // The second waiter finds the holder gone, and is held up just as it has asked; the
  // first takes the lock file over meanwhile and is still committing when the second
  // goes on.
  symtest::write_file(sym_path(), symtest::symbol_file_of(150000));
  std::string lock = pre_symbol_lock_path();
  long gone = dead_process_id();
  symtest::write_file(lock, std::to_string(gone) + "\n");
  setenv("QUB_LOCK_MAX_WAIT", "1", 1);

  pid_t second = start_child([this] {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    commit_example("second.c");
  });
  bool held_up = run_until_query_of(second, gone);
  ASSERT_TRUE(held_up) << "the waiter never asked whether the holder lives";
  pid_t first = start_child([this] { commit_example("first.c"); });
  std::string mine = std::to_string(first) + "\n";
  bool first_holds = false;
  for (int i = 0; i < 4000 && !first_holds && still_running(first); i++) {
    first_holds = symtest::read_file(lock) == mine;
    if (!first_holds) sleep_ms(1);
  }
  EXPECT_TRUE(first_holds);
  ptrace(PTRACE_DETACH, second, nullptr, nullptr);
  EXPECT_EQ(wait_child(first), 0);
  EXPECT_EQ(wait_child(second), 0);
  EXPECT_TRUE(has_description(sym_path(), "first.c"));
  EXPECT_TRUE(has_description(sym_path(), "second.c"));
  EXPECT_NE(access(lock.c_str(), F_OK), 0);
}
#endif

TEST_F(SymbolTest, LockFileInAMissingDirectoryIsError17) {
  set_symbol_name(dir + "/missing/MON");
  setenv("QUB_LOCK_MAX_WAIT", "3", 1);
  EXPECT_EXIT(commit_example("a.c"), ::testing::ExitedWithCode(1),
              qubtest::exactly("QUB++ error 17: Cannot create lock file " + dir + "/missing/MON.sym.lock" +
                  ": No such file or directory\n"));
}

TEST_F(SymbolTest, WaitOfZeroOrLessMeansNoLocking) {
  std::string lock = pre_symbol_lock_path();
  std::string holder = std::to_string(getpid()) + "\n";
  symtest::write_file(lock, holder);
  for (const char *value : {"0", "-2", "0x0"}) {
    setenv("QUB_LOCK_MAX_WAIT", value, 1);
    auto start = std::chrono::steady_clock::now();
    commit_example(("f" + std::string(value) + ".c").c_str());
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 0.5) << value;
    EXPECT_TRUE(has_description(sym_path(), "f" + std::string(value) + ".c")) << value;
    EXPECT_EQ(symtest::read_file(lock), holder) << "someone else's lock file is left alone";
  }
}

TEST_F(SymbolTest, HexadecimalWaitSelectsTheLockFile) {
  setenv("QUB_LOCK_MAX_WAIT", "0x10", 1);
  commit_example("a.c");
  EXPECT_TRUE(has_description(sym_path(), "a.c"));
  EXPECT_NE(access(pre_symbol_lock_path(), F_OK), 0);
}

TEST_F(SymbolTest, FatalErrorInTheCommitRemovesTheLockFile) {
  symtest::write_file(sym_path(), "QUB++ sym 8\n");
  setenv("QUB_LOCK_MAX_WAIT", "5", 1);
  EXPECT_EXIT(commit_example("a.c"), ::testing::ExitedWithCode(1), "error 2: Bad identification stamp");
  EXPECT_NE(access(pre_symbol_lock_path(), F_OK), 0);
}

TEST_F(SymbolTest, UnlockLeavesALockFileThatIsNotOurs) {
  std::string lock = pre_symbol_lock_path();
  symtest::write_file(lock, "1\n");
  pre_symbol_unlock();
  EXPECT_EQ(symtest::read_file(lock), "1\n");
}

// --- many processes at once ---------------------------------------------------------------------

constexpr int CHILDREN = 32;
constexpr int FILES_PER_CHILD = 8;

std::string child_source(int child, int file) {
  return "dir" + std::to_string(child) + "/src" + std::to_string(file) + ".c";
}

// Records of one file; each round adds a return statement, round 3 repeats round 2.
void describe_for_round(SymbolTest *test, int child, int file, int round) {
  (void)test;
  int returns = 2 + (round >= 2 ? 1 : 0);
  std::string source = child_source(child, file);
  pre_reset_counters();
  pre_symbol_begin_file(source.c_str());
  std::string name = "fn_" + std::to_string(child) + "_" + std::to_string(file);
  pre_symbol_record(pre_next_function_counter(), 0, 0, 1, 0, name.c_str());
  for (int r = 0; r < returns; r++) {
    std::string value = "value " + std::to_string(child * 100 + file) + " " + std::to_string(r);
    pre_symbol_record(pre_next_jump_counter(), 13, 1, static_cast<std::uint32_t>(2 + r),
                      static_cast<std::uint32_t>(r), value.c_str());
  }
  pre_symbol_record(0, 2, 0, 10, static_cast<std::uint32_t>(returns), name.c_str());
  pre_symbol_commit(source.c_str(), 10);
}

// Checks the whole file: identification, date, well-formed descriptions with a
// fingerprint that fits their records, the end mark; returns name -> (records, revision).
std::map<std::string, std::pair<int, int>> parse_symbol_file(const std::string &text) {
  std::map<std::string, std::pair<int, int>> found;
  std::vector<std::string> lines = symtest::lines_to_end_mark(text);
  EXPECT_GE(lines.size(), 3u);
  if (lines.size() < 3) return found;
  EXPECT_EQ(lines[0], "QUB++ sym 9");
  EXPECT_EQ(lines[1].size(), 24u);
  EXPECT_EQ(lines.back(), "END OF SYMBOLFILE");
  std::size_t i = 2;
  while (i < lines.size() && lines[i] != "END OF SYMBOLFILE") {
    EXPECT_EQ(lines[i][0], '@') << "line " << i + 1;
    if (lines[i][0] != '@') return found;
    std::string name = lines[i].substr(1);
    EXPECT_EQ(found.count(name), 0u) << name << " twice";
    unsigned mode = 0, fingerprint = 0, revision = 0, word = 0, extra = 0;
    long long stamp = 0;
    EXPECT_EQ(std::sscanf(lines[i + 1].c_str(), "%u %lld %08X %u %u %u", &mode, &stamp, &fingerprint, &revision,
                          &word, &extra),
              5)
        << lines[i + 1];
    std::string covered = lines[i + 1].substr(0, 2);
    int records = 0;
    std::size_t k = i + 2;
    for (; k < lines.size() && lines[k][0] != '%'; k++, records++) {
      EXPECT_TRUE(lines[k][0] >= '0' && lines[k][0] <= '9') << lines[k];
      covered += lines[k];
    }
    EXPECT_LT(k, lines.size());
    if (k >= lines.size()) return found;
    covered += lines[k];
    EXPECT_EQ(pre_symbol_cksum(reinterpret_cast<const unsigned char *>(covered.data()), covered.size()),
              fingerprint)
        << name;
    found[name] = {records, static_cast<int>(revision)};
    i = k + 1;
  }
  return found;
}

// All children start their commits at once: each waits for the end of a pipe that the
// parent closes when every child exists.
void run_round(SymbolTest *test, int round) {
  int start_gate[2];
  ASSERT_EQ(pipe(start_gate), 0);
  std::vector<pid_t> children;
  for (int c = 0; c < CHILDREN; c++)
    children.push_back(start_child([test, c, round, start_gate] {
      close(start_gate[1]);
      char byte;
      while (read(start_gate[0], &byte, 1) > 0) {
      }
      close(start_gate[0]);
      for (int f = 0; f < FILES_PER_CHILD; f++) describe_for_round(test, c, f, round);
    }));
  close(start_gate[0]);
  close(start_gate[1]);
  for (pid_t child : children) EXPECT_EQ(wait_child(child), 0);
}

void check_round(const std::string &path, int round) {
  std::map<std::string, std::pair<int, int>> found = parse_symbol_file(symtest::read_file(path));
  EXPECT_EQ(found.size(), static_cast<std::size_t>(CHILDREN * FILES_PER_CHILD)) << "round " << round;
  int records = 2 + 2 + (round >= 2 ? 1 : 0);
  int revision = round >= 2 ? 1 : 0;
  for (int c = 0; c < CHILDREN; c++)
    for (int f = 0; f < FILES_PER_CHILD; f++) {
      auto it = found.find(child_source(c, f));
      ASSERT_NE(it, found.end()) << child_source(c, f) << " lost in round " << round;
      EXPECT_EQ(it->second.first, records) << child_source(c, f);
      EXPECT_EQ(it->second.second, revision) << child_source(c, f);
    }
}

void many_processes(SymbolTest *test, const std::string &path) {
  for (int round = 1; round <= 3; round++) {
    run_round(test, round);
    check_round(path, round);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST_F(SymbolTest, ManyProcessesUnderTheSystemLockLoseNothing) {
  many_processes(this, sym_path());
}

TEST_F(SymbolTest, ManyProcessesUnderTheLockFileLoseNothing) {
  setenv("QUB_LOCK_MAX_WAIT", "60", 1);
  many_processes(this, sym_path());
  EXPECT_NE(access(pre_symbol_lock_path(), F_OK), 0);
}

}  // namespace
