// Set-up shared by the tests of the condition analysis: a source text scanned for real,
// the instrumented text that grows from it, and the records of its description.
#ifndef QUB_TESTS_ANALYSIS_TEST_SUPPORT_H
#define QUB_TESTS_ANALYSIS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "config/config.h"
#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/probes.h"
#include "emit/writer.h"
#include "preanal/conditions.h"
#include "preanal/multicondition.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "preparse/scanner.h"
#include "symbol/names.h"
#include "symbol/symbol_state.h"
#include "symbol_test_support.h"

namespace antest {

using strings = std::vector<std::string>;

class AnalysisTest : public symtest::SymbolTest {
 protected:
  pre_text_piece *mark = nullptr;

  void SetUp() override {
    SymbolTest::SetUp();
    conf_reset();
    pre_name_clear();
    unsetenv("QUB_COND_OPER_NO_INSTR");
    source_language = LANG_CXX;
    compiler_family = FAMILY_ANSI;
    g_conditions.cond_quiet = false;
    g_writer.source_name = "t.c";
    pre_begin_instrumented_file((dir + "/out.c").c_str());
    pre_reset_counters();
    pre_symbol_begin_file("t.c");
    skip_depth = 0;
    mark = text_tail();
  }
  void TearDown() override {
    pre_close_source();
    g_writer.in_function_body = false;
    skip_depth = 0;
    level = 0;
    current_scope = nullptr;
    pre_finish_instrumented_file("t.c");
    pre_name_clear();
    conf_reset();
    source_language = LANG_C;
    SymbolTest::TearDown();
  }

  // Scans `source` from its start; the text so far is left out of text().
  void open(const std::string &source) {
    std::string path = dir + "/t.i";
    symtest::write_file(path, source);
    pre_reset_parse_state("t.c");
    ASSERT_EQ(pre_open_source(path.c_str()), STATUS_OK);
    std::strcpy(current_file_name, "t.c");
    mark = text_tail();
    level = 1;
  }
  // Copies n tokens as the statement loop would.
  static void copy(int n) {
    for (int i = 0; i < n; i++) pre_copy_token();
  }
  // The rest of the input, copied.
  static void copy_rest() {
    while (pre_copy_token() != TOK_EOF) {
    }
  }
  // The text appended since open() or the set-up.
  std::string text() const {
    std::string s;
    for (pre_text_piece *p = mark->next; p; p = p->next) s += p->text;
    return s;
  }
  // The records of the description so far.
  static strings records() {
    std::fflush(g_symbol.temp_file);
    strings lines = symtest::split_lines(symtest::read_file(pre_symbol_description_name()));
    return strings(lines.begin() + 2, lines.end());
  }
  // The instrumented text with the macro calls taken out, blanks squeezed: what the
  // source's tokens became.
  std::string tokens_only() const {
    std::string s;
    for (pre_text_piece *p = mark->next; p; p = p->next) {
      std::string t = p->text;
      if (t.rfind("QUB_", 0) == 0 || t.rfind(" QUB_", 0) == 0 || t.rfind("),", 0) == 0) continue;
      s += t;
    }
    return s;
  }
};

}  // namespace antest

#endif
