// Command analysis: block selection, option files, classification of words, the plan
// of file records and final command, and the object names.
#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "command/command.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include "test_util.h"

namespace {

std::vector<std::string> texts(pre_list *list) { return qubtest::texts_of(list); }

using words = std::vector<std::string>;

class CommandTest : public testing::Test {
 protected:
  void SetUp() override {
    conf_reset();
    pre_run_state_reset();
    pre_reset_command_limits();
    ASSERT_TRUE(scratch_.enter("command"));
    dir_ = scratch_.path;
  }
  void TearDown() override {
    pre_free_arg_chain(chain_);
    chain_ = nullptr;
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

  // Configuration statements; "[name]" selects a block.
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

  // A gcc-like block as the shipped configuration has it.
  void gcc_block() {
    conf({"[gcc]", "COMMAND = gcc", "TYPE = compiler_linker", "OPTCHARS = -", "OPTFILE = @",
          "PARAMS = -o, -x, -D, -include, -I, -MF", "PARAMS_SEPARATE = -o", "OPT_COMPILE_ONLY = -c",
          "OPT_COMP_OUT = -o", "OPT_NO_QUB = -E, --version", "OPT_NO_COMPILE = -include, -MF",
          "OPT_NO_LINK = -x", "OPT_ADD_COMPILE = -Iqubinc", "LIBRARY = libqub.a", "EXT_C = c",
          "EXT_CXX = cpp", "OBJECT_EXTENSION = o"});
  }

  arg_node *command(const words &w) {
    arg_node **tail = &chain_;
    for (const std::string &t : w) {
      arg_node *n = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
      *n = arg_node{ARG_OTHER, pre_xstrdup(t.c_str()), nullptr, false, nullptr};
      *tail = n;
      tail = &n->next;
    }
    g_run.args = chain_;
    return chain_;
  }

  // Selects, expands, classifies and plans as the driver does.
  void plan(const words &w) {
    arg_node *c = command(w);
    pre_select_command_block(c);
    pre_expand_optfiles(c);
    pre_classify_args(c);
    g_run.file_records = pre_list_new(nullptr);
    final_command *pass = pre_plan_passthrough(c);
    if (pass)
      g_run.final = pass;
    else
      pre_plan_command(g_run.file_records, &g_run.final, c);
  }

  file_record *record(std::size_t i) {
    std::size_t k = 0;
    for (pre_list_node *n = g_run.file_records->head; n; n = n->next, k++)
      if (k == i) return static_cast<file_record *>(n->item);
    return nullptr;
  }

  // The words behind the command in their classified form.
  words chain_words() {
    words out;
    for (arg_node *n = chain_->next; n; n = n->next) {
      std::string t = std::to_string(n->kind) + ":" + n->text;
      for (arg_value *v = n->values; v; v = v->next) t += (n->value_attached ? "+" : "|") + std::string(v->text);
      out.push_back(t);
    }
    return out;
  }

  std::string select_block_of(const char *word) {
    command({word});
    pre_select_command_block(chain_);
    return conf_get("TYPE");
  }

  arg_node *chain_ = nullptr;
  qubtest::scratch_dir scratch_;
  std::string dir_;
};

// --- block selection -----------------------------------------------------------------------

TEST_F(CommandTest, CommandNamesSelectTheirBlockInAllWrittenForms) {
  conf({"TYPE = none", "[gcc]", "COMMAND = gcc", "TYPE = compiler_linker", "[cl]", "COMMAND = cl",
        "TYPE = compiler"});
  EXPECT_EQ(select_block_of("gcc"), "compiler_linker");
  EXPECT_EQ(select_block_of("/usr/bin/gcc-orig"), "compiler_linker");
  EXPECT_EQ(select_block_of("gcc-4.8.exe"), "compiler_linker");
  EXPECT_EQ(select_block_of("C:\\tools\\gcc"), "compiler_linker");
  EXPECT_EQ(select_block_of("x/gcc-12"), "compiler_linker");
  EXPECT_EQ(select_block_of("cl.exe"), "compiler");
  EXPECT_EQ(select_block_of("cl-orig.exe"), "compiler");
}

TEST_F(CommandTest, TheDefaultBlockNeverSelects) {
  conf({"COMMAND = cc", "TYPE = compiler"});
  command({"cc"});
  EXPECT_EXIT(pre_select_command_block(chain_), testing::ExitedWithCode(1),
              "QUB\\+\\+ error 13: Erroneous command line, unknown command cc\n"
              "Type 'qub -h' for usage information");
}

TEST_F(CommandTest, UnknownCommandsAndOptionsAreRefused) {
  gcc_block();
  command({"foo"});
  EXPECT_EXIT(pre_select_command_block(chain_), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, unknown command foo\n");
  pre_free_arg_chain(chain_);
  command({"-x"});
  EXPECT_EXIT(pre_select_command_block(chain_), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, unknown option -x\n");
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  EXPECT_EXIT(pre_select_command_block(nullptr), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, compiler command is missing \n");
  // The error names the word as far as it was shortened.
  command({"cc-4.8"});
  EXPECT_EXIT(pre_select_command_block(chain_), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, unknown command cc\n");
}

// --- option matching -------------------------------------------------------------------------

TEST_F(CommandTest, OptionsMatchWithinTheirGroup) {
  conf({"OPTCHARS = -/", "OPT_COMPILE_ONLY = -c", "PARAMS = /Fo"});
  EXPECT_TRUE(pre_is_option("/c", "OPT_COMPILE_ONLY"));
  EXPECT_TRUE(pre_is_option("-c", "OPT_COMPILE_ONLY"));
  EXPECT_FALSE(pre_is_option("c", "OPT_COMPILE_ONLY"));
  EXPECT_FALSE(pre_is_option("-cc", "OPT_COMPILE_ONLY"));
  EXPECT_FALSE(pre_is_option("", "OPT_COMPILE_ONLY"));
  EXPECT_STREQ(pre_find_optchars('/'), "-/");
  EXPECT_EQ(pre_find_optchars('x'), nullptr);
  EXPECT_EQ(pre_find_optchars('\0'), nullptr);
}

TEST_F(CommandTest, ValuesAttachedAndSeparateComeBackInTheirOwnForm) {
  gcc_block();
  plan({"gcc", "-Idir", "-I", "dir2", "-c", "a.c"});
  EXPECT_EQ(chain_words(), (words{"0:-I+dir", "0:-I|dir2", "0:-c", "6:a.o"}));
  EXPECT_EQ(texts(record(0)->preproc_flags), (words{"-Idir", "-I", "dir2"}));
  EXPECT_EQ(texts(record(0)->compile_flags), (words{"-Idir", "-I", "dir2", "-o", "a.o", "-c", "-Iqubinc", "-x", "cpp-output"}));
}

TEST_F(CommandTest, SeparateOptionsTakeNoAttachedValue) {
  conf({"[c]", "COMMAND = c", "TYPE = compiler", "OPTCHARS = -", "PARAMS_SEPARATE = -x",
        "PARAMS_OPTIONAL = -O", "EXT_C = c"});
  plan({"c", "-xc", "-x", "c", "-O", "-O2", "a.c"});
  EXPECT_EQ(chain_words(), (words{"0:-xc", "0:-x|c", "0:-O", "0:-O+2", "6:a"}));
}

TEST_F(CommandTest, ListOptionsFollowTheirSeparators) {
  conf({"[c]", "COMMAND = c", "TYPE = linker", "OPTCHARS = -", "PARAMS_LIST = -L",
        "PARAMS_LIST_SEPARATOR = ,"});
  plan({"c", "-L", "a,", "b", ",c", "x.o"});
  EXPECT_EQ(chain_words(), (words{"0:-L|a,|b|,c", "7:x.o"}));
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  pre_free_final_command(g_run.final);
  g_run.final = nullptr;
  command({"c", "-L", "a,"});
  pre_select_command_block(chain_);
  EXPECT_EXIT(pre_classify_args(chain_), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, argument missing for compiler option -L\n");
}

TEST_F(CommandTest, ListWithoutSeparatorTakesAllRemainingWords) {
  conf({"[c]", "COMMAND = c", "TYPE = linker", "OPTCHARS = -", "PARAMS_LIST = -files"});
  plan({"c", "x.o", "-files", "a", "b", "-c"});
  EXPECT_EQ(chain_words(), (words{"7:x.o", "0:-files|a|b|-c"}));
}

TEST_F(CommandTest, MissingValueIsACommandLineError) {
  gcc_block();
  command({"gcc", "a.c", "-o"});
  pre_select_command_block(chain_);
  EXPECT_EXIT(pre_classify_args(chain_), testing::ExitedWithCode(1),
              "error 13: Erroneous command line, argument missing for compiler option -o\n");
}

// --- option files -------------------------------------------------------------------------------

TEST_F(CommandTest, OptionFilesAreExpandedAlsoWhenNested) {
  gcc_block();
  qubtest::write_file("outer.rsp", "-DA=1 @inner.rsp\n-c\n");
  qubtest::write_file("inner.rsp", "-DB=\"2 3\"");
  qubtest::write_file("empty.rsp", "");
  plan({"gcc", "@outer.rsp", "@empty.rsp", "a.c"});
  EXPECT_EQ(chain_words(), (words{"0:-D+A=1", "0:-D+B=2 3", "0:-c", "6:a.o"}));
}

TEST_F(CommandTest, LongerParamsOptionIsNoOptionFile) {
  conf({"[c]", "COMMAND = c", "TYPE = compiler", "OPTCHARS = -", "OPTFILE = -f", "PARAMS = -fo",
        "EXT_C = c"});
  qubtest::write_file("opts", "-DX");
  plan({"c", "-fopts", "-fobj", "-f", "opts", "a.c"});
  EXPECT_EQ(chain_words(), (words{"0:-fo+pts", "0:-fo+bj", "0:-DX", "6:a"}));
}

// --- classification and symbol file name ----------------------------------------------------

TEST_F(CommandTest, FileWordsAreClassifiedByExtension) {
  conf({"[c]", "COMMAND = c", "TYPE = compiler", "OPTCHARS = -", "EXT_C = c", "EXT_CXX = cpp, C",
        "EXT_OTHER = %DEFAULT%", "EXT_JAVA = java"});
  command({"c", "a.c", "b.cpp", "c.C", "d.o", "e.java", ".c", "x.CPP"});
  pre_select_command_block(chain_);
  pre_classify_args(chain_);
  EXPECT_EQ(chain_words(), (words{"1:a.c", "2:b.cpp", "2:c.C", "7:d.o", "5:e.java", "7:.c", "7:x.CPP"}));
}

TEST_F(CommandTest, ExcludedSourcesBecomeOtherWords) {
  gcc_block();
  conf({"EXCLUDE = *skip.c"});
  plan({"gcc", "-c", "a.c", "skip.c"});
  ASSERT_EQ(pre_list_count(g_run.file_records), 1u);
  ASSERT_NE(g_run.final, nullptr);
  EXPECT_FALSE(g_run.final->is_link);
  EXPECT_EQ(texts(g_run.final->args), (words{"-c", "skip.c"}));
}

TEST_F(CommandTest, SymbolFileNamedAfterTheFirstFileWord) {
  gcc_block();
  g_run.symbol_file_name = pre_xstrdup("dir/-");
  plan({"gcc", "-c", "a.c", "b.c"});
  EXPECT_STREQ(g_run.symbol_file_name, "dir/MON-a");
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  std::free(g_run.symbol_file_name);
  g_run.symbol_file_name = pre_xstrdup("dir/-");
  command({"gcc", "x.o", "a.c"});
  pre_select_command_block(chain_);
  pre_classify_args(chain_);
  EXPECT_STREQ(g_run.symbol_file_name, "dir/MON-x");
}

// --- the plan -------------------------------------------------------------------------------------

TEST_F(CommandTest, CompileAndLinkPutsTheOutputOnTheLinkOnly) {
  gcc_block();
  plan({"gcc", "-x", "c", "a.c", "-x", "none", "util.o", "-o", "app"});
  ASSERT_EQ(pre_list_count(g_run.file_records), 1u);
  file_record *r = record(0);
  // The object of a compile-and-link command is a temporary file.
  std::string object = r->object;
  EXPECT_NE(object.find("/QUB."), std::string::npos) << object;
  EXPECT_EQ(r->language, 1u);
  EXPECT_EQ(texts(r->compile_flags), (words{"-x", "c", "-x", "none", "-o", object, "-c", "-Iqubinc", "-x", "cpp-output"}));
  EXPECT_EQ(texts(r->preproc_flags), (words{"-x", "c", "-x", "none"}));
  ASSERT_NE(g_run.final, nullptr);
  EXPECT_TRUE(g_run.final->is_link);
  EXPECT_EQ(texts(g_run.final->args), (words{object, "util.o", "-o", "app", "libqub.a"}));
  EXPECT_TRUE(g_run.instrumenting);
}

TEST_F(CommandTest, CompileOnlyHonoursTheObjectName) {
  gcc_block();
  plan({"gcc", "-include", "f.h", "-MF", "x.d", "-c", "a.c", "-o", "x/y.o"});
  file_record *r = record(0);
  EXPECT_STREQ(r->object, "x/y.o");
  EXPECT_EQ(texts(r->compile_flags), (words{"-o", "x/y.o", "-c", "-Iqubinc", "-x", "cpp-output"}));
  EXPECT_EQ(texts(r->preproc_flags), (words{"-include", "f.h", "-MF", "x.d"}));
  EXPECT_EQ(g_run.final, nullptr);
}

TEST_F(CommandTest, ObjectDirectoriesAndAttachedOutputOptions) {
  conf({"[cl]", "COMMAND = cl", "TYPE = compiler_linker", "OPTCHARS = -/", "PARAMS = /Fo, /Fe",
        "OPT_COMPILE_ONLY = /c", "OPT_COMP_OUT = /Fo", "OPT_LINK_OUT = /Fe", "EXT_C = c",
        "OBJECT_EXTENSION = obj"});
  plan({"cl", "/c", "a.c", "sub/b.c", "/Fobuild\\"});
  ASSERT_EQ(pre_list_count(g_run.file_records), 2u);
  EXPECT_STREQ(record(0)->object, "build\\a.obj");
  EXPECT_STREQ(record(1)->object, "build\\b.obj");
  EXPECT_EQ(texts(record(1)->compile_flags), (words{"/Fobuild\\b.obj", "/c"}));
}

TEST_F(CommandTest, CommandWithoutOutputOptionGetsTheFirstValue) {
  gcc_block();
  plan({"gcc", "-c", "src/a.c"});
  EXPECT_STREQ(record(0)->object, "a.o");
  EXPECT_EQ(texts(record(0)->compile_flags), (words{"-o", "a.o", "-c", "-Iqubinc", "-x", "cpp-output"}));
}

TEST_F(CommandTest, DifferentCompileAndLinkOptionsKeepTheGivenObject) {
  gcc_block();
  conf({"[gcc]", "DIFF_COMP_AND_LINK_OPTS = ON"});
  plan({"gcc", "a.c", "-o", "app"});
  EXPECT_STREQ(record(0)->object, "app");
}

TEST_F(CommandTest, LinkerLeavesSourcesUntouched) {
  conf({"[ld]", "COMMAND = ld", "TYPE = linker", "OPTCHARS = -", "EXT_C = c", "LIBRARY = q.a"});
  plan({"ld", "a.c", "b.o"});
  EXPECT_EQ(pre_list_count(g_run.file_records), 0u);
  EXPECT_FALSE(g_run.instrumenting);
  EXPECT_EQ(texts(g_run.final->args), (words{"a.c", "b.o", "q.a"}));
}

TEST_F(CommandTest, PassThroughRunsTheCommandUnchanged) {
  gcc_block();
  plan({"gcc", "-E", "-Ia", "a.c"});
  ASSERT_NE(g_run.final, nullptr);
  EXPECT_EQ(texts(g_run.final->args), (words{"-E", "-Ia", "a.c"}));
  EXPECT_FALSE(g_run.final->is_link);
  EXPECT_EQ(pre_list_count(g_run.file_records), 0u);
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  pre_free_final_command(g_run.final);
  g_run.final = nullptr;
  plan({"gcc", "--version"});
  EXPECT_EQ(texts(g_run.final->args), (words{"--version"}));
  EXPECT_TRUE(g_run.final->is_link);
  pre_free_arg_chain(chain_);
  chain_ = nullptr;
  pre_free_final_command(g_run.final);
  g_run.final = nullptr;
  plan({"gcc", "-o", "app"});  // the value is taken out of the chain: all words options
  EXPECT_EQ(texts(g_run.final->args), (words{"-o", "app"}));
}

TEST_F(CommandTest, DoTwoCompOptionSetsTheFlag) {
  gcc_block();
  conf({"[gcc]", "OPT_DO_2COMP = -twice"});
  plan({"gcc", "-twice", "-c", "a.c"});
  EXPECT_TRUE(g_run.two_comp);
}

// --- Borland path ----------------------------------------------------------------------------------

TEST_F(CommandTest, BorlandLibrariesGoToTheFourthField) {
  conf({"LIBRARY = q1.lib, q2.lib"});
  command({"tlink", "a.obj,app.exe,app.map,user.lib"});
  pre_plan_borland(chain_, &g_run.final);
  EXPECT_EQ(texts(g_run.final->args), (words{"a.obj,app.exe,app.map,", "q2.lib", "q1.lib", "user.lib"}));
  EXPECT_TRUE(g_run.final->is_link);
}

TEST_F(CommandTest, BorlandResponseFileIsCopiedWithTheLibraries) {
  conf({"LIBRARY = q.lib"});
  setenv("TEMP", dir_.c_str(), 1);
  qubtest::write_file("resp", "a.obj b.obj,app.exe,app.map,user.lib\n");
  command({"tlink", "@resp"});
  pre_plan_borland(chain_, &g_run.final);
  std::string arg = texts(g_run.final->args)[0];
  ASSERT_EQ(arg.substr(0, 1), "@");
  EXPECT_EQ(qubtest::read_file(arg.substr(1)), "a.obj b.obj,app.exe,app.map,q.lib user.lib\n");
  EXPECT_EQ(qubtest::read_file("resp"), "a.obj b.obj,app.exe,app.map,user.lib\n");
  unsetenv("TEMP");
}

}  // namespace
