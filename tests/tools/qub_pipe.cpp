// Test driver: runs the per-file path (scanner into writer) on preprocessed text the
// way the tool does, with the instrumented text in a temporary file.
// Usage: qub_pipe [-k] [-x c|c++] PREPROCESSED SOURCE-NAME OUTPUT|-
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "command/tempfile.h"
#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "platform/platform.h"
#include "prepath/prepath.h"
#include "preerror/preerror.h"
#include "preparse/token.h"

static void out_of_memory() { pre_fatal(STATUS_OUT_OF_MEMORY); }

int main(int argc, char **argv) {
  pre_install_failure_handler();
  std::set_new_handler(out_of_memory);
  pre_run_state_reset();
  source_language = LANG_C;
  int i = 1;
  for (; i < argc && argv[i][0] == '-' && argv[i][1]; i++) {
    if (std::strcmp(argv[i], "-k") == 0) {
      g_run.keep_temp = true;
    } else if (std::strcmp(argv[i], "-x") == 0 && i + 1 < argc) {
      source_language = std::strcmp(argv[++i], "c") == 0 ? LANG_C : LANG_CXX;
    } else {
      break;
    }
  }
  if (argc - i != 3) {
    std::fputs("usage: qub_pipe [-k] [-x c|c++] PREPROCESSED SOURCE-NAME OUTPUT|-\n", stderr);
    return 2;
  }
  const char *pre = argv[i], *source = argv[i + 1], *output = argv[i + 2];
  char *ext = pre_extension_with_dot(source);
  char *tail = pre_temp_suffix(source, ext);
  char *instrumented = pre_temp_name(tail, !g_run.keep_temp);
  std::free(ext);
  std::free(tail);
  pre_status status = pre_instrument_preprocessed(pre, source, instrumented);
  if (status != STATUS_OK) pre_fatal(status);
  std::FILE *in = std::fopen(instrumented, "rb");
  std::FILE *out = std::strcmp(output, "-") == 0 ? stdout : std::fopen(output, "wb");
  if (!in || !out) return 2;
  char buf[65536];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) std::fwrite(buf, 1, n, out);
  std::fclose(in);
  if (out != stdout) std::fclose(out);
  std::free(instrumented);
  return 0;
}
