// What GNU-style drivers need of the command analysis: response files by the GNU rules,
// words that shells expand, cross compiler names, the language option, dependency
// targets and the form in which the compile step reads the instrumented text.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/base.h"
#include "command/command.h"
#include "command/language.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "test_util.h"

namespace {

using words = std::vector<std::string>;

words gnu_split(const char *text) {
  pre_list *list = pre_list_new(pre_list_text_equal);
  pre_split_gnu_words(text, list);
  words out = qubtest::texts_of(list);
  pre_list_free_texts(list);
  return out;
}

TEST(GnuWords, ResponseFileRules) {
  struct row {
    const char *text;
    words expected;
  };
  const row rows[] = {
      {"a  b\tc\nd", {"a", "b", "c", "d"}},
      {"-DSTR=\\\"a\\ b\\\"", {"-DSTR=\"a b\""}},
      {"'-DQ=\"x y\"' \"-DD=\\\"q\\\"\"", {"-DQ=\"x y\"", "-DD=\"q\""}},
      {"'a\\'b' \"c\\\\d\"", {"a'b", "c\\d"}},  // a backslash escapes inside quotes too
      {"'' x\"\"y", {"", "xy"}},
      {"tail\\", {"tail"}},
      {"", {}},
  };
  for (const row &r : rows) EXPECT_EQ(gnu_split(r.text), r.expected) << r.text;
}

TEST(GnuWords, EscapedFormOfQuotesGoesBothWays) {
  for (const char *w : {"plain", "a\"b", "\\\"", "x\\\\\"y", "q\\", "\"\""}) {
    char *e = pre_escape_quotes(w);
    EXPECT_EQ(pre_unescape_quotes(e), w) << w;
    std::free(e);
  }
  char *e = pre_escape_quotes("a\\\"b");
  EXPECT_STREQ(e, "a\\\\\\\"b");
  std::free(e);
}

TEST(GnuWords, WordsThatShellsExpandAreQuoted) {
  for (const char *w : {"{a,b}", "x}", "!x", "a!"}) {
    char *q = pre_quote_if_needed(w);
    EXPECT_EQ(std::string(q), "'" + std::string(w) + "'");
    std::free(q);
  }
}

TEST(Language, ValuesOfTheLanguageOption) {
  EXPECT_EQ(pre_language_kind(nullptr, ARG_C), ARG_C);
  EXPECT_EQ(pre_language_kind("none", ARG_OTHER), ARG_OTHER);
  EXPECT_EQ(pre_language_kind("c", ARG_OTHER), ARG_C);
  EXPECT_EQ(pre_language_kind("c++", ARG_C), ARG_CXX);
  EXPECT_EQ(pre_language_kind("objective-c++", ARG_C), ARG_OBJC);
  for (const char *other : {"c-header", "c++-header", "assembler", "assembler-with-cpp", "cpp-output", "go"})
    EXPECT_EQ(pre_language_kind(other, ARG_C), ARG_OTHER) << other;
}

class GnuCommandTest : public testing::Test {
 protected:
  void SetUp() override {
    conf_reset();
    pre_run_state_reset();
    ASSERT_TRUE(scratch_.enter("gnu_command"));
  }
  void TearDown() override {
    pre_free_arg_chain(chain_);
    if (g_run.file_records) {
      for (void *r = pre_list_first(g_run.file_records); r; r = pre_list_next(g_run.file_records))
        pre_free_file_record(static_cast<file_record *>(r));
      pre_list_free(g_run.file_records);
      g_run.file_records = nullptr;
    }
    pre_free_final_command(g_run.final);
    g_run.final = nullptr;
    conf_reset();
    if (!scratch_.leave()) ADD_FAILURE() << "cannot go back";
  }

  void conf(std::initializer_list<const char *> lines) {
    for (const char *l : lines) {
      if (l[0] == '[') {
        std::string name(l + 1, std::strlen(l) - 2);
        conf_select_block(name.c_str());
      } else {
        ASSERT_EQ(conf_apply_line(l), STATUS_OK) << l;
      }
    }
    conf_select_block(nullptr);
  }

  // The shipped configuration's way for gcc (told by -fpreprocessed) or for clang.
  void blocks(bool gcc_form = true) {
    conf({"TYPE = compiler_linker", "OPTCHARS = -", "OPTFILE = @", "PARAMS = -o, -x, -I, -MF, -MT, -MQ, \"-Wp,\"",
          "PARAMS_SEPARATE = -o", "OPT_COMPILE_ONLY = -c", "OPT_COMP_OUT = -o",
          "OPT_NO_COMPILE = -x, -I, -MD, -MMD, -MF, -MT, -MQ, \"-Wp,\"", "OPT_NO_LINK = -x", "EXT_C = c",
          "EXT_CXX = cpp", "EXT_OBJC = m, mm", "OBJECT_EXTENSION = o", "[gcc]", "COMMAND = gcc", "[g++]",
          "COMMAND = g++", "[clang]", "COMMAND = clang"});
    conf({gcc_form ? "OPT_ADD_COMPILE = -fpreprocessed" : "OPT_ADD_COMPILE = -Xclang"});
  }

  void plan(const words &w) {
    arg_node **tail = &chain_;
    for (const std::string &t : w) {
      arg_node *n = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
      *n = arg_node{ARG_OTHER, pre_xstrdup(t.c_str()), nullptr, false, nullptr};
      *tail = n;
      tail = &n->next;
    }
    pre_select_command_block(chain_);
    pre_expand_optfiles(chain_);
    pre_classify_args(chain_);
    g_run.file_records = pre_list_new(nullptr);
    pre_plan_command(g_run.file_records, &g_run.final, chain_);
  }

  file_record *record(std::size_t i) {
    std::size_t k = 0;
    for (pre_list_node *n = g_run.file_records->head; n; n = n->next, k++)
      if (k == i) return static_cast<file_record *>(n->item);
    return nullptr;
  }

  std::string tail_of(std::size_t i) {
    char *t = pre_instrumented_tail(record(i));
    std::string s = t;
    std::free(t);
    return s;
  }

  arg_node *chain_ = nullptr;
  qubtest::scratch_dir scratch_;
};

TEST_F(GnuCommandTest, CrossAndDistributionNamesSelectThePlainName) {
  blocks();
  const char *names[][2] = {{"arm-linux-gnueabihf-gcc", "gcc"},     {"x86_64-pc-linux-gnu-g++-13", "g++"},
                            {"/opt/x-tools/bin/riscv64-unknown-elf-gcc", "gcc"}, {"aarch64-linux-gnu-clang", "clang"},
                            {"clang-14", "clang"}};
  for (auto &n : names) {
    conf({std::string("[" + std::string(n[1]) + "]").c_str(), "TYPE = compiler_linker"});
    arg_node word{ARG_OTHER, const_cast<char *>(n[0]), nullptr, false, nullptr};
    conf({std::string("[" + std::string(n[1]) + "]").c_str(), (std::string("DIALECT_C = ") + n[1]).c_str()});
    pre_select_command_block(&word);
    EXPECT_STREQ(conf_get("DIALECT_C"), n[1]) << n[0];
  }
  arg_node unknown{ARG_OTHER, const_cast<char *>("my-tool"), nullptr, false, nullptr};
  EXPECT_EXIT(pre_select_command_block(&unknown), testing::ExitedWithCode(1), "unknown command my-tool\n");
}

TEST_F(GnuCommandTest, OptionFilesByTheGnuRulesAndMissingOnesKept) {
  blocks();
  qubtest::write_file("f.rsp", "-DA=\\\"x\\ y\\\" @g.rsp\n");
  qubtest::write_file("g.rsp", "'-I inc'");
  plan({"gcc", "@f.rsp", "@missing.rsp", "-c", "a.c"});
  words seen;
  for (arg_node *n = chain_->next; n; n = n->next) seen.push_back(pre_unescape_quotes(n->text));
  EXPECT_EQ(seen, (words{"-DA=\"x y\"", "-I", "@missing.rsp", "-c", "a.o"}));
}

TEST_F(GnuCommandTest, LanguageOptionDecidesUntilNone) {
  blocks();
  plan({"gcc", "-c", "-x", "c++", "a.c", "b.inc", "-x", "none", "c.c", "-x", "c-header", "h.h", "-x", "objective-c++",
        "o.m"});
  ASSERT_EQ(pre_list_count(g_run.file_records), 4u);
  EXPECT_EQ(record(0)->language, ARG_CXX);
  EXPECT_EQ(record(1)->language, ARG_CXX);
  EXPECT_EQ(record(2)->language, ARG_C);
  EXPECT_EQ(record(3)->language, ARG_OBJC);
  // The compile step gets the language last; a header is left to the final command.
  EXPECT_EQ(qubtest::texts_of(record(1)->compile_flags),
            (words{"-o", "b.o", "-c", "-fpreprocessed", "-x", "c++"}));
  EXPECT_EQ(qubtest::texts_of(record(3)->compile_flags).back(), "objective-c++");
  ASSERT_NE(g_run.final, nullptr);
  EXPECT_EQ(qubtest::texts_of(g_run.final->args), (words{"-c", "-x", "c++", "-x", "none", "-x", "c-header", "h.h",
                                                         "-x", "objective-c++"}));
}

TEST_F(GnuCommandTest, InstrumentedTextIsNamedForTheCompileStep) {
  blocks(true);
  plan({"gcc", "-c", "a.c", "-x", "c++", "b.c"});
  EXPECT_EQ(tail_of(0), ".a.c");
  EXPECT_EQ(tail_of(1), ".b.c");
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  conf_reset();
  blocks(false);
  plan({"clang", "-c", "a.c", "-x", "c++", "b.c", "-x", "none", "m.mm"});
  EXPECT_EQ(tail_of(0), ".a.c.i");
  EXPECT_EQ(tail_of(1), ".b.c.ii");
  EXPECT_EQ(tail_of(2), ".m.mm.mii");
  EXPECT_EQ(qubtest::texts_of(record(1)->compile_flags).back(), "c++-cpp-output");
}

TEST_F(GnuCommandTest, DependencyTargetIsTheCompilersOutput) {
  blocks();
  plan({"gcc", "-MMD", "-MF", "obj/a.d", "-c", "a.c", "-o", "obj/a.o"});
  EXPECT_EQ(qubtest::texts_of(record(0)->preproc_flags), (words{"-MMD", "-MF", "obj/a.d", "-MQ", "obj/a.o"}));
  TearDown();
  SetUp();
  blocks();
  plan({"gcc", "-Wp,-MD,obj/.a.o.d", "-MT", "t", "-c", "a.c", "-o", "obj/a.o"});
  EXPECT_EQ(qubtest::texts_of(record(0)->preproc_flags), (words{"-Wp,-MD,obj/.a.o.d", "-MT", "t"}));
  TearDown();
  SetUp();
  blocks();
  plan({"gcc", "-Wp,-MMD,x.d", "-c", "a.c", "-o", "obj/a.o"});
  EXPECT_EQ(qubtest::texts_of(record(0)->preproc_flags), (words{"-Wp,-MMD,x.d", "-MQ", "obj/a.o"}));
  TearDown();
  SetUp();
  blocks();
  // Compile and link: named after the program, as the compiler does.
  plan({"gcc", "-MD", "-o", "bin/app.exe", "a.c"});
  EXPECT_EQ(qubtest::texts_of(record(0)->preproc_flags), (words{"-MD", "-MF", "bin/app.d", "-MQ", "bin/app.exe"}));
}

}  // namespace
