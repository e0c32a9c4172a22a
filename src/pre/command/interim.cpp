// Weak stand-ins for services of other modules, replaced by their real definitions.
#include "command/interim.h"

#include <cstring>

#define QUB_WEAK __attribute__((weak))

QUB_WEAK const char *conf_select_first() { return nullptr; }
QUB_WEAK const char *conf_select_next() { return nullptr; }
QUB_WEAK std::size_t conf_param_count() { return 0; }
QUB_WEAK const char *conf_param_name(std::size_t) { return ""; }
QUB_WEAK bool conf_param_is_multi(std::size_t) { return false; }

QUB_WEAK int pre_path_compare(const char *a, const char *b) {
  for (;; a++, b++) {
    char x = *a == '\\' ? '/' : *a, y = *b == '\\' ? '/' : *b;
    if (x != y) return x < y ? -1 : 1;
    if (!x) return 0;
  }
}
QUB_WEAK bool pre_path_equal(const char *a, const char *b) { return pre_path_compare(a, b) == 0; }
QUB_WEAK const char *pre_file_part(const char *path) {
  const char *b = path;
  for (const char *p = path; *p; p++)
    if (*p == '/' || *p == '\\') b = p + 1;
  return b;
}
QUB_WEAK char *pre_dir_part(const char *path) {
  const char *f = pre_file_part(path);
  char *d = pre_xstrdup(path);
  d[f - path] = '\0';
  return d;
}
QUB_WEAK bool pre_has_extension(const char *word, const char *ext) {
  std::size_t w = std::strlen(word), e = std::strlen(ext);
  return w >= e + 2 && word[w - e - 1] == '.' && pre_path_equal(word + w - e, ext);
}
QUB_WEAK bool pre_is_excluded(const char *) { return false; }

QUB_WEAK int pre_parse_options() { return STATUS_OK; }
QUB_WEAK arg_node *pre_split_words(const char *) { return nullptr; }
QUB_WEAK char *pre_read_text_file(const char *) { return pre_xstrdup(""); }
