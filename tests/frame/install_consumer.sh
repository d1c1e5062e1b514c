#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a C program against it
# twice: through find_package(zinsc) and through pkg-config.
set -euo pipefail
build_dir=$1
src_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
mkdir -p "$work/app"
cp "$src_dir/tests/frame/c_consumer.c" "$work/app/main.c"
cat > "$work/app/CMakeLists.txt" <<'CM'
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(zinsc 8 REQUIRED)
add_executable(app main.c)
target_link_libraries(app PRIVATE zinsc::zinsc)
CM
cmake -S "$work/app" -B "$work/app/build" -DCMAKE_PREFIX_PATH="$work/prefix" ${SAN_FLAGS:+"-DCMAKE_C_FLAGS=$SAN_FLAGS" "-DCMAKE_EXE_LINKER_FLAGS=$SAN_FLAGS"} >/dev/null
cmake --build "$work/app/build" >/dev/null
"$work/app/build/app"
pcdir=$(dirname "$(find "$work/prefix" -name zinsc.pc)")
PKG_CONFIG_PATH=$pcdir cc -std=c99 ${SAN_FLAGS:-} "$work/app/main.c" $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs zinsc) -o "$work/app2"
LD_LIBRARY_PATH=$(dirname "$(find "$work/prefix" -name 'libzinsc.so' | head -1)") "$work/app2"
