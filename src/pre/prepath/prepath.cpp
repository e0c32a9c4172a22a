// Placeholder path rules: names stay as written.
#include "prepath/prepath.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"

char *pre_source_id(const char *source) { return pre_xstrdup(source); }

char *pre_base_name(const char *path) {
  const char *b = path;
  for (const char *p = path; *p; p++)
    if (*p == '/' || *p == '\\') b = p + 1;
  return pre_xstrdup(b);
}

char *pre_temp_suffix(const char *path, const char *tail) {
  char *base = pre_base_name(path);
  std::string out = ".";
  for (char *p = base; *p; p++) {
    unsigned char c = static_cast<unsigned char>(*p);
    out += (std::isalnum(c) || c == '-' || c == '.' || c == '_') ? *p : '_';
  }
  std::free(base);
  out += tail;
  return pre_xstrdup(out.c_str());
}

char *pre_extension_with_dot(const char *path) {
  char *base = pre_base_name(path);
  const char *dot = std::strrchr(base, '.');
  char *ext = pre_xstrdup(dot ? dot : "");
  std::free(base);
  return ext;
}

void pre_path_cache_create() {}
void pre_path_cache_destroy() {}
