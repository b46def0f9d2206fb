#!/bin/sh
# An SNMP agent for a test under the emulator: lives as long as FOLDER/running is there, two minutes at most.
# usage: agent.sh FOLDER ADDRESS
unset LD_LIBRARY_PATH
cd "$1" || exit 1
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin:/usr/bin:/bin
export SNMPCONFPATH="$1" SNMP_PERSISTENT_DIR="$1/data" MIBS= MIBDIRS="$1"
snmpd -f -Lo -C -c "$1/snmpd.conf" -p "$1/snmpd.pid" -I -smux "$2" >>"$1/snmpd.log" 2>&1 </dev/null &
agent=$!
left=1200
while [ -e "$1/running" ] && kill -0 "$agent" 2>/dev/null && [ "$left" -gt 0 ]; do
  sleep 0.1
  left=$((left - 1))
done
kill -9 "$agent" 2>/dev/null
wait "$agent" 2>/dev/null
rm -f "$1/running" "$1/end"
