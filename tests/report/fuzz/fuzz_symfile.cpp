// Fuzz target: any bytes as a symbol file. A file that reads must also go through the
// whole report (model, MC/DC, every output format) without a fault.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "outputs.h"
#include "report.h"
#include "symbol/symfile_read.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  symfile sym;
  symfile_error error;
  if (!symfile_parse(std::string_view(reinterpret_cast<const char *>(data), size), &sym, &error)) return 0;
  // Counters for every module, all ones, so that every item counts and every path ran
  // on half of the modules.
  std::vector<counts_module> counts;
  for (std::size_t i = 0; i < sym.descriptions.size(); i++) {
    const symfile_description &d = sym.descriptions[i];
    if (d.f_size + d.j_size + d.tf_size + d.c_size + d.time_size > (1u << 20)) return 0;
    counts_module m;
    m.source_id = d.source_id;
    m.time_stamp = d.time_stamp;
    m.fingerprint = d.fingerprint;
    std::uint64_t v = i % 2;
    m.f.assign(d.f_size, v);
    m.j.assign(d.j_size, v);
    m.tf_true.assign(d.tf_size, v);
    m.tf_false.assign(d.tf_size, 1);
    m.c.assign(d.c_size, v);
    m.time.assign(d.time_size, 7);
    counts.push_back(m);
  }
  report r;
  report_options options;
  options.base_directory = "/nonexistent-fuzz-base";
  report_build(sym, counts, options, &r);
  output_context ctx;
  output_text(r, ctx);
  output_json(r, ctx);
  output_lcov(r, ctx);
  output_cobertura(r, ctx);
  return 0;
}
