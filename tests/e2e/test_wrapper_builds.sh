#!/usr/bin/env bash
# qub in real builds: make with CC="qub gcc", CMake with CMAKE_<LANG>_COMPILER_LAUNCHER=qub
# under the Makefile and Ninja generators with -j4, incremental rebuilds driven by the
# dependency files, and the bundled example.
source "$(dirname "$0")/lib.sh"
: "${QUB_SOURCE_DIR:?QUB_SOURCE_DIR must name the source directory}"

tmp="$WORK/tmp"
mkdir -p "$tmp"
export TEMP="$tmp"
unset QUBHOME QUBINIT QUBOPTS TMP_DIRECTORY
cd "$WORK"
no_temp_left() { test -z "$(ls -A "$tmp")"; }
demo="$QUB_SOURCE_DIR/examples/demo"

# --- make CC="qub gcc" CXX="qub g++" on the demo project ----------------------------------
cp -r "$demo" demo
make -s -f demo/Makefile SRC=demo OUT=out_make CC="$QUB gcc" CXX="$QUB g++" all >make.log 2>&1
check "make with qub builds the demo" test $? -eq 0 -a -x out_make/demo_test -a -x out_make/demo
check "the demo's own test passes" sh -c "out_make/demo_test >/dev/null"
check "the demo program runs" sh -c "out_make/demo 7 8 | grep -q '^7 prime$'"
check "make: dependency files name the real headers" grep -q 'demo/include/calc.h' out_make/calc.d
check "make: no temporary file left" no_temp_left
# Nothing to do on a second run; a touched header rebuilds its users only.
make -f demo/Makefile SRC=demo OUT=out_make CC="$QUB gcc" CXX="$QUB g++" all >make2.log 2>&1
check "make: second run compiles nothing" sh -c "! grep -q -- ' -c ' make2.log"
sleep 1
touch demo/include/stats.h
make -f demo/Makefile SRC=demo OUT=out_make CC="$QUB gcc" CXX="$QUB g++" all >make3.log 2>&1
check "make: touched header rebuilds stats.c" grep -q 'src/stats.c' make3.log
check "make: touched header rebuilds main.c" grep -q 'src/main.c' make3.log
check "make: touched header leaves calc.c alone" sh -c "! grep -q 'src/calc.c' make3.log"

# --- CMake with the launcher ---------------------------------------------------------------------
mkdir -p cm
cat >cm/CMakeLists.txt <<'EOF'
cmake_minimum_required(VERSION 3.16)
project(launched C CXX)
add_library(demo STATIC demo/src/calc.c demo/src/stats.c demo/src/text.cpp)
target_include_directories(demo PUBLIC demo/include)
target_compile_definitions(demo PRIVATE "LABEL=\"with blanks\"")
add_executable(demo_test demo/test/demo_test.cpp)
target_link_libraries(demo_test PRIVATE demo)
set_target_properties(demo_test PROPERTIES CXX_STANDARD 17)
add_library(shared_part SHARED demo/src/calc.c)
target_include_directories(shared_part PRIVATE demo/include)
add_executable(demo_app demo/src/main.c)
target_link_libraries(demo_app PRIVATE demo)
EOF
cp -r "$demo" cm/demo

cmake_build() {  # cmake_build GENERATOR DIR
  local gen=$1 dir=$2
  cmake -S cm -B "$dir" -G "$gen" -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DCMAKE_C_COMPILER_LAUNCHER="$QUB" -DCMAKE_CXX_COMPILER_LAUNCHER="$QUB" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" >"$dir.configure.log" 2>&1 &&
    cmake --build "$dir" -j4 >"$dir.build.log" 2>&1
}

for gen in "Unix Makefiles" Ninja; do
  if [ "$gen" = Ninja ] && ! command -v ninja >/dev/null; then continue; fi
  dir=build_${gen// /_}
  cmake_build "$gen" "$dir"
  check "cmake $gen: launcher build succeeds" test $? -eq 0
  check "cmake $gen: test program passes" sh -c "'$dir/demo_test' >/dev/null"
  check "cmake $gen: shared library built" sh -c "ls $dir/libshared_part.so >/dev/null"
  check "cmake $gen: no temporary file left" no_temp_left
  if [ "$gen" = Ninja ]; then
    ninja -C "$dir" -t deps >"$dir.deps" 2>&1  # ninja keeps the depfiles it has read
  else
    cat $(find "$dir" -name 'stats.c.o.d') >"$dir.deps"
  fi
  check "cmake $gen: dependency file names the real header" grep -q 'demo/include/stats.h' "$dir.deps"
  check "cmake $gen: dependency file names no temporary file" sh -c "! grep -q 'QUB\\.' '$dir.deps'"
  cmake --build "$dir" -j4 >"$dir.rebuild0.log" 2>&1
  check "cmake $gen: no work on a second build" sh -c "! grep -q 'stats.c.o' '$dir.rebuild0.log'"
  sleep 1
  touch cm/demo/include/stats.h
  cmake --build "$dir" -j4 >"$dir.rebuild.log" 2>&1
  check "cmake $gen: touched header rebuilds stats.c" grep -q 'stats.c.o' "$dir.rebuild.log"
  check "cmake $gen: touched header leaves calc.c alone" sh -c "! grep -q 'calc.c.o' '$dir.rebuild.log'"
done

# --- the bundled example script ---------------------------------------------------------------
bash "$QUB_SOURCE_DIR/examples/run.sh" "$QUB_BINARY_DIR" "$WORK/example_out" >example.log 2>&1
check "examples/run.sh builds and runs the demo" test $? -eq 0
check "examples/run.sh: the demo's test passed" grep -q 'demo_test: 12 checks, 0 failed' example.log

finish
