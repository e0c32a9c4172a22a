# GNU FriBidi: the Unicode bidirectional algorithm in C; meson with Ninja; its
# conformance and reference tests under "meson test". The compiler is given as
# CC="qub gcc" to meson setup.
RW_PKG=fribidi
RW_SYSTEM="meson"
RW_LANGUAGE=C
RW_NEEDS=(meson ninja)

rw_configure() {
  CC="$RW_CC" CFLAGS="$RW_CFLAGS" LDFLAGS="$RW_LDFLAGS" \
    meson setup "$RW_BLD" "$RW_SRC" -Dbuildtype=plain -Ddocs=false
}
rw_build() { ninja -C "$RW_BLD" -j"$jobs"; }
rw_test() { rw_meson_test; }
