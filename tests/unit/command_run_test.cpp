// Running tools: quoting, word splitting, starting commands and judging their results,
// response files, the composed command lines, and the settings log.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "command/command.h"
#include "command/tempfile.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include "test_util.h"

namespace {

std::string quote(const char *w) {
  char *q = pre_quote_if_needed(w);
  std::string s = q;
  std::free(q);
  return s;
}

std::string rsp_quote(const char *w) {
  char *q = pre_quote_for_rsp(w);
  std::string s = q;
  std::free(q);
  return s;
}

std::vector<std::string> split(const char *text, bool *ok = nullptr) {
  pre_list *l = pre_list_new(pre_list_text_equal);
  bool r = pre_split_shell_words(text, l);
  if (ok) *ok = r;
  std::vector<std::string> out = qubtest::texts_of(l);
  pre_list_free_texts(l);
  return out;
}

pre_list *list_of(std::initializer_list<const char *> items) {
  pre_list *l = pre_list_new(pre_list_text_equal);
  for (const char *i : items) pre_list_add(l, pre_xstrdup(i));
  return l;
}

class RunTest : public testing::Test {
 protected:
  void SetUp() override {
    conf_reset();
    pre_run_state_reset();
    pre_reset_command_limits();
    ASSERT_TRUE(scratch_.enter("command_run"));
    dir_ = scratch_.path;
    setenv("TEMP", dir_.c_str(), 1);
  }
  void TearDown() override {
    conf_reset();
    pre_reset_command_limits();
    unsetenv("TEMP");
    if (!scratch_.leave()) ADD_FAILURE() << "cannot go back";
  }
  void conf(std::initializer_list<const char *> lines) {
    for (const char *l : lines) ASSERT_EQ(conf_apply_line(l), STATUS_OK) << l;
  }
  qubtest::scratch_dir scratch_;
  std::string dir_;
};

TEST(QuoteTest, WordsThatTheShellWouldChangeAreSingleQuoted) {
  EXPECT_EQ(quote("plain-word_1.c"), "plain-word_1.c");
  EXPECT_EQ(quote("a b"), "'a b'");
  EXPECT_EQ(quote(""), "''");
  EXPECT_EQ(quote("it's"), "'it'\\''s'");
  EXPECT_EQ(quote("#x"), "'#x'");
  EXPECT_EQ(quote("a#x"), "a#x");
  EXPECT_EQ(quote("~u"), "'~u'");
  for (const char *w : {"a|b", "a&b", "a;b", "a<b", "a>b", "a(b", "a)b", "a$b", "a`b", "a\\b", "a*b",
                        "a?b", "a[b", "a]b", "a\tb", "a\nb"})
    EXPECT_EQ(quote(w), std::string("'") + w + "'") << w;
}

TEST(QuoteTest, TheOptionLoopsQuoteEscapeIsUndone) {
  // The option loop turns a"b into a\"b and a\"b into a\\\"b.
  EXPECT_EQ(pre_unescape_quotes("a\\\"b"), "a\"b");
  EXPECT_EQ(pre_unescape_quotes("a\\\\\\\"b"), "a\\\"b");
  EXPECT_EQ(pre_unescape_quotes("a\\b\\"), "a\\b\\");
  EXPECT_EQ(quote("-DX=\\\"v w\\\""), "'-DX=\"v w\"'");
}

TEST(QuoteTest, ResponseFileQuotingFollowsGnuRules) {
  EXPECT_EQ(rsp_quote("-DX=1"), "-DX=1");
  EXPECT_EQ(rsp_quote("a b"), "'a b'");
  EXPECT_EQ(rsp_quote("back\\slash"), "'back\\\\slash'");
  EXPECT_EQ(rsp_quote("it's"), "'it\\'s'");
  EXPECT_EQ(rsp_quote(""), "''");
  EXPECT_EQ(rsp_quote("$*;|"), "$*;|");
}

TEST(SplitTest, ShellQuotingWithNoExpansion) {
  EXPECT_EQ(split("  gcc  -c\ta.c\n"), (std::vector<std::string>{"gcc", "-c", "a.c"}));
  EXPECT_EQ(split("'a b' \"c d\" e\\ f"), (std::vector<std::string>{"a b", "c d", "e f"}));
  EXPECT_EQ(split("'it'\\''s' '' $HOME *"), (std::vector<std::string>{"it's", "", "$HOME", "*"}));
  EXPECT_EQ(split("\"a\\\"b\\\\c\\d\""), (std::vector<std::string>{"a\"b\\c\\d"}));
  bool ok = true;
  split("'open", &ok);
  EXPECT_FALSE(ok);
  // Quoting and splitting are inverse for every word.
  for (const char *w : {"a b", "x'y", "\"q\"", "\\", "$(x)", "", "t\tn\n", "#~"})
    EXPECT_EQ(split(quote(w).c_str()), (std::vector<std::string>{w})) << w;
}

TEST_F(RunTest, ResultsOfCommands) {
  EXPECT_TRUE(pre_run_command("true", false));
  EXPECT_FALSE(pre_run_command("exit 2", false));
  EXPECT_STREQ(pre_format_message(STATUS_COMPILE_FAILED),
               "QUB++ error 8: Cannot execute C or C++ compiler or compilation failed: 0x2\n");
  EXPECT_FALSE(pre_run_command("exit 255", false));
  EXPECT_STREQ(pre_format_message(STATUS_LINK_FAILED), "QUB++ error 16: Cannot execute linker or linking failed: 0xFF\n");
  EXPECT_FALSE(pre_run_command("kill -9 $$", false));
  EXPECT_STREQ(pre_format_message(STATUS_COMPILE_FAILED),
               "QUB++ error 8: Cannot execute C or C++ compiler or compilation failed: 0x89\n");
}

TEST_F(RunTest, LongCommandsStartDirectlyWithTheirWordsIntact) {
  conf({"MAX_CMDLINE_LENGTH = 10"});
  EXPECT_EQ(pre_direct_start_limit(), 10u);
  // Without the interpreter a redirection is an ordinary word for the program.
  std::string cmd = "sh -c 'printf \"%s|\" \"$@\" >out.txt' x 'a b' '$HOME' '>' '*'";
  EXPECT_TRUE(pre_run_command(cmd.c_str(), false));
  EXPECT_EQ(qubtest::read_file("out.txt"), "a b|$HOME|>|*|");
  EXPECT_FALSE(pre_run_command("no-such-program-qub-xyz a b", false));
  EXPECT_STREQ(pre_format_message(STATUS_PREPROCESS_FAILED),
               "QUB++ error 7: Cannot execute C or C++ preprocessor or preprocessing failed: No such file or directory\n");
  // Forced through the interpreter the same text is a shell command.
  EXPECT_TRUE(pre_run_command("echo hi >shell.txt", true));
  EXPECT_EQ(qubtest::read_file("shell.txt"), "hi\n");
}

TEST_F(RunTest, LimitsFromTheConfiguration) {
  EXPECT_EQ(pre_direct_start_limit(), 2000u);
  EXPECT_EQ(pre_response_limit(), 4294967295u);
  pre_reset_command_limits();
  conf({"MAX_CMDLINE_LENGTH = 500"});
  EXPECT_EQ(pre_direct_start_limit(), 500u);
  EXPECT_EQ(pre_response_limit(), 500u);
}

TEST_F(RunTest, NoResponseFileWithoutTheLimit) {
  conf({"OPTFILE = @"});
  pre_list *flags = list_of({"-DA", "-DB"});
  std::string long_flag(3000, 'x');
  pre_list_add(flags, pre_xstrdup(("-D" + long_flag).c_str()));
  char *text = pre_compose_command("cc", flags, "f.c");
  EXPECT_EQ(std::string(text), "cc -DA -DB -D" + long_flag + " f.c");
  std::free(text);
  pre_list_free_texts(flags);
}

TEST_F(RunTest, LongCompileCommandGoesToAResponseFile) {
  conf({"MAX_CMDLINE_LENGTH = 50", "OPTFILE = @", "OPT_NO_OPTFILE = -c"});
  pre_list *flags = list_of({"-DNAME=value with blanks", "-o", "a.o", "-c", "-Iback\\slash"});
  char *text = pre_compose_command("cc", flags, "f.c");
  std::string t = text;
  std::free(text);
  ASSERT_EQ(t.substr(0, 7), "cc -c @") << t;
  ASSERT_EQ(t.substr(t.size() - 4), " f.c");
  std::string name = t.substr(7, t.size() - 11);
  EXPECT_EQ(qubtest::read_file(name), "'-DNAME=value with blanks' -o a.o '-Iback\\\\slash'");
  // The list itself is not changed.
  EXPECT_EQ(pre_list_count(flags), 5u);
  pre_list_free_texts(flags);
  pre_remove_temp_files();
}

TEST_F(RunTest, SeparateResponseOptionGetsABlank) {
  conf({"MAX_CMDLINE_LENGTH = 5", "OPTFILE = -f", "PARAMS_SEPARATE = -f"});
  pre_list *flags = list_of({"-DA", "-DB"});
  char *text = pre_compose_command("cc", flags, nullptr);
  EXPECT_EQ(std::string(text).substr(0, 7), "cc -f /");
  std::free(text);
  pre_list_free_texts(flags);
  pre_remove_temp_files();
}

TEST_F(RunTest, HugeFlagListsAreWrittenInLines) {
  conf({"MAX_CMDLINE_LENGTH = 100", "OPTFILE = @"});
  pre_list *flags = pre_list_new(pre_list_text_equal);
  std::string item(30000, 'a');
  for (int i = 0; i < 7; i++) pre_list_add(flags, pre_xstrdup(("-D" + item).c_str()));
  char *text = pre_compose_command("cc", flags, nullptr);
  std::string name = std::string(text).substr(4);
  std::free(text);
  std::string content = qubtest::read_file(name);
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t nl; (nl = content.find('\n', start)) != std::string::npos; start = nl + 1)
    lines.push_back(content.substr(start, nl - start));
  lines.push_back(content.substr(start));
  ASSERT_EQ(lines.size(), 3u);  // three items of 30002 characters fit below 100000
  for (const std::string &l : lines) EXPECT_LT(l.size(), 100000u);
  EXPECT_NE(content.back(), '\n');
  pre_list_free_texts(flags);
  pre_remove_temp_files();
}

TEST_F(RunTest, PreprocessTemplateIsFilledAndRedirectionForcesTheShell) {
  conf({"MAX_CMDLINE_LENGTH = 10"});
  qubtest::write_file("s c.c", "int x;\n");
  pre_list *flags = list_of({"-DA=1", "-DB=a b"});
  pre_run_preproc("s c.c", "out file.i", "cat", "%COMMAND% %FILE% > %RESULT% ; printf '<%s>' %FLAGS% >flags.txt",
                  flags);
  EXPECT_EQ(qubtest::read_file("out file.i"), "int x;\n");
  EXPECT_EQ(qubtest::read_file("flags.txt"), "<-DA=1><-DB=a b>");
  pre_list_free_texts(flags);
  EXPECT_EXIT(pre_run_preproc("missing.c", "o.i", "cat", "%COMMAND% %FILE% > %RESULT%", nullptr),
              testing::ExitedWithCode(1),
              "QUB\\+\\+ error 7: Cannot execute C or C\\+\\+ preprocessor or preprocessing failed: 0x1\n");
}

TEST_F(RunTest, FailingStepsEndTheRunWithTheirStatus) {
  EXPECT_EXIT(pre_run_compile("f.c", "false", nullptr), testing::ExitedWithCode(1),
              "error 8: Cannot execute C or C\\+\\+ compiler or compilation failed: 0x1\n");
  EXPECT_EXIT(pre_run_final("false", nullptr, true), testing::ExitedWithCode(1),
              "error 16: Cannot execute linker or linking failed: 0x1\n");
  EXPECT_EXIT(pre_run_final("false", nullptr, false), testing::ExitedWithCode(1),
              "error 8: Cannot execute C or C\\+\\+ compiler or compilation failed: 0x1\n");
  g_run.user_command = pre_xstrdup("cc -c 'a b.c'");
  EXPECT_EXIT(pre_run_hook("false", "cc", "a b.c", "r.i"), testing::ExitedWithCode(1),
              "error 30: Cannot execute the user-specified command or the command failed: "
              "\"false cc 'a b.c' r.i cc -c 'a b.c'\"\n");
  std::free(g_run.user_command);
  g_run.user_command = pre_xstrdup("false");
  testing::internal::CaptureStderr();
  pre_run_user_command();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "QUB++ warning 35: Original compile/link command failed (-2comp)\n");
  std::free(g_run.user_command);
  g_run.user_command = nullptr;
}

TEST_F(RunTest, HookGetsItsWordsAndTheUserCommand) {
  g_run.user_command = pre_xstrdup("cc -c 'a b.c'");
  // The whole value is one word: a hook with arguments of its own is no program name.
  EXPECT_EXIT(pre_run_hook("sh -c true", "cc", "a b.c", "r.i"), testing::ExitedWithCode(1),
              "error 30: Cannot execute the user-specified command or the command failed: "
              "\"'sh -c true' cc 'a b.c' r.i cc -c 'a b.c'\"\n");
  qubtest::write_file("hook.sh", "printf '<%s>' \"$@\" >hook.txt\n");
  ASSERT_EQ(chmod("hook.sh", 0755), 0);
  std::string hook = dir_ + "/hook.sh";
  pre_run_hook(hook.c_str(), "cc", "a b.c", "r.i");
  EXPECT_EQ(qubtest::read_file("hook.txt"), "<cc><a b.c><r.i><cc><-c><a b.c>");
  std::free(g_run.user_command);
  g_run.user_command = nullptr;
}

TEST_F(RunTest, SettingsLogHoldsBothSections) {
  conf({"TICK = 5", "OPTCHARS = -", "EXCLUDE = a,b", "EXCLUDE + c"});
  std::string log_dir = dir_ + "/logs";
  setenv("TEMP", log_dir.c_str(), 1);
  mkdir(log_dir.c_str(), 0700);
  pre_run_state_reset();
  arg_node word{ARG_OTHER, const_cast<char *>("gcc"), nullptr, false, nullptr};
  pre_dump_config_first(&word);
  pre_dump_config_second();
  std::string log = qubtest::read_file(pre_log_name());
  EXPECT_EQ(log.substr(0, 62), "Morvaine QUB++ (preprocessor) log of instrumentation settings\n");
  EXPECT_NE(log.find("\nGlobal configuration parameters:\n- TIMER=\n- TICK=5\n- EXECUTION_COST_TYPE=\n"
                     "- WARNING_LEVEL=\n\n"),
            std::string::npos);
  EXPECT_NE(log.find("\nUsed command: gcc \n\nCommand specific configuration settings:\n- COMMAND=\n"),
            std::string::npos);
  EXPECT_NE(log.find("\n- EXCLUDE=a,b,c\n"), std::string::npos);
  EXPECT_NE(log.find("\n- MAX_CMDLINE_LENGTH=\n\nEnd of -dump-config log.\n"), std::string::npos);
  EXPECT_EQ(log.substr(log.size() - 25), "End of -dump-config log.\n");
}

}  // namespace
