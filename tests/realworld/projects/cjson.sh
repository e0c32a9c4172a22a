# cJSON: a small JSON parser in C; CMake with Makefiles; unit tests (Unity) under CTest.
# The project's own strict flags (-Werror among them) stay on.
RW_PKG=cjson
RW_SYSTEM="CMake (Makefiles)"
RW_LANGUAGE=C
RW_NEEDS=(cmake make)

rw_configure() {
  local args
  mapfile -t args < <(rw_cmake_args)
  cmake -S "$RW_SRC" -B "$RW_BLD" -G "Unix Makefiles" "${args[@]}" \
    -DENABLE_CJSON_TEST=ON -DENABLE_CJSON_UTILS=ON -DBUILD_SHARED_LIBS=ON
}
rw_build() { make -C "$RW_BLD" -j"$jobs"; }
rw_test() { rw_ctest; }
