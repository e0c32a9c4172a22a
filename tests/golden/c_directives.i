# 1 "src/calc.c"
# 1 "<built-in>"
# 1 "src/calc.c"
# 1 "include/calc.h" 1
typedef unsigned long size_t;
extern int calc_add(int a, int b);
# 2 "src/calc.c" 2

static const char *names[] = { "one", "two" , L"three" };   /* trailing comment */
int x = 0x1Fu + 1.5e3f + '\n'; // line comment
#pragma weak calc_add
int y = sizeof(names) / sizeof names[0]; int z = x <= y ? x : y;
