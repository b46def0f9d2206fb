#!/bin/sh
# Runs a program of the machine for a test under the emulator, two minutes at most (OX_MACHINE_SECONDS: that long). MARK is there as long as it runs; who
# removes MARK ends the program. The exit status then stands in MARK.status.
# usage: machine_process.sh MARK OUTPUT FOLDER PROGRAM ARGUMENT...
mark=$1 output=$2
export SNMPCONFPATH="$3" SNMP_PERSISTENT_DIR="$3/data" MIBS= MIBDIRS="$3"
shift 3
unset LD_LIBRARY_PATH
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin:/usr/bin:/bin
"$@" >>"$output" 2>&1 </dev/null &
program=$!
left=$((${OX_MACHINE_SECONDS:-120} * 20))
while [ -e "$mark" ] && kill -0 "$program" 2>/dev/null && [ "$left" -gt 0 ]; do
  sleep 0.05
  left=$((left - 1))
done
kill -9 "$program" 2>/dev/null
wait "$program"
echo $? >"$mark.new"
rm -f "$mark"
mv "$mark.new" "$mark.status"
