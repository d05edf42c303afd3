#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs a
# consumer twice: once through find_package(zul), once through pkg-config.
set -euo pipefail
build="$1"; src="$2"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/cm" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cm" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/cm/consumer" >/dev/null
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs zul)
cc -std=c11 "$src/consumer/main.c" $flags -o "$work/pc" 
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/pc" >/dev/null
test -L "$(dirname "$libdir")/libzul.so.1"
echo "install: find_package and pkg-config consumers built and ran"
