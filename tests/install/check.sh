#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs a
# consumer twice: once through find_package(zul), once through pkg-config.
# The headers' version, the package's, and the shared library's name and
# file tell one story: libzul.so.MAJOR is libzul.so.MAJOR.MINOR.PATCH.
set -euo pipefail
build="$1"; src="$2"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/cm" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cm" >/dev/null
version=$(LD_LIBRARY_PATH="$work/prefix/lib" "$work/cm/consumer")
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs zul)
cc -std=c11 "$src/consumer/main.c" $flags -o "$work/pc"
test "$(LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/pc")" = "$version"
test "$(PKG_CONFIG_PATH="$libdir" pkg-config --modversion zul)" = "$version"
lib="$(dirname "$libdir")"
soname=$(readelf -d "$lib/libzul.so" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
test "$soname" = "libzul.so.${version%%.*}"
test "$(readlink "$lib/libzul.so.${version%%.*}")" = "libzul.so.$version"
echo "install: find_package and pkg-config consumers built and ran; version $version, $soname"
