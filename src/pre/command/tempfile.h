// Temporary file names, reserved on creation and removed at exit.
#ifndef QUB_COMMAND_TEMPFILE_H
#define QUB_COMMAND_TEMPFILE_H

// A new temporary name "<dir>/QUB.<pid>.<n><tail>"; the file is created empty with mode
// 0600 so that nobody else can take the name. Registered for removal at exit when
// remove_at_exit. Status 27 when no name is free. Caller frees.
char *pre_temp_name(const char *tail, bool remove_at_exit);
// A new file "<file_name>" in a new directory "<dir>/QUB.<pid>.<n>" that only this user
// can read and write, both registered for removal at exit when remove_at_exit. For the
// instrumented text: a compiler looks for `#include "qub.h"` in the directory of the
// including file first, where nobody else can put one. Caller frees.
char *pre_temp_private_name(const char *file_name, bool remove_at_exit);
// Removes every registered file that exists, and the registered directories.
void pre_remove_temp_files();
// The same from a signal handler: unlinks the registered files, changes nothing else.
void pre_remove_temp_files_at_signal();

#endif
