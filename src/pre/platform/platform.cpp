#include "platform/platform.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include "config/config.h"

std::string pre_temp_directory() {
  const char *from_conf = conf_get("TMP_DIRECTORY");
  if (from_conf && *from_conf) return from_conf;
  for (const char *name : {"TEMP", "TMP", "TMPDIR"}) {
    const char *v = std::getenv(name);
    if (v && *v) return v;
  }
  return "/tmp";
}

unsigned long pre_process_id() { return static_cast<unsigned long>(getpid()); }

const char *pre_system_error_text() { return std::strerror(errno); }

bool pre_create_exclusive(const char *path) {
  int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  close(fd);
  return true;
}

bool pre_path_exists(const char *path) {
  struct stat st;
  return lstat(path, &st) == 0;
}

void pre_make_directory(const char *path) { mkdir(path, 0700); }

static void failure_handler(int sig) {
  char text[64];
  int n = std::snprintf(text, sizeof text, "QUB: application failure (0x%08x)\n",
                        static_cast<unsigned>(sig));
  if (n > 0) {
    ssize_t ignored = write(2, text, static_cast<std::size_t>(n));
    (void)ignored;
  }
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

void pre_install_failure_handler() {
  for (int sig : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) std::signal(sig, failure_handler);
}

std::string pre_executable_directory() {
  char buf[PATH_MAX + 1];
  ssize_t n = readlink("/proc/self/exe", buf, PATH_MAX);
  if (n <= 0) return "";
  buf[n] = '\0';
  char *slash = std::strrchr(buf, '/');
  if (!slash) return "";
  *slash = '\0';
  return buf;
}

bool pre_current_directory(std::string *out) {
  std::string buf(256, '\0');
  for (;;) {
    if (getcwd(&buf[0], buf.size())) {
      out->assign(buf.c_str());
      return true;
    }
    if (errno != ERANGE) return false;
    buf.resize(buf.size() * 2);
  }
}

bool pre_real_path(const char *path, std::string *out) {
  char *resolved = realpath(path, nullptr);
  if (!resolved) return false;
  out->assign(resolved);
  std::free(resolved);
  return true;
}

bool pre_set_environment(const char *name, const char *value) {
  if (!*value) return unsetenv(name) == 0;
  return setenv(name, value, 1) == 0;
}
