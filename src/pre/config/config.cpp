// Placeholder store until the configuration files are read: every parameter is empty.
#include "config/config.h"

void pre_load_configuration(const char *, bool) {}
const char *conf_get(const char *) { return ""; }
void conf_apply_override(const char *) {}
void conf_validate() {}
const char *conf_first(const char *, conf_iter *iterator) {
  *iterator = nullptr;
  return nullptr;
}
const char *conf_next(conf_iter *) { return nullptr; }
