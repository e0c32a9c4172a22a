// Fuzz target: any bytes as a data file, read into the counters model and merged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "data_in.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  counts_data counts;
  std::string message;
  if (data_in_parse(data, size, &counts, &message) != DATA_IN_OK) return 0;
  // Merging the same file twice doubles every counter; selecting sums the test cases.
  data_in_parse(data, size, &counts, &message);
  counts_select(counts, {});
  counts_select(counts, {"*a*"});
  return 0;
}
