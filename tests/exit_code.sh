#!/bin/sh
# Runs a command and succeeds when it ends with the given exit code.
# usage: exit_code.sh CODE COMMAND...
want=$1
shift
"$@"
code=$?
[ "$code" -eq "$want" ] || { echo "$1: exit code $code instead of $want" >&2; exit 1; }
