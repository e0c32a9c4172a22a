#!/usr/bin/env bash
# Cost of qub's probes against gcc's own coverage counters, in one run.
#   bench/runtime_probes.sh BUILD_DIR [CALLS] [REPETITIONS]
# Builds runtime/probe.c (two small functions: f without a decision, g with
# one) five ways at -O0 and at -O2 and calls each function CALLS times from an
# uninstrumented driver:
#   plain     no instrumentation
#   gcov      gcc --coverage
#   qub-f     qub's function coverage (runtime/probe_f.i, one probe per call)
#   qub-d     qub's decision coverage (runtime/probe_d.i: function start,
#             decision, function end)
#   qub-d-atomic  the same in the atomic counting mode
# The driver is never instrumented. Prints nanoseconds per call (best of
# REPETITIONS runs) and, from callgrind, instructions per call; "extra" is
# the difference to plain. Each probe of qub and each counter of gcov is one
# `addq $1, counter(%rip)` at -O2; what differs is how many there are.
set -euo pipefail
build=$(cd "${1:?usage: $0 BUILD_DIR [CALLS] [REPETITIONS]}" && pwd)
calls=${2:-100000000}
reps=${3:-5}
here=$(cd "$(dirname "$0")" && pwd)/runtime
work=$(mktemp -d "${TMPDIR:-/tmp}/qub_probes.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
export QUB_DATA_FILE="$work/bench.dat"
inc="$build/include"
lib="$build/lib/libqub.a"

make_variant() { # name opt
  local name=$1 opt=$2 out="$work/$1$2"
  case $name in
    plain) gcc $opt -c "$here/probe.c" -o "$out.o" && gcc $opt "$here/driver.c" "$out.o" -o "$out" ;;
    gcov) gcc $opt --coverage -c "$here/probe.c" -o "$out.o" &&
          gcc $opt -c "$here/driver.c" -o "$out.d.o" && gcc --coverage "$out.d.o" "$out.o" -o "$out" ;;
    qub-f) gcc $opt -x c -I"$inc" -c "$here/probe_f.i" -o "$out.o" &&
           gcc $opt "$here/driver.c" "$out.o" "$lib" -o "$out" ;;
    qub-d) gcc $opt -x c -I"$inc" -c "$here/probe_d.i" -o "$out.o" &&
           gcc $opt "$here/driver.c" "$out.o" "$lib" -o "$out" ;;
    qub-d-atomic) gcc $opt -x c -I"$inc/atomic" -I"$inc" -c "$here/probe_d.i" -o "$out.o" &&
                  gcc $opt "$here/driver.c" "$out.o" "$lib" -o "$out" ;;
  esac
  echo "$out"
}

best_ns() { # program function
  local best="" t
  for _ in $(seq "$reps"); do
    t=$("$1" "$2" "$calls")
    if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
  done
  echo "$best"
}

instructions() { # program function: instructions per call, from callgrind
  local n=1000000 ir
  valgrind --tool=callgrind --callgrind-out-file="$work/cg.out" "$1" "$2" "$n" >/dev/null 2>&1
  ir=$(callgrind_annotate "$work/cg.out" 2>/dev/null | awk '/PROGRAM TOTALS/ { gsub(",", "", $1); print $1; exit }')
  # the same driver with 0 calls, to take start-up and exit out
  valgrind --tool=callgrind --callgrind-out-file="$work/cg0.out" "$1" "$2" 0 >/dev/null 2>&1
  local ir0
  ir0=$(callgrind_annotate "$work/cg0.out" 2>/dev/null | awk '/PROGRAM TOTALS/ { gsub(",", "", $1); print $1; exit }')
  awk -v a="$ir" -v b="$ir0" -v n="$n" 'BEGIN { printf "%.2f", (a - b) / n }'
}

printf '%-4s %-13s %10s %10s %10s %10s %9s %9s\n' opt variant f_ns g_ns f_instr g_instr f_extra g_extra
for opt in -O0 -O2; do
  declare -A base_ir=()
  for v in plain gcov qub-f qub-d qub-d-atomic; do
    prog=$(make_variant "$v" "$opt")
    fn=$(best_ns "$prog" f); gn=$(best_ns "$prog" g)
    fi=$(instructions "$prog" f); gi=$(instructions "$prog" g)
    if [ "$v" = plain ]; then base_ir[f]=$fi; base_ir[g]=$gi; fi
    fe=$(awk -v a="$fi" -v b="${base_ir[f]}" 'BEGIN { printf "%.2f", a - b }')
    ge=$(awk -v a="$gi" -v b="${base_ir[g]}" 'BEGIN { printf "%.2f", a - b }')
    printf '%-4s %-13s %10s %10s %10s %10s %9s %9s\n' "$opt" "$v" "$fn" "$gn" "$fi" "$gi" "$fe" "$ge"
  done
done
