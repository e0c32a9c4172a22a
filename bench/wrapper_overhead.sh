#!/usr/bin/env bash
# qub's own overhead on the demo project, apart from the compilers' work.
#   bench/wrapper_overhead.sh BUILD_DIR [REPETITIONS]
# For each demo source it times, REPETITIONS times each:
#   plain   the compile command without qub
#   qub     the same command with qub in front
#   replay  the child commands that qub ran (preprocess and compile of the instrumented
#           text), each started through /bin/sh -c as qub starts them
# qub's own cost is qub - replay: option and configuration reading, command analysis,
# scanning and writing the instrumented text, temporary files. qub - plain is the whole
# price of wrapping, the extra preprocessor run included.
set -euo pipefail
build=$(cd "${1:?usage: $0 BUILD_DIR [REPETITIONS]}" && pwd)
reps=${2:-10}
here=$(cd "$(dirname "$0")/.." && pwd)
demo="$here/examples/demo"
qub="$build/bin/qub"
work=$(mktemp -d "${TMPDIR:-/tmp}/qub_bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
export TEMP="$work/tmp"
mkdir -p "$TEMP"
cd "$work"

now() { date +%s%N; }
ms() { echo "$(( ($2 - $1) / 1000000 ))"; }

cflags=(-O1 -Wall -Wextra "-I$demo/include" '-DDEMO_GREETING="bench"')
printf '%-16s %10s %10s %10s %12s %12s\n' source plain_ms qub_ms replay_ms qub_own_ms wrap_total_ms
tot_plain=0 tot_qub=0 tot_replay=0
for src in src/calc.c src/stats.c src/main.c src/text.cpp test/demo_test.cpp; do
  case $src in *.c) cc=gcc extra=() ;; *) cc=g++ extra=(-std=c++17) ;; esac
  obj=$(basename "${src%.*}").o
  # The child commands qub runs, kept with -k so that they can be replayed.
  "$qub" -v -k "$cc" "${cflags[@]}" "${extra[@]}" -c "$demo/$src" -o "$obj" 2>"$work/cmds.txt" >/dev/null
  grep '^qub: ' "$work/cmds.txt" | grep -v -E '^qub: (processing file|creating |adding file|updating file|unchanged file)' | sed 's/^qub: //' >"$work/replay.txt"

  t0=$(now)
  for _ in $(seq "$reps"); do "$cc" "${cflags[@]}" "${extra[@]}" -c "$demo/$src" -o "$obj"; done
  t1=$(now)
  for _ in $(seq "$reps"); do "$qub" "$cc" "${cflags[@]}" "${extra[@]}" -c "$demo/$src" -o "$obj"; done
  t2=$(now)
  for _ in $(seq "$reps"); do
    while IFS= read -r line; do /bin/sh -c "$line"; done <"$work/replay.txt"
  done
  t3=$(now)
  plain=$(( ($(ms "$t0" "$t1")) / reps )) q=$(( ($(ms "$t1" "$t2")) / reps )) r=$(( ($(ms "$t2" "$t3")) / reps ))
  printf '%-16s %10d %10d %10d %12d %12d\n' "$(basename "$src")" "$plain" "$q" "$r" $((q - r)) $((q - plain))
  tot_plain=$((tot_plain + plain)) tot_qub=$((tot_qub + q)) tot_replay=$((tot_replay + r))
done
printf '%-16s %10d %10d %10d %12d %12d\n' total "$tot_plain" "$tot_qub" "$tot_replay" \
  $((tot_qub - tot_replay)) $((tot_qub - tot_plain))

# qub alone on a pass-through command: start-up, options, configuration, analysis.
t0=$(now)
for _ in $(seq $((reps * 10))); do "$qub" true-cc >/dev/null 2>&1 || true; done
t1=$(now)
printf -- '-- qub start-up and configuration (unknown command, no child): %d us per run\n' \
  $(( (t1 - t0) / 1000 / (reps * 10) ))
