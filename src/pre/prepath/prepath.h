// Source selection and path names.
#ifndef QUB_PREPATH_PREPATH_H
#define QUB_PREPATH_PREPATH_H

// The name under which a source is described (SOURCE_IDENTIFICATION); caller frees.
char *pre_source_id(const char *source);
// "." + base name with characters other than letters, digits, '-', '.', '_' made '_' + tail.
char *pre_temp_suffix(const char *path, const char *tail);
// Base name: the part behind the last separator; caller frees.
char *pre_base_name(const char *path);
// The extension of a path with its dot, or "" when it has none; caller frees.
char *pre_extension_with_dot(const char *path);
// Path cache of canonical names, created at start and destroyed at the end of main.
void pre_path_cache_create();
void pre_path_cache_destroy();

#endif
