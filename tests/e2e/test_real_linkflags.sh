#!/usr/bin/env bash
# Options that only the link reads stay away from the preprocess and compile steps of a
# compile-and-link command (clang's -Werror builds), and cross and distribution compiler
# names are recognised.
source "$(dirname "$0")/plain_lib.sh"

cat >"$SRC/m.c" <<'C'
#include <math.h>
#include <stdio.h>
int main(int argc, char **argv) { (void)argv; printf("%.1f\n", sqrt((double)(argc * 16))); return 0; }
C
printf 'int lib_value(void);\nint lib_value(void) { return 42; }\n' >"$SRC/lib.c"

for cc in clang gcc; do
  have "$cc" || continue
  w="-Wall -Werror"
  same_as_plain "$cc -Werror -shared -fPIC" . "$cc" $w -shared -fPIC -o liblib.so lib.c
  same_as_plain "$cc -Werror -Wl,--as-needed -lm" . "$cc" $w -Wl,--as-needed -o m m.c -lm
  same_output "$cc -Wl,--as-needed -lm" m
  same_as_plain "$cc -Werror -fuse-ld=bfd" . "$cc" $w -fuse-ld=bfd -o m m.c -lm
  same_as_plain "$cc -Werror -Xlinker and -L" . "$cc" $w -Xlinker --no-undefined -L. -o m m.c -lm
  same_as_plain "$cc -Werror -static-libgcc -rdynamic -no-pie" . "$cc" $w -static-libgcc -rdynamic -no-pie \
    -o m m.c -lm
  same_as_plain "$cc -Werror -nostartfiles fails alike" . "$cc" $w -nostartfiles -o m m.c -lm
done

# Cross and distribution names: a compiler called by a target-prefixed name.
mkdir -p "$WORK/bin"
for name in arm-linux-gnueabihf-gcc riscv64-unknown-elf-gcc x86_64-pc-linux-gnu-gcc-12; do
  ln -s "$(command -v gcc)" "$WORK/bin/$name"
done
ln -s "$(command -v g++)" "$WORK/bin/x86_64-pc-linux-gnu-g++-13"
have clang && ln -s "$(command -v clang)" "$WORK/bin/x86_64-linux-gnu-clang"
export PATH="$WORK/bin:$PATH"
for name in arm-linux-gnueabihf-gcc riscv64-unknown-elf-gcc x86_64-pc-linux-gnu-gcc-12 x86_64-linux-gnu-clang; do
  [ -e "$WORK/bin/$name" ] || continue
  same_as_plain "the cross name $name" . "$name" -Wall -Werror -o m m.c -lm
  same_output "$name" m
done
printf '#include <cstdio>\nint main() { std::printf("c++\\n"); return 0; }\n' >"$SRC/p.cpp"
same_as_plain "the cross name x86_64-pc-linux-gnu-g++-13" . x86_64-pc-linux-gnu-g++-13 -o p p.cpp
same_output "x86_64-pc-linux-gnu-g++-13" p
err=$(cd "$WORK" && "$QUB" my-unknown-tool -c m.c 2>&1)
check "an unknown name with a dash is still error 13, naming the whole word" \
  grep -qx 'QUB++ error 13: Erroneous command line, unknown command my-unknown-tool' <<<"$err"

finish
