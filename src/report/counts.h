// The counters of instrumented modules as a run left them, gathered from one or more
// data files and kept apart by test case.
#ifndef QUB_REPORT_COUNTS_H
#define QUB_REPORT_COUNTS_H

#include <cstdint>
#include <string>
#include <vector>

// The counter arrays of one module (one instrumented source file). A module is known by
// its source id, time stamp and fingerprint, the values its instrumented file carried.
struct counts_module {
  std::string source_id;
  long long time_stamp = 0;
  std::uint64_t fingerprint = 0;
  std::vector<std::uint64_t> f;         // functions entered
  std::vector<std::uint64_t> j;         // jump-like probes reached
  std::vector<std::uint64_t> tf_true;   // decisions: times true
  std::vector<std::uint64_t> tf_false;  // decisions: times false
  std::vector<std::uint64_t> c;         // evaluation paths taken
  std::vector<std::uint64_t> time;      // time spent per function, in time_unit
};

struct counts_testcase {
  std::string name;  // empty for counts recorded outside any named test case
  std::vector<counts_module> modules;
};

struct counts_data {
  std::vector<counts_testcase> testcases;
  // Units of the time arrays met: nanoseconds of the runtime's clock, or ticks of a
  // timer function of the user's.
  bool time_in_ns = false;
  bool time_in_ticks = false;
};

// "ns", "ticks", or "ns or ticks" when both were met.
std::string counts_time_unit(const counts_data &data);

// Whether two modules are the same build of the same source.
bool counts_same_module(const counts_module &a, const counts_module &b);

// Adds the counters of from to into, array by array; false when the array sizes differ.
bool counts_add(counts_module *into, const counts_module &from);

// Merges from into into: test cases by name, modules of one test case by identity.
// Returns false (and leaves a message) when two builds of one module have different
// array sizes under the same identity.
bool counts_merge(counts_data *into, const counts_data &from, std::string *message);

// The modules of the test cases named (all when names is empty), summed module by module.
// Names are matched as wildcard patterns (* and ?).
std::vector<counts_module> counts_select(const counts_data &data, const std::vector<std::string> &names);

// Names of the test cases, in the order first met.
std::vector<std::string> counts_testcase_names(const counts_data &data);

#endif
