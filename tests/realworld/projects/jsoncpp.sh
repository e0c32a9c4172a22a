# JsonCpp: a JSON library in C++; meson with Ninja; its unit tests and the JSON
# conformance runs under "meson test". The compiler is given as CXX="qub g++".
RW_PKG=libjsoncpp
RW_SYSTEM="meson"
RW_LANGUAGE=C++
RW_NEEDS=(meson ninja python3)

rw_configure() {
  CC="$RW_CC" CXX="$RW_CXX" CFLAGS="$RW_CFLAGS" CXXFLAGS="$RW_CFLAGS" LDFLAGS="$RW_LDFLAGS" \
    meson setup "$RW_BLD" "$RW_SRC" -Dbuildtype=plain -Dtests=true
}
rw_build() { ninja -C "$RW_BLD" -j"$jobs"; }
rw_test() { rw_meson_test; }
