#include "emit/text_list.h"

#include <cstdlib>
#include <cstring>

#include "base/base.h"

struct pre_text_arena_block {
  pre_text_arena_block *next;
  std::size_t used;
  std::size_t size;
};

namespace {

constexpr std::size_t ARENA_BLOCK = 256 * 1024;
constexpr std::size_t ALIGN = alignof(pre_text_piece);

std::size_t round_up(std::size_t n) { return (n + ALIGN - 1) & ~(ALIGN - 1); }

// Blocks of destroyed lists are kept for the next file of the run, up to a limit, so
// that a command with several sources does not fault in fresh pages for each.
constexpr std::size_t SPARE_LIMIT = 256;
pre_text_arena_block *g_spare_blocks = nullptr;
std::size_t g_spare_count = 0;

char *block_data(pre_text_arena_block *b) {
  return reinterpret_cast<char *>(b) + round_up(sizeof(pre_text_arena_block));
}

void *arena_alloc(pre_text_list *list, std::size_t size) {
  size = round_up(size);
  pre_text_arena_block *b = list->arena;
  if (!b || b->size - b->used < size) {
    if (size <= ARENA_BLOCK && g_spare_blocks) {
      b = g_spare_blocks;
      g_spare_blocks = b->next;
      g_spare_count--;
    } else {
      std::size_t capacity = size > ARENA_BLOCK ? size : ARENA_BLOCK;
      b = static_cast<pre_text_arena_block *>(pre_xmalloc(round_up(sizeof(pre_text_arena_block)) + capacity));
      b->size = capacity;
    }
    b->used = 0;
    b->next = list->arena;
    list->arena = b;
  }
  void *p = block_data(b) + b->used;
  b->used += size;
  return p;
}

pre_text_piece *new_piece(pre_text_list *list, std::uint32_t kind, std::int32_t line, const char *text,
                          std::size_t length, char blank) {
  std::size_t total = length + (blank ? 1 : 0);
  std::size_t bytes = sizeof(pre_text_piece) + total + 1;
  pre_text_piece *p =
      static_cast<pre_text_piece *>(list->use_arena ? arena_alloc(list, bytes) : pre_xmalloc(bytes));
  p->prev = p->next = nullptr;
  p->kind = kind;
  p->line = line;
  p->length = static_cast<std::uint32_t>(total);
  p->text = reinterpret_cast<char *>(p + 1);
  if (length) std::memcpy(p->text, text, length);
  if (blank) p->text[length] = blank;
  p->text[total] = '\0';
  return p;
}

pre_text_list *create(bool use_arena) {
  pre_text_list *list = static_cast<pre_text_list *>(pre_xmalloc(sizeof(pre_text_list)));
  list->head = list->tail = nullptr;
  list->count = 0;
  list->owner = true;
  list->arena = nullptr;
  list->use_arena = use_arena;
  return list;
}

void link_after(pre_text_list *list, pre_text_piece *after, pre_text_piece *p) {
  if (!after) {  // in front of everything
    p->next = list->head;
    if (list->head) list->head->prev = p;
    list->head = p;
    if (!list->tail) list->tail = p;
  } else {
    p->prev = after;
    p->next = after->next;
    if (after->next)
      after->next->prev = p;
    else
      list->tail = p;
    after->next = p;
  }
  list->count++;
}

}  // namespace

pre_text_list *pre_text_list_create() { return create(false); }

pre_text_list *pre_text_list_create_arena() { return create(true); }

void pre_text_list_destroy(pre_text_list **list) {
  if (!list || !*list) return;
  if ((*list)->use_arena) {
    for (pre_text_arena_block *b = (*list)->arena; b;) {
      pre_text_arena_block *next = b->next;
      if (b->size == ARENA_BLOCK && g_spare_count < SPARE_LIMIT) {
        b->next = g_spare_blocks;
        g_spare_blocks = b;
        g_spare_count++;
      } else {
        std::free(b);
      }
      b = next;
    }
  } else {
    for (pre_text_piece *p = (*list)->head; p;) {
      pre_text_piece *next = p->next;
      std::free(p);
      p = next;
    }
  }
  std::free(*list);
  *list = nullptr;
}

pre_text_piece *pre_text_list_append_n(pre_text_list *list, std::uint32_t kind, std::int32_t line,
                                       const char *text, std::size_t length, char blank) {
  pre_text_piece *p = new_piece(list, kind, line, text, length, blank);
  link_after(list, list->tail, p);
  return p;
}

pre_text_piece *pre_text_list_append(pre_text_list *list, std::uint32_t kind, std::int32_t line,
                                     const char *text) {
  if (!text) text = "";
  return pre_text_list_append_n(list, kind, line, text, std::strlen(text), 0);
}

pre_text_piece *pre_text_list_insert_after(pre_text_list *list, pre_text_piece *after,
                                           std::uint32_t kind, std::int32_t line, const char *text) {
  if (!text) text = "";
  pre_text_piece *p = new_piece(list, kind, line, text, std::strlen(text), 0);
  link_after(list, after, p);
  return p;
}

void pre_text_list_remove_head(pre_text_list *list) {
  pre_text_piece *p = list->head;
  if (!p) return;
  list->head = p->next;
  if (list->head)
    list->head->prev = nullptr;
  else
    list->tail = nullptr;
  list->count--;
  if (!list->use_arena) std::free(p);
}

std::uint32_t pre_text_list_count(const pre_text_list *list) { return list ? list->count : 0; }
pre_text_piece *pre_text_list_first(const pre_text_list *list) { return list ? list->head : nullptr; }
pre_text_piece *pre_text_list_tail(const pre_text_list *list) { return list ? list->tail : nullptr; }

pre_text_piece *pre_text_list_at(const pre_text_list *list, std::uint32_t index) {
  pre_text_piece *p = list ? list->head : nullptr;
  while (p && index--) p = p->next;
  return p;
}

pre_text_piece *pre_text_piece_next(const pre_text_piece *piece) { return piece ? piece->next : nullptr; }
pre_text_piece *pre_text_piece_prev(const pre_text_piece *piece) { return piece ? piece->prev : nullptr; }
std::uint32_t pre_text_piece_kind(const pre_text_piece *piece) { return piece ? piece->kind : 0; }
std::int32_t pre_text_piece_line(const pre_text_piece *piece) { return piece ? piece->line : -1; }
const char *pre_text_piece_text(const pre_text_piece *piece) { return piece ? piece->text : nullptr; }
