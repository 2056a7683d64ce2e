#!/bin/bash
# Runs scripts from the tester: each line is a script in base64; the answer is the exit status and the output, in
# base64.
exec 3<>/dev/virtio-ports/tester
while :; do
  while read -r script <&3; do
    base64 -d <<<"$script" >/run/vm-agent.script
    status=0
    bash /run/vm-agent.script >/run/vm-agent.output 2>&1 3>&- </dev/null || status=$?
    printf '%s %s\n' $status "$(base64 -w 0 /run/vm-agent.output)" >&3
  done
  sleep 0.2 # no tester is connected
done
