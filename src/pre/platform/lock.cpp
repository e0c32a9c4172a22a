#include "platform/lock.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

namespace {
const int interruption_signals[3] = {SIGINT, SIGTERM, SIGHUP};
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

long pre_read_pid_file(const char *path) {
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  char text[16];
  ssize_t n;
  do {
    n = read(fd, text, 15);
  } while (n < 0 && errno == EINTR);
  close(fd);
  if (n <= 0) return -1;
  text[n] = '\0';
  return std::strtol(text, nullptr, 10);
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

void pre_signals_ignore(pre_signal_save *save) {
  for (int i = 0; i < 3; i++) save->handlers[i] = std::signal(interruption_signals[i], SIG_IGN);
  save->saved = true;
}

void pre_signals_restore(pre_signal_save *save) {
  if (!save->saved) return;
  for (int i = 0; i < 3; i++)
    std::signal(interruption_signals[i], save->handlers[i] == SIG_ERR ? SIG_DFL : save->handlers[i]);
  save->saved = false;
}
