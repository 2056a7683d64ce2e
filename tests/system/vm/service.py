"""The nightly unit in a booted machine: its states, its sandbox, its metrics."""

import json
import re

START = """
systemctl daemon-reload
systemctl start zemo-selfcheck.service
systemctl show --property=ExecMainStatus,Result zemo-selfcheck.service
"""

# Stops the check while it reads /srv/tree/slow.
STOPPED = """
install -m 644 /root/wam.full.slow.list{.asc,} /usr/zemo/selfcheck
echo wam.full.slow.list >>/usr/zemo/selfcheck/listorder
systemctl daemon-reload
systemctl start --no-block zemo-selfcheck.service
pid=0
for i in {1..600}; do
  [ "$pid" != 0 ] || pid=$(systemctl show --property=MainPID --value zemo-selfcheck.service)
  if ls -l /proc/$pid/fd 2>/dev/null | grep -q /srv/tree/slow; then
    kill -STOP $pid
    exit
  fi
  sleep 0.02
done
exit 1
"""

WAIT = """
while [ "$(systemctl show --property=ActiveState --value zemo-selfcheck.service)" = activating ]; do sleep 0.1; done
systemctl show --property=ExecMainStatus,Result zemo-selfcheck.service
"""


def drop_in(lines):
    return f"""
mkdir -p /etc/systemd/system/zemo-selfcheck.service.d
cat >/etc/systemd/system/zemo-selfcheck.service.d/vm.conf <<'END'
[Service]
{lines}
END
"""


# Makes reads of one file's blocks fail; all other reads work. (dm counts in sectors.)
READ_ERROR = """
sectors=$(($(stat -f -c %S /var/packages/notes/target) / 512))
read -r first last < <(debugfs -R 'blocks /notes' /dev/mapper/weak 2>/dev/null | awk '{ print $1, $NF }')
base=$(dmsetup table weak | cut -d' ' -f4)
dmsetup suspend weak
dmsetup load weak <<END
0 $((first * sectors)) linear $base 0
$((first * sectors)) $(((last - first + 1) * sectors)) error
$(((last + 1) * sectors)) $((32768 - (last + 1) * sectors)) linear $base $(((last + 1) * sectors))
END
dmsetup resume weak
echo 3 >/proc/sys/vm/drop_caches
"""

REMOVE_KEY = """
export GNUPGHOME=/root/key
key=$(gpg --with-colons --list-keys maker@example.org | awk -F: '/^fpr/ { print $10; exit }')
zemo-selfcheck remove-key $key || [ $? = 16 ] # lists no longer verify
"""

# Name, preparation, expected status and result of the unit.
STATES = [
    ("nothing changed", "", 0, "success"),
    ("a file changed", "echo evil >>/srv/tree/hello", 1, "exit-code"),
    ("a file missing", "rm /srv/tree/world", 2, "exit-code"),
    ("a stray in a fixed directory", "touch /srv/tree/plugins/two", 4, "exit-code"),
    ("all three", "echo evil >>/srv/tree/hello; rm /srv/tree/world; touch /srv/tree/plugins/two", 7, "exit-code"),
    ("a read error of the disk", READ_ERROR, 8, "exit-code"),
    ("a signature missing", "rm /usr/zemo/selfcheck/wam.full.tree.list.asc", 16, "exit-code"),
    ("a list changed", "echo '# ' >>/usr/zemo/selfcheck/wam.full.base.list", 16, "exit-code"),
    ("the key removed", REMOVE_KEY, 16, "exit-code"),
    ("wrong arguments", drop_in("ExecStart=\nExecStart=/usr/bin/zemo-selfcheck check --al"), 64, "exit-code"),
    ("a group that does not exist", drop_in("SupplementaryGroups=nobody-has-made-it"), 216, "exit-code"),
    ("the user does not exist", "userdel zemo-selfcheck", 217, "exit-code"),
    ("a writable path that does not exist", drop_in("ReadWritePaths=/nobody/has/made/it"), 226, "exit-code"),
]


def outcome(machine, output):
    """The unit's status and result, and the program's summary in the journal."""
    properties = dict(line.split("=", 1) for line in output.splitlines() if "=" in line)
    lines = machine.must("journalctl --sync; journalctl --output=cat --unit=zemo-selfcheck.service")
    summary = None
    for line in lines.splitlines():
        if line.startswith("{") and '"summary"' in line:
            summary = json.loads(line)
    return int(properties["ExecMainStatus"]), properties["Result"], summary, lines


def errors(machine):
    """The output of the documented journalctl command."""
    return machine.run("journalctl --output=cat -p err -g '(file_list|protected_file|util):[0-9]+ '")[1]


def states(lab, case):
    for name, change, wanted_status, wanted_result in STATES:
        with lab.ready() as machine:
            machine.must(change or ":")
            status, result, summary, lines = outcome(machine, machine.run(START)[1])
            case.expect(f"{name}: the unit's status", status, wanted_status)
            case.expect(f"{name}: the unit's result", result, wanted_result)
            if status < 64:
                case.demand(summary, f"{name}: no summary in the journal:\n{lines}")
                case.expect(f"{name}: the summary's status", (summary or {}).get("status"), wanted_status)
            if status in (8, 16):
                case.demand(errors(machine), f"{name}: journalctl -p err finds no line of the library")
            if status == 217:
                machine.must("systemd-sysusers")
                case.expect("after systemd-sysusers: status", outcome(machine, machine.run(START)[1])[0], 0)
        print(f"  {name}: status {status}, Result={result}", flush=True)
    case.figures = f"{len(STATES)} states: " + ", ".join(str(status) for _, _, status, _ in STATES)


def ends(lab, case):
    """Runs that are stopped from outside."""
    for name, lines, action, wanted in (
            ("time limit", "TimeoutStartSec=30", ":", "timeout"),
            ("killed", "", "systemctl kill --kill-whom=main --signal=KILL zemo-selfcheck.service", "signal")):
        with lab.ready() as machine:
            machine.must(drop_in(lines) + STOPPED)
            machine.must(action)
            status, result, summary, text = outcome(machine, machine.must(WAIT))
            case.expect(f"{name}: the unit's result", result, wanted)
            if wanted == "timeout":
                case.demand(summary and summary.get("partial"), f"{name}: no partial summary:\n{text}")
                case.expect(f"{name}: status", status, 8)
        print(f"  {name}: status {status}, Result={result}", flush=True)
    case.figures = "timeout, signal"


CONFINED = "sed -n 's/^zemo-selfcheck (\\(.*\\))$/\\1/p' /sys/kernel/security/apparmor/profiles"
ENFORCE = """
rm -f /etc/apparmor.d/force-complain/zemo-selfcheck
apparmor_parser --replace /etc/apparmor.d/zemo-selfcheck
"""
METRICS = """
set -e
dpkg-statoverride --update --add root prometheus 0775 /var/lib/prometheus/node-exporter
mkdir -p /etc/systemd/system/zemo-selfcheck.service.d
cp "$(find /usr/share/doc -name metrics.conf)" /etc/systemd/system/zemo-selfcheck.service.d
"""
# The rule is in a comment of the example.
LOCAL_RULE = """
cd /etc/systemd/system/zemo-selfcheck.service.d
sed -n 's/^# *\\(\\/.*,\\)$/\\1/p' metrics.conf >/etc/apparmor.d/local/zemo-selfcheck
grep -q node-exporter /etc/apparmor.d/local/zemo-selfcheck
apparmor_parser --replace /etc/apparmor.d/zemo-selfcheck
"""
PROM = "/var/lib/prometheus/node-exporter/zemo-selfcheck.prom"
EXPORTER = """
rm /etc/systemd/system/prometheus-node-exporter.service
systemctl daemon-reload
systemctl start prometheus-node-exporter
for i in {1..100}; do
  if exec 5<>/dev/tcp/127.0.0.1/9100; then exit; fi
  sleep 0.2
done 2>/dev/null
exit 1
"""
SCRAPE = """
exec 5<>/dev/tcp/127.0.0.1/9100
printf 'GET /metrics HTTP/1.0\\r\\n\\r\\n' >&5
cat <&5
"""


def apparmor(lab, case):
    """The profile first only logs, and denies once it is enforced; a check needs nothing that it denies."""

    def logged():
        lines = machine.must("dmesg --notime").splitlines()
        found = [line for line in lines if 'profile="zemo-selfcheck"' in line and 'apparmor="STATUS"' not in line]
        new = found[len(seen):]
        seen.extend(new)
        return new

    def check(what, wanted, words):
        status = outcome(machine, machine.run(START)[1])[0]
        case.demand(status in wanted, f"{what}: status {status} instead of {wanted}")
        new = logged()
        print(f"  {what}: status {status}, {len(new)} lines in the log", flush=True)
        if words:
            case.demand(any(words in line for line in new), f"{what}: no {words} in the log: {new}")
        else:
            case.expect(f"{what}: the log", new, [])

    seen = []
    with lab.ready() as machine:
        machine.must("echo 0 >/proc/sys/kernel/printk_ratelimit")  # otherwise the kernel drops lines
        case.expect("mode after installing", machine.must(CONFINED).strip(), "complain")
        check("complain", [0], None)
        machine.must(METRICS)
        check("complain, with metrics", [0], "ALLOWED")
        machine.must(ENFORCE)
        case.expect("mode after enforcing", machine.must(CONFINED).strip(), "enforce")
        check("enforced, with metrics", [8, 16], "DENIED")
        machine.must(LOCAL_RULE)
        check("enforced, with metrics and their rule", [0], None)
        machine.must("rm -r /etc/systemd/system/zemo-selfcheck.service.d /etc/apparmor.d/local/zemo-selfcheck")
        machine.must(ENFORCE)
        check("enforced", [0], None)
        machine.must(STOPPED)
        confined = machine.must("cat /proc/$(systemctl show -p MainPID --value zemo-selfcheck.service)/attr/current")
        case.expect("the check runs", confined.strip(), "zemo-selfcheck (enforce)")
    case.figures = "complain: 0 lines for a check; enforced: 0 denials for a check, and a metrics file denied"


def metrics(lab, case):
    """node_exporter serves what a check has written."""
    with lab.ready() as machine:
        machine.must(METRICS + EXPORTER)
        for change, wanted in (("", 0), ("echo evil >>/srv/tree/hello", 1)):
            machine.must(change or ":")
            case.expect("status", outcome(machine, machine.run(START)[1])[0], wanted)
            # The exporter formats numbers differently.
            written = samples(machine.must(f"cat {PROM}"))
            served = samples(machine.must(SCRAPE))
            different = [name for name, value in written.items() if served.get(name) != value]
            case.demand(written, "there are no metrics")
            case.expect("samples that were served differently", different, [])
            case.expect("the exporter's error metric", served.get(("node_textfile_scrape_error", frozenset([""]))), 0)
    case.figures = f"{len(written)} samples served as written"


def samples(text):
    """The values by name and set of labels, because the exporter reorders labels."""
    found = {}
    for name, labels, value in re.findall(r"^(\w+)(?:{(.*)})? (\S+)$", text, re.MULTILINE):
        found[name, frozenset(labels.split(","))] = float(value)
    return found


UPGRADE = "dpkg -i /root/payload/later/*.deb </dev/null\n"
OURS = "$(dpkg-query --showformat '${source:Package} ${Package}\\n' --show | sed -n 's/^zemoselfcheck //p')"
CONTINUE = "kill -CONT $(systemctl show --property=MainPID --value zemo-selfcheck.service)\n"


def upgrades(lab, case):
    """A check continues while its packages are upgraded or removed."""
    enforce = "aa-enforce /etc/apparmor.d/zemo-selfcheck; systemctl enable --now zemo-selfcheck.timer"
    with lab.ready() as machine:
        machine.must(enforce)
        machine.must(STOPPED)
        machine.must(UPGRADE)
        status, result, summary, lines = outcome(machine, machine.must(CONTINUE + WAIT))
        case.expect("status of the check during an upgrade", (status, result), (0, "success"))
        case.demand(summary and summary["status"] == 0, f"no good summary of the check during an upgrade:\n{lines}")
        case.expect("mode after the upgrade", machine.must(CONFINED).strip(), "enforce")
        case.expect("timer", machine.run("systemctl is-active zemo-selfcheck.timer")[1].strip(), "active")
        case.expect("status after the upgrade", outcome(machine, machine.run(START)[1])[0], 0)
    with lab.ready() as machine:
        machine.must(f"{enforce}; zemo-selfcheck check --metrics {PROM}")
        machine.must(STOPPED)
        machine.must(f"dpkg --purge {OURS}")
        _, _, summary, lines = outcome(machine, machine.must(CONTINUE + WAIT))
        case.demand(summary and summary["status"] == 0, f"no good summary of the check during removal:\n{lines}")
        case.expect("mode after purging", machine.must(CONFINED).strip(), "")
        case.expect("timer", machine.run("systemctl is-active zemo-selfcheck.timer")[1].strip(), "inactive")
        case.expect("metrics after purging", machine.run(f"cat {PROM}")[0], 1)
        case.demand(machine.must("ls /usr/zemo/selfcheck/pubring.kbx"), "the key ring is gone")
    case.figures = "upgraded and purged while a check reads a file; it ends with 0"


def early(lab, case):
    """A unit checks its files before any file system is writable; the clock is earlier than the key."""
    with lab.booted("2020-06-01T12:00:00") as machine:
        output = machine.must("cat /run/early; rm -r /usr/zemo/selfcheck/packages; date --set 2020-06-01")
        case.demand("read-only: yes" in output, f"the root file system was writable:\n{output}")
        case.demand("status 0" in output, f"the check failed:\n{output}")
        status, _, _, lines = outcome(machine, machine.run(START)[1])
        case.demand(status == 0, f"status in 2020:\n{lines}")
    case.figures = "`files` with a read-only root; a check in 2020"
