#!/usr/bin/env bash
# Dependency files asked for with -MD or -MMD alone land where the compiler would put
# them, name the real sources, and drive incremental builds of a plain Makefile.
source "$(dirname "$0")/lib.sh"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP" "$WORK/p/obj"
cd "$WORK/p" || exit 1

printf '#include "conf.h"\nint value(void) { return CONF; }\n' >value.c
printf 'int value(void);\nint main(void) { return value() == 7 ? 0 : 1; }\n' >main.c
echo '#define CONF 7' >conf.h

"$QUB" gcc -MMD -MP -c value.c -o obj/value.o
check "-MMD -c -o: the dependency file is beside the object" test -f obj/value.d
gcc -MMD -MP -c value.c -o "$WORK/plain.o"
check "-MMD: the same rules as the compiler's own" \
  test "$(cat obj/value.d)" = "$(sed "s|$WORK/plain.o|obj/value.o|" "$WORK/plain.d")"
"$QUB" gcc -MD -c main.c
check "-MD -c: the dependency file is named after the object" grep -q '^main.o: main.c' main.d
check "nothing is left in the temporary directory" test -z "$(ls -A "$TEMP")"

cat >Makefile <<'MK'
CC = qub gcc
CFLAGS = -MMD -MP
OBJS = obj/value.o obj/main.o
app: $(OBJS)
	$(CC) -o $@ $(OBJS)
obj/%.o: %.c
	$(CC) $(CFLAGS) -c $< -o $@
-include $(OBJS:.o=.d)
MK
rm -f obj/*
PATH="$QUB_BINARY_DIR/bin:$PATH" make -s >/dev/null 2>&1
check "make builds the program" ./app
sleep 1
echo '#define CONF 8' >conf.h
out=$(PATH="$QUB_BINARY_DIR/bin:$PATH" make 2>&1)
check "a changed header rebuilds the file that includes it" grep -q 'value.c' <<<"$out"
check "and not the file that does not" test -z "$(grep 'main.c' <<<"$out")"
check "the rebuilt program sees the new header" test "$(./app; echo $?)" = 1

finish
