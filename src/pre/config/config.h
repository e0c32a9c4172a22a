// The configuration store: qub.ini files, blocks, parameters.
#ifndef QUB_CONFIG_CONFIG_H
#define QUB_CONFIG_CONFIG_H

// Loads the configuration files in search order; returns only on success.
void pre_load_configuration(const char *conf_file_list, bool report);

// The first value of a parameter in the current block, else the default block, else "".
const char *conf_get(const char *parameter);

// Iteration over the values of a parameter: conf_first gives the first value (none when
// neither the current nor the default block has the parameter) and sets the iterator;
// conf_next gives the value at the iterator and moves it on, none at the end.
typedef void *conf_iter;
const char *conf_first(const char *parameter, conf_iter *iterator);
const char *conf_next(conf_iter *iterator);

// Applies "NAME=value", "NAME+value" or "NAME-value" to the current block.
void conf_apply_override(const char *text);

// Checks every parameter; the first refused value ends the process.
void conf_validate();

#endif
