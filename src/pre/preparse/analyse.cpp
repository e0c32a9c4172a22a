// Text without function bodies: every token is copied to the instrumented text
// through the token layer, which sends directives and QUB pragmas where they belong.
#include "preparse/analyse.h"

#include "base/base.h"
#include "emit/pragma.h"
#include "emit/writer.h"
#include "preparse/lookahead.h"
#include "preparse/scanner.h"

pre_status pre_analyse_file(const char *preprocessed_path, const char *source_name) {
  pre_reset_parse_state(source_name);
  pre_skip_reset();
  pre_reset_counters();
  pre_status status = pre_open_source(preprocessed_path);
  if (status != STATUS_OK) return status;
  while (pre_copy_token() != TOK_EOF) {
  }
  emit_newline();
  return STATUS_OK;
}
