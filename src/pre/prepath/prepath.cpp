// Source selection and path names.
#include "prepath/prepath.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "config/config.h"
#include "driver/run_state.h"
#include "platform/platform.h"
#include "preerror/preerror.h"

path_state g_path;


namespace {

bool is_separator(char c) { return c == '/' || c == '\\'; }

// The character as path comparison sees it: both separators are one.
unsigned char path_char(char c) { return c == '\\' ? '/' : static_cast<unsigned char>(c); }

bool path_chars_equal(const char *a, const char *b, std::size_t n) {
  for (std::size_t k = 0; k < n; k++)
    if (path_char(a[k]) != path_char(b[k])) return false;
  return true;
}

void out_of_memory() { pre_fatal(STATUS_OUT_OF_MEMORY); }

// The current directory, read once and kept; failure ends the run with status 12.
const char *current_directory() {
  if (!g_path.current_directory) {
    std::string cwd;
    if (!pre_current_directory(&cwd) || cwd.empty()) {
      pre_set_message_args(pre_system_error_text(), "");
      pre_fatal(STATUS_NO_CURRENT_DIRECTORY);
      return "/";
    }
    g_path.current_directory = pre_xstrdup(cwd.c_str());
  }
  return g_path.current_directory;
}

// Removes the last component of a path that ends in a separator, the separator in
// front of it staying. False when there is no component left to remove.
bool remove_last_component(std::string *built) {
  std::size_t end = built->size() - 1;  // the closing separator
  if (end == 0) return false;
  std::size_t start = end;
  while (start > 0 && !is_separator((*built)[start - 1])) start--;
  if (start == end) return false;
  built->erase(start);
  return true;
}

// Walks the pattern T over the path P. The only wildcard is '*'; it spans separators.
bool wildcard_match(const char *t, const char *p) {
  std::size_t lt = std::strlen(t), lp = std::strlen(p);
  std::size_t i = 0, j = 0;
  for (;;) {
    if (i == lt) {
      if (j == lp) return true;
      if (lt == 0) return false;
      if (is_separator(t[lt - 1])) return j > 0 && is_separator(p[j - 1]);
      return is_separator(p[j]);
    }
    if (t[i] == '*' && i + 1 == lt) return true;
    if (j == lp) return i > 0 && is_separator(t[i - 1]) && is_separator(p[j - 1]);
    if (t[i] == '*') {
      i++;
      std::size_t n = 0;
      while (i + n < lt && t[i + n] != '*') n++;
      std::size_t k = j;
      for (;; k++) {
        if (k + n > lp) return false;
        if (path_chars_equal(t + i, p + k, n)) break;
      }
      j = k;  // the stretch itself is compared below, character by character
      continue;
    }
    if (path_char(t[i]) != path_char(p[j])) return false;
    i++;
    j++;
  }
}

// Goes through the values of a list in order and tells whether one selects the path.
// Values behind the first that selects are not looked at.
bool list_selects(const char *list, const char *path) {
  return conf_each_value(list, [&](const char *v) {
    if (std::strchr(v, '?')) {
      pre_set_message_args(list, v);
      pre_fatal(STATUS_BAD_PARAMETER_VALUE);
    }
    return pre_path_match(path, v);
  });
}

int free_cache_entry(void *, const char *key, void *value) {
  std::free(const_cast<char *>(key));
  std::free(value);
  return 0;
}

}  // namespace

// --- name operations -----------------------------------------------------------

int pre_path_compare(const char *a, const char *b) {
  for (;; a++, b++) {
    unsigned char x = path_char(*a), y = path_char(*b);
    if (x != y) return x < y ? -1 : 1;
    if (!x) return 0;
  }
}

bool pre_path_equal(const char *a, const char *b) { return pre_path_compare(a, b) == 0; }

const char *pre_file_part(const char *path) {
  const char *part = path;
  for (const char *p = path; *p; p++)
    if (is_separator(*p)) part = p + 1;
  return part;
}

char *pre_dir_part(const char *path) {
  const char *part = pre_file_part(path);
  std::size_t n = static_cast<std::size_t>(part - path);
  char *dir = static_cast<char *>(pre_xmalloc(n + 1));
  std::memcpy(dir, path, n);
  dir[n] = '\0';
  return dir;
}

const char *pre_extension(const char *path) {
  const char *part = pre_file_part(path);
  const char *dot = std::strrchr(part, '.');
  return dot ? dot : part + std::strlen(part);
}

char *pre_extension_with_dot(const char *path) { return pre_xstrdup(pre_extension(path)); }

char *pre_base_name(const char *path) {
  const char *part = pre_file_part(path);
  std::size_t n = static_cast<std::size_t>(pre_extension(path) - part);
  char *base = static_cast<char *>(pre_xmalloc(n + 1));
  std::memcpy(base, part, n);
  base[n] = '\0';
  return base;
}

bool pre_has_extension(const char *word, const char *ext) {
  std::size_t lw = std::strlen(word), le = std::strlen(ext);
  if (lw < le + 2) return false;
  if (word[lw - le - 1] != '.') return false;
  return pre_path_equal(word + lw - le, ext);
}

char *pre_temp_suffix(const char *path, const char *tail) {
  char *base = pre_base_name(path);
  std::string out = ".";
  for (const char *p = base; *p; p++) {
    char c = *p;
    bool kept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                c == '-' || c == '.' || c == '_';
    out += kept ? c : '_';
  }
  std::free(base);
  out += tail;
  return pre_xstrdup(out.c_str());
}

// --- absolute and canonical forms ----------------------------------------------

char *pre_abs_path(const char *path) {
  std::string built;
  const char *rest;
  if (is_separator(path[0]) && is_separator(path[1])) {
    built.assign(path, 2);
    rest = path + 2;
  } else if (is_separator(path[0])) {
    built = "/";
    rest = path + 1;
  } else {
    built = current_directory();
    rest = path;
  }
  if (!is_separator(built.back())) built += '/';

  const char *p = rest;
  while (*p) {
    if (is_separator(*p)) {
      p++;
      continue;
    }
    const char *start = p;
    while (*p && !is_separator(*p)) p++;
    std::size_t n = static_cast<std::size_t>(p - start);
    std::size_t dots = 0;
    while (dots < n && start[dots] == '.') dots++;
    if (dots == n) {  // ".", "..", "...": one level up for each dot after the first
      for (std::size_t k = 1; k < n; k++)
        if (!remove_last_component(&built)) {
          built = "/";
          break;
        }
      continue;
    }
    built.append(start, n);
    if (*p) built += *p++;
  }
  return pre_xstrdup(built.c_str());
}

char *pre_abs_path_no_drive(const char *path) { return pre_abs_path(path); }

const char *pre_canonical_path(const char *path) {
  if (!g_path.pre_path_cache) pre_path_cache_create();
  void *found = nullptr;
  if (pre_str_map_get(g_path.pre_path_cache, path, &found) == 0) return static_cast<const char *>(found);
  char *result = pre_abs_path(path);
  std::string real;
  if (pre_real_path(result, &real) && real.size() < PRE_PATH_BUFFER) {
    std::free(result);
    result = pre_xstrdup(real.c_str());
  }
  if (pre_str_map_put(g_path.pre_path_cache, pre_xstrdup(path), result) != 0) out_of_memory();
  return result;
}

bool pre_same_file(const char *a, const char *b) {
  const char *ca = pre_canonical_path(a);
  const char *cb = pre_canonical_path(b);
  return pre_path_compare(ca, cb) == 0;
}

char *pre_source_id(const char *source) {
  const char *mode = conf_get("SOURCE_IDENTIFICATION");
  if (std::strcmp(mode, "as_given") == 0) return pre_xstrdup(source);
  const char *canonical = pre_canonical_path(source);
  if (std::strcmp(mode, "basename") == 0) return pre_xstrdup(pre_file_part(canonical));
  if (std::strcmp(mode, "absolute_without_drive") == 0) return pre_abs_path_no_drive(canonical);
  return pre_abs_path(canonical);
}

// --- selection -------------------------------------------------------------------

const char *pre_top_level_file() {
  return g_run.current_record ? g_run.current_record->source : nullptr;
}

bool pre_path_match(const char *path, const char *pattern) {
  if (std::strcmp(pattern, "%INCLUDES%") == 0) {
    const char *top = pre_top_level_file();
    return top && !pre_same_file(path, top);
  }
  if (std::strcmp(pattern, "*.") == 0) return *pre_extension(path) == '\0';
  if (std::strcmp(pattern, "*.*") == 0) return *pre_extension(path) != '\0';

  char *full = pre_abs_path(path);
  std::size_t lp = std::strlen(full);
  bool selected;
  const char *suffix = pattern + 1;
  if (pattern[0] == '*' && !std::strchr(suffix, '*') && std::strlen(suffix) <= lp) {
    selected = pre_path_equal(full + lp - std::strlen(suffix), suffix);
  } else {
    char *t = pattern[0] == '*' ? pre_xstrdup(pattern) : pre_abs_path(pattern);
    selected = wildcard_match(t, full);
    std::free(t);
  }
  std::free(full);
  return selected;
}

bool pre_is_excluded(const char *path) {
  if (list_selects("EXCLUDE", path) && !list_selects("NO_EXCLUDE", path)) return true;
  return list_selects("NO_INCLUDE", path);
}

void pre_note_current_file(const char *path) { g_path.file_instrumented = !pre_is_excluded(path); }

// --- life time -------------------------------------------------------------------

void pre_path_cache_create() {
  if (g_path.pre_path_cache) return;
  g_path.pre_path_cache = pre_str_map_new();
  if (!g_path.pre_path_cache) out_of_memory();
}

void pre_path_cache_destroy() {
  if (g_path.pre_path_cache) {
    pre_str_map_each(g_path.pre_path_cache, free_cache_entry, nullptr);
    pre_str_map_free(g_path.pre_path_cache);
    g_path.pre_path_cache = nullptr;
  }
  std::free(g_path.current_directory);
  g_path.current_directory = nullptr;
}

std::string pre_abs_path_text(const char *path) {
  char *p = pre_abs_path(path);
  std::string s = p;
  std::free(p);
  return s;
}

std::string pre_base_name_text(const char *path) {
  char *p = pre_base_name(path);
  std::string s = p;
  std::free(p);
  return s;
}
