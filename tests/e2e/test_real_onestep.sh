#!/usr/bin/env bash
# Compile-and-link in one command: the objects are temporary files, so sources with one
# base name, a user's own object of that name, parallel commands in one directory and a
# read-only current directory all behave as without qub.
source "$(dirname "$0")/plain_lib.sh"

mkdir -p "$SRC/d1" "$SRC/d2"
printf 'int one(void);\nint one(void) { return 1; }\n' >"$SRC/d1/x.c"
printf '#include <stdio.h>\nint one(void);\nint main(void) { printf("%%d\\n", one() + 1); return 0; }\n' >"$SRC/d2/x.c"
cat >"$SRC/value.c" <<'C'
#include <stdio.h>
int main(void) { printf("%d\n", VALUE); return 0; }
C
printf '#include <stdio.h>\n#include "value.h"\nint main(void) { puts(TEXT); return 0; }\n' >"$SRC/hdr.c"
printf '#define TEXT "with a header"\n' >"$SRC/value.h"

for cc in gcc clang; do
  have "$cc" || continue
  same_as_plain "$cc: two sources with one base name" . "$cc" -o app d1/x.c d2/x.c
  same_output "$cc: two sources with one base name" app
  # The user's own x.o stays as it was.
  printf 'not an object\n' >"$SRC/x.o"
  same_as_plain "$cc: one step beside a user's x.o" . "$cc" -o app2 d1/x.c d2/x.c
  check "$cc: the user's x.o is untouched" cmp -s "$SRC/x.o" "$WORK/qub/x.o"
  rm -f "$SRC/x.o"
  same_as_plain "$cc -MD in one step: the dependency file is named after the program" . \
    "$cc" -MD -o app3 hdr.c
  same_as_plain "$cc -MMD -MF in one step" . "$cc" -MMD -MF deps.d -o app4 hdr.c
  same_as_plain "$cc -c without -o: objects in the current directory" . "$cc" -c d1/x.c hdr.c
done

# A read-only current directory: nothing needs to be written there.
mkdir -p "$WORK/ro" "$WORK/ro_out" "$WORK/ro_tmp"
cp "$SRC/d2/x.c" "$WORK/ro/main.c" && cp "$SRC/d1/x.c" "$WORK/ro/one.c"
chmod a-w "$WORK/ro"
(cd "$WORK/ro" && TEMP="$WORK/ro_tmp" "$QUB" -n "$WORK/ro_out/MON" gcc -o "$WORK/ro_out/app" main.c one.c)
check "a read-only current directory: the build succeeds" test $? -eq 0 -a "$("$WORK/ro_out/app")" = 2
check "a read-only current directory: nothing left in the temporary directory" test -z "$(ls -A "$WORK/ro_tmp")"
chmod u+w "$WORK/ro"

# Twenty one-step builds at once from one directory, each with its own value.
mkdir -p "$WORK/par" "$WORK/par_tmp"
cp "$SRC/value.c" "$WORK/par/"
cd "$WORK/par" || exit 1
for i in $(seq 1 20); do
  TEMP="$WORK/par_tmp" "$QUB" gcc -DVALUE="$i" -o "app$i" value.c >"out$i.log" 2>&1 &
done
wait
bad=0
for i in $(seq 1 20); do
  [ "$(./app$i 2>/dev/null)" = "$i" ] || { bad=$((bad + 1)); cat "out$i.log" >&2; }
done
check "twenty parallel one-step builds each print their own value ($bad wrong)" test "$bad" -eq 0
check "parallel builds leave no object in the directory" test -z "$(ls *.o 2>/dev/null)"
check "parallel builds leave nothing in the temporary directory" test -z "$(ls -A "$WORK/par_tmp")"

finish
