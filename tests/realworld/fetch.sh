#!/usr/bin/env bash
# fetch.sh DIR PACKAGE...: unpacks Debian (bookworm) source packages into DIR/src with a
# private apt configuration under DIR/apt. The machine's own apt configuration, lists
# and caches are neither read for sources nor changed. A package already unpacked is
# not fetched again. Prints nothing but errors; exit status 0 when every package is
# there.
set -euo pipefail
dir=$1
shift
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)
apt_dir=$dir/apt
src_dir=$dir/src
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
mirror=${QUB_REALWORLD_MIRROR:-http://deb.debian.org/debian}

command -v apt-get >/dev/null || { echo "fetch.sh: apt-get is not installed" >&2; exit 2; }
command -v dpkg-source >/dev/null || { echo "fetch.sh: dpkg-source is not installed (package dpkg-dev)" >&2; exit 2; }
[ -r "$keyring" ] || { echo "fetch.sh: no Debian archive keyring at $keyring" >&2; exit 2; }

mkdir -p "$apt_dir/etc/sources.list.d" "$apt_dir/etc/preferences.d" "$apt_dir/etc/apt.conf.d" \
  "$apt_dir/state/lists/partial" "$apt_dir/cache/archives/partial" "$src_dir"
echo "deb-src [signed-by=$keyring] $mirror bookworm main" >"$apt_dir/etc/sources.list"

apt_opts=(
  -o "Dir::Etc::SourceList=$apt_dir/etc/sources.list"
  -o "Dir::Etc::SourceParts=$apt_dir/etc/sources.list.d"
  -o "Dir::Etc::Preferences=$apt_dir/etc/preferences"
  -o "Dir::Etc::PreferencesParts=$apt_dir/etc/preferences.d"
  -o "Dir::Etc::Parts=$apt_dir/etc/apt.conf.d"
  -o "Dir::State=$apt_dir/state"
  -o "Dir::Cache=$apt_dir/cache"
  -o "Debug::NoLocking=1"
  -o "APT::Sandbox::User=root"
  -o "Acquire::Retries=3"
)

# unpacked PACKAGE: the directory of an unpacked source package, if there is one
unpacked() { find "$src_dir" -maxdepth 1 -type d -name "$1-[0-9]*" | head -n 1; }

missing=()
for p in "$@"; do
  [ -n "$(unpacked "$p")" ] || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

# The package lists are refreshed at most once a day.
if [ -z "$(find "$apt_dir/state/lists" -maxdepth 1 -name '*Sources*' -mtime -1 2>/dev/null)" ]; then
  apt-get "${apt_opts[@]}" -qq update >"$apt_dir/update.log" 2>&1 ||
    { cat "$apt_dir/update.log" >&2; echo "fetch.sh: apt-get update failed" >&2; exit 1; }
fi
(cd "$src_dir" && apt-get "${apt_opts[@]}" -qq source "${missing[@]}") >"$apt_dir/source.log" 2>&1 ||
  { cat "$apt_dir/source.log" >&2; echo "fetch.sh: apt-get source failed" >&2; exit 1; }
for p in "${missing[@]}"; do
  [ -n "$(unpacked "$p")" ] || { echo "fetch.sh: $p was not unpacked" >&2; exit 1; }
done
