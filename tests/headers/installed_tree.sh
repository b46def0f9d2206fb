#!/bin/sh
# Installs the build into a scratch folder and builds and runs app.c against it in both documented ways.
# usage: installed_tree.sh BUILD SOURCE
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$1" --prefix "$scratch/tree" >/dev/null

pc=$(find "$scratch/tree" -name oxbase.pc)
export PKG_CONFIG_PATH="${pc%/*}"
lib=$(pkg-config --variable=libdir oxbase)
export OXBASE_SYSTEM="$scratch/system"
"$scratch/tree/bin/make-installation" >/dev/null
"$scratch/tree/bin/make-installation" --code-page 932 "$scratch/japanese" >/dev/null
grep -qx '"CodePage"=dword:000003a4' "$scratch/japanese/registry.reg"

# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror "$2/app.c" -o "$scratch/by-pkg-config" $(pkg-config --cflags --libs oxbase)
"$scratch/by-pkg-config"

mkdir "$scratch/project"
cp "$2/app.c" "$scratch/project/"
cat >"$scratch/project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(app C)
find_package(oxbase 1 REQUIRED)
add_executable(app app.c)
target_link_libraries(app PRIVATE oxbase::oxbase)
END
cmake -G Ninja -S "$scratch/project" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$scratch/tree" >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/app"

# Nothing but the exported functions is visible, and every declared one is there.
nm -D --defined-only "$lib/liboxbase.so" | awk '$2 == "T" || $2 == "W" {print $3}' | grep -vE '^_(init|fini)$' | sort \
  >"$scratch/exported"
cat "$scratch/tree"/include/oxbase/*.h | tr '\n' ' ' | grep -oE 'OX_CALL [*]*[A-Za-z_0-9]+\(' | sed -E 's/OX_CALL [*]*//; s/\(//' |
  sort -u >"$scratch/declared"
diff "$scratch/declared" "$scratch/exported"
