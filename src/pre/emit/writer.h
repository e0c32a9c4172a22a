// The instrumented text writer: the file from banner to tail, copied tokens,
// directives, capture and the per-file probe counters.
#ifndef QUB_EMIT_WRITER_H
#define QUB_EMIT_WRITER_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "emit/text_list.h"

struct writer_state {
  pre_text_list *text_list = nullptr;
  std::FILE *out_file = nullptr;
  std::string out_name;
  std::uint32_t line_position = 0;  // characters since the writer last stood at a line start
  bool module_needed = false;
  pre_text_piece *head_mark = nullptr;
  bool in_function_body = false;
  bool is_main_function = false;
  pre_text_piece *function_mark = nullptr;
  pre_text_piece *lambda_mark = nullptr;
  pre_text_piece *region_start = nullptr;
  pre_text_piece *region_end = nullptr;
  bool multi_tmp_needed = false;
  bool capture_on = false;
  std::string capture_text;
  char scratch[15001] = {0};
  std::uint32_t function_count = 0;
  std::uint32_t jump_count = 0;
  std::uint32_t decision_count = 0;
  std::uint32_t condition_count = 0;
  std::string source_name;  // the source as the command gave it
};

extern writer_state g_writer;

// --- text operations -------------------------------------------------------------
void emit_token(const char *text, std::uint32_t kind);
void emit_text(const char *text);
void emit_text_kind(const char *text, std::uint32_t kind);
void emit_newline();
void emit_directive(const char *text, bool is_line_directive);
// Appends an already formatted macro call with a kind; its length counts in the column.
pre_text_piece *emit_macro(const char *text, std::uint32_t kind);
// Appends a fall-through comment written again in front of a case or default label
// (kind TOK_FALLTHROUGH_MARK); it counts in the column and never enters a capture.
void emit_fallthrough_mark(const char *text);
// That comment when it is the last piece but for line feeds, else none. A probe that
// belongs in front of the label goes in front of the comment, which must stay
// directly in front of the label.
pre_text_piece *fallthrough_mark_at_tail();
void capture_begin();
void capture_end();
const char *capture_result();
pre_text_piece *text_tail();
pre_text_piece *text_before_tail();

// --- counters ----------------------------------------------------------------------
std::uint32_t pre_next_function_counter();
std::uint32_t pre_next_jump_counter();
std::uint32_t pre_next_decision_counter();
void pre_add_condition_counters(std::uint32_t n);
std::uint32_t pre_function_count();
std::uint32_t pre_jump_count();
std::uint32_t pre_decision_count();
std::uint32_t pre_condition_count();
std::uint32_t pre_last_jump_number();
std::uint32_t pre_last_function_number();
void pre_reset_counters();

// --- file operations ----------------------------------------------------------------
// The source's name as the command gave it (banner, QUB_FNBASE, #line 1) comes from
// the current file record, or from g_writer.source_name when there is none.
void pre_begin_instrumented_file(const char *output_name);
void pre_finish_instrumented_file(const char *source_id);

// Name hash of a source id (QUB_FNCRC) and the file identity (QUB_FID).
std::uint32_t pre_name_hash(const char *source_id);
std::uint32_t pre_file_identity(std::uint32_t hash, long long time_stamp);

#endif
