#include "emit/text_list.h"

#include <cstdlib>

#include "base/base.h"

pre_text_list *pre_text_list_create() {
  pre_text_list *list = static_cast<pre_text_list *>(pre_xmalloc(sizeof(pre_text_list)));
  list->head = list->tail = nullptr;
  list->count = 0;
  list->owner = true;
  return list;
}

void pre_text_list_destroy(pre_text_list **list) {
  if (!list || !*list) return;
  for (pre_text_piece *p = (*list)->head; p;) {
    pre_text_piece *next = p->next;
    std::free(p->text);
    std::free(p);
    p = next;
  }
  std::free(*list);
  *list = nullptr;
}

static pre_text_piece *new_piece(std::uint32_t kind, std::int32_t line, const char *text) {
  pre_text_piece *p = static_cast<pre_text_piece *>(pre_xmalloc(sizeof(pre_text_piece)));
  p->prev = p->next = nullptr;
  p->kind = kind;
  p->line = line;
  p->text = pre_xstrdup(text ? text : "");
  return p;
}

pre_text_piece *pre_text_list_append(pre_text_list *list, std::uint32_t kind, std::int32_t line,
                                     const char *text) {
  pre_text_piece *p = new_piece(kind, line, text);
  p->prev = list->tail;
  if (list->tail)
    list->tail->next = p;
  else
    list->head = p;
  list->tail = p;
  list->count++;
  return p;
}

pre_text_piece *pre_text_list_insert_after(pre_text_list *list, pre_text_piece *after,
                                           std::uint32_t kind, std::int32_t line, const char *text) {
  if (!after) {  // in front of everything
    pre_text_piece *p = new_piece(kind, line, text);
    p->next = list->head;
    if (list->head) list->head->prev = p;
    list->head = p;
    if (!list->tail) list->tail = p;
    list->count++;
    return p;
  }
  pre_text_piece *p = new_piece(kind, line, text);
  p->prev = after;
  p->next = after->next;
  if (after->next)
    after->next->prev = p;
  else
    list->tail = p;
  after->next = p;
  list->count++;
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
  std::free(p->text);
  std::free(p);
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
