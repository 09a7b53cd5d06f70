#!/usr/bin/env bash
# Installs the built tree below $2, builds the consumer project against it by CMake and by pkg-config, and runs it.
# usage: run.sh <build folder> <scratch folder> <C compiler> <C++ compiler>
set -euo pipefail
build=$1 scratch=$2 cc=$3 cxx=$4
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
mv "$scratch/prefix" "$scratch/moved" # the installed tree does not know where it lies
prefix=$scratch/moved
lib=$(dirname "$(find "$prefix" -name libqlmjp.so)")

readlink "$lib/libqlmjp.so.7" | grep -qx 'libqlmjp.so.7.1.0'
readlink "$lib/libqlmcore.so.7" | grep -qx 'libqlmcore.so.7.1.0'
objdump -p "$lib/libqlmjp.so" | grep -q 'SONAME *libqlmjp.so.7$'
objdump -p "$lib/libqlmcore.so" | grep -q 'SONAME *libqlmcore.so.7$'
# Nothing but the core library, an OpenMP runtime and the C library.
others=$(objdump -p "$lib/libqlmjp.so" | awk '$1 == "NEEDED" {print $2}' |
  grep -vE '^(libqlmcore\.so\.7|libgomp\.so\.1|libomp\.so\.5|libc\.so\.6|libpthread\.so\.0|ld-linux-x86-64\.so\.2)$' || true)
[ -z "$others" ] || { echo "libqlmjp needs $others"; exit 1; }

cmake -S "$here/consumer" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$scratch/build"
LD_LIBRARY_PATH=$lib "$scratch/build/consumer_c"
LD_LIBRARY_PATH=$lib "$scratch/build/consumer_cpp"

export PKG_CONFIG_PATH=$lib/pkgconfig
# shellcheck disable=SC2046
"$cc" -std=c99 "$here/consumer/main.c" $(pkg-config --cflags --libs qlmjp) -o "$scratch/pkg_consumer"
LD_LIBRARY_PATH=$lib "$scratch/pkg_consumer"
pkg-config --modversion qlmjp | grep -qx '7.1.0'
