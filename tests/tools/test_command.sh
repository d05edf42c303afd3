#!/usr/bin/env bash
# tools/test, copied into a small project whose one test passes until its
# source changes: after the tree is configured with -DZUL_BUILD_TESTS=OFF,
# as the README's install section does, and the source is broken, the
# command must build the test again and report the failure, not run the
# old binary.
set -euo pipefail
script="$1"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir tools
cp "$script" tools/test
printf '#!/usr/bin/env bash\nexit 0\n' > tools/deps
cat > CMakePresets.json <<'JSON'
{"version": 6,
 "configurePresets": [{"name": "default", "generator": "Ninja", "binaryDir": "${sourceDir}/build/default"}],
 "buildPresets": [{"name": "default", "configurePreset": "default"}],
 "testPresets": [{"name": "default", "configurePreset": "default",
                  "execution": {"noTestsAction": "error"}}]}
JSON
cat > CMakeLists.txt <<'CM'
cmake_minimum_required(VERSION 3.25)
project(t C)
option(ZUL_BUILD_TESTS "" ON)
if(ZUL_BUILD_TESTS)
  enable_testing()
  add_executable(t t.c)
  add_test(NAME t COMMAND t)
endif()
CM
echo 'int main(void) { return 0; }' > t.c
bash tools/test >/dev/null 2>&1 || { echo "the passing test failed"; exit 1; }
cmake --preset default -DZUL_BUILD_TESTS=OFF >/dev/null
echo 'int main(void) { return 1; }' > t.c
if bash tools/test >/dev/null 2>&1; then
  echo "tools/test passed with a broken test: it ran a binary it had not built"
  exit 1
fi
echo "tools/test built the broken test again and failed"
