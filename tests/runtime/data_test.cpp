// The data file library: round trips, merging, identity changes, and the
// refusal of foreign, newer and damaged files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qub_data.h"

namespace {

struct data {
  qub_data_file f;
  data() { qub_data_init(&f); }
  ~data() { qub_data_free(&f); }
  data(const data &) = delete;
  data &operator=(const data &) = delete;
};

std::vector<unsigned char> bytes_of(const qub_data_file &f) {
  unsigned char *b = nullptr;
  size_t n = 0;
  EXPECT_EQ(qub_data_serialize(&f, &b, &n), QUB_DATA_OK);
  std::vector<unsigned char> v(b, b + n);
  std::free(b);
  return v;
}

// A module "m.c" with sizes F 2, J 1, TF 1, C 3, TIME 2 and counters that
// depend on `base`, counted in test case `tc`.
qub_data_module *add_module(qub_data_file &f, const char *id, int64_t ts, uint64_t fp,
                            uint32_t tc, uint64_t base) {
  qub_data_module *m = qub_data_module_for(&f, id, ts, fp, 3, 0, 2, 1, 1, 3, 2);
  qub_data_set *s = qub_data_set_for(m, tc);
  uint64_t fv[2] = {base, base + 1}, jv[1] = {base + 2}, tfv[2] = {base + 3, base + 4},
           cv[3] = {base + 5, base + 6, base + 7}, tv[2] = {base + 8, base + 9};
  qub_data_add_counts(m, s, fv, jv, tfv, cv, tv);
  return m;
}

TEST(DataFile, EmptyRoundTrip) {
  data a;
  std::vector<unsigned char> b = bytes_of(a.f);
  EXPECT_EQ(b.size(), 40u + 4 + 8 + 8);  // header, one empty test case with runs, trailer
  EXPECT_EQ(std::memcmp(b.data(), "QUB++DAT", 8), 0);
  qub_data_file r;
  ASSERT_EQ(qub_data_parse(b.data(), b.size(), &r), QUB_DATA_OK);
  EXPECT_EQ(r.testcase_count, 1u);
  EXPECT_STREQ(r.testcases[0].name, "");
  EXPECT_EQ(r.module_count, 0u);
  qub_data_free(&r);
  // A file of size 0 reads as an empty data file.
  ASSERT_EQ(qub_data_parse("", 0, &r), QUB_DATA_OK);
  EXPECT_EQ(r.testcase_count, 1u);
  qub_data_free(&r);
}

TEST(DataFile, RoundTripKeepsEverything) {
  data a;
  a.f.runs = 7;
  int32_t t1 = qub_data_testcase_index(&a.f, "login");
  ASSERT_EQ(t1, 1);
  a.f.testcases[1].runs = 3;
  add_module(a.f, "/src/m.c", 1700000000, 0xABCDEF12, 0, 10);
  add_module(a.f, "/src/m.c", 1700000000, 0xABCDEF12, 1, 100);
  add_module(a.f, "/src/n.c", -5, 0, 1, 1000);
  std::vector<unsigned char> b = bytes_of(a.f);
  qub_data_file r;
  ASSERT_EQ(qub_data_parse(b.data(), b.size(), &r), QUB_DATA_OK);
  EXPECT_EQ(r.runs, 7u);
  ASSERT_EQ(r.testcase_count, 2u);
  EXPECT_STREQ(r.testcases[1].name, "login");
  EXPECT_EQ(r.testcases[1].runs, 3u);
  ASSERT_EQ(r.module_count, 2u);
  qub_data_module *m = qub_data_find(&r, "/src/m.c");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->time_stamp, 1700000000);
  EXPECT_EQ(m->fingerprint, 0xABCDEF12u);
  EXPECT_EQ(m->mode, 3u);
  ASSERT_EQ(m->set_count, 2u);
  qub_data_set *s1 = qub_data_set_for(m, 1);
  EXPECT_EQ(s1->f[0], 100u);
  EXPECT_EQ(s1->j[0], 102u);
  EXPECT_EQ(s1->tf[1], 104u);
  EXPECT_EQ(s1->c[2], 107u);
  EXPECT_EQ(s1->time[1], 109u);
  qub_data_module *n = qub_data_find(&r, "/src/n.c");
  ASSERT_NE(n, nullptr);
  EXPECT_EQ(n->time_stamp, -5);
  // Serialising what was read gives the same bytes.
  EXPECT_EQ(bytes_of(r), b);
  qub_data_free(&r);
}

TEST(DataFile, MergeAddsAndMapsTestCasesByName) {
  data a, b;
  add_module(a.f, "m.c", 1, 2, 0, 1);
  a.f.runs = 1;
  int32_t tb = qub_data_testcase_index(&b.f, "t");
  add_module(b.f, "m.c", 1, 2, 0, 10);
  add_module(b.f, "m.c", 1, 2, (uint32_t)tb, 20);
  add_module(b.f, "other.c", 1, 2, 0, 5);
  b.f.runs = 2;
  b.f.testcases[tb].runs = 2;
  ASSERT_EQ(qub_data_merge(&a.f, &b.f), QUB_DATA_OK);
  EXPECT_EQ(a.f.runs, 3u);
  qub_data_module *m = qub_data_find(&a.f, "m.c");
  EXPECT_EQ(qub_data_set_for(m, 0)->f[0], 11u);
  EXPECT_EQ(qub_data_set_for(m, 0)->c[0], 6u + 15u);
  int32_t ta = qub_data_testcase_index(&a.f, "t");
  EXPECT_EQ(qub_data_set_for(m, (uint32_t)ta)->j[0], 22u);
  EXPECT_EQ(a.f.testcases[ta].runs, 2u);
  EXPECT_NE(qub_data_find(&a.f, "other.c"), nullptr);
}

TEST(DataFile, NewIdentityReplacesOldCounts) {
  struct change {
    int64_t ts;
    uint64_t fp;
    uint32_t f_size;
    bool replaced;
  } cases[] = {
      {1, 2, 2, false},  // same identity: counts add
      {9, 2, 2, true},   // new time stamp
      {1, 9, 2, true},   // new fingerprint
      {1, 2, 5, true},   // new size
  };
  for (const change &c : cases) {
    data a;
    add_module(a.f, "m.c", 1, 2, 0, 10);
    qub_data_module *m =
        qub_data_module_for(&a.f, "m.c", c.ts, c.fp, 3, 0, c.f_size, 1, 1, 3, 2);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->set_count, c.replaced ? 0u : 1u) << c.ts << " " << c.fp << " " << c.f_size;
    EXPECT_EQ(m->time_stamp, c.ts);
    EXPECT_EQ(m->f_size, c.f_size);
  }
}

TEST(DataFile, ManyModulesAreFoundByName) {
  data a;
  for (int i = 0; i < 5000; i++)
    add_module(a.f, ("dir/file" + std::to_string(i) + ".c").c_str(), i, 0, 0, (uint64_t)i);
  EXPECT_EQ(a.f.module_count, 5000u);
  for (int i = 0; i < 5000; i += 499) {
    qub_data_module *m = qub_data_find(&a.f, ("dir/file" + std::to_string(i) + ".c").c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->sets[0].f[0], (uint64_t)i);
  }
  EXPECT_EQ(qub_data_find(&a.f, "dir/file5000.c"), nullptr);
}

TEST(DataFile, RefusesWhatIsNotAGoodDataFile) {
  data a;
  add_module(a.f, "m.c", 1, 2, 0, 10);
  std::vector<unsigned char> good = bytes_of(a.f);
  struct damage {
    const char *what;
    size_t offset;  // byte to flip; SIZE_MAX: truncate by one byte
    qub_data_status expected;
  } cases[] = {
      {"magic", 0, QUB_DATA_FOREIGN},
      {"version", 8, QUB_DATA_NEWER},
      {"size", 16, QUB_DATA_DAMAGED},
      {"module name", 60, QUB_DATA_DAMAGED},
      {"a counter", good.size() - 20, QUB_DATA_DAMAGED},
      {"checksum", good.size() - 8, QUB_DATA_DAMAGED},
      {"end mark", good.size() - 1, QUB_DATA_DAMAGED},
      {"truncated", SIZE_MAX, QUB_DATA_DAMAGED},
  };
  for (const damage &d : cases) {
    std::vector<unsigned char> b = good;
    if (d.offset == SIZE_MAX)
      b.pop_back();
    else
      b[d.offset] ^= 0x40;
    qub_data_file r;
    EXPECT_EQ(qub_data_parse(b.data(), b.size(), &r), d.expected) << d.what;
    // Left empty and usable.
    EXPECT_EQ(r.module_count, 0u) << d.what;
    EXPECT_EQ(r.testcase_count, 1u) << d.what;
    EXPECT_NE(r.problem, nullptr) << d.what;
    qub_data_free(&r);
  }
  const char text[] = "QUB++ sym 9\nsomething else entirely\n";
  qub_data_file r;
  EXPECT_EQ(qub_data_parse(text, sizeof text - 1, &r), QUB_DATA_FOREIGN);
  qub_data_free(&r);
}

TEST(DataFile, ConsistentChecksumButBrokenStructureIsDamaged) {
  // A well-framed file (right size, checksum, end mark) whose module claims
  // more sets than there are test cases.
  data a;
  add_module(a.f, "m.c", 1, 2, 0, 10);
  std::vector<unsigned char> b = bytes_of(a.f);
  size_t sets_at = 40 + 4 + 8 + 4 + 3 + 8 + 8 + 4 * 7;
  b[sets_at] = 2;
  uint32_t crc = qub_data_crc32(0, b.data(), b.size() - 8);
  for (int i = 0; i < 4; i++) b[b.size() - 8 + i] = (unsigned char)(crc >> (8 * i));
  qub_data_file r;
  EXPECT_EQ(qub_data_parse(b.data(), b.size(), &r), QUB_DATA_DAMAGED);
  qub_data_free(&r);
}

TEST(DataFile, Crc32MatchesTheStandardCheckValue) {
  EXPECT_EQ(qub_data_crc32(0, "123456789", 9), 0xCBF43926u);
  // Continuing over pieces gives the same as one pass.
  uint32_t c = qub_data_crc32(0, "12345", 5);
  EXPECT_EQ(qub_data_crc32(c, "6789", 4), 0xCBF43926u);
}

TEST(DataFile, ReadAndWriteFiles) {
  std::string path = testing::TempDir() + "qub_data_test_" + std::to_string(getpid()) + ".dat";
  data a;
  add_module(a.f, "m.c", 1, 2, 0, 10);
  ASSERT_EQ(qub_data_write(path.c_str(), &a.f), QUB_DATA_OK);
  qub_data_file r;
  ASSERT_EQ(qub_data_read(path.c_str(), &r), QUB_DATA_OK);
  EXPECT_EQ(r.module_count, 1u);
  qub_data_free(&r);
  std::remove(path.c_str());
  EXPECT_EQ(qub_data_read(path.c_str(), &r), QUB_DATA_NO_FILE);
  qub_data_free(&r);
}

}  // namespace
