// The configuration store: qub.ini files, blocks, parameters.
#ifndef QUB_CONFIG_CONFIG_H
#define QUB_CONFIG_CONFIG_H

// Loads the configuration files in search order; returns only on success.
void pre_load_configuration(const char *conf_file_list, bool report);

// The first value of a parameter in the current block, else the default block, else "".
const char *conf_get(const char *parameter);

// Applies "NAME=value", "NAME+value" or "NAME-value" to the current block.
void conf_apply_override(const char *text);

// Checks every parameter; the first refused value ends the process.
void conf_validate();

#endif
