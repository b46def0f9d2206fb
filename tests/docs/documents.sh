#!/bin/bash
# Runs the commands of README.md, docs/getting-started.md and docs/collection.md as they stand there, one after the other
# in one shell, in a copy of the source tree, with an empty home and environment, as somebody who reads them types them.
#
# In those files: a fenced "sh" block is run; a fenced "text" block behind it is what it prints, where "…" stands for
# anything; a fenced block with a file's name behind its language is that file. Indented blocks are not run.
# usage: documents.sh SOURCE
set -euo pipefail
source=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/home" "$scratch/oxbase"
tar -C "$source" --exclude=./build --exclude=./.git -c . | tar -C "$scratch/oxbase" -x

# The commands of a document as a script.
script_of() { # document
  awk -v document="$1" '
    function close_block() {
      if (kind == "sh") printf "}; run >\"$shown\" 2>&1; ended\n"
      else print "OX_END"
      kind = ""
    }
    kind != "" { if ($0 ~ /^```/) close_block(); else print; next }
    /^```sh$/ { kind = "sh"; printf "block=%s:%d\nrun() {\n:\n", document, NR; next }
    /^```text$/ { kind = "text"; printf "expect <<\"OX_END\"\n"; next }
    /^```[a-z]+ [^ ]+$/ { kind = "file"; printf "cat >\"%s\" <<\"OX_END\"\n", $2; next }
    /^```/ { print document ":" NR ": unknown kind of block" >"/dev/stderr"; exit 1 }
  ' "$source/$1"
}

{
  cat <<'END_OF_HEAD'
set -eE
shown=$HOME/.shown
block=
ended() { :; }
expect() {
  local pattern
  pattern=$(sed 's/[][\\*?]/\\&/g; s/…/*/g')
  # shellcheck disable=SC2053
  [[ $(cat "$shown") == $pattern ]] || { echo "$block: something else was printed" >&2; return 1; }
}
tell() { echo "$block failed; it printed:" >&2; cat "$shown" >&2; }
trap tell ERR
trap 'tell; exit 1' TERM  # the time is over
# What runs in the background still, as a rule the manager, ends with the shell.
trap 'kill $(jobs -p) 2>/dev/null; wait' EXIT
END_OF_HEAD
  script_of README.md
  script_of docs/getting-started.md
  script_of docs/collection.md
  echo "echo every block ran"
} >"$scratch/script"

# Other programs of this machine may use the ports that the documents name.
sed -i "s/8162/$((20000 + $$ % 12000))/g; s/8161/$((32000 + $$ % 12000))/g" "$scratch/script"
cd "$scratch/oxbase"
env -i HOME="$scratch/home" PATH=/usr/local/bin:/usr/bin:/bin CCACHE_DIR="${CCACHE_DIR:-$source/build/ccache}" \
  timeout 1500 bash "$scratch/script"
