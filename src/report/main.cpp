// qub-report: coverage reports from the symbol file and the data files.
#include <string>
#include <vector>

#include "run.h"

int main(int argc, char **argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return report_run(args);
}
