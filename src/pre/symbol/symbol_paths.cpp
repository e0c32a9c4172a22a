#include "symbol/symbol_paths.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "preerror/preerror.h"

namespace {

bool is_separator(char c) { return c == '/' || c == '\\'; }

std::string current_directory() {
  char buffer[PATH_MAX + 1];
  if (!getcwd(buffer, sizeof buffer)) {
    pre_set_message_args(std::strerror(errno), "");
    pre_report(12, 1);
  }
  return buffer;
}

// Removes the last component of built, keeping the separator in front of it.
// False when nothing is left to remove behind the root.
bool remove_last_component(std::string *built, std::size_t root_length) {
  if (built->size() <= root_length) return false;
  std::size_t end = built->size();
  if (is_separator((*built)[end - 1])) end--;
  std::size_t start = end;
  while (start > root_length && !is_separator((*built)[start - 1])) start--;
  built->resize(start);
  return true;
}

}  // namespace

std::string sym_abs_path(const char *path) {
  std::string built;
  std::size_t root_length = 1;
  const char *rest = path;
  if (is_separator(path[0]) && is_separator(path[1])) {
    built.assign(path, 2);
    root_length = 2;
    rest = path + 2;
  } else if (is_separator(path[0])) {
    built = "/";
    rest = path + 1;
  } else {
    built = current_directory();
  }
  if (built.empty() || !is_separator(built.back())) built += '/';
  const char *p = rest;
  while (*p) {
    if (is_separator(*p)) {
      p++;
      continue;
    }
    const char *end = p;
    while (*end && !is_separator(*end)) end++;
    std::size_t length = static_cast<std::size_t>(end - p);
    bool all_dots = true;
    for (const char *q = p; q < end; q++)
      if (*q != '.') all_dots = false;
    if (all_dots && length == 1) {
      // "." stays where it is
    } else if (all_dots) {
      for (std::size_t climb = 1; climb < length; climb++) {
        if (!remove_last_component(&built, root_length)) {
          built = "/";
          root_length = 1;
          break;
        }
      }
    } else {
      built.append(p, length);
      if (*end) built += *end;
    }
    p = *end ? end + 1 : end;
  }
  return built;
}

int sym_path_compare(const char *a, const char *b) {
  for (;; a++, b++) {
    unsigned char ca = static_cast<unsigned char>(*a == '\\' ? '/' : *a);
    unsigned char cb = static_cast<unsigned char>(*b == '\\' ? '/' : *b);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == '\0') return 0;
  }
}

bool sym_path_equal(const char *a, const char *b) { return sym_path_compare(a, b) == 0; }

static std::string canonical_form(const char *path) {
  std::string absolute = sym_abs_path(path);
  char *resolved = realpath(absolute.c_str(), nullptr);
  if (!resolved) return absolute;
  std::string result = resolved;
  std::free(resolved);
  return result;
}

bool sym_same_file(const char *a, const char *b) {
  if (sym_path_equal(a, b)) return true;
  return sym_path_equal(canonical_form(a).c_str(), canonical_form(b).c_str());
}

bool sym_has_extension(const char *word, const char *ext) {
  std::size_t wl = std::strlen(word), el = std::strlen(ext);
  if (wl < el + 2) return false;
  if (word[wl - el - 1] != '.') return false;
  return sym_path_equal(word + wl - el, ext);
}

std::string sym_base_name(const char *path) {
  const char *file = path;
  for (const char *p = path; *p; p++)
    if (is_separator(*p)) file = p + 1;
  std::string base = file;
  std::size_t dot = base.rfind('.');
  if (dot != std::string::npos) base.resize(dot);
  return base;
}
