#include "platform/lock.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <climits>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

const int interruption_signals[3] = {SIGINT, SIGTERM, SIGHUP};
constexpr unsigned LOCK_POLL_MS = 25;

long long now_ms() {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// What a waiter sees of a lock file: the file it opened (kept open, so that its inode
// cannot pass to another file meanwhile) and the holder it names.
struct lock_view {
  int fd;             // -1 when absent or not to be opened
  bool exists;
  bool writable;      // fd is open for writing, so it can carry a takeover lock
  long holder;        // the identifier at its start, 0 when it holds none
  dev_t device;
  ino_t inode;
  long long age_ms;   // since its last change
};

void close_view(lock_view *view) {
  if (view->fd >= 0) close(view->fd);
  view->fd = -1;
}

// The identifier at the start of an open lock file (at most 15 bytes), 0 when none.
long read_holder(int fd) {
  if (fd < 0) return 0;
  char text[16];
  ssize_t n;
  do {
    n = pread(fd, text, 15, 0);
  } while (n < 0 && errno == EINTR);
  if (n <= 0) return 0;
  text[n] = '\0';
  char *end = nullptr;
  long holder = std::strtol(text, &end, 10);
  return end != text && holder > 0 ? holder : 0;
}

lock_view look_at(const char *path) {
  lock_view view = {-1, false, false, 0, 0, 0, 0};
  view.fd = open(path, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
  view.writable = view.fd >= 0;
  if (view.fd < 0 && errno != ENOENT) view.fd = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  struct stat st;
  if (view.fd >= 0 ? fstat(view.fd, &st) != 0 : lstat(path, &st) != 0) {
    close_view(&view);
    return view;
  }
  view.exists = true;
  view.device = st.st_dev;
  view.inode = st.st_ino;
  view.age_ms = now_ms() - (static_cast<long long>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000);
  view.holder = read_holder(view.fd);
  return view;
}

bool same_file(const lock_view &a, const lock_view &b) {
  return a.exists == b.exists && a.device == b.device && a.inode == b.inode && a.holder == b.holder;
}

// Creates the lock file with the signals held; lets them through again if that fails.
bool create_lock_file(const char *path, pre_lock_file_id *taken, pre_signal_hold *hold) {
  pre_signals_hold(hold);
  if (!pre_create_pid_file(path, static_cast<long>(getpid()))) {
    int error = errno;
    pre_signals_release(hold);
    errno = error;
    return false;
  }
  struct stat st;
  if (lstat(path, &st) == 0) {
    taken->device = st.st_dev;
    taken->inode = st.st_ino;
  }
  return true;
}

// Replaces the stale lock file that view shows by one of this process. Waiters that
// found the same file take turns under a lock on it, and each one first checks that the
// file is still the one at path: so only the first removes it, and a later one sees the
// new file. False (errno EEXIST) when another process was first.
bool take_over(const char *path, lock_view *view, pre_lock_file_id *taken, pre_signal_hold *hold) {
  if (view->writable) {
    struct flock whole;
    std::memset(&whole, 0, sizeof whole);
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(view->fd, F_SETLK, &whole) != 0 && (errno == EAGAIN || errno == EACCES)) {
      errno = EEXIST;
      return false;  // another waiter is taking it over
    }
    // Without locks on this file system the check below is what is left.
  }
  // Opening the file again here would end the lock (closing any descriptor of a file
  // drops this process's locks on it): look by name, and read through the open one.
  struct stat st;
  bool unchanged = lstat(path, &st) == 0 && st.st_dev == view->device && st.st_ino == view->inode &&
                   read_holder(view->fd) == view->holder;
  if (!unchanged || unlink(path) != 0) {
    errno = EEXIST;
    return false;
  }
  return create_lock_file(path, taken, hold);
}

}  // namespace

bool pre_lock_file_region(std::FILE *file) {
  int fd = fileno(file);
  if (fd < 0) return false;
  struct flock region;
  std::memset(&region, 0, sizeof region);
  region.l_type = F_WRLCK;
  region.l_whence = SEEK_SET;
  region.l_start = 0;
  region.l_len = static_cast<off_t>(0xFFFF0000u);
  for (;;) {
    if (fcntl(fd, F_SETLKW, &region) == 0) return true;
    if (errno != EINTR) return false;
  }
}

bool pre_is_symbolic_link(const char *path) {
  struct stat st;
  return lstat(path, &st) == 0 && S_ISLNK(st.st_mode);
}

bool pre_is_file_at(std::FILE *file, const char *path) {
  struct stat open_one, named;
  return fstat(fileno(file), &open_one) == 0 && stat(path, &named) == 0 && open_one.st_dev == named.st_dev &&
         open_one.st_ino == named.st_ino;
}

std::FILE *pre_open_replacement(const char *path, std::FILE *like) {
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  struct stat model;
  if (like && fstat(fileno(like), &model) == 0 && fchmod(fd, model.st_mode & 07777) != 0) {
    int saved = errno;
    close(fd);
    errno = saved;
    return nullptr;
  }
  std::FILE *file = fdopen(fd, "w");
  if (!file) {
    int saved = errno;
    close(fd);
    errno = saved;
  }
  return file;
}

bool pre_close_on_disk(std::FILE *file) {
  bool ok = std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  int saved = errno;
  if (std::fclose(file) != 0 && ok) return false;
  errno = saved;
  return ok;
}

bool pre_create_pid_file(const char *path, long pid) {
  int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  char text[32];
  int n = std::snprintf(text, sizeof text, "%i\n", static_cast<int>(pid));
  ssize_t written = write(fd, text, static_cast<std::size_t>(n));
  if (written != n) {
    int saved = errno ? errno : EIO;
    close(fd);
    unlink(path);
    errno = saved;
    return false;
  }
  if (close(fd) != 0) {
    int saved = errno;
    unlink(path);
    errno = saved;
    return false;
  }
  return true;
}

bool pre_process_exists(long pid) {
  if (pid <= 0) return true;  // no single process can be asked
  if (kill(static_cast<pid_t>(pid), 0) == 0) return true;
  return errno != ESRCH;
}

void pre_sleep_ms(unsigned milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  struct timespec wait;
  wait.tv_sec = static_cast<time_t>(milliseconds / 1000);
  wait.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
  while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
  }
}

void pre_signals_hold(pre_signal_hold *hold) {
  if (hold->held) return;
  sigset_t interruptions;
  sigemptyset(&interruptions);
  for (int sig : interruption_signals) sigaddset(&interruptions, sig);
  hold->held = sigprocmask(SIG_BLOCK, &interruptions, &hold->previous) == 0;
}

void pre_signals_release(pre_signal_hold *hold) {
  if (!hold->held) return;
  hold->held = false;
  sigprocmask(SIG_SETMASK, &hold->previous, nullptr);
}

bool pre_take_lock_file(const char *path, long max_wait, pre_lock_file_id *taken, pre_signal_hold *hold) {
  long long limit = max_wait > LLONG_MAX / 1000 ? LLONG_MAX : static_cast<long long>(max_wait) * 1000;
  long long elapsed = 0;  // time the same holder has been seen
  lock_view last = {-1, false, false, 0, 0, 0, 0};
  for (;;) {
    lock_view view = look_at(path);
    if (!view.exists) {
      if (create_lock_file(path, taken, hold)) return true;
      if (errno != EEXIST) return false;
      sched_yield();  // someone else was faster: look again
      continue;
    }
    bool stale = view.holder == static_cast<long>(getpid());
    if (!stale && !same_file(view, last)) {
      // A new holder: the queue moves, and the wait starts again.
      last = view;
      last.fd = -1;
      close_view(&view);
      pre_sleep_ms(LOCK_POLL_MS);
      elapsed = LOCK_POLL_MS;
      continue;
    }
    if (!stale && elapsed <= limit &&
        (view.holder > 0 || view.age_ms <= limit)) {
      close_view(&view);
      pre_sleep_ms(LOCK_POLL_MS);
      elapsed += LOCK_POLL_MS;
      continue;
    }
    // Own identifier; no identifier and older than the wait; or the wait is over.
    if (!stale) stale = view.holder <= 0 || !pre_process_exists(view.holder);
    if (!stale) {
      close_view(&view);
      if (create_lock_file(path, taken, hold)) return true;
      return false;  // a live holder beyond the limit
    }
    bool took = take_over(path, &view, taken, hold);
    int error = errno;
    close_view(&view);
    if (took) return true;
    if (error != EEXIST) {
      errno = error;
      return false;
    }
    last.exists = false;  // look again at what is there now
  }
}

bool pre_remove_lock_file(const char *path, const pre_lock_file_id *taken) {
  struct stat st;
  if (lstat(path, &st) != 0) return false;
  if (static_cast<unsigned long long>(st.st_dev) != taken->device ||
      static_cast<unsigned long long>(st.st_ino) != taken->inode) {
    errno = EEXIST;
    return false;
  }
  return unlink(path) == 0;
}
