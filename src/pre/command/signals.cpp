// Ending the run on SIGINT, SIGTERM and SIGHUP. The handler does only what is safe in a
// signal handler: kill, waitpid, unlink and _exit.
#include "command/signals.h"

#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

#include "command/tempfile.h"

namespace {

volatile sig_atomic_t g_running_child = 0;

const int STOP_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

void stop_handler(int sig) {
  pid_t child = static_cast<pid_t>(g_running_child);
  if (child > 0) {
    kill(-child, sig);
    kill(-child, SIGCONT);  // a stopped group could not end
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    // What the child left running in its group (a background job of a shell ignores
    // SIGINT) ends too.
    kill(-child, SIGTERM);
  }
  pre_remove_temp_files_at_signal();
  _exit(128 + sig);
}

}  // namespace

void pre_install_stop_handlers() {
  for (int sig : STOP_SIGNALS) {
    struct sigaction old;
    if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler == SIG_IGN) continue;
    struct sigaction act = {};
    act.sa_handler = stop_handler;
    sigemptyset(&act.sa_mask);
    for (int other : STOP_SIGNALS) sigaddset(&act.sa_mask, other);
    sigaction(sig, &act, nullptr);
  }
}

void pre_hold_stop_signals(sigset_t *saved) {
  sigset_t set;
  sigemptyset(&set);
  for (int sig : STOP_SIGNALS) sigaddset(&set, sig);
  sigprocmask(SIG_BLOCK, &set, saved);
}

void pre_release_stop_signals(const sigset_t *saved) { sigprocmask(SIG_SETMASK, saved, nullptr); }

void pre_set_running_child(pid_t pid) { g_running_child = pid; }
