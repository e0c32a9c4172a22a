// Text without function bodies: every token is copied to the instrumented text.
#include "preparse/analyse.h"

#include "base/base.h"
#include "emit/writer.h"
#include "preparse/scanner.h"

int pre_analyse_file(const char *preprocessed_path, const char *) {
  line_number = 1;
  statement_count = 0;
  skip_depth = 0;
  pre_reset_counters();
  int status = pre_open_source(preprocessed_path);
  if (status != STATUS_OK) return status;
  char token[MAX_TOKEN + 1];
  for (;;) {
    std::uint32_t kind = pre_next_token(token);
    if (kind == TOK_EOF) break;
    if (kind == TOK_LINE_DIRECTIVE)
      emit_directive(token, true);
    else if (kind == TOK_DIRECTIVE || kind == TOK_QUB_PRAGMA)
      emit_directive(token, false);
    else
      emit_token(token, kind);
  }
  emit_newline();
  return STATUS_OK;
}
