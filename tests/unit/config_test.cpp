// The configuration store: file format, assignments, lookups, blocks, the search for
// files with its -V listing, and the checks of the parameter table.
#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include "test_util.h"

namespace {

using qubtest::exactly;

class ConfigTest : public testing::Test {
 protected:
  void SetUp() override {
    conf_reset();
    pre_run_state_reset();
    ASSERT_TRUE(scratch_.enter("config"));
    dir_ = scratch_.path;
    unsetenv("QUBHOME");
    unsetenv("QUBINIT");
  }
  void TearDown() override {
    conf_reset();
    if (!scratch_.leave()) ADD_FAILURE() << "cannot go back to " << scratch_.previous;
  }

  std::string file(const std::string &name, const std::string &content) {
    std::string path = dir_ + "/" + name;
    qubtest::write_file(path, content);
    return path;
  }

  // Reads a file made of the text; the status of the read.
  int load(const std::string &content) { return conf_load_file(file("t.ini", content).c_str()); }

  // All values of a parameter as the lookup finds them, "(none)" when not set.
  static std::vector<std::string> values(const char *parameter) {
    std::vector<std::string> out;
    conf_iter it = nullptr;
    const char *v = conf_first(parameter, &it);
    if (!v) return {"(none)"};
    for (; v; v = conf_next(&it)) out.push_back(v);
    return out;
  }

  // The message a failed load stored.
  static std::string message(int status) { return pre_format_message(status); }

  qubtest::scratch_dir scratch_;
  std::string dir_;
};

using V = std::vector<std::string>;

// --- file format -------------------------------------------------------------------

TEST_F(ConfigTest, AssignmentFormsAndEmptyValues) {
  ASSERT_EQ(load("TIMER=1\nTICK = 1\nTMP_DIRECTORY =\nEXCLUDE =\n  DATAFILE\t=\t x y \t\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "1");
  EXPECT_STREQ(conf_get("TICK"), "1");
  EXPECT_EQ(values("TMP_DIRECTORY"), V{""});
  EXPECT_EQ(values("EXCLUDE"), V{""});
  EXPECT_STREQ(conf_get("DATAFILE"), "x y");
  EXPECT_EQ(values("LIBRARY"), V{"(none)"});
  EXPECT_STREQ(conf_get("LIBRARY"), "");
  EXPECT_STREQ(conf_get("NO_SUCH_PARAMETER"), "");
}

TEST_F(ConfigTest, CommentsBlankLinesAndHashesInValues) {
  ASSERT_EQ(load("# comment\n   \t# indented comment\n\n \t \nTIMER = a # b\nEXCLUDE = x#, y\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "a # b");
  EXPECT_EQ(values("EXCLUDE"), (V{"x#", "y"}));
}

TEST_F(ConfigTest, ListValuesSplitAtCommasOutsideQuotes) {
  ASSERT_EQ(load("OPTCHARS = -/\nPARAMS = -,/\nEXCLUDE = \"a,b\" junk, c\n"
                 "LIBRARY = ,x,,y,\nEXT_C = \" q \" , \"\"\n"),
            STATUS_OK);
  EXPECT_EQ(values("OPTCHARS"), V{"-/"});
  EXPECT_EQ(values("PARAMS"), (V{"-", "/"}));
  EXPECT_EQ(values("EXCLUDE"), (V{"a,b", "c"}));
  EXPECT_EQ(values("LIBRARY"), (V{"", "x", "", "y"}));
  EXPECT_EQ(values("EXT_C"), (V{" q ", ""}));
}

TEST_F(ConfigTest, SingleValueQuotes) {
  ASSERT_EQ(load("TIMER = \"a b\" c\nTICK = x\"y\nDATAFILE = p\"q\"r\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "a b");
  EXPECT_STREQ(conf_get("TICK"), "y");
  EXPECT_STREQ(conf_get("DATAFILE"), "q");
  // A plus on a set value appends the raw text.
  ASSERT_EQ(conf_apply_line("TIMER + \"c\", d"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "a b\"c\", d");
  // A first plus sets the value as "=" does.
  ASSERT_EQ(conf_apply_line("TMP_DIRECTORY + \"t\""), STATUS_OK);
  EXPECT_STREQ(conf_get("TMP_DIRECTORY"), "t");
}

TEST_F(ConfigTest, ListPlusAndMinus) {
  ASSERT_EQ(load("EXCLUDE = a, b, a, c\nEXCLUDE + d\nEXCLUDE - a, c, zz\n"), STATUS_OK);
  EXPECT_EQ(values("EXCLUDE"), (V{"b", "a", "d"}));
  ASSERT_EQ(conf_apply_line("LIBRARY - x"), STATUS_OK);  // an empty slot: nothing happens
  EXPECT_EQ(values("LIBRARY"), V{"(none)"});
  ASSERT_EQ(conf_apply_line("EXCLUDE = q"), STATUS_OK);
  EXPECT_EQ(values("EXCLUDE"), V{"q"});
}

TEST_F(ConfigTest, ContinuationLines) {
  ASSERT_EQ(load("EXCLUDE = a,\\\n  b\nTIMER = x\\\r\ny\n# comment \\\nTICK = swallowed\nDATAFILE = d\\ e\n"), STATUS_OK);
  EXPECT_EQ(values("EXCLUDE"), (V{"a", "b"}));
  EXPECT_STREQ(conf_get("TIMER"), "xy");
  EXPECT_EQ(values("TICK"), V{"(none)"});
  EXPECT_STREQ(conf_get("DATAFILE"), "d\\ e");
}

TEST_F(ConfigTest, CarriageReturnsAndBlanks) {
  ASSERT_EQ(load("TIMER = a\r\n\v\fTICK\v=\f5\r\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "a");
  EXPECT_STREQ(conf_get("TICK"), "5");
}

TEST_F(ConfigTest, EnvironmentVariablesExpand) {
  setenv("QUB_TEST_V", "val", 1);
  unsetenv("QUB_TEST_UNSET");
  // A value holding line feeds makes several statements; a backslash in front of one goes.
  setenv("QUB_TEST_LINES", "TICK = 7\nDATAFILE = d\\\ne", 1);
  ASSERT_EQ(load("TIMER = <$(QUB_TEST_V)$(QUB_TEST_UNSET)$(QUB_TEST_V)>\nEXCLUDE = $(HOME\n$(QUB_TEST_LINES)\n"),
            STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "<valval>");
  EXPECT_STREQ(conf_get("EXCLUDE"), "$(HOME");
  EXPECT_STREQ(conf_get("TICK"), "7");
  EXPECT_STREQ(conf_get("DATAFILE"), "de");
  // Expanded text is not expanded again.
  setenv("QUB_TEST_V", "$(QUB_TEST_LINES)", 1);
  ASSERT_EQ(load("TIMER = $(QUB_TEST_V)\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "$(QUB_TEST_LINES)");
}

TEST_F(ConfigTest, VeryLongLinesKeepTheirText) {
  std::string value(100000, 'v');
  ASSERT_EQ(load("TIMER = " + value + "\n"), STATUS_OK);
  EXPECT_EQ(std::string(conf_get("TIMER")), value);
}

// --- format errors --------------------------------------------------------------------

TEST_F(ConfigTest, FormatErrorsNameTheStatementFileAndLine) {
  std::string p = file("bad.ini", "# one\nTIMER = 1\n\n  type = compiler  \nTICK = 1\n");
  EXPECT_EQ(conf_load_file(p.c_str()), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_EQ(message(STATUS_BAD_CONFIG_FORMAT), "QUB++ error 1: Bad configuration format \"type = compiler\" in file " + p + " at line 4\n");
  struct {
    const char *text;
    const char *shown;
  } cases[] = {
      {"NO_SUCH = 1", "NO_SUCH"},
      {"TIMER : 1", "TIMER : 1"},
      {"TIMER", "TIMER"},
      {"TIMER - x", "TIMER - x"},
      {"TIMER = \"open", "TIMER = \"open"},
      {"EXCLUDE = a, \"open", "EXCLUDE = a, \"open"},
      {"= 1", "= 1"},
      {"[", "["},
      {"$(NEVER_CLOSED", "$(NEVER_CLOSED"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(load(std::string("TICK = 1\n") + c.text + "\n"), STATUS_BAD_CONFIG_FORMAT) << c.text;
    EXPECT_EQ(message(STATUS_BAD_CONFIG_FORMAT), std::string("QUB++ error 1: Bad configuration format \"") + c.shown + "\" in file " + dir_ +
                              "/t.ini at line 2\n")
        << c.text;
  }
}

TEST_F(ConfigTest, LineNumbersCountEveryLine) {
  EXPECT_EQ(load("TIMER = a\\\nb\\\nc\nx = 1\n"), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_EQ(message(STATUS_BAD_CONFIG_FORMAT), "QUB++ error 1: Bad configuration format \"x = 1\" in file " + dir_ + "/t.ini at line 4\n");
  // A continued statement shows its last line; a last line without a line feed counts.
  EXPECT_EQ(load("\n\nTIMER - a\\\n b"), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_EQ(message(STATUS_BAD_CONFIG_FORMAT), "QUB++ error 1: Bad configuration format \"TIMER - a b\" in file " + dir_ +
                            "/t.ini at line 4\n");
}

TEST_F(ConfigTest, ErrorTextsAreCutTo128) {
  std::string name(300, 'A');
  EXPECT_EQ(load(name + " = 1\n"), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_EQ(std::string(conf_error_text()), name.substr(0, 128));
  std::string long_dir = dir_ + "/" + std::string(150, 'd');
  ASSERT_EQ(system(("mkdir -p " + long_dir).c_str()), 0);
  std::string p = long_dir + "/x.ini";
  qubtest::write_file(p, "lower\n");
  EXPECT_EQ(conf_load_file(p.c_str()), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_EQ(message(STATUS_BAD_CONFIG_FORMAT), "QUB++ error 1: Bad configuration format \"lower\" in file " + p.substr(0, 128) +
                            " at line 1\n");
}

TEST_F(ConfigTest, FilesThatCannotBeReadAreNumbered) {
  EXPECT_EQ(conf_load_file((dir_ + "/absent.ini").c_str()), STATUS_OPEN_FAILED);
  EXPECT_EQ(message(STATUS_OPEN_FAILED), "QUB++ error 22: Cannot open file " + dir_ + "/absent.ini: No such file or directory\n");
  EXPECT_EQ(conf_load_file(dir_.c_str()), STATUS_READ_FAILED);
  EXPECT_EQ(message(STATUS_READ_FAILED), "QUB++ error 24: Cannot read file " + dir_ + ": Is a directory\n");
}

TEST_F(ConfigTest, RandomBytesGiveAFormatError) {
  std::string bytes;
  unsigned state = 987654321;
  for (int i = 0; i < 8192; i++) {
    state = state * 1103515245u + 12345u;
    bytes.push_back(static_cast<char>((state >> 16) & 0xFF));
  }
  bytes[0] = 'z';
  EXPECT_EQ(load(bytes), STATUS_BAD_CONFIG_FORMAT);
  EXPECT_NE(message(STATUS_BAD_CONFIG_FORMAT).find("QUB++ error 1: Bad configuration format \"z"), std::string::npos);
  EXPECT_EQ(load(std::string("TIMER = a\0b\n", 12)), STATUS_OK);  // a NUL ends the text of its line
  EXPECT_STREQ(conf_get("TIMER"), "a");
}

TEST_F(ConfigTest, OverrideErrorsShowLineZero) {
  EXPECT_EXIT(conf_apply_override("lower=1"), testing::ExitedWithCode(1),
              exactly("QUB++ error 1: Bad configuration format \"lower=1\" in file  at line 0\n"));
  EXPECT_EXIT(conf_apply_override("NOPE=1"), testing::ExitedWithCode(1),
              exactly("QUB++ error 1: Bad configuration format \"NOPE\" in file  at line 0\n"));
}

// --- blocks and lookups ------------------------------------------------------------------

TEST_F(ConfigTest, LookupTakesTheWholeListFromOneBlock) {
  ASSERT_EQ(load("EXCLUDE = d1, d2\nTIMER = dt\nOPTCHARS = -\n[gcc]\nEXCLUDE = g1\nOPTCHARS +/\n[empty]\nTIMER =\n"),
            STATUS_OK);
  conf_select_block("gcc");
  EXPECT_EQ(values("EXCLUDE"), V{"g1"});
  EXPECT_STREQ(conf_get("TIMER"), "dt");
  // Plus on a block's own empty slot hides the default list, it doesn't extend it.
  EXPECT_EQ(values("OPTCHARS"), V{"/"});
  conf_select_block("empty");
  EXPECT_EQ(values("TIMER"), V{""});
  EXPECT_EQ(values("EXCLUDE"), (V{"d1", "d2"}));
  conf_select_block(nullptr);
  EXPECT_EQ(values("OPTCHARS"), V{"-"});
}

TEST_F(ConfigTest, SingleParameterIteratorStopsAfterOneValue) {
  ASSERT_EQ(load("TIMER = a\nEXCLUDE = x, y\n"), STATUS_OK);
  conf_iter it = reinterpret_cast<conf_iter>(1);
  EXPECT_STREQ(conf_first("TIMER", &it), "a");
  EXPECT_EQ(it, nullptr);
  EXPECT_EQ(conf_next(&it), nullptr);
  EXPECT_EQ(conf_first("LIBRARY", &it), nullptr);
  EXPECT_EQ(it, nullptr);
}

TEST_F(ConfigTest, BlocksReopenAndSelectionWalksThemInOrder) {
  ASSERT_EQ(load("[b]\nTIMER = b1\n[a]\nTIMER = a1\n[b]\nEXCLUDE = x\n[with blank ]\n[]\n"), STATUS_OK);
  ASSERT_EQ(load("[a]\nTIMER + 2\nEXCLUDE = y\nTICK = default\n"), STATUS_OK);
  std::vector<std::string> names;
  for (const char *n = conf_select_first(); n; n = conf_select_next()) {
    names.push_back(std::string(n) + ":" + conf_get("TIMER") + ":" + conf_get("EXCLUDE") + ":" + conf_get("TICK"));
  }
  EXPECT_EQ(names, (V{"b:b1:x:", "a:a12:y:default", "with blank :::", ":::"}));
  // Behind the last block the default one is current; from there next stays there.
  EXPECT_STREQ(conf_get("TICK"), "");
  EXPECT_EQ(conf_select_next(), nullptr);
  EXPECT_STREQ(conf_get("TIMER"), "");
}

TEST_F(ConfigTest, SelectFirstWithoutNamedBlocksGivesTheDefault) {
  ASSERT_EQ(load("TIMER = t\n"), STATUS_OK);
  EXPECT_EQ(conf_select_first(), nullptr);
  EXPECT_STREQ(conf_get("TIMER"), "t");
}

TEST_F(ConfigTest, EachFileStartsInTheDefaultBlockAndTheLastBlockStaysCurrent) {
  ASSERT_EQ(load("[x]\nTIMER = in_x\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "in_x");  // the block in which the file ended
  ASSERT_EQ(load("TIMER = default\n"), STATUS_OK);
  EXPECT_STREQ(conf_get("TIMER"), "default");
  conf_select_block("x");
  EXPECT_STREQ(conf_get("TIMER"), "in_x");
}

TEST_F(ConfigTest, OverridesLandInTheSelectedBlock) {
  ASSERT_EQ(load("SKIP_FUNCTION_NAME = a\n[cc]\nTIMER = t\n"), STATUS_OK);
  conf_select_block("cc");
  conf_apply_override("SKIP_FUNCTION_NAME+b");
  conf_apply_override("TIMER=u");
  EXPECT_EQ(values("SKIP_FUNCTION_NAME"), V{"b"});
  EXPECT_STREQ(conf_get("TIMER"), "u");
  conf_select_block(nullptr);
  EXPECT_EQ(values("SKIP_FUNCTION_NAME"), V{"a"});
}

TEST(ConfigTable, FiftyThreeRowsInTheirOrder) {
  ASSERT_EQ(conf_param_count(), 53u);
  EXPECT_STREQ(conf_param_name(0), "TIMER");
  EXPECT_STREQ(conf_param_name(3), "WARNING_LEVEL");
  EXPECT_STREQ(conf_param_name(4), "COMMAND");
  EXPECT_STREQ(conf_param_name(12), "OPTCHARS");
  EXPECT_STREQ(conf_param_name(40), "DIALECT_C");
  EXPECT_STREQ(conf_param_name(52), "MAX_CMDLINE_LENGTH");
  EXPECT_EQ(conf_param_name(53), nullptr);
  EXPECT_TRUE(conf_param_is_multi(4));
  EXPECT_FALSE(conf_param_is_multi(5));
  EXPECT_TRUE(conf_param_is_multi(12));
  EXPECT_FALSE(conf_param_is_multi(19));
  EXPECT_EQ(conf_param_index("SOURCE_IDENTIFICATION"), 49);
  EXPECT_EQ(conf_param_index("source_identification"), -1);
  int multi = 0;
  for (std::size_t i = 0; i < conf_param_count(); i++) multi += conf_param_is_multi(i);
  EXPECT_EQ(multi, 35);
}

// --- the search -----------------------------------------------------------------------------

class SearchTest : public ConfigTest {
 protected:
  // Runs the search with the listing; the listing.
  std::string search(const char *list) {
    testing::internal::CaptureStderr();
    pre_load_configuration(list, true);
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(SearchTest, ListingShowsEverySource) {
  ASSERT_EQ(system("mkdir -p home"), 0);
  file("home/qub.ini", "TIMER = home\nTICK = home\nDATAFILE = home\nEXCLUDE = home\n");
  file("i1.ini", "TICK = init\n");
  file("i2.ini", "DATAFILE = init2\n");
  file("qub.ini", "EXCLUDE + here\n");
  file("c 1.ini", "LIBRARY = c\n");
  file("c2.ini", "TIMER = c2\n");
  setenv("QUBHOME", ("\"" + dir_ + "/home\"").c_str(), 1);
  setenv("QUBINIT", "i1.ini;;i2.ini", 1);
  std::string out = search("\"c 1.ini\";c2.ini");
  EXPECT_EQ(out,
            "Searching for configuration files:\n"
            "1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)\n"
            "   " + dir_ + "/home/qub.ini ... Loaded\n"
            "2. Environment Variable %QUBINIT%\n"
            "   i1.ini ... Loaded\n"
            "   i2.ini ... Loaded\n"
            "3. Current Directory (./qub.ini)\n"
            "   ./qub.ini ... Loaded\n"
            "4. By Command Line Option \"-c\"\n"
            "   c 1.ini ... Loaded\n"
            "   c2.ini ... Loaded\n"
            "\n");
  // Each source adds to what the earlier ones left.
  EXPECT_STREQ(conf_get("TIMER"), "c2");
  EXPECT_STREQ(conf_get("TICK"), "init");
  EXPECT_STREQ(conf_get("DATAFILE"), "init2");
  EXPECT_EQ(values("EXCLUDE"), (V{"home", "here"}));
  EXPECT_STREQ(conf_get("LIBRARY"), "c");
}

TEST_F(SearchTest, OnlyTheHomeFileIsEnough) {
  ASSERT_EQ(system("mkdir -p home"), 0);
  file("home/qub.ini", "TIMER = home\n");
  setenv("QUBHOME", (dir_ + "/home/").c_str(), 1);
  std::string out = search(nullptr);
  EXPECT_EQ(out,
            "Searching for configuration files:\n"
            "1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)\n"
            "   " + dir_ + "/home/qub.ini ... Loaded\n"
            "2. Environment Variable %QUBINIT% : Not used\n"
            "3. Current Directory (./qub.ini)\n"
            "   ./qub.ini ... Not provided\n"
            "4. By Command Line Option \"-c\" : Not used\n"
            "\n");
  EXPECT_STREQ(conf_get("TIMER"), "home");
}

TEST_F(SearchTest, WithoutAnyFileTheRunEnds) {
  setenv("QUBHOME", (dir_ + "/nowhere").c_str(), 1);
  EXPECT_EXIT(pre_load_configuration(nullptr, true), testing::ExitedWithCode(1),
              exactly("Searching for configuration files:\n"
                      "1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)\n"
                      "   " + dir_ + "/nowhere/qub.ini ... Not provided\n"
                      "2. Environment Variable %QUBINIT% : Not used\n"
                      "3. Current Directory (./qub.ini)\n"
                      "   ./qub.ini ... Not provided\n"
                      "4. By Command Line Option \"-c\" : Not used\n"
                      "\n"
                      "QUB++ error 22: Cannot open file qub.ini: No such file could be found\n"));
  unsetenv("QUBHOME");
  EXPECT_EXIT(pre_load_configuration(nullptr, false), testing::ExitedWithCode(1),
              exactly("QUB++ error 22: Cannot open file qub.ini: No such file could be found\n"));
}

TEST_F(SearchTest, MissingListEntryStopsTheSearch) {
  file("qub.ini", "TIMER = here\n");
  setenv("QUBINIT", "gone.ini", 1);
  EXPECT_EXIT(pre_load_configuration(nullptr, true), testing::ExitedWithCode(1),
              exactly("Searching for configuration files:\n"
                      "1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)\n"
                      "   - Not used : Environment variable QUBHOME not set\n"
                      "2. Environment Variable %QUBINIT%\n"
                      "   gone.ini ... Not found\n"
                      "QUB++ error 22: Cannot open file gone.ini: No such file or directory\n"));
  unsetenv("QUBINIT");
  EXPECT_EXIT(pre_load_configuration("qub.ini;gone2.ini", false), testing::ExitedWithCode(1),
              exactly("QUB++ error 22: Cannot open file gone2.ini: No such file or directory\n"));
}

TEST_F(SearchTest, FormatErrorStopsTheSearchWithAnOpenEnding) {
  file("qub.ini", "TIMER = here\nlower = 1\n");
  file("c.ini", "TIMER = c\n");
  EXPECT_EXIT(pre_load_configuration("c.ini", true), testing::ExitedWithCode(1),
              exactly("Searching for configuration files:\n"
                      "1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)\n"
                      "   - Not used : Environment variable QUBHOME not set\n"
                      "2. Environment Variable %QUBINIT% : Not used\n"
                      "3. Current Directory (./qub.ini)\n"
                      "   ./qub.ini ...\n"
                      "QUB++ error 1: Bad configuration format \"lower = 1\" in file ./qub.ini at line 2\n"));
}

TEST_F(SearchTest, OptionalFileThatIsADirectoryIsAReadError) {
  ASSERT_EQ(system("mkdir -p qub.ini"), 0);
  EXPECT_EXIT(pre_load_configuration(nullptr, false), testing::ExitedWithCode(1),
              exactly("QUB++ error 24: Cannot read file ./qub.ini: Is a directory\n"));
}

// --- checks of the parameter table -------------------------------------------------------

class ValidateTest : public ConfigTest {
 protected:
  // A complete configuration for a compiler_linker, changed by the statements.
  void configure(const std::string &changes) {
    conf_reset();
    ASSERT_EQ(load("TICK = 1000\nTYPE = compiler_linker\nOPTCHARS = -\nOPT_COMPILE_ONLY = -c\n"
                   "DIALECT_C = ANSI\nDIALECT_CXX = ANSI\nPARAMS = -o\n[cc]\n" +
                   changes + "\n"),
              STATUS_OK);
    conf_select_block("cc");
  }
  static std::string refused(const std::string &name, const std::string &value) {
    return exactly("QUB++ error 0: Configuration parameter " + name + " has illegal value \"" + value + "\"\n");
  }
  static std::string missing(const std::string &name) {
    return exactly("QUB++ error 20: Missing definition \"" + name + "\" in configuration file\n");
  }
};

TEST_F(ValidateTest, CompleteConfigurationPasses) {
  configure("TICK = 0x10\nPREPROC_C = cpp %FILE%\nOPT_COMP_OUT = -o\nWARNING_LEVEL = info\n"
            "DIFF_COMP_AND_LINK_OPTS = ON\nCONST_INSTR = OFF\nEMBED_FUNCTION_NAME = *main\n"
            "SOURCE_IDENTIFICATION = basename\nMAX_CMDLINE_LENGTH = lots\n");
  conf_validate();
  configure("TICK = 010\nWARNING_LEVEL =\nOPT_COMP_OUT =\nPREPROC_CXX =\n");
  conf_validate();
  SUCCEED();
}

TEST_F(ValidateTest, TickMustBeAWholeNumberAboveZero) {
  for (const char *bad : {"0", "12x", "-3", "08", "0x", "99999999999999999999"}) {
    configure(std::string("TICK = ") + bad);
    EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("TICK", bad)) << bad;
  }
  configure("TICK =");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("TICK", ""));
}

TEST_F(ValidateTest, RequiredParametersAreMissingInTableOrder) {
  conf_reset();
  ASSERT_EQ(load("[cc]\nTYPE = compiler\n"), STATUS_OK);
  conf_select_block("cc");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), missing("TICK"));
  ASSERT_EQ(conf_apply_line("TICK = 1"), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), missing("OPTCHARS"));
  ASSERT_EQ(conf_apply_line("OPTCHARS = -"), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), missing("DIALECT_C"));
  ASSERT_EQ(conf_apply_line("DIALECT_C = BORLAND"), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), missing("DIALECT_CXX"));
  ASSERT_EQ(conf_apply_line("DIALECT_CXX = MICROSOFT"), STATUS_OK);
  conf_validate();  // a compiler needs no OPT_COMPILE_ONLY
  ASSERT_EQ(conf_apply_line("TYPE = compiler_linker"), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), missing("OPT_COMPILE_ONLY"));
  ASSERT_EQ(conf_apply_line("TYPE ="), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("TYPE", ""));
  ASSERT_EQ(conf_apply_line("TYPE = assembler"), STATUS_OK);
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("TYPE", "assembler"));
}

TEST_F(ValidateTest, LinkerNeedsNoDialectsAndOverridesComeFirst) {
  conf_reset();
  ASSERT_EQ(load("TICK = 1\nOPTCHARS = -\n[ld]\nTYPE = compiler\nPREPROC_C = no file\n"), STATUS_OK);
  conf_select_block("ld");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("PREPROC_C", "no file"));
  conf_apply_override("TYPE=linker");
  conf_validate();
  SUCCEED();
}

TEST_F(ValidateTest, WordValuesAreCaseSensitive) {
  struct {
    const char *statement;
    const char *name;
    const char *value;
  } cases[] = {
      {"DIALECT_C = UNIX", "DIALECT_C", "UNIX"},
      {"DIALECT_CXX = ansi", "DIALECT_CXX", "ansi"},
      {"DIFF_COMP_AND_LINK_OPTS = on", "DIFF_COMP_AND_LINK_OPTS", "on"},
      {"CONST_INSTR = yes", "CONST_INSTR", "yes"},
      {"WARNING_LEVEL = all", "WARNING_LEVEL", "all"},
      {"SOURCE_IDENTIFICATION = Absolute", "SOURCE_IDENTIFICATION", "Absolute"},
      {"PREPROC_CXX = cpp %file%", "PREPROC_CXX", "cpp %file%"},
      {"OPTCHARS =", "OPTCHARS", ""},
      {"OPT_COMPILE_ONLY = ,-c", "OPT_COMPILE_ONLY", ""},
      {"DIALECT_C =", "DIALECT_C", ""},
  };
  for (const auto &c : cases) {
    configure(c.statement);
    EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused(c.name, c.value)) << c.statement;
  }
}

TEST_F(ValidateTest, CompileOutputOptionMustBeAValueOption) {
  configure("OPT_COMP_OUT = /Fo");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("OPT_COMP_OUT", "/Fo"));
  configure("OPT_COMP_OUT = -o, /Fo\nPARAMS_SEPARATE = /Fo");
  conf_validate();
  // Any later value that fails is shown by the first one.
  configure("OPT_COMP_OUT = -o, , -Fo");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("OPT_COMP_OUT", "-o"));
  // Not checked for a linker.
  configure("TYPE = linker\nOPT_COMP_OUT = /Fo");
  conf_validate();
}

TEST_F(ValidateTest, EmbedFunctionNameRefusesALoneStar) {
  configure("EMBED_FUNCTION_NAME = main, *");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("EMBED_FUNCTION_NAME", "*"));
  configure("EMBED_FUNCTION_NAME = *main, main*");
  conf_validate();
}

TEST_F(ValidateTest, TheFirstProblemInTableOrderIsReported) {
  configure("SOURCE_IDENTIFICATION = x\nDIALECT_C = y\nTICK = z");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("TICK", "z"));
  configure("SOURCE_IDENTIFICATION = x\nDIALECT_C = y");
  EXPECT_EXIT(conf_validate(), testing::ExitedWithCode(1), refused("DIALECT_C", "y"));
}

}  // namespace
