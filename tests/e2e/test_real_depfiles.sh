#!/usr/bin/env bash
# Dependency files written through qub are the compiler's own: the same targets and
# headers in every form of asking for them, and a hand-written Makefile rebuilds what a
# changed header touches.
source "$(dirname "$0")/plain_lib.sh"

mkdir -p "$SRC/obj" "$SRC/inc"
printf '#include "conf.h"\n#include <stdio.h>\nint value(void) { return CONF; }\n' >"$SRC/a.c"
printf '#define CONF 7\n' >"$SRC/inc/conf.h"
printf 'int value(void);\nint main(void) { return value() == 7 ? 0 : 1; }\n' >"$SRC/main.c"

for cc in gcc clang; do
  have "$cc" || continue
  same_as_plain "$cc -MMD -MF obj/a.d -c -o obj/a.o" . "$cc" -Iinc -MMD -MF obj/a.d -c a.c -o obj/a.o
  same_as_plain "$cc -MD -c -o obj/a.o" . "$cc" -Iinc -MD -c a.c -o obj/a.o
  same_as_plain "$cc -MD -MP -MT target -MF" . "$cc" -Iinc -MD -MP -MT 'my target' -MF obj/t.d -c a.c -o obj/a.o
  same_as_plain "$cc -MMD -MQ" . "$cc" -Iinc -MMD -MQ '$(OBJ)/a.o' -c a.c -o obj/a.o
  # -Wp,-MD,FILE is -MD -MF FILE of the preprocess step: the target is the object (gcc
  # alone would name it after the source's base name, a.o).
  for form in -Wp,-MD,obj/.a.o.d -Wp,-MMD,obj/.a.o.d; do
    flag=-MD
    [ "$form" = -Wp,-MMD,obj/.a.o.d ] && flag=-MMD
    run_side plain . "$cc" -Iinc "$flag" -MF obj/.a.o.d -c a.c -o obj/a.o
    run_side qub . "$cc" -Iinc "$form" -c a.c -o obj/a.o
    check "$cc $form: written by the preprocess step alone" test "$status_qub" -eq 0
    check "$cc $form: the rules of -MD -MF" cmp -s "$WORK/plain/obj/.a.o.d" "$WORK/qub/obj/.a.o.d"
    check "$cc $form: nothing left in the temporary directory" test -z "$(ls -A "$WORK/qub.tmp")"
  done
done

# A hand-written rule that names the dependency file: a changed header rebuilds.
cat >"$SRC/Makefile" <<'MK'
OBJS = obj/a.o obj/main.o
app: $(OBJS)
	$(CC) -o $@ $(OBJS)
obj/%.o: %.c
	$(CC) -Iinc -MMD -MF obj/$*.d -c $< -o $@
-include $(OBJS:.o=.d)
MK
rm -rf "$WORK/qub" && cp -r "$SRC" "$WORK/qub" && mkdir -p "$WORK/qub.tmp"
cd "$WORK/qub" || exit 1
TEMP="$WORK/qub.tmp" make -s CC="$QUB gcc" >make.log 2>&1
check "make builds the program through qub" test $? -eq 0 -a -x app
check "the dependency file's target is the object" grep -q '^obj/a.o: a.c inc/conf.h' obj/a.d
sleep 1
printf '#define CONF 8\n' >inc/conf.h
out=$(TEMP="$WORK/qub.tmp" make CC="$QUB gcc" 2>&1)
check "a changed header rebuilds the file that includes it" grep -q ' a.c' <<<"$out"
check "and not the file that does not" test -z "$(grep ' main.c' <<<"$out")"
check "the rebuilt program sees the new header" test "$(./app; echo $?)" = 1

finish
