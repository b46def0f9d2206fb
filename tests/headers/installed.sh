# What the scripts of the installed tree share; sourced by them. Installs BUILD, their first argument, into $scratch/tree
# and makes a project of app.c in SOURCE, the second one.
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$1" --prefix "$scratch/tree" >/dev/null
pc=$(find "$scratch/tree" -name oxbase.pc)
export PKG_CONFIG_PATH="${pc%/*}"
mkdir "$scratch/project"
cp "$2/app.c" "$scratch/project/"
cat >"$scratch/project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(app C)
find_package(oxbase 1 REQUIRED)
add_executable(app app.c)
target_link_libraries(app PRIVATE oxbase::oxbase)
END

build_project() { # further arguments of cmake
  cmake -G Ninja -S "$scratch/project" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$scratch/tree" "$@" >/dev/null
  cmake --build "$scratch/build" >/dev/null
}

# On standard input are the exported names.
expect_declared() {
  sort >"$scratch/exported"
  cat "$scratch/tree"/include/oxbase/*.h | tr '\n' ' ' | grep -oE 'OX_CALL [*]*[A-Za-z_0-9]+\(' | sed -E 's/OX_CALL [*]*//; s/\(//' |
    sort -u >"$scratch/declared"
  diff "$scratch/declared" "$scratch/exported"
}
