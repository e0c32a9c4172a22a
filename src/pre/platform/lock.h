// Locks, lock files, process queries, pauses, the safe replacement of a file, and the
// holding back of signals, used while the symbol file is updated.
#ifndef QUB_PLATFORM_LOCK_H
#define QUB_PLATFORM_LOCK_H

#include <csignal>
#include <cstdio>

// Waits for and takes an exclusive lock on bytes 0 to 0xFFFEFFFF of an open file
// (opened for writing). Closing the file releases it. False with errno set on failure.
bool pre_lock_file_region(std::FILE *file);

// Creates a file exclusively (readable and writable by the user only, no following of
// links) and writes the process identifier into it as "%i\n". False with errno set when
// the file cannot be created; a failed write removes the file again.
bool pre_create_pid_file(const char *path, long pid);

// False only when it is certain that no process with this identifier exists; a live
// process that this user may not signal counts as existing.
bool pre_process_exists(long pid);

// The interruption signals (SIGINT, SIGTERM, SIGHUP) held back while the symbol file
// changes: blocked, so that one that comes meanwhile waits and takes effect when they are
// let through again. Dispositions are left alone.
struct pre_signal_hold {
  sigset_t previous;  // the signal mask before the hold
  bool held;
};

// A lock file that this process created, told apart from any later file of that name.
struct pre_lock_file_id {
  unsigned long long device;
  unsigned long long inode;
};

// Waits for the lock file at path to be free, at most max_wait seconds while one holder
// keeps it, and creates it holding this process's identifier. A lock file is stale, and
// is taken over, when it names this process, when it names a process that no longer
// exists once the wait is over, or when it holds no identifier and is older than the
// wait. Taking over is atomic: of several waiters that find one stale file, one takes
// it. The interruption signals go through while it waits; they are held by hold from
// just before the lock file is created, and stay held when it is. False with errno set
// when the lock file cannot be had.
bool pre_take_lock_file(const char *path, long max_wait, pre_lock_file_id *taken, pre_signal_hold *hold);

// Removes the lock file taken by pre_take_lock_file. False with errno set when it is gone,
// or is no longer the file that was taken (EEXIST), which is then left alone.
bool pre_remove_lock_file(const char *path, const pre_lock_file_id *taken);

// Whether path is a symbolic link.
bool pre_is_symbolic_link(const char *path);

// Whether path names the file that is open as file (the same device and inode).
bool pre_is_file_at(std::FILE *file, const char *path);

// Opens path for writing a file that is to replace another: created, or emptied when it
// exists, never through a symbolic link, with the permissions of the open file like (the
// default ones when like is null). Null with errno set on failure.
std::FILE *pre_open_replacement(const char *path, std::FILE *like);

// Writes what file buffers and waits until the disk holds it; closes it either way.
// False with errno set when anything fails.
bool pre_close_on_disk(std::FILE *file);

// Pause of a number of milliseconds; 0 gives up the rest of the time slice.
void pre_sleep_ms(unsigned milliseconds);

// Holds the interruption signals back; nothing when they are held already.
void pre_signals_hold(pre_signal_hold *hold);
// Lets them through again as before the hold; one that came meanwhile takes effect now.
void pre_signals_release(pre_signal_hold *hold);

#endif
