#!/usr/bin/env bash
# Bad input never crashes: generated noise through the per-file path, as C and as
# C++, ends with exit status 0 or 1, never by a signal or a sanitizer report, and
# leaves no temporary file.
source "$(dirname "$0")/lib.sh"
NOISE="$QUB_BINARY_DIR/tests/qub_noise"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP"
cases=${QUB_NOISE_CASES:-150}
bad=0
for seed in $(seq 1 "$cases"); do
  size=$(( (seed * 7919) % 60000 + 1 ))
  "$NOISE" "$seed" "$size" >"$WORK/in.i"
  for lang in c c++; do
    "$QUB_PIPE" -x "$lang" "$WORK/in.i" noise.c "$WORK/out.c" >/dev/null 2>"$WORK/err"
    rc=$?
    if [ "$rc" -gt 1 ] || grep -q -E 'AddressSanitizer|runtime error|application failure|LeakSanitizer' "$WORK/err"; then
      bad=$((bad + 1))
      cp "$WORK/in.i" "$WORK/../qub_noise_failure_${seed}.i" 2>/dev/null
      echo "seed $seed ($lang): exit $rc" >&2
      head -c 2000 "$WORK/err" >&2
    fi
  done
done
check "no noise input crashed ($bad of $((cases * 2)) runs did)" test "$bad" -eq 0
check "no temporary file is left" test -z "$(ls -A "$TEMP")"
finish
