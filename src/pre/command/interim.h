// Declarations of services that other modules provide; kept here until their headers
// carry them.
#ifndef QUB_COMMAND_INTERIM_H
#define QUB_COMMAND_INTERIM_H

#include <cstddef>

#include "config/config.h"
#include "driver/options.h"
#include "driver/run_state.h"
#include "prepath/prepath.h"

const char *conf_select_first();
const char *conf_select_next();
std::size_t conf_param_count();
const char *conf_param_name(std::size_t index);
bool conf_param_is_multi(std::size_t index);

int pre_parse_options();
arg_node *pre_split_words(const char *text);
char *pre_read_text_file(const char *path);

#endif
