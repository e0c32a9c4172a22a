// SIGINT, SIGTERM and SIGHUP end the run as a fatal error would: the running child and
// its own children are ended, the temporary files removed (unless -k keeps them), and
// the process exits with 128 plus the signal's number.
#ifndef QUB_COMMAND_SIGNALS_H
#define QUB_COMMAND_SIGNALS_H

#include <csignal>
#include <sys/types.h>

// Installs the handlers; a signal that the process ignored at its start stays ignored.
void pre_install_stop_handlers();

// Blocks the three signals while a record that the handler reads is changed; the
// previous mask goes to `saved`.
void pre_hold_stop_signals(sigset_t *saved);
void pre_release_stop_signals(const sigset_t *saved);

// The process group of the child that now runs (it leads a group of its own), or 0.
void pre_set_running_child(pid_t pid);

#endif
