// The tool's own options: word chain, escaping, the option loop, option files, QUBOPTS.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "driver/options.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include <unistd.h>

#include "test_util.h"

namespace {

using qubtest::exactly;

std::vector<std::string> words_of(const arg_node *n) {
  std::vector<std::string> out;
  for (; n; n = n->next) out.push_back(n->text);
  return out;
}

std::vector<std::string> split(const char *text) {
  arg_node *chain = pre_split_words(text);
  std::vector<std::string> out = words_of(chain);
  while (chain) {
    arg_node *next = chain->next;
    std::free(chain->text);
    std::free(chain);
    chain = next;
  }
  return out;
}

class OptionsTest : public testing::Test {
 protected:
  void SetUp() override {
    pre_run_state_reset();
    unsetenv("QUBOPTS");
    dir_ = qubtest::make_temp_dir("options");
    ASSERT_FALSE(dir_.empty());
  }
  void TearDown() override {
    unsetenv("QUBOPTS");
    pre_run_state_reset();
  }

  // A new run: the record at its start values and no QUBOPTS left by the last run.
  void fresh() {
    pre_run_state_reset();
    unsetenv("QUBOPTS");
  }

  // Runs pre_setup_arguments on "qub" followed by the words.
  void setup(std::vector<std::string> words) {
    words.insert(words.begin(), "qub");
    std::vector<char *> argv;
    for (std::string &w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    pre_setup_arguments(static_cast<int>(words.size()), argv.data());
  }

  std::string file(const std::string &name, const std::string &content) {
    std::string path = dir_ + "/" + name;
    qubtest::write_file(path, content);
    return path;
  }

  std::string command() const { return g_run.command_arg ? g_run.command_arg->text : "(none)"; }
  std::string opts_env() const { return g_run.opts_env; }
  std::string qubopts() const {
    const char *v = std::getenv("QUBOPTS");
    return v ? v : "(unset)";
  }
  std::string modes() const {
    std::string m;
    if (g_run.instrument_function) m += 'f';
    if (g_run.instrument_decision) m += 'd';
    if (g_run.instrument_multicondition) m += 'm';
    if (g_run.instrument_inclusive_timing) m += 'I';
    if (g_run.instrument_exclusive_timing) m += 'E';
    return m;
  }

  std::string dir_;
};

// --- splitting words ---------------------------------------------------------------

TEST(SplitWords, SeparatorsQuotesAndBackslashPairs) {
  EXPECT_EQ(split(" a\tb\n\r\f\vc  "), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(split("\"a b\" c\"d e\"f"), (std::vector<std::string>{"a b", "cd ef"}));
  // A pair keeps both characters and neither opens nor closes a quote.
  EXPECT_EQ(split("a\\\"b c"), (std::vector<std::string>{"a\\\"b", "c"}));
  EXPECT_EQ(split("\"x\\\" y\" z"), (std::vector<std::string>{"x\\\" y", "z"}));
  // Two backslashes pair up, so the quote behind them is a real one.
  EXPECT_EQ(split("a\\\\\"b c\""), (std::vector<std::string>{"a\\\\b c"}));
  // Any other backslash is an ordinary character.
  EXPECT_EQ(split("c:\\dir\\a.c"), (std::vector<std::string>{"c:\\dir\\a.c"}));
}

TEST(SplitWords, UnclosedQuoteRunsToTheEndAndEmptyWordsAreLeftOut) {
  EXPECT_EQ(split("a \"b c"), (std::vector<std::string>{"a", "b c"}));
  EXPECT_EQ(split("\"\" a \"\""), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(split("").empty());
  EXPECT_TRUE(split(" \n\t ").empty());
  EXPECT_EQ(pre_split_words(nullptr), nullptr);
}

// --- reading option files -------------------------------------------------------------

TEST_F(OptionsTest, ReadTextFileDropsCommentsAndCarriageReturns) {
  std::string p = file("plain", "# comment\r\n-v\r\nx # not a comment\r\n#last without line feed");
  char *text = pre_read_text_file(p.c_str());
  EXPECT_STREQ(text, "-v\nx # not a comment\n");
  std::free(text);
  // A lone CR stays; consecutive comment lines all go.
  p = file("cr", "a\rb\n#1\n#2\nc");
  text = pre_read_text_file(p.c_str());
  EXPECT_STREQ(text, "a\rb\nc");
  std::free(text);
}

TEST_F(OptionsTest, ReadTextFileHandlesByteOrderMarks) {
  std::string utf8 = file("utf8", "\xEF\xBB\xBF# head\n-k\n");
  char *text = pre_read_text_file(utf8.c_str());
  EXPECT_STREQ(text, "-k\n");
  std::free(text);
  std::string wide_text = std::string("\xFF\xFE", 2);
  for (char c : std::string("#c\r\n-i m\r\n\xE9")) wide_text += std::string{c, '\0'};
  std::string utf16 = file("utf16", wide_text);
  text = pre_read_text_file(utf16.c_str());
  EXPECT_STREQ(text, "-i m\n\xE9");
  std::free(text);
}

TEST_F(OptionsTest, ReadTextFileErrorsAreNumbered) {
  std::string missing = dir_ + "/missing";
  EXPECT_EXIT(pre_read_text_file(missing.c_str()), testing::ExitedWithCode(1),
              exactly("QUB++ error 22: Cannot open file " + missing + ": No such file or directory\n"));
  const std::string bad_read = "QUB++ error 24: Cannot read file %s: Invalid or incomplete multibyte or wide character\n";
  struct {
    const char *name;
    std::string bytes;
  } cases[] = {
      {"ff_only", std::string("\xFF", 1)},
      {"ff_other", std::string("\xFF\x41-v", 4)},
      {"ef_other", std::string("\xEF\xBB\x41", 3)},
      {"ef_short", std::string("\xEF", 1)},
      {"wide_high_byte", std::string("\xFF\xFE\x41\x01", 4)},
      {"wide_odd", std::string("\xFF\xFE\x41\x00\x42", 5)},
  };
  for (const auto &c : cases) {
    std::string p = file(c.name, c.bytes);
    std::string expected = bad_read;
    expected.replace(expected.find("%s"), 2, p);
    EXPECT_EXIT(pre_read_text_file(p.c_str()), testing::ExitedWithCode(1), exactly(expected)) << c.name;
  }
  // A directory opens but cannot be read.
  EXPECT_EXIT(pre_read_text_file(dir_.c_str()), testing::ExitedWithCode(1),
              exactly("QUB++ error 24: Cannot read file " + dir_ + ": Is a directory\n"));
}

// --- the option loop --------------------------------------------------------------

TEST_F(OptionsTest, FlagsSetTheirFieldsAndTheCommandWordEndsTheLoop) {
  setup({"-v", "-V", "-k", "-no-templates", "-2comp", "-no-comp", "-no-warnings", "-dump-config", "cc", "-v",
         "a.c"});
  EXPECT_TRUE(g_run.verbose && g_run.show_settings && g_run.keep_temp && g_run.no_templates && g_run.two_comp &&
              g_run.no_comp && g_run.no_warnings && g_run.dump_config);
  EXPECT_EQ(command(), "cc");
  EXPECT_EQ(g_run.current_arg, g_run.command_arg);
  EXPECT_STREQ(g_run.last_option_arg->text, "-dump-config");
  EXPECT_EQ(opts_env(), "QUBOPTS=-v -V -k -no-templates -2comp -no-comp -no-warnings -dump-config ");
  EXPECT_EQ(qubopts(), "-v -V -k -no-templates -2comp -no-comp -no-warnings -dump-config ");
}

TEST_F(OptionsTest, OptionsAreWholeWordsAndUnknownOnesEndTheLoop) {
  setup({"-if", "m", "cc"});
  EXPECT_EQ(command(), "-if");
  EXPECT_EQ(modes(), "fd");
  EXPECT_EQ(g_run.last_option_arg, nullptr);
  // No option at all: the variable is taken away.
  fresh();
  setenv("QUBOPTS", "", 1);
  setup({"cc", "a.c"});
  EXPECT_EQ(qubopts(), "(unset)");
  EXPECT_EQ(opts_env(), "QUBOPTS=");
}

TEST_F(OptionsTest, ModesStartOverWithEachDashI) {
  setup({"-i", "fd", "-i", "m", "cc"});
  EXPECT_EQ(modes(), "fdm");
  fresh();
  setup({"-i", "m", "-i", "f", "cc"});
  EXPECT_EQ(modes(), "f");
  fresh();
  setup({"-i", "mti", "cc"});
  EXPECT_EQ(modes(), "fdmI");
  fresh();
  setup({"-i", "dte", "cc"});
  EXPECT_EQ(modes(), "fdE");
  fresh();
  setup({"cc"});
  EXPECT_EQ(modes(), "fd");
  EXPECT_EQ(opts_env(), "QUBOPTS=");
}

TEST_F(OptionsTest, BadModesAreRefusedWithTheWholeValue) {
  for (const char *value : {"t", "tx", "e", "tite", "x", "ti t", "it", "dti e"}) {
    EXPECT_EXIT(setup({"-i", value, "cc"}), testing::ExitedWithCode(1),
                exactly(std::string("QUB++ error 13: Erroneous command line, unknown instrumentation mode ") + value +
                        "\nType 'qub -h' for usage information\n"))
        << value;
  }
}

TEST_F(OptionsTest, ValueOptionsNeedAValueThatIsNoOption) {
  const std::string tail = "\nType 'qub -h' for usage information\n";
  EXPECT_EXIT(setup({"-i"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option -i" + tail));
  EXPECT_EXIT(setup({"-i", "-v", "cc"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option -i" + tail));
  EXPECT_EXIT(setup({"-n", "-", "cc"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option -n" + tail));
  EXPECT_EXIT(setup({"-c", "-x"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option -c" + tail));
  EXPECT_EXIT(setup({"-C"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option -C" + tail));
  EXPECT_EXIT(setup({"@", "cc"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 13: Erroneous command line, argument missing for option @" + tail));
  // A path that merely ends in "-" is a value.
  setup({"-n", "./-", "cc"});
  EXPECT_STREQ(g_run.symbol_file_name, "./-");
}

TEST_F(OptionsTest, ValueOptionsFillTheirFields) {
  setup({"-c", "a", "-n", "first", "-C", "TICK=1", "-c", "b;c", "-n", "sym", "-C", "TICK+0", "cc"});
  EXPECT_STREQ(g_run.conf_file_list, "a;b;c");
  EXPECT_STREQ(g_run.symbol_file_name, "sym");
  ASSERT_NE(g_run.pending_overrides, nullptr);
  std::vector<std::string> overrides;
  for (void *t = pre_list_first(g_run.pending_overrides); t; t = pre_list_next(g_run.pending_overrides))
    overrides.push_back(static_cast<char *>(t));
  EXPECT_EQ(overrides, (std::vector<std::string>{"TICK=1", "TICK+0"}));
  EXPECT_EQ(opts_env(), "QUBOPTS=-c a -n first -C TICK=1 -c b;c -n sym -C TICK+0 ");
  EXPECT_EQ(command(), "cc");
  EXPECT_STREQ(g_run.last_option_arg->text, "TICK+0");
}

TEST_F(OptionsTest, ValuesWithBlanksAreQuotedInQubopts) {
  setup({"-C", "EXCLUDE=a b", "-n", "x y\\", "-c", "p|q", "cc"});
  EXPECT_EQ(qubopts(), "-C \"EXCLUDE=a b\" -n \"x y\\\\\" -c \"p|q\" ");
  // A child reads the same words back.
  std::vector<std::string> back = split(qubopts().c_str());
  EXPECT_EQ(back[1], "EXCLUDE=a b");
  EXPECT_EQ(back[5], "p|q");
}

TEST_F(OptionsTest, QuotesInWordsAreEscaped) {
  setup({"-C", "TIMER=a\"b", "cc", "x\\\"y", "\\\\\"", "q\\"});
  // A -C value reaches the configuration as it was typed.
  EXPECT_STREQ(static_cast<char *>(pre_list_first(g_run.pending_overrides)), "TIMER=a\"b");
  std::vector<std::string> cmd = words_of(g_run.command_arg);
  EXPECT_EQ(cmd, (std::vector<std::string>{"cc", "x\\\\\\\"y", "\\\\\\\\\\\"", "q\\"}));
}

TEST_F(OptionsTest, QuboptsComesFirstInTheChainsForm) {
  setenv("QUBOPTS", "-i m \"-C\" \"TIMER=x y\" -C TIMER=\\\"q\\\"", 1);
  setup({"-k", "cc", "a.c"});
  EXPECT_EQ(modes(), "fdm");
  EXPECT_TRUE(g_run.keep_temp);
  std::vector<std::string> all = words_of(g_run.args);
  // A quote escaped in QUBOPTS stands escaped in the chain: it is not escaped again, so
  // the text survives any depth of nested runs.
  EXPECT_EQ(all, (std::vector<std::string>{"-i", "m", "-C", "TIMER=x y", "-C", "TIMER=\\\"q\\\"", "-k", "cc",
                                          "a.c"}));
  EXPECT_EQ(qubtest::texts_of(g_run.pending_overrides), (std::vector<std::string>{"TIMER=x y", "TIMER=\"q\""}));
  EXPECT_EQ(qubopts(), "-i m -C \"TIMER=x y\" -C TIMER=\\\"q\\\" -k ");
}

TEST_F(OptionsTest, HelpComesFirstWhereverTheLoopReachesIt) {
  // In QUBOPTS, and in an option file.
  setenv("QUBOPTS", "-k -h", 1);
  EXPECT_EXIT(setup({"cc"}), testing::ExitedWithCode(0), "");
  unsetenv("QUBOPTS");
  std::string help = file("help", "-v\n-?\n");
  EXPECT_EXIT(setup({"@" + help, "cc"}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(setup({"-n", "-h"}), testing::ExitedWithCode(1), "argument missing for option -n");
  // Behind the command word it belongs to the command.
  setup({"cc", "-h"});
  EXPECT_EQ(command(), "cc");
}

TEST_F(OptionsTest, NoArgumentsPrintUsageAndIgnoreQubopts) {
  setenv("QUBOPTS", "-i zz", 1);
  char name[] = "qub";
  char *argv[] = {name, nullptr};
  EXPECT_EXIT(pre_setup_arguments(1, argv), testing::ExitedWithCode(0), "");
}

// --- option files --------------------------------------------------------------------

TEST_F(OptionsTest, OptionFileWordsTakeThePlaceOfTheFileWord) {
  std::string a = file("a", "-v -i m\n");
  setup({"@" + a, "-k", "cc"});
  EXPECT_TRUE(g_run.verbose);
  EXPECT_TRUE(g_run.keep_temp);
  EXPECT_EQ(modes(), "fdm");
  EXPECT_EQ(words_of(g_run.args), (std::vector<std::string>{"@" + a, "-v", "-i", "m", "-k", "cc"}));
  // The value "m" is the file's last word: the file word follows it into QUBOPTS.
  EXPECT_EQ(qubopts(), "-v -i m @" + a + " -k ");
}

TEST_F(OptionsTest, DashCFromAnOptionFileIsCopiedOnlyThroughTheFileWord) {
  std::string f = file("f", "-C TICK=2\n");
  setup({"@" + f, "-C", "TICK=3", "cc"});
  EXPECT_EQ(pre_list_count(g_run.pending_overrides), 2u);
  EXPECT_EQ(qubopts(), "@" + f + " -C TICK=3 ");
}

TEST_F(OptionsTest, NestedOptionFilesAreReadAndPoppedNewestFirst) {
  std::string b = file("b", "-k -n inner\n");
  std::string a = file("a", "@" + b + "\n");
  setup({"@" + a, "-v", "cc"});
  EXPECT_TRUE(g_run.keep_temp);
  EXPECT_TRUE(g_run.verbose);
  EXPECT_STREQ(g_run.symbol_file_name, "inner");
  EXPECT_EQ(words_of(g_run.args), (std::vector<std::string>{"@" + a, "@" + b, "-k", "-n", "inner", "-v", "cc"}));
  // Only the top of the stack is tested, so a's entry is still there when b's pops it.
  EXPECT_EQ(qubopts(), "-k -n inner @" + b + " @" + a + " -v ");
}

TEST_F(OptionsTest, CommentOnlyFileAddsNoWord) {
  std::string c = file("c", "# nothing here\n");
  setup({"@" + c, "-k", "cc"});
  EXPECT_TRUE(g_run.keep_temp);
  EXPECT_EQ(command(), "cc");
  EXPECT_EQ(words_of(g_run.args), (std::vector<std::string>{"@" + c, "-k", "cc"}));
}

TEST_F(OptionsTest, NonOptionInAFileStartsTheCommand) {
  std::string f = file("f", "-v gcc -c\n");
  setup({"@" + f, "a.c"});
  EXPECT_EQ(words_of(g_run.command_arg), (std::vector<std::string>{"gcc", "-c", "a.c"}));
  EXPECT_STREQ(g_run.last_option_arg->text, "-v");
}

TEST_F(OptionsTest, MissingOptionFileEndsWithoutTheUsageHint) {
  std::string missing = dir_ + "/none";
  EXPECT_EXIT(setup({"@" + missing, "cc"}), testing::ExitedWithCode(1),
              exactly("QUB++ error 22: Cannot open file " + missing + ": No such file or directory\n"));
}

TEST_F(OptionsTest, RandomBytesInAnOptionFileNeverCrash) {
  std::string bytes;
  unsigned state = 12345;
  for (int i = 0; i < 4096; i++) {
    state = state * 1103515245u + 12345u;
    bytes.push_back(static_cast<char>((state >> 16) & 0xFF));
  }
  bytes[0] = 'x';  // no byte order mark
  std::string f = file("random", bytes);
  setup({"@" + f, "cc"});
  ASSERT_NE(g_run.command_arg, nullptr);
  std::string huge(100000, 'q');
  std::string g = file("huge", "-n " + huge + "\n\"unbalanced quote -k\n");
  fresh();
  setup({"@" + g, "cc"});
  EXPECT_EQ(std::strlen(g_run.symbol_file_name), huge.size());
  EXPECT_EQ(command(), "unbalanced quote -k\n");
}

// --- the second run of the loop, as after a RUN_BEFORE_ALL response ------------------------

TEST_F(OptionsTest, ParseOptionsRunsAgainOnSplicedWords) {
  setup({"-k", "cc", "a.c"});
  arg_node *extra = pre_split_words("-i m -C \"TIMER=t t\" ignored -v");
  arg_node *last = extra;
  while (last->next) last = last->next;
  last->next = g_run.command_arg;
  g_run.last_option_arg->next = extra;
  g_run.current_arg = extra;
  EXPECT_EQ(pre_parse_options(), STATUS_OK);
  EXPECT_EQ(modes(), "fdm");
  EXPECT_FALSE(g_run.verbose);
  EXPECT_EQ(command(), "ignored");
  EXPECT_EQ(qubopts(), "-k -i m -C \"TIMER=t t\" ");
}

TEST_F(OptionsTest, DefaultHomeIsSetOnlyWhenUnset) {
  setenv("QUBHOME", "/somewhere", 1);
  pre_default_home();
  EXPECT_STREQ(std::getenv("QUBHOME"), "/somewhere");
  unsetenv("QUBHOME");
  pre_default_home();
  // The test binary lives in <build>/tests, beside <build>/share/qub/qub.ini.
  const char *home = std::getenv("QUBHOME");
  ASSERT_NE(home, nullptr);
  EXPECT_EQ(std::string(home), std::string(QUB_BINARY_DIR) + "/share/qub");
}

}  // namespace
