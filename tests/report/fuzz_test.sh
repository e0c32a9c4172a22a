#!/usr/bin/env bash
# Builds the fuzz targets of the symbol file reader (with the whole report behind it)
# and of the data file reader with clang's libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for a short while from seeds made of the
# golden demo. FUZZ_SECONDS (default 15) sets how long each runs.
source "$(dirname "$0")/report_lib.sh"
command -v clang++ >/dev/null && command -v clang >/dev/null || { echo "SKIP: clang is not installed"; exit 77; }
src=$(cd "$here/../.." && pwd)/src
seconds=${FUZZ_SECONDS:-15}
flags=(-g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined)
cd "$scratch"
clang "${flags[@]}" -std=c99 -c "$src/runtime/qub_data.c" -I"$src/runtime" -o qub_data.o
common=("$src/pre/symbol/symfile_read.cpp" "$src/report"/{counts,data_in,format,mcdc,out_cobertura,out_json,out_lcov,out_lines,out_text,report}.cpp)
objects=(qub_data.o)
for source in "${common[@]}"; do
  object=$(basename "$source" .cpp).o
  clang++ "${flags[@]}" -std=c++17 -I"$src/pre" -I"$src/report" -I"$src/runtime" -c "$source" -o "$object" 2>build.log ||
    { cat build.log; fail "cannot build $source"; }
  objects+=("$object")
done
for target in symfile datafile; do
  clang++ "${flags[@]}" -std=c++17 -I"$src/pre" -I"$src/report" -I"$src/runtime" \
    "$here/fuzz/fuzz_$target.cpp" "${objects[@]}" -o "fuzz_$target" 2>build.log ||
    { cat build.log; fail "cannot build fuzz_$target"; }
done

make_demo "$scratch/demo"
mkdir -p seeds_symfile seeds_datafile
cp "$scratch/demo/MON.sym" seeds_symfile/demo.sym
printf 'QUB++ sym 9\nTue Nov 14 22:13:20 2023\nEND OF SYMBOLFILE\n' >seeds_symfile/empty.sym
cp "$scratch/demo/small.dat" "$scratch/demo/mixed.dat" seeds_datafile/
for target in symfile datafile; do
  mkdir -p "corpus_$target"
  ASAN_OPTIONS=detect_leaks=1 "./fuzz_$target" -max_total_time="$seconds" -max_len=65536 -timeout=10 \
    -print_final_stats=1 "corpus_$target" "seeds_$target" >"fuzz_$target.log" 2>&1 ||
    {
      tail -60 "fuzz_$target.log"
      for input in crash-* leak-* timeout-* oom-*; do
        [ -f "$input" ] && { echo "--- $input:"; od -c "$input" | head -40; }
      done
      fail "fuzz_$target found a fault"
    }
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "fuzz_$target.log" | grep -o '[0-9]*$')
  echo "fuzz_$target: $runs inputs in ${seconds}s, no fault"
done
