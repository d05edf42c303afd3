#!/usr/bin/env bash
# A program's build record, made by zul_build_record() as a consumer makes
# it: in a project of C++ alone that finds the installed package, and in
# one that adds libzul's source tree with add_subdirectory.
set -euo pipefail
build="$1"; src="$2"; tree="$3"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/record" -B "$work/pkg" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/pkg" >/dev/null
libdir=$(ls -d "$work"/prefix/lib*/ | head -n1)
out=$(LD_LIBRARY_PATH="$libdir" "$work/pkg/record")
[ "$out" = "component rec, driver rec-2.5.0" ] || { echo "installed package: $out"; exit 1; }
# From the source tree only the record's own command is run, exactly as the
# build would run it: the build would first make the whole library, which
# proves nothing more about the function and takes a minute.
cmake -S "$src/record" -B "$work/sub" -G Ninja -DZUL_SOURCE_DIR="$tree" >/dev/null
command=$(cd "$work/sub" && ninja -t commands generated/record_BuildInfo.h | tail -n 1)
(cd "$work/sub" && eval "$command") >/dev/null
grep -q '"rec-2.5.0"' "$work/sub/generated/record_BuildInfo.cpp" ||
  { echo "add_subdirectory: no record made"; exit 1; }
echo "build record: made through find_package (C++ alone) and add_subdirectory"
