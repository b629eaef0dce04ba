#!/usr/bin/env bash
# The filters module built alone against the installed SDK, then loaded and run by the installed
# orva in place of the one built in the tree.
# Usage: filters_test.sh BUILD_DIR FILTERS_SOURCE WORK_DIR CXX
set -euo pipefail
build=$1 source=$2 work=$3 cxx=$4
rm -rf "$work"
prefix=$work/orva
cmake --install "$build" --prefix "$prefix" > /dev/null
rm -f "$prefix/bin/filters.so"
# Release without sanitizers: the module is only compiled and run once here.
cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror -ffp-contract=off" > /dev/null
cmake --build "$work/build" -j2 > /dev/null
cmake --install "$work/build" --prefix "$prefix" > /dev/null
[[ -f "$prefix/bin/filters.so" ]] || { echo "no filters.so installed"; exit 1; }

orva=$prefix/bin/orva
unset ORVADIR
"$orva" list filters | grep -qx Transpose || { echo "filters lists no Transpose"; exit 1; }
out=$("$orva" pipe --pixels StringToImage 'data_string=1 2\n3 4' ! filters::Transpose 2>&1) ||
    { echo "$out"; exit 1; }
echo "$out" | grep -q '"data": \[1.0, 3.0, 2.0, 4.0\]' || { echo "unexpected output: $out"; exit 1; }
echo "the filters module builds alone against the installed SDK and runs"
