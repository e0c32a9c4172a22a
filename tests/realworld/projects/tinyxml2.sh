# TinyXML-2: a small XML parser in C++; CMake with Ninja; its xmltest suite under CTest.
RW_PKG=tinyxml2
RW_SYSTEM="CMake (Ninja)"
RW_LANGUAGE=C++
RW_NEEDS=(cmake ninja)

rw_configure() {
  local args
  mapfile -t args < <(rw_cmake_args)
  cmake -S "$RW_SRC" -B "$RW_BLD" -G Ninja "${args[@]}" -Dtinyxml2_BUILD_TESTING=ON -DBUILD_TESTING=ON
}
rw_build() { ninja -C "$RW_BLD" -j"$jobs"; }
rw_test() { rw_ctest; }
