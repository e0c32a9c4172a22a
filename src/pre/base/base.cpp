// Memory, strings, lists and the text map.
#include "base/base.h"

#include <cstdlib>
#include <cstring>

#include "preerror/preerror.h"

// --- memory -------------------------------------------------------------------

void *pre_xmalloc(std::size_t size) {
  void *p = std::malloc(size ? size : 1);
  if (!p) pre_fatal(STATUS_OUT_OF_MEMORY);
  return p;
}

void *pre_xrealloc(void *pointer, std::size_t size) {
  void *p = std::realloc(pointer, size ? size : 1);
  if (!p) pre_fatal(STATUS_OUT_OF_MEMORY);
  return p;
}

char *pre_xstrdup(const char *text) {
  std::size_t n = std::strlen(text);
  char *copy = static_cast<char *>(pre_xmalloc(n + 1));
  std::memcpy(copy, text, n + 1);
  return copy;
}

// --- strings ------------------------------------------------------------------

void pre_str_append(char **text, const char *tail) {
  if (!*text) {
    *text = pre_xstrdup(tail);
    return;
  }
  std::size_t a = std::strlen(*text), b = std::strlen(tail);
  *text = static_cast<char *>(pre_xrealloc(*text, a + b + 1));
  std::memcpy(*text + a, tail, b + 1);
}

// Makes room for `need` bytes by the growth rule: twice the need minus the old capacity.
static void builder_reserve(char **text, std::uint64_t *capacity, std::uint64_t need) {
  if (*text && *capacity >= need) return;
  std::uint64_t grown = 2 * need > *capacity ? 2 * need - *capacity : need;
  if (grown < need) grown = need;
  if (!*text || *capacity == 0) {
    char *fresh = static_cast<char *>(pre_xmalloc(grown));
    fresh[0] = '\0';
    if (*text) std::free(*text);
    *text = fresh;
  } else {
    *text = static_cast<char *>(pre_xrealloc(*text, grown));
  }
  *capacity = grown;
}

void pre_str_builder_append(char **text, std::uint64_t *capacity, const char *tail) {
  std::size_t old_len = (*text && *capacity) ? std::strlen(*text) : 0;
  std::size_t tail_len = std::strlen(tail);
  builder_reserve(text, capacity, old_len + tail_len + 1);
  std::memcpy(*text + old_len, tail, tail_len + 1);
}

void pre_str_builder_set(char **text, std::uint64_t *capacity, const char *value) {
  std::size_t len = std::strlen(value);
  builder_reserve(text, capacity, len + 1);
  std::memmove(*text, value, len + 1);
}

void pre_str_cat_bounded(char *destination, const char *source, std::size_t size) {
  std::size_t have = std::strlen(destination);
  if (have + 1 >= size) return;
  std::size_t room = size - have - 1;
  std::size_t n = std::strlen(source);
  if (n > room) n = room;
  std::memcpy(destination + have, source, n);
  destination[have + n] = '\0';
}

static bool trim_char(char c) { return c == ' ' || c == '\t' || c == '\n'; }

void pre_str_trim(char *text) {
  std::size_t start = 0, len = std::strlen(text);
  while (start < len && trim_char(text[start])) start++;
  while (len > start && trim_char(text[len - 1])) len--;
  std::memmove(text, text + start, len - start);
  text[len - start] = '\0';
}

void pre_str_lower(char *text) {
  for (; *text; text++)
    if (*text >= 'A' && *text <= 'Z') *text = static_cast<char>(*text - 'A' + 'a');
}

char *pre_str_replace_all(char *text, const char *needle, const char *replacement) {
  std::size_t nlen = std::strlen(needle);
  if (!text || nlen == 0) return text;
  std::size_t rlen = std::strlen(replacement);
  std::size_t count = 0;
  for (const char *p = std::strstr(text, needle); p; p = std::strstr(p + nlen, needle)) count++;
  if (count == 0) return text;
  std::size_t len = std::strlen(text);
  char *out = static_cast<char *>(std::malloc(len - count * nlen + count * rlen + 1));
  if (!out) {
    std::free(text);
    return nullptr;
  }
  char *w = out;
  const char *r = text;
  for (const char *p = std::strstr(r, needle); p; p = std::strstr(r, needle)) {
    std::memcpy(w, r, static_cast<std::size_t>(p - r));
    w += p - r;
    std::memcpy(w, replacement, rlen);
    w += rlen;
    r = p + nlen;
  }
  std::strcpy(w, r);
  std::free(text);
  return out;
}

char *pre_str_escape(char character, const char *text) {
  std::size_t extra = 0, len = 0;
  for (const char *p = text; *p; p++, len++)
    if (*p == character) extra++;
  char *out = static_cast<char *>(pre_xmalloc(len + extra + 1));
  char *w = out;
  for (const char *p = text; *p; p++) {
    if (*p == character) *w++ = '\\';
    *w++ = *p;
  }
  *w = '\0';
  return out;
}

void pre_str_unescape(char *text) {
  char *w = text;
  for (const char *r = text; *r; r++) {
    *w++ = *r;
    if (r[0] == '\\' && r[1] == '\\') r++;
  }
  *w = '\0';
}

bool pre_read_line(std::FILE *stream, char *buffer) {
  return std::fgets(buffer, static_cast<int>(MAX_TOKEN), stream) != nullptr;
}

// --- pre_list -----------------------------------------------------------------

pre_list *pre_list_new(pre_list_compare compare) {
  pre_list *list = static_cast<pre_list *>(pre_xmalloc(sizeof(pre_list)));
  list->compare = compare;
  list->cursor = list->head = list->tail = nullptr;
  return list;
}

void pre_list_add(pre_list *list, void *item) {
  pre_list_node *node = static_cast<pre_list_node *>(pre_xmalloc(sizeof(pre_list_node)));
  node->item = item;
  node->next = nullptr;
  if (list->tail)
    list->tail->next = node;
  else
    list->head = node;
  list->tail = node;
}

void pre_list_free(pre_list *list) {
  if (!list) return;
  for (pre_list_node *n = list->head; n;) {
    pre_list_node *next = n->next;
    std::free(n);
    n = next;
  }
  std::free(list);
}

void pre_list_free_texts(pre_list *list) {
  if (!list) return;
  for (pre_list_node *n = list->head; n; n = n->next) std::free(n->item);
  pre_list_free(list);
}

void *pre_list_first(pre_list *list) {
  if (!list || !list->head) {
    if (list) list->cursor = nullptr;
    return nullptr;
  }
  list->cursor = list->head->next;
  return list->head->item;
}

void *pre_list_next(pre_list *list) {
  if (!list || !list->cursor) return nullptr;
  void *item = list->cursor->item;
  list->cursor = list->cursor->next;
  return item;
}

static bool list_matches(const pre_list *list, const void *item, const void *key) {
  return list->compare ? list->compare(item, key) != 0 : item == key;
}

void *pre_list_find(pre_list *list, const void *key) {
  if (!list) return nullptr;
  for (pre_list_node *n = list->head; n; n = n->next)
    if (list_matches(list, n->item, key)) return n->item;
  return nullptr;
}

void *pre_list_remove(pre_list *list, const void *key) {
  if (!list) return nullptr;
  pre_list_node *prev = nullptr;
  for (pre_list_node *n = list->head; n; prev = n, n = n->next) {
    if (!list_matches(list, n->item, key)) continue;
    if (prev)
      prev->next = n->next;
    else
      list->head = n->next;
    if (list->tail == n) list->tail = prev;
    if (list->cursor == n) list->cursor = n->next;
    void *item = n->item;
    std::free(n);
    return item;
  }
  return nullptr;
}

std::size_t pre_list_count(const pre_list *list) {
  std::size_t n = 0;
  if (list)
    for (pre_list_node *p = list->head; p; p = p->next) n++;
  return n;
}

int pre_list_text_equal(const void *a, const void *b) {
  return std::strcmp(static_cast<const char *>(a), static_cast<const char *>(b)) == 0;
}

// --- pre_str_map ----------------------------------------------------------------

static std::uint32_t crc32_table[256];
static bool crc32_ready = false;

static void crc32_init() {
  for (std::uint32_t i = 0; i < 256; i++) {
    std::uint32_t c = i;
    for (int k = 0; k < 8; k++) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    crc32_table[i] = c;
  }
  crc32_ready = true;
}

std::uint32_t pre_str_map_hash(const char *key, std::size_t capacity) {
  if (!crc32_ready) crc32_init();
  std::uint32_t h = 0;
  for (const unsigned char *p = reinterpret_cast<const unsigned char *>(key); *p; p++)
    h = crc32_table[(h ^ *p) & 0xFF] ^ (h >> 8);
  h *= 4097u; h ^= h >> 22;
  h *= 17u;   h ^= h >> 9;
  h *= 1025u; h ^= h >> 2;
  h *= 129u;  h ^= h >> 12;
  h >>= 3;    h *= 0x9E3779B1u;
  return static_cast<std::uint32_t>(h % capacity);
}

static pre_str_map_slot *map_alloc_slots(std::size_t capacity) {
  return static_cast<pre_str_map_slot *>(std::calloc(capacity, sizeof(pre_str_map_slot)));
}

pre_str_map *pre_str_map_new() {
  pre_str_map *map = static_cast<pre_str_map *>(std::malloc(sizeof(pre_str_map)));
  if (!map) return nullptr;
  map->capacity = 256;
  map->count = 0;
  map->slots = map_alloc_slots(map->capacity);
  if (!map->slots) {
    std::free(map);
    return nullptr;
  }
  return map;
}

// Finds the slot for key within 8 probes: a used slot with that key, or a free one.
static pre_str_map_slot *map_probe(const pre_str_map *map, const char *key) {
  std::size_t pos = pre_str_map_hash(key, map->capacity);
  for (int i = 0; i < 8; i++) {
    pre_str_map_slot *slot = &map->slots[(pos + i) % map->capacity];
    if (slot->state == 0 || std::strcmp(slot->key, key) == 0) return slot;
  }
  return nullptr;
}

static int map_grow(pre_str_map *map);

static int map_enter(pre_str_map *map, const char *key, void *value) {
  for (;;) {
    pre_str_map_slot *slot = map->count >= map->capacity / 2 ? nullptr : map_probe(map, key);
    if (slot) {
      if (slot->state == 0) map->count++;
      slot->key = key;
      slot->state = 1;
      slot->value = value;
      return 0;
    }
    if (map_grow(map) != 0) return -1;
  }
}

static int map_grow(pre_str_map *map) {
  std::size_t old_capacity = map->capacity;
  pre_str_map_slot *old = map->slots;
  pre_str_map_slot *fresh = map_alloc_slots(old_capacity * 2);
  if (!fresh) return -1;
  map->slots = fresh;
  map->capacity = old_capacity * 2;
  map->count = 0;
  for (std::size_t i = 0; i < old_capacity; i++)
    if (old[i].state == 1 && map_enter(map, old[i].key, old[i].value) != 0) {
      std::free(old);
      return -1;
    }
  std::free(old);
  return 0;
}

int pre_str_map_put(pre_str_map *map, const char *key, void *value) {
  return map_enter(map, key, value);
}

int pre_str_map_get(const pre_str_map *map, const char *key, void **out_value) {
  if (!map) return -3;
  pre_str_map_slot *slot = map_probe(map, key);
  if (!slot || slot->state == 0) return -3;
  if (out_value) *out_value = slot->value;
  return 0;
}

int pre_str_map_each(const pre_str_map *map, pre_str_map_fn function, void *argument) {
  if (!map || map->count == 0) return -3;
  for (std::size_t i = 0; i < map->capacity; i++) {
    if (map->slots[i].state != 1) continue;
    int r = function(argument, map->slots[i].key, map->slots[i].value);
    if (r != 0) return r;
  }
  return 0;
}

void pre_str_map_free(pre_str_map *map) {
  if (!map) return;
  std::free(map->slots);
  std::free(map);
}
