# Jansson: a JSON library in C; autotools with libtool, the library shared; its suites
# run by "make check" through the project's own test driver, one result per test.
RW_PKG=jansson
RW_SYSTEM="autotools + libtool (shared)"
RW_LANGUAGE=C
RW_NEEDS=(autoreconf libtoolize make)

rw_configure() {
  (cd "$RW_SRC" && autoreconf -fi) &&
    mkdir -p "$RW_BLD" && cd "$RW_BLD" &&
    "$RW_SRC/configure" CC="$RW_CC" CFLAGS="$RW_CFLAGS" LDFLAGS="$RW_LDFLAGS" --enable-shared --disable-static
}
rw_build() { make -C "$RW_BLD" -j"$jobs"; }
rw_test() {
  make -C "$RW_BLD" -j"$jobs" check VERBOSE=1
  local rc=$?
  # run-suites.log: "Suite: NAME" then "test_name... ok|FAILED|skipped" per test
  awk '/^Suite: / { suite = $2; next }
       /\.\.\. (ok|FAILED|skipped)$/ { name = $1; sub(/\.\.\.$/, "", name)
         r = ($NF == "ok") ? "PASS" : ($NF == "skipped") ? "SKIP" : "FAIL"
         print r, suite "/" name }' "$RW_BLD/test/run-suites.log" >"$RW_RESULTS"
  return $rc
}
