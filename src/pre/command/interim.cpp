// Weak stand-ins for services of other modules, replaced by their real definitions.
#include "command/interim.h"

#define QUB_WEAK __attribute__((weak))

QUB_WEAK const char *conf_select_first() { return nullptr; }
QUB_WEAK const char *conf_select_next() { return nullptr; }
QUB_WEAK std::size_t conf_param_count() { return 0; }
QUB_WEAK const char *conf_param_name(std::size_t) { return ""; }
QUB_WEAK bool conf_param_is_multi(std::size_t) { return false; }

QUB_WEAK int pre_parse_options() { return STATUS_OK; }
QUB_WEAK arg_node *pre_split_words(const char *) { return nullptr; }
QUB_WEAK char *pre_read_text_file(const char *) { return pre_xstrdup(""); }
