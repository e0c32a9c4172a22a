// demo_test.cpp: the demo project's own test; exits 0 when every check passes.
#include <cstdio>
#include <string>

#include "calc.h"
#include "stats.h"
#include "text.hpp"

static int failures = 0;
static int checks = 0;

#define CHECK(cond)                                                    \
  do {                                                                 \
    checks++;                                                          \
    if (!(cond)) {                                                     \
      failures++;                                                      \
      std::printf("%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
    }                                                                  \
  } while (0)

int main() {
  CHECK(calc_gcd(12, 18) == 6);
  CHECK(calc_gcd(0, 0) == 0);
  CHECK(calc_is_prime(2) && calc_is_prime(97) && !calc_is_prime(1) && !calc_is_prime(91));
  CHECK(calc_clamp(-5, 0, 10) == 0 && calc_clamp(15, 0, 10) == 10 && calc_clamp(5, 0, 10) == 5);
  CHECK(calc_leap_year(2000) && !calc_leap_year(1900) && calc_leap_year(2024) && !calc_leap_year(2023));

  const int values[] = {4, -2, 9, 1};
  struct stats s;
  CHECK(stats_compute(values, 4, &s) == 1);
  CHECK(s.sum == 12 && s.min == -2 && s.max == 9 && s.count == 4);
  CHECK(stats_mean(&s) == 3);
  CHECK(stats_compute(values, 0, &s) == 0 && stats_mean(&s) == 0);

  auto fields = demo::split("a,,b", ',');
  CHECK(fields.size() == 3 && fields[0] == "a" && fields[1].empty() && fields[2] == "b");
  CHECK(demo::trim("  x y \t") == "x y");
  demo::word_counter wc;
  wc.add("one two  three");
  wc.add("");
  CHECK(wc.words() == 3 && wc.lines() == 2);

  std::printf("demo_test: %d checks, %d failed\n", checks, failures);
  return failures ? 1 : 0;
}
