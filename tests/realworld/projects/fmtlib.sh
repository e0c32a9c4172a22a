# {fmt}: a formatting library in C++, heavy on templates and constexpr; CMake with Ninja;
# GoogleTest suites (GoogleTest's own sources from /usr/src/googletest) under CTest.
RW_PKG=fmtlib
RW_SYSTEM="CMake (Ninja)"
RW_LANGUAGE=C++ (templates)
RW_NEEDS=(cmake ninja)
RW_EXCLUDE=()

rw_configure() {
  [ -d /usr/src/googletest ] || { echo "fmtlib: /usr/src/googletest is missing (package googletest)"; return 1; }
  local args
  mapfile -t args < <(rw_cmake_args)
  cmake -S "$RW_SRC" -B "$RW_BLD" -G Ninja "${args[@]}" -DFMT_DOC=OFF -DFMT_TEST=ON -DFMT_PEDANTIC=ON
}
rw_build() { ninja -C "$RW_BLD" -j"$jobs"; }
rw_test() { rw_ctest; }
