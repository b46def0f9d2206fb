#!/bin/sh
# Installs the Windows build into a scratch folder, builds app.c against it in both documented ways and runs it; then
# looks at the DLL itself.
# usage: installed_tree_windows.sh BUILD SOURCE TOOLCHAIN RUNNER
. "$2/installed.sh"
key='HKLM\SOFTWARE\CORVID\OXBASE'
# shellcheck disable=SC2046
i686-w64-mingw32-gcc-posix -std=c99 -Wall -Wextra -Werror "$2/app.c" -o "$scratch/tree/bin/by-pkg-config.exe" \
  $(pkg-config --cflags --libs oxbase)
build_project -DCMAKE_TOOLCHAIN_FILE="$3"
cp "$scratch/build/app.exe" "$scratch/tree/bin/by-cmake.exe"

# By another compiler's rules: of the installation it has the headers and the list of exports.
clang --target=i686-pc-windows-msvc -isystem /usr/share/mingw-w64/include -I "$scratch/tree/include" -c "$2/app.c" -o "$scratch/app.obj"
i686-w64-mingw32-dlltool -d "$scratch/tree/lib/oxbase.def" -l "$scratch/oxbase.lib"
i686-w64-mingw32-gcc-posix "$scratch/app.obj" "$scratch/oxbase.lib" -o "$scratch/tree/bin/by-list.exe"

# The installation of the machine's own system: no other test uses it. A blank in its path is a blank; what is there is
# kept, also by a second call.
unset OXBASE_SYSTEM
make_installation() {
  "$4" cmd /c "Z:$(echo "$scratch/tree/bin/make-installation.cmd" | tr / '\\')" --code-page 932 --group Users \
    "Z:$(echo "$scratch/an installation" | tr / '\\')" | tr -d '\r' >"$scratch/made"
}
mkdir -p "$scratch/an installation/work/conf"
echo '# mine' >"$scratch/an installation/work/conf/oxmgrd.cf"
make_installation "$@"
grep -q "^make-installation: the installation is in Z:.*an installation$" "$scratch/made" || { cat "$scratch/made" >&2; exit 1; }
make_installation "$@"
grep -q 'the settings in .* are kept' "$scratch/made"
[ "$(cat "$scratch/an installation/work/conf/oxmgrd.cf")" = '# mine' ]
for part in LIB public conf; do
  find "$scratch/tree/share" -type d -name "$part" -exec sh -c 'cd "$1" && find . -type f' - {} \;
done | sort >"$scratch/shipped"
for place in home/LIB work/public work/conf; do (cd "$scratch/an installation/$place" && find . -type f); done | sort >"$scratch/laid"
diff "$scratch/shipped" "$scratch/laid"
[ -f "$scratch/an installation/home/rules/threshold.exe" ]
"$4" reg query "$key" | tr -d '\r' >"$scratch/settings"
for setting in 'HomeDir.*installation\\home' 'WorkDir.*installation\\work' 'CodePage.*0x3a4' 'LocalGroup.*Users' 'InitRetryCnt.*0xa'; do
  grep -q "$setting" "$scratch/settings" || { echo "no $setting in the settings" >&2; exit 1; }
done
! "$4" cmd /c "Z:$(echo "$scratch/tree/bin/make-installation.cmd" | tr / '\\')" --code-page 1 "Z:\\nowhere" 2>/dev/null
for app in by-pkg-config by-cmake by-list; do
  "$4" "$scratch/tree/bin/$app.exe"
done
"$4" reg delete "$key" /f >/dev/null

# Exactly the declared functions are exported, undecorated; nothing but the system's libraries is needed.
dll=$scratch/tree/bin/oxbase.dll
i686-w64-mingw32-objdump -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/.*\[ *[0-9]*\].* //p' | expect_declared
grep -v '^#' "$2/imports_windows.txt" | tr -s ' ' '\n' | awk '/:$/ {dll = $1; next} NF {print dll, $1}' >"$scratch/allowed"
find "$scratch/tree" -name '*.dll' -o -name 'ox*.exe' -o -name LogToCsv.exe -o -name threshold.exe | while read -r file; do
  i686-w64-mingw32-objdump -p "$file" >"$scratch/headers"
  awk '/DLL Name:/ {dll = tolower($3); sub(/\.dll$/, ":", dll)} /^\t[0-9a-f]+\t/ && dll != "oxbase:" {print dll, $3}' "$scratch/headers" \
    >"$scratch/imports"
  if ! [ -s "$scratch/imports" ] || grep -vxFf "$scratch/allowed" "$scratch/imports"; then
    echo "${file##*/} needs what Windows XP lacks" >&2
    exit 1
  fi
  grep -qE '^MajorSubsystemVersion[[:space:]]+[45]$' "$scratch/headers" || { echo "${file##*/} is for a newer Windows" >&2; exit 1; }
  i686-w64-mingw32-objdump -h "$file" >"$scratch/sections"
  grep -q '\.rsrc' "$scratch/sections" || { echo "${file##*/} has no version resource" >&2; exit 1; }
  ! grep -q '\.debug_info' "$scratch/sections" || { echo "${file##*/} holds its debug information" >&2; exit 1; }
  i686-w64-mingw32-objdump -h "${file%/*}/.debug/${file##*/}.debug" | grep -q '\.debug_info'
done
