// Data files through the runtime's data file library, turned into counts_data.
#include "data_in.h"

#include <cerrno>
#include <cstring>

#include "qub_data.h"

namespace {

std::vector<std::uint64_t> array_of(const std::uint64_t *values, std::uint32_t size) {
  return values ? std::vector<std::uint64_t>(values, values + size) : std::vector<std::uint64_t>(size, 0);
}

data_in_status convert(qub_data_file *file, counts_data *data, std::string *message) {
  counts_data read;
  read.testcases.resize(file->testcase_count);
  for (std::uint32_t t = 0; t < file->testcase_count; t++)
    read.testcases[t].name = file->testcases[t].name ? file->testcases[t].name : "";
  for (std::uint32_t m = 0; m < file->module_count; m++) {
    const qub_data_module &dm = file->modules[m];
    if (dm.time_size) (dm.timer == QUB_DATA_TIMER_USER ? read.time_in_ticks : read.time_in_ns) = true;
    for (std::uint32_t s = 0; s < dm.set_count; s++) {
      const qub_data_set &set = dm.sets[s];
      if (set.testcase >= read.testcases.size()) continue;  // the library refuses such files
      counts_module cm;
      cm.source_id = dm.source_id ? dm.source_id : "";
      cm.time_stamp = dm.time_stamp;
      cm.fingerprint = dm.fingerprint;
      cm.f = array_of(set.f, dm.f_size);
      cm.j = array_of(set.j, dm.j_size);
      cm.tf_true.resize(dm.tf_size);
      cm.tf_false.resize(dm.tf_size);
      for (std::uint32_t n = 0; n < dm.tf_size && set.tf; n++) {
        cm.tf_true[n] = set.tf[2 * n];
        cm.tf_false[n] = set.tf[2 * n + 1];
      }
      cm.c = array_of(set.c, dm.c_size);
      cm.time = array_of(set.time, dm.time_size);
      read.testcases[set.testcase].modules.push_back(std::move(cm));
    }
  }
  qub_data_free(file);
  counts_data merged = *data;
  if (!counts_merge(&merged, read, message)) return DATA_IN_BAD;
  *data = std::move(merged);
  return DATA_IN_OK;
}

std::string problem_of(qub_data_status status, const qub_data_file &file, int saved_errno) {
  std::string text;
  switch (status) {
    case QUB_DATA_FOREIGN: text = "this is not a data file of this tool"; break;
    case QUB_DATA_NEWER: text = "the data file was written by a newer version"; break;
    case QUB_DATA_DAMAGED: text = "the data file is damaged"; break;
    case QUB_DATA_IO: text = std::string("it cannot be read: ") + std::strerror(saved_errno); break;
    case QUB_DATA_NO_MEMORY: text = "out of memory while reading it"; break;
    default: text = qub_data_status_text(status); break;
  }
  if (file.problem && status != QUB_DATA_IO) text += std::string(" (") + file.problem + ")";
  return text;
}

}  // namespace

data_in_status data_in_read(const std::string &path, counts_data *data, std::string *message) {
  qub_data_file file;
  std::memset(&file, 0, sizeof file);
  errno = 0;
  qub_data_status status = qub_data_read(path.c_str(), &file);
  int saved = errno;
  if (status == QUB_DATA_NO_FILE) {
    qub_data_free(&file);
    *message = "no such file";
    return DATA_IN_MISSING;
  }
  if (status != QUB_DATA_OK) {
    *message = problem_of(status, file, saved);
    qub_data_free(&file);
    return DATA_IN_BAD;
  }
  return convert(&file, data, message);
}

data_in_status data_in_parse(const void *bytes, std::size_t size, counts_data *data, std::string *message) {
  qub_data_file file;
  std::memset(&file, 0, sizeof file);
  qub_data_status status = qub_data_parse(bytes, size, &file);
  if (status != QUB_DATA_OK) {
    *message = problem_of(status, file, 0);
    qub_data_free(&file);
    return DATA_IN_BAD;
  }
  return convert(&file, data, message);
}
