// The POSIX services the tool needs: paths, processes, locks, signals, time.
#ifndef QUB_PLATFORM_PLATFORM_H
#define QUB_PLATFORM_PLATFORM_H

#include <string>

// Directory for temporary files and the settings log: TMP_DIRECTORY, TEMP, TMP,
// TMPDIR, /tmp, the first that is set and not empty.
std::string pre_temp_directory();

// Process id of this process.
unsigned long pre_process_id();

// Text of the last system error (errno).
const char *pre_system_error_text();

// Creates a file exclusively (no following of links, mode 0600); false if the name
// exists in any form or cannot be created.
bool pre_create_exclusive(const char *path);

// True when something exists under the name, a dangling link included.
bool pre_path_exists(const char *path);

// Creates a directory; an existing one is no failure.
void pre_make_directory(const char *path);

// Installs handlers for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT that print
// "QUB: application failure (0x%08x)\n" and hand the signal on.
void pre_install_failure_handler();

// Directory of the running executable, or "" when it cannot be told.
std::string pre_executable_directory();

// The current directory as the file system holds it; false (errno set) when it cannot
// be had.
bool pre_current_directory(std::string *out);

// The file system's own form of an existing path (links and dots resolved); false when
// the path does not exist or cannot be resolved.
bool pre_real_path(const char *path, std::string *out);

// Sets a variable in the process's environment, seen by every child; an empty value
// removes the variable. False when the environment cannot be changed.
bool pre_set_environment(const char *name, const char *value);

#endif
