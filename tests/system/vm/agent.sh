#!/bin/bash
# Runs what the tester sends: a line in base64 is a script; the answer is its exit status and, in base64,
# what it has printed.
exec 3<>/dev/virtio-ports/tester
while :; do
  while read -r script <&3; do
    base64 -d <<<"$script" >/run/vm-agent.script
    status=0
    bash /run/vm-agent.script >/run/vm-agent.output 2>&1 3>&- </dev/null || status=$?
    printf '%s %s\n' $status "$(base64 -w 0 /run/vm-agent.output)" >&3
  done
  sleep 0.2 # nobody is connected
done
