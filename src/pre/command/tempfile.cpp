#include "command/tempfile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "base/base.h"
#include "command/signals.h"
#include "preerror/preerror.h"
#include "platform/platform.h"

namespace {
struct temp_state {
  std::uint32_t counter = 0;
  pre_list *removal_list = nullptr;
  bool registered = false;
};
temp_state g_temp;
}  // namespace

namespace {

void add_to_removal_list(const char *name) {
  // The stop handler walks the list: it must not see it half changed.
  sigset_t saved;
  pre_hold_stop_signals(&saved);
  if (!g_temp.removal_list) g_temp.removal_list = pre_list_new(pre_list_text_equal);
  pre_list_add(g_temp.removal_list, pre_xstrdup(name));
  pre_release_stop_signals(&saved);
}

// A new name "<dir>/QUB.<pid>.<n><tail>", reserved by creating a file (or a directory
// of its own) that did not exist in any form.
char *reserve_name(const char *tail, bool directory, bool remove_at_exit) {
  std::string dir = pre_temp_directory();
  std::string prefix = dir;
  if (prefix.empty() || (prefix.back() != '/' && prefix.back() != '\\')) prefix += '/';
  prefix += "QUB." + std::to_string(pre_process_id()) + ".";
  std::string name;
  for (;;) {
    if (g_temp.counter == 0xFFFFFFFFu) {
      pre_set_message_args("", "");
      pre_fatal(STATUS_NO_TEMP_FILE);
    }
    name = prefix + std::to_string(g_temp.counter++) + (tail ? tail : "");
    if (directory ? mkdir(name.c_str(), 0700) == 0 : pre_create_exclusive(name.c_str())) break;
    if (!pre_path_exists(name.c_str())) {  // the directory refuses new files
      pre_set_message_args("", "");
      pre_fatal(STATUS_NO_TEMP_FILE);
    }
  }
  if (!g_temp.registered) {
    if (std::atexit(pre_remove_temp_files) != 0) {
      pre_internal_error("src/pre/prepath", 711);
      pre_fatal(STATUS_UNKNOWN_ERROR);
    }
    g_temp.registered = true;
  }
  if (remove_at_exit) add_to_removal_list(name.c_str());
  return pre_xstrdup(name.c_str());
}

}  // namespace

char *pre_temp_name(const char *tail, bool remove_at_exit) { return reserve_name(tail, false, remove_at_exit); }

char *pre_temp_private_name(const char *file_name, bool remove_at_exit) {
  char *dir = reserve_name(nullptr, true, remove_at_exit);
  std::string name = std::string(dir) + "/" + file_name;
  std::free(dir);
  if (!pre_create_exclusive(name.c_str())) {
    pre_set_message_args("", "");
    pre_fatal(STATUS_NO_TEMP_FILE);
  }
  if (remove_at_exit) add_to_removal_list(name.c_str());
  return pre_xstrdup(name.c_str());
}

// Files first, then the directories that held them.
void pre_remove_temp_files_at_signal() {
  if (!g_temp.removal_list) return;
  for (pre_list_node *n = g_temp.removal_list->head; n; n = n->next) unlink(static_cast<char *>(n->item));
  for (pre_list_node *n = g_temp.removal_list->head; n; n = n->next) rmdir(static_cast<char *>(n->item));
}

void pre_remove_temp_files() {
  if (!g_temp.removal_list) return;
  sigset_t saved;
  pre_hold_stop_signals(&saved);  // the list goes away under the stop handler's eyes
  pre_close_all_files();
  pre_remove_temp_files_at_signal();
  pre_list_free_texts(g_temp.removal_list);
  g_temp.removal_list = nullptr;
  pre_release_stop_signals(&saved);
}
