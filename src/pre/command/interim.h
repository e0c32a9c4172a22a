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

int pre_path_compare(const char *a, const char *b);
bool pre_path_equal(const char *a, const char *b);
const char *pre_file_part(const char *path);
char *pre_dir_part(const char *path);
bool pre_has_extension(const char *word, const char *ext);
bool pre_is_excluded(const char *path);

int pre_parse_options();
arg_node *pre_split_words(const char *text);
char *pre_read_text_file(const char *path);

#endif
