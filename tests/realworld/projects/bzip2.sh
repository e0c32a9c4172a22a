# bzip2: compression in C; a plain Makefile; its test target's compress and decompress
# round trips of the sample files, one result per round trip.
RW_PKG=bzip2
RW_SYSTEM="plain make"
RW_LANGUAGE=C
RW_NEEDS=(make cmp)

rw_configure() { :; }
rw_build() {
  make -C "$RW_SRC" -j"$jobs" CC="$RW_CC" CFLAGS="-Wall -Winline $RW_CFLAGS -D_FILE_OFFSET_BITS=64" \
    LDFLAGS="$RW_LDFLAGS" bzip2 bzip2recover
}
rw_test() {
  # the round trips of the Makefile's test target
  local cases=("-1 sample1" "-2 sample2" "-3 sample3") c level name
  : >"$RW_RESULTS"
  cd "$RW_SRC" || return 1
  for c in "${cases[@]}"; do
    level=${c% *} name=${c#* }
    if ./bzip2 "$level" <"$name.ref" >"$name.rb2" && cmp "$name.bz2" "$name.rb2"; then
      echo "PASS compress $name" >>"$RW_RESULTS"
    else
      echo "FAIL compress $name" >>"$RW_RESULTS"
    fi
    if ./bzip2 -d <"$name.bz2" >"$name.tst" && cmp "$name.tst" "$name.ref"; then
      echo "PASS decompress $name" >>"$RW_RESULTS"
    else
      echo "FAIL decompress $name" >>"$RW_RESULTS"
    fi
  done
  if ./bzip2 -ds <sample3.bz2 >sample3.tst && cmp sample3.tst sample3.ref; then
    echo "PASS decompress-small sample3" >>"$RW_RESULTS"
  else
    echo "FAIL decompress-small sample3" >>"$RW_RESULTS"
  fi
  ! grep -q '^FAIL' "$RW_RESULTS"
}
