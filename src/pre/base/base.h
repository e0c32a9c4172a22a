// Memory, strings, lists and the text map: the small services every module leans on.
#ifndef QUB_BASE_BASE_H
#define QUB_BASE_BASE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "preerror/status.h"

// Limit of a line, a token and a working buffer; buffers for them have MAX_TOKEN + 1 bytes.
constexpr std::size_t MAX_TOKEN = 15000;

// --- memory: failure ends the run with status 23 ------------------------------
void *pre_xmalloc(std::size_t size);
void *pre_xrealloc(void *pointer, std::size_t size);
char *pre_xstrdup(const char *text);

// --- strings ------------------------------------------------------------------
// Extends a heap text by exact reallocation; an absent text gets a copy of tail.
void pre_str_append(char **text, const char *tail);
// Text with capacity: append, or replace. Grows to twice the need minus the old capacity.
void pre_str_builder_append(char **text, std::uint64_t *capacity, const char *tail);
void pre_str_builder_set(char **text, std::uint64_t *capacity, const char *value);
// Appends at most size - strlen(destination) - 1 characters; cuts silently.
void pre_str_cat_bounded(char *destination, const char *source, std::size_t size);
void pre_str_trim(char *text);
void pre_str_lower(char *text);
// Takes ownership of a heap text; returns it with every needle replaced, or nullptr
// when memory ran out (the text is then freed).
char *pre_str_replace_all(char *text, const char *needle, const char *replacement);
// A new text with a backslash in front of each occurrence of character.
char *pre_str_escape(char character, const char *text);
// In place: each pair of backslashes becomes one.
void pre_str_unescape(char *text);
// Reads at most 14999 characters and a zero into a buffer of 15000 bytes; false at end.
bool pre_read_line(std::FILE *stream, char *buffer);

// --- pre_list: singly linked list of untyped items with one cursor -----------
typedef int (*pre_list_compare)(const void *a, const void *b);  // non-zero for equal

struct pre_list_node {
  void *item;
  pre_list_node *next;
};

struct pre_list {
  pre_list_compare compare;
  pre_list_node *cursor;
  pre_list_node *head;
  pre_list_node *tail;
};

pre_list *pre_list_new(pre_list_compare compare);
void pre_list_add(pre_list *list, void *item);
void pre_list_free(pre_list *list);
void *pre_list_first(pre_list *list);
void *pre_list_next(pre_list *list);
void *pre_list_find(pre_list *list, const void *key);
void *pre_list_remove(pre_list *list, const void *key);
std::size_t pre_list_count(const pre_list *list);
// Comparator for lists of texts: equal when the texts are equal.
int pre_list_text_equal(const void *a, const void *b);
// Frees every item of a list of heap texts, then the list.
void pre_list_free_texts(pre_list *list);

// --- pre_str_map: text to value, open addressing, at most 8 probes ---------------
struct pre_str_map_slot {
  const char *key;
  int state;  // 0 free, 1 used
  void *value;
};

struct pre_str_map {
  std::size_t capacity;
  std::size_t count;
  pre_str_map_slot *slots;
};

typedef int (*pre_str_map_fn)(void *argument, const char *key, void *value);

pre_str_map *pre_str_map_new();
int pre_str_map_put(pre_str_map *map, const char *key, void *value);
int pre_str_map_get(const pre_str_map *map, const char *key, void **out_value);
int pre_str_map_each(const pre_str_map *map, pre_str_map_fn function, void *argument);
void pre_str_map_free(pre_str_map *map);
std::uint32_t pre_str_map_hash(const char *key, std::size_t capacity);

#endif
