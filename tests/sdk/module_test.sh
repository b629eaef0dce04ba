#!/usr/bin/env bash
# Usage: module_test.sh BUILD_DIR MODULE_SOURCE WORK_DIR CXX
set -euo pipefail
build=$1 source=$2 work=$3 cxx=$4
rm -rf "$work"
prefix=$work/orva
cmake --install "$build" --prefix "$prefix" > /dev/null
cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" > /dev/null
cmake --build "$work/build" > /dev/null
cmake --install "$work/build" --prefix "$prefix" > /dev/null

# Only the three entry points leave the module.
exports=$(nm -D --defined-only "$prefix/bin/mymodule.so" | awk '$2 == "T" {print $3}' | sort | tr '\n' ' ')
[[ "$exports" == "CreatePluginInstanceEx ListPlugins get_loading_timestamp " ]] ||
    { echo "unexpected exports: $exports"; exit 1; }

orva=$prefix/bin/orva
unset ORVADIR
[[ "$("$orva" list mymodule | tr '\n' ' ')" == "Invert AddConstant " ]]
out=$("$orva" pipe StringToImage 'data_string=1 2\n3 4' ! mymodule::AddConstant value=0.5 \
      ! mymodule::Invert maximum=10 2>&1) || { echo "$out"; exit 1; }
echo "$out" | grep -q '"data": \[8.5, 7.5, 6.5, 5.5\]' || { echo "unexpected output: $out"; exit 1; }
echo "the example module builds against the installed SDK and runs"
