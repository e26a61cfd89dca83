#!/bin/bash
# check.sh <build folder> <library folder>: installs into a scratch prefix, moves that elsewhere, then builds and runs a
# program against it, once through pkg-config and once through the CMake package.
set -euo pipefail
build=$1 libdir=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/staged" >/dev/null
mv "$scratch/staged" "$scratch/prefix"
lib=$scratch/prefix/$libdir
[ -e "$lib/libkelzorcm.so.7" ] && [ -e "$lib/libicudecnumber.so" ] || { ls "$lib" && exit 1; }

export PKG_CONFIG_PATH=$lib/pkgconfig
# shellcheck disable=SC2046  # flags are several words
cc -std=c11 -Wall -Wextra -Wpedantic -Werror "$here/consumer.c" $(pkg-config --cflags --libs kelzorcm) -o "$scratch/consumer"
LD_LIBRARY_PATH=$lib "$scratch/consumer" "$(pkg-config --modversion kelzorcm)"
# shellcheck disable=SC2046
c++ -std=c++20 -Wall -Wextra -Wpedantic -Werror "$here/consumer.cpp" $(pkg-config --cflags --libs kelzorcm) -o "$scratch/consumer_cpp"
LD_LIBRARY_PATH=$lib "$scratch/consumer_cpp"

"$scratch/prefix/bin/zor" --version
"$scratch/prefix/bin/zor" dev --port 0 --end-with-input </dev/null | grep -q gwserv
bash -n "$scratch/prefix/share/bash-completion/completions/zor"
[ -e "$scratch/prefix/share/man/man1/zor.1" ]

cmake -S "$here" -B "$scratch/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
"$scratch/cmake/consumer" "$(pkg-config --modversion kelzorcm)"
