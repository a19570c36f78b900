#!/bin/sh
# A cleanup job as an installation might have it: writes what must survive the power-off and waits until it has
# reached the disk. $VOLAD_SCRATCH is the only place a rehearsal lets it write to.
set -eu

state="${VOLAD_SCRATCH:?}/state.txt"
{
    date -u '+saved at %Y-%m-%dT%H:%M:%SZ'
    uname -sr
    cut -d ' ' -f 1 /proc/uptime
} >"$state.new"
sync "$state.new"
mv "$state.new" "$state"
sync "${VOLAD_SCRATCH}"
# Something that takes its time.
sleep 1
echo "state saved"
