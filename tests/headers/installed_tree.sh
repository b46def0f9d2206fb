#!/bin/sh
# Installs the build into a scratch folder and builds and runs app.c against it in both documented ways.
# usage: installed_tree.sh BUILD SOURCE
. "$2/installed.sh"
lib=$(pkg-config --variable=libdir oxbase)
export OXBASE_SYSTEM="$scratch/system"
"$scratch/tree/bin/make-installation" >/dev/null
"$scratch/tree/bin/make-installation" --code-page 932 "$scratch/japanese" >/dev/null
grep -qx '"CodePage"=dword:000003a4' "$scratch/japanese/registry.reg"

# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror "$2/app.c" -o "$scratch/by-pkg-config" $(pkg-config --cflags --libs oxbase)
"$scratch/by-pkg-config"

build_project
"$scratch/build/app"

# Nothing but the exported functions is visible, and every declared one is there.
nm -D --defined-only "$lib/liboxbase.so" | awk '$2 == "T" || $2 == "W" {print $3}' | grep -vE '^_(init|fini)$' | expect_declared
