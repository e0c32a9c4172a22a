#!/usr/bin/env bash
# The compile route of the instrumented text against the plain compile, on the demo's
# text.cpp (it includes the standard library): medians of N interleaved runs, in ms.
#   bench/compile_route.sh [N]
# gplain/cplain  g++/clang++ on the source
# gE, gEC        the preprocess step without and with comments kept (-C)
# groute         g++ on preprocessed text as qub runs it (-fpreprocessed -fdirectives-only)
# gasii          g++ on the same text as an .ii file
# croute         clang++ on preprocessed text as qub runs it (.ii name, -undef)
# cas_src        clang++ on the same text read as a source

D=$(cd "$(dirname "$0")/.." && pwd)/examples/demo
N=${1:-9}
work=$(mktemp -d "${TMPDIR:-/tmp}/qub_route.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
declare -A T
cmds=(
 "gplain|g++ -std=c++17 -O1 -I$D/include -c $D/src/text.cpp -o o1.o"
 "gE|g++ -std=c++17 -O1 -I$D/include -E $D/src/text.cpp -o g.ii"
 "gEC|g++ -std=c++17 -O1 -I$D/include -E -C $D/src/text.cpp -o gc.ii"
 "groute|g++ -std=c++17 -O1 -fpreprocessed -fdirectives-only -x c++ -c g.cc -o o2.o"
 "gasii|g++ -std=c++17 -O1 -c g.ii -o o3.o"
 "cplain|clang++ -std=c++17 -O1 -I$D/include -c $D/src/text.cpp -o o4.o"
 "croute|clang++ -std=c++17 -O1 -Xclang -undef -x c++-cpp-output -c c.ii -o o5.o"
 "cas_src|clang++ -std=c++17 -O1 -x c++ -c c.cc -o o6.o"
)
g++ -std=c++17 -I$D/include -E $D/src/text.cpp -o g.ii; cp g.ii g.cc
clang++ -std=c++17 -I$D/include -E $D/src/text.cpp -o c.ii; cp c.ii c.cc
for i in $(seq $N); do
  for c in "${cmds[@]}"; do
    k=${c%%|*}; cmd=${c#*|}
    s=$(date +%s%N); bash -c "$cmd" 2>/dev/null; e=$(date +%s%N)
    T[$k]="${T[$k]} $(( (e-s)/1000000 ))"
  done
done
for c in "${cmds[@]}"; do k=${c%%|*}; echo "$k $(echo ${T[$k]} | tr ' ' '\n' | sort -n | sed -n "$(( (N+1)/2 ))p")"; done
