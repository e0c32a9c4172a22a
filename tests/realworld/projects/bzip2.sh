# bzip2: compression in C; a plain Makefile (Debian's, which builds libbz2 as a shared
# library and links bzip2 against it); the round trips of its test target, one result
# per round trip.
RW_PKG=bzip2
RW_SYSTEM="plain make (shared library)"
RW_LANGUAGE=C
RW_NEEDS=(make cmp)

rw_configure() { :; }
rw_build() {
  make -C "$RW_SRC" -j"$jobs" CC="$RW_CC" CFLAGS="-Wall -Winline $RW_CFLAGS -D_FILE_OFFSET_BITS=64" \
    LDFLAGS="$RW_LDFLAGS" bzip2 bzip2recover
}
rw_test() {
  # the Makefile's test target, each round trip on its own
  local c opt name
  : >"$RW_RESULTS"
  cd "$RW_SRC" || return 1
  for c in "-1 sample1" "-2 sample2" "-3 sample3"; do
    opt=${c% *} name=${c#* }
    if LD_LIBRARY_PATH=. ./bzip2 "$opt" <"$name.ref" >"$name.rb2" && cmp "$name.bz2" "$name.rb2"; then
      echo "PASS compress $opt $name" >>"$RW_RESULTS"
    else
      echo "FAIL compress $opt $name" >>"$RW_RESULTS"
    fi
  done
  for c in "-d sample1" "-d sample2" "-ds sample3"; do
    opt=${c% *} name=${c#* }
    if LD_LIBRARY_PATH=. ./bzip2 "$opt" <"$name.bz2" >"$name.tst" && cmp "$name.tst" "$name.ref"; then
      echo "PASS decompress $opt $name" >>"$RW_RESULTS"
    else
      echo "FAIL decompress $opt $name" >>"$RW_RESULTS"
    fi
  done
  ! grep -q '^FAIL' "$RW_RESULTS"
}
