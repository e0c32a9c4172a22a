// The symbol file reader: descriptions, records, file changes, counters, and every way in
// which a file can be refused.
#include <gtest/gtest.h>

#include <string>

#include "symbol/symfile_read.h"

namespace {

const std::string DATE = "Sun Nov 22 22:48:01 2026";

std::string file_of(const std::string &descriptions) {
  return "QUB++ sym 9\n" + DATE + "\n" + descriptions + "END OF SYMBOLFILE\n";
}

// The typical file of a six-line function with decision coverage.
const std::string TYPICAL = "@/src/t.c\n"
                            "3 1700000000 00000000 0 0\n"
                            "0 1 0 0 0 f\n"
                            "90 0 0 0 0 int a\n"
                            "20 3 0 0 1 a\n"
                            "13 4 1 0 2 1\n"
                            "3 4 1 0 1\n"
                            "13 5 2 1 1 0\n"
                            "2 6 2 0 0 f\n"
                            "%6,1,2,1,0,0\n";

TEST(SymfileRead, TypicalFileFieldByField) {
  symfile sym;
  symfile_error error;
  ASSERT_TRUE(symfile_parse(file_of(TYPICAL), &sym, &error)) << error.message;
  EXPECT_EQ(sym.date, DATE);
  ASSERT_EQ(sym.descriptions.size(), 1u);
  const symfile_description &d = sym.descriptions[0];
  EXPECT_EQ(d.source_id, "/src/t.c");
  EXPECT_EQ(d.mode_bits, 3u);
  EXPECT_EQ(d.time_stamp, 1700000000);
  EXPECT_EQ(d.revision, 0u);
  EXPECT_EQ(d.line_count, 6u);
  EXPECT_EQ(d.f_size, 1u);
  EXPECT_EQ(d.j_size, 2u);
  EXPECT_EQ(d.tf_size, 1u);
  EXPECT_EQ(d.c_size, 0u);
  EXPECT_EQ(d.first_line, 3u);
  ASSERT_EQ(d.records.size(), 7u);
  const symfile_record &ret = d.records[3];
  EXPECT_EQ(ret.kind, 13u);
  EXPECT_EQ(ret.line, 4u);
  EXPECT_EQ(ret.statements, 1u);
  EXPECT_EQ(ret.counter, 0);
  EXPECT_EQ(ret.level, 2u);
  EXPECT_EQ(symfile_text(d, ret), "1");
  EXPECT_EQ(symfile_text(d, d.records[1]), "int a");
  EXPECT_EQ(symfile_text(d, d.records[4]), "");  // no text, no trailing blank
  EXPECT_EQ(sym.file_names.at(d.records[0].file), "/src/t.c");
}

TEST(SymfileRead, FingerprintIsTheCksumOfTheCountedBytes) {
  // Name line out, two characters of the head, then each line to the counts line
  // without its line feed.
  std::string counted = "3 0 1 0 0 0 f90 0 0 0 0 int a20 3 0 0 1 a13 4 1 0 2 13 4 1 0 113 5 2 1 1 02 6 2 0 0 f%6,1,2,1,0,0";
  symfile sym;
  symfile_error error;
  ASSERT_TRUE(symfile_parse(file_of(TYPICAL), &sym, &error));
  EXPECT_EQ(sym.descriptions[0].computed_fingerprint, symfile_cksum(counted));
  // The checksum of the cksum command: known values.
  EXPECT_EQ(symfile_cksum(""), 0xFFFFFFFFu);
  EXPECT_EQ(symfile_cksum("123456789"), 930766865u);
}

TEST(SymfileRead, HeaderFunctionsStandInTheirOwnFile) {
  std::string text = "@/src/main.c\n"
                     "3 5 0000000A 2 0\n"
                     "50 0 0 0 0 #line 1 \"/inc/h.h\"\n"
                     "0 3 0 0 0 inline_f\n"
                     "2 4 0 0 0 inline_f\n"
                     "50 10 0 0 0 #line 11 \"/src/main.c\"\n"
                     "0 12 0 1 0 main\n"
                     "51 13 1 0 1 #line 1 \"/inc/g.h\"\n"
                     "13 2 1 0 1 x\n"
                     "2 14 1 0 0 main\n"
                     "%14,2,1,0,0,0\n";
  symfile sym;
  symfile_error error;
  ASSERT_TRUE(symfile_parse(file_of(text), &sym, &error)) << error.message;
  const symfile_description &d = sym.descriptions[0];
  EXPECT_EQ(d.revision, 2u);
  EXPECT_EQ(d.fingerprint, 0xAu);
  EXPECT_EQ(sym.file_names[d.records[1].file], "/inc/h.h");
  EXPECT_EQ(sym.file_names[d.records[4].file], "/src/main.c");
  EXPECT_EQ(sym.file_names[d.records[6].file], "/inc/g.h");
  EXPECT_EQ(d.records[1].file, d.records[2].file);
  EXPECT_EQ(d.records[4].file, d.file);
  EXPECT_EQ(sym.file_names.size(), 3u);
}

TEST(SymfileRead, SeveralDescriptionsAndLeftoversBehindTheEndMark) {
  std::string two = "@/a.c\n1 1 00000001 0 0\n0 1 0 0 0 a\n2 2 0 0 0 a\n%2,1,0,0,0,0\n"
                    "@/b.c\n7 2 00000002 0 0\n%0,0,0,0,0,0\n";
  symfile sym;
  symfile_error error;
  ASSERT_TRUE(symfile_parse(file_of(two) + "13 4 1 0 2 stale bytes\n%6,1", &sym, &error)) << error.message;
  ASSERT_EQ(sym.descriptions.size(), 2u);
  EXPECT_EQ(sym.descriptions[1].source_id, "/b.c");
  EXPECT_EQ(sym.descriptions[1].mode_bits, 7u);
  EXPECT_TRUE(sym.descriptions[1].records.empty());
  // An empty symbol file: no description at all.
  ASSERT_TRUE(symfile_parse(file_of(""), &sym, &error));
  EXPECT_TRUE(sym.descriptions.empty());
}

TEST(SymfileRead, IndexListsAndLineForms) {
  std::vector<std::uint32_t> n;
  EXPECT_TRUE(symfile_index_list("0,2,5", &n));
  EXPECT_EQ(n, (std::vector<std::uint32_t>{0, 2, 5}));
  EXPECT_TRUE(symfile_index_list("", &n));
  EXPECT_TRUE(n.empty());
  for (const char *bad : {"0,", ",1", "1,,2", "1 2", "a", "-1", "99999999999"})
    EXPECT_FALSE(symfile_index_list(bad, &n)) << bad;
  std::uint32_t number;
  std::string name;
  EXPECT_TRUE(symfile_line_form("#line 12 \"/a b/c.h\"", &number, &name));
  EXPECT_EQ(number, 12u);
  EXPECT_EQ(name, "/a b/c.h");
  for (const char *bad : {"#line 12", "#line x \"a\"", "#line 1 a", "#line 1 \"\"", "line 1 \"a\""})
    EXPECT_FALSE(symfile_line_form(bad, &number, &name)) << bad;
}

TEST(SymfileRead, ArraysOfKinds) {
  EXPECT_EQ(symfile_array_of(0), SYMFILE_F);
  for (std::uint32_t k : {1u, 4u, 5u, 10u, 14u, 16u, 55u, 60u, 66u, 100u, 104u}) EXPECT_EQ(symfile_array_of(k), SYMFILE_J) << k;
  for (std::uint32_t k : {20u, 25u, 30u, 35u}) EXPECT_EQ(symfile_array_of(k), SYMFILE_TF) << k;
  for (std::uint32_t k : {75u, 76u, 78u, 81u}) EXPECT_EQ(symfile_array_of(k), SYMFILE_C) << k;
  for (std::uint32_t k : {2u, 3u, 6u, 40u, 42u, 50u, 70u, 77u, 85u, 90u}) {
    EXPECT_EQ(symfile_array_of(k), SYMFILE_NONE) << k;
    EXPECT_TRUE(symfile_known_kind(k)) << k;
  }
  EXPECT_FALSE(symfile_known_kind(7));
  EXPECT_FALSE(symfile_known_kind(200));
}

struct refusal {
  const char *name;
  std::string text;
  symfile_status status;
  std::uint64_t line;
};

TEST(SymfileRead, RefusedFilesSayWhyAndWhere) {
  const std::string head = "QUB++ sym 9\n" + DATE + "\n";
  const std::string desc = "@/a.c\n3 1 00000000 0 0\n";
  std::vector<refusal> cases = {
      {"empty", "", SYMFILE_FOREIGN, 1},
      {"other format", "QUB++ sym 8\n" + DATE + "\nEND OF SYMBOLFILE\n", SYMFILE_FOREIGN, 1},
      {"binary", std::string("\x7f" "ELF\x02\x01", 6), SYMFILE_FOREIGN, 1},
      {"first line only", "QUB++ sym 9\n", SYMFILE_TRUNCATED, 1},
      {"short date", "QUB++ sym 9\nSun\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 2},
      {"no end mark", head, SYMFILE_TRUNCATED, 2},
      {"cut in a description", head + desc + "0 1 0 0 0 f\n", SYMFILE_TRUNCATED, 5},
      {"cut in a line", head + desc + "0 1 0", SYMFILE_TRUNCATED, 5},
      {"junk between", head + "hello\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 3},
      {"empty name", head + "@\n", SYMFILE_BAD_LINE, 3},
      {"head fields", head + "@/a.c\n3 1 00000000 0\n%0,0,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 4},
      {"head extra", head + "@/a.c\n3 1 00000000 0 0 0\n%0,0,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 4},
      {"record fields", head + desc + "0 1 0 0\n%0,0,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 5},
      {"record sign", head + desc + "0 -1 0 0 0 f\n%1,1,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 5},
      {"next name before counts", head + desc + "@/b.c\n", SYMFILE_BAD_LINE, 5},
      {"end before counts", head + desc + "END OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 5},
      {"counts fields", head + desc + "%1,2,3\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 5},
      {"bad line form", head + desc + "51 1 0 0 0 #line x\n%1,0,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_LINE, 5},
      {"F counter outside", head + desc + "0 1 0 1 0 f\n%1,1,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_COUNTER, 5},
      {"J counter outside", head + desc + "13 1 0 0 0 x\n%1,0,0,0,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_COUNTER, 5},
      {"TF counter negative", head + desc + "20 1 0 -1 0 x\n%1,0,0,1,0,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_COUNTER, 5},
      {"path outside C", head + desc + "78 0 0 0 0 0,3\n%1,0,0,0,3,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_COUNTER, 5},
      {"path list junk", head + desc + "79 0 0 0 0 0;1\n%1,0,0,0,3,0\nEND OF SYMBOLFILE\n", SYMFILE_BAD_COUNTER, 5},
  };
  for (const refusal &c : cases) {
    symfile sym;
    symfile_error error;
    EXPECT_FALSE(symfile_parse(c.text, &sym, &error)) << c.name;
    EXPECT_EQ(error.status, c.status) << c.name << ": " << error.message;
    EXPECT_EQ(error.line, c.line) << c.name << ": " << error.message;
    EXPECT_FALSE(error.message.empty()) << c.name;
    EXPECT_TRUE(sym.descriptions.empty()) << c.name;
  }
}

TEST(SymfileRead, MissingFileIsCannotOpen) {
  symfile sym;
  symfile_error error;
  EXPECT_FALSE(symfile_read("/nonexistent/dir/MON.sym", &sym, &error));
  EXPECT_EQ(error.status, SYMFILE_CANNOT_OPEN);
  EXPECT_EQ(error.message, "No such file or directory");
  EXPECT_FALSE(symfile_read("/", &sym, &error));  // a directory
  EXPECT_EQ(error.status, SYMFILE_CANNOT_OPEN);
}

}  // namespace
