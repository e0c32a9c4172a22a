#!/usr/bin/env bash
# What the compiler says about instrumented text: strict warning options pass where they
# pass without qub, fail where they fail, and diagnostics, debug information and linker
# messages name the user's source.
source "$(dirname "$0")/plain_lib.sh"

cat >"$SRC/strict.c" <<'C'
#include <stdio.h>
#include <string.h>
#include <ctype.h>
#define SQUARE(x) ((x) * (x))
#define IS_SET(a) ((a) != 0)
static char buffer[16];
int classify(int c);
int classify(int c) {
  int r = 0;
  switch (c) {
    case 'a':
      r++;
      /* FALLTHROUGH */
    case 'b':
      r++;
      /* fall through */
    case 'c':
      r += SQUARE(2);
      /* Falls through. */
    default:
      break;
  }
  if (IS_SET(buffer)) r++;
  return r + (isdigit(c) ? 1 : 0) + (int)strlen(buffer);
}
int main(void) {
  printf("%d %d\n", classify('a'), classify('x'));
  return 0;
}
C
sed -e 's|/\* FALLTHROUGH \*/|__attribute__((fallthrough));|' -e 's|/\* fall through \*/|__attribute__((fallthrough));|' \
  -e 's|/\* Falls through. \*/|__attribute__((fallthrough));|' "$SRC/strict.c" >"$SRC/attr.c"
sed -e 's|/\* FALLTHROUGH \*/||' "$SRC/strict.c" >"$SRC/nocomment.c"
sed -e 's|/\* FALLTHROUGH \*/|// FALLTHROUGH|' "$SRC/strict.c" >"$SRC/linecomment.c"
printf '#define USED 1\n#define UNUSED 2\nint f(void);\nint f(void) { return USED; }\n' >"$SRC/unused.c"
printf 'int f(void);\nint f(void) {\n  return missing;\n}\n' >"$SRC/bad.c"
printf 'int g(void);\nint main(void) {\n  return g();\n}\n' >"$SRC/nolink.c"

strict="-std=c89 -pedantic -Wall -Wextra -Werror -Wconversion -Wc++-compat -Wunused-macros -Wswitch-enum"
same_as_plain "gcc with strict options, fall-through comments and macros" . \
  gcc $strict -Wimplicit-fallthrough -o strict strict.c
same_output "gcc strict" strict
same_as_plain "gcc: a line comment as fall-through marker" . gcc -std=c99 -Wextra -Werror -c linecomment.c -o l.o
same_as_plain "gcc -pedantic-errors" . gcc -std=c99 -pedantic-errors -c strict.c -o strict.o
same_as_plain "gcc -Wpedantic -Werror, C11" . gcc -std=c11 -Wpedantic -Werror -c strict.c -o strict.o
same_as_plain "gcc: a missing fall-through comment still fails" . gcc -Wextra -Werror -c nocomment.c -o n.o
same_as_plain "gcc -Wimplicit-fallthrough=5 does not take comments" . \
  gcc -Wimplicit-fallthrough=5 -Werror -c strict.c -o s.o
same_as_plain "gcc -Wunused-macros -Werror fails on the user's unused macro" . \
  gcc -Wunused-macros -Werror -c unused.c -o unused.o
check "the unused macro's message names the user's file" qub_said 'unused.c:2:'
check "no message names a temporary file" sh -c "! grep -q 'QUB\\.' '$WORK/qub.out'"
same_as_plain "gcc: an error in the source" . gcc -c bad.c -o bad.o
check "gcc's error names the user's file and line" qub_said 'bad.c:3:'
check "gcc's error names no temporary file" sh -c "! grep -q 'QUB\\.[0-9]' '$WORK/qub.out'"
if have clang; then
  same_as_plain "clang with strict options and the fall-through attribute" . \
    clang -std=c99 -pedantic -Wall -Wextra -Werror -Wconversion -Wunused-macros -Wimplicit-fallthrough \
    -o attr attr.c
  same_output "clang strict" attr
  same_as_plain "clang -pedantic-errors" . clang -std=c89 -pedantic-errors -c attr.c -o attr.o
  same_as_plain "clang -Weverything" . clang -Weverything -Wno-missing-prototypes -Werror -c unused.c -o u.o
  printf '#pragma message "said once"\nint f(void);\n' >"$SRC/pragma.c"
  same_as_plain "clang: a #pragma message" . clang -c pragma.c -o p.o
  check "clang: the #pragma message is said once" test "$(grep -c 'warning: said once' "$WORK/qub.out")" -eq 1
  same_as_plain "clang: an error in the source" . clang -c bad.c -o bad.o
  check "clang's error names the user's file and line" qub_said 'bad.c:3:'
  check "clang's error names no temporary file" sh -c "! grep -q 'QUB\\.[0-9]' '$WORK/qub.out'"
fi

# Debug information and the object's file symbol name the source; an unchanged source
# gives the same object every time.
for cc in gcc clang; do
  have "$cc" || continue
  same_as_plain "$cc -g -c" . "$cc" -g -O1 -c strict.c -o s.o
  name_plain=$(readelf --debug-dump=info "$WORK/plain/s.o" | grep -m1 DW_AT_name | sed 's/.*: //')
  name_qub=$(readelf --debug-dump=info "$WORK/qub/s.o" | grep -m1 DW_AT_name | sed 's/.*: //')
  check "$cc: the unit's debug name is the source's ($name_qub)" test "$name_qub" = "$name_plain"
  check "$cc: the object's file symbol is the source's" \
    test "$(readelf -s "$WORK/qub/s.o" | grep ' FILE ')" = "$(readelf -s "$WORK/plain/s.o" | grep ' FILE ')"
  check "$cc: no temporary name anywhere in the object" sh -c "! grep -q 'QUB\\.[0-9]' '$WORK/qub/s.o'"
  cp "$WORK/qub/s.o" "$WORK/first.o"
  run_side qub . "$cc" -g -O1 -c strict.c -o s.o
  check "$cc: the same object when the source is compiled again" cmp -s "$WORK/first.o" "$WORK/qub/s.o"
  same_as_plain "$cc: an undefined function at the link" . "$cc" -o nolink nolink.c
  check "$cc: the linker's message names the source" qub_said 'nolink.c'
  check "$cc: the linker's message names no temporary source" sh -c "! grep -q 'QUB\\.[0-9]*\\.[0-9]*\\.nolink\\.c' '$WORK/qub.out'"
done

# A qub.h that someone put into the shared temporary directory is never read: the
# instrumented text lies in a directory of its own. (A hook includes qub.h into it.)
mkdir -p "$WORK/plant/tmp"
cd "$WORK/plant" || exit 1
printf '#error a planted qub.h was read\n' >tmp/qub.h
printf 'int f(void);\nint f(void) { return 0; }\n' >f.c
printf '#!/bin/sh\nprintf "#include \\"qub.h\\"\\n" >>"$3"\n' >include_hook
chmod +x include_hook
for cc in gcc clang; do
  have "$cc" || continue
  out=$(TEMP="$WORK/plant/tmp" "$QUB" -C RUN_AFTER_INSTR="$WORK/plant/include_hook" "$cc" -c f.c -o f.o 2>&1)
  check "$cc: the compile step reads the real qub.h, not one from the temporary directory" test $? -eq 0
  [ -n "$out" ] && echo "$out" >&2
  check "$cc: the temporary directory holds only the planted file again" test "$(ls -A tmp)" = qub.h
done

finish
