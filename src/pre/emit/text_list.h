// A doubly linked list of text pieces: the instrumented text in memory, and the
// lookahead queue of the token reader.
#ifndef QUB_EMIT_TEXT_LIST_H
#define QUB_EMIT_TEXT_LIST_H

#include <cstddef>
#include <cstdint>

// A piece and its text are one allocation: the text follows the record.
struct pre_text_piece {
  pre_text_piece *prev;
  pre_text_piece *next;
  std::uint32_t kind;
  std::int32_t line;
  std::uint32_t length;  // bytes of text, not counting the zero
  char *text;
};

struct pre_text_arena_block;

struct pre_text_list {
  pre_text_piece *head;
  pre_text_piece *tail;
  std::uint32_t count;
  bool owner;
  // With an arena, pieces are carved from large blocks that go only when the list is
  // destroyed: the instrumented text, which only grows. Without one, each piece is its
  // own allocation and removing the head frees it: the lookahead queue.
  pre_text_arena_block *arena;
  bool use_arena;
};

pre_text_list *pre_text_list_create();
pre_text_list *pre_text_list_create_arena();
// Appends text[0..length) followed by `blank` when it is not 0.
pre_text_piece *pre_text_list_append_n(pre_text_list *list, std::uint32_t kind, std::int32_t line,
                                       const char *text, std::size_t length, char blank);
// Frees every piece and its text, and clears the caller's pointer.
void pre_text_list_destroy(pre_text_list **list);
pre_text_piece *pre_text_list_append(pre_text_list *list, std::uint32_t kind, std::int32_t line,
                                     const char *text);
// Inserts behind `after`; the tail moves when `after` was the tail.
pre_text_piece *pre_text_list_insert_after(pre_text_list *list, pre_text_piece *after,
                                           std::uint32_t kind, std::int32_t line, const char *text);
void pre_text_list_remove_head(pre_text_list *list);
std::uint32_t pre_text_list_count(const pre_text_list *list);
pre_text_piece *pre_text_list_first(const pre_text_list *list);
pre_text_piece *pre_text_list_tail(const pre_text_list *list);
pre_text_piece *pre_text_list_at(const pre_text_list *list, std::uint32_t index);
pre_text_piece *pre_text_piece_next(const pre_text_piece *piece);
pre_text_piece *pre_text_piece_prev(const pre_text_piece *piece);
std::uint32_t pre_text_piece_kind(const pre_text_piece *piece);
std::int32_t pre_text_piece_line(const pre_text_piece *piece);
const char *pre_text_piece_text(const pre_text_piece *piece);

#endif
