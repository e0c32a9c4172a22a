#!/usr/bin/env bash
# A full disk under the symbol file: a change that cannot be written is error 34, and
# the symbol file stays exactly as it was, with nothing left beside it. The disk is a
# small tmpfs in a private mount namespace when one can be made; otherwise a file size
# limit stands in for it.
source "$(dirname "$0")/lib.sh"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP" "$WORK/src" "$WORK/disk"
cd "$WORK/src" || exit 1

for i in $(seq 1 40); do
  printf 'int f%d(int x)\n{\n  if (x > %d)\n    return 1;\n  return 0;\n}\n' "$i" "$i" >"f$i.c"
done

# The steps run inside the namespace (or under the limit): $1 is "tmpfs" or "limit".
cat >"$WORK/steps.sh" <<'EOF'
set -u
how=$1
sym="$WORK/disk/MON.sym"
build() { "$QUB" -n "$WORK/disk/MON" gcc -c "$1" -o "${1%.c}.o" 2>"$WORK/err"; }
for f in f*.c; do build "$f" || { echo "setup: $f failed: $(cat "$WORK/err")"; exit 2; }; done
# Four hundred more descriptions make the file larger than anything else the build writes.
awk 'NR == 3 { first = 1 } first && NR > 3 { body = body $0 "\n" } first && /^%/ { first = 0 }
     /^END OF SYMBOLFILE$/ { for (i = 1; i <= 400; i++) printf "@/elsewhere/p%d.c\n%s", i, body }
     { print }' "$sym" >"$sym.padded" && mv "$sym.padded" "$sym"
cp "$sym" "$WORK/before.sym"
if [ "$how" = tmpfs ]; then
  dd if=/dev/zero of="$WORK/disk/filler" bs=1024 2>/dev/null   # until the disk is full
else
  trap '' XFSZ
  ulimit -f $(( $(stat -c %s "$sym") / 1024 ))
fi
printf 'int g(int y) { return y ? 2 : 3; }\n' >>f7.c     # a change in the middle
build f7.c; echo "change $? $(cat "$WORK/err")" >"$WORK/result"
printf 'int h;\n' >new.c                                  # an addition
build new.c; echo "addition $? $(cat "$WORK/err")" >>"$WORK/result"
cmp -s "$WORK/before.sym" "$sym" && echo "unchanged" >>"$WORK/result"
echo "beside: $(cd "$WORK/disk" && ls -A | grep '^MON' | tr '\n' ' ')" >>"$WORK/result"
EOF
export WORK QUB

how=limit
if [ "$(id -u)" = 0 ] && unshare -m true 2>/dev/null; then
  how=tmpfs
  unshare -m bash -c 'mount -t tmpfs -o size=64k tmpfs "$WORK/disk" && source "$WORK/steps.sh" tmpfs' \
    >"$WORK/out" 2>&1 || how=limit
elif unshare -rm true 2>/dev/null; then
  how=tmpfs
  unshare -rm bash -c 'mount -t tmpfs -o size=64k tmpfs "$WORK/disk" && source "$WORK/steps.sh" tmpfs' \
    >"$WORK/out" 2>&1 || how=limit
fi
if [ $how = limit ]; then
  rm -f "$WORK/disk/"* ./*.o
  bash -c 'source "$WORK/steps.sh" limit' >"$WORK/out" 2>&1
fi
echo "full disk by: $how"
cat "$WORK/out" "$WORK/result"

sym_name="$WORK/disk/MON.sym"
if [ $how = tmpfs ]; then err_text="No space left on device"; else err_text="File too large"; fi
check "the change fails with error 34" \
  grep -qx "change 1 QUB++ error 34: Cannot write file $sym_name: $err_text" "$WORK/result"
check "the addition fails with error 34" \
  grep -qx "addition 1 QUB++ error 34: Cannot write file $sym_name: $err_text" "$WORK/result"
check "the symbol file is unchanged" grep -qx unchanged "$WORK/result"
check "nothing is left beside it" grep -qx "beside: MON.sym " "$WORK/result"
check "no temporary file is left" test -z "$(ls -A "$TEMP")"
finish
