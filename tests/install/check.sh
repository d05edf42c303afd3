#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs a
# consumer twice: once through find_package(zul), once through pkg-config.
# The headers' version, the package's, and the shared library's name and
# file tell one story: libzul.so.MAJOR is libzul.so.MAJOR.MINOR.PATCH.
# Both consumers also run what the installed headers do inline against the
# installed library (main.c): a process block, a scope that catches
# SIGSEGV (fault code 0x00120001), and a traced function whose Entry,
# message and Exit reach the log that ZUL_RAS1 names.
set -euo pipefail
build="$1"; src="$2"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/cm" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cm" >/dev/null
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n1)
lib="$(dirname "$libdir")"
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs zul)
cc -std=c11 -Wall -Wextra -Werror "$src/consumer/main.c" $flags -o "$work/pc"

run() { # consumer log
  ZUL_RAS1="(ENTRY:traced ALL) >$2" LD_LIBRARY_PATH="$lib" "$1"
}
out=$(run "$work/cm/consumer" "$work/cm.log")
version=$(head -n1 <<<"$out")
expected="$version
block: 1 construction, one block
scope: 0x00120001
traced: 42"
[ "$out" = "$expected" ] || { printf 'find_package consumer:\n%s\n' "$out"; exit 1; }
[ "$(run "$work/pc" "$work/pc.log")" = "$expected" ] || { echo "pkg-config consumer differs"; exit 1; }
for log in "$work/cm.log" "$work/pc.log"; do
  for line in '"traced") Entry$' '"traced") value 42$' '"traced") Exit$'; do
    grep -q "$line" "$log" || { echo "$log: no line $line"; cat "$log"; exit 1; }
  done
done

test "$(PKG_CONFIG_PATH="$libdir" pkg-config --modversion zul)" = "$version"
soname=$(readelf -d "$lib/libzul.so" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
test "$soname" = "libzul.so.${version%%.*}"
test "$(readlink "$lib/libzul.so.${version%%.*}")" = "libzul.so.$version"
echo "install: find_package and pkg-config consumers built and ran (process block, scope, trace); version $version, $soname"
