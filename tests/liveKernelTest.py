"""nexthop-rows (NEXTHOP_ROWS) on the running kernel, in network namespaces of the test's own."""
import json
import os
import pathlib
import random
import signal
import subprocess
import tempfile
import threading
import time
import unittest

PROGRAM = os.environ["NEXTHOP_ROWS"]
NETNS = f"nexthop-rows-{os.getpid()}"
SEED = int(os.environ.get("ZORVA_TEST_SEED", "1"))
PAUSES = 600 if os.environ.get("ZORVA_TEST_FULL") else 100
OPERATIONS_A_PAUSE = 20
KINDS = ("dummy", "vlan", "bond", "vrf")


def run(*command, text=None):
    return subprocess.run(command, input=text, capture_output=True, text=True, errors="backslashreplace")


def ip(*words, text=None):
    return run("ip", "-n", NETNS, *words, text=text)


def batch(commands):
    """How many of the commands the kernel took."""
    failed = ip("-force", "-batch", "-", text="".join(f"{command}\n" for command in commands)).stderr
    return len(commands) - failed.count("Command failed")


def rows_of(*arguments):
    lines = run(PROGRAM, "json", *arguments).stdout.splitlines()
    rows = [{name: value for name, value in json.loads(line).items() if name not in ("genId", "entryId")}
            for line in lines]
    return {("group" if "member" in row else "nexthop", row["id"]): row for row in rows}


class Watch:
    """A `watch --json` and the rows that its lines make; a line that does not fit them is in `wrong`."""

    def __init__(self):
        self.rows, self.lines, self.wrong = {}, [], []
        self.errors = tempfile.TemporaryFile("w+", errors="backslashreplace")
        self.process = subprocess.Popen([PROGRAM, "watch", "--live", "--netns", NETNS, "--json"],
                                        stdout=subprocess.PIPE, stderr=self.errors, text=True)
        threading.Thread(target=self.read).start()

    def read(self):
        for line in self.process.stdout:
            event = json.loads(line)
            self.lines.append(event)
            if event["event"] == "complete":
                counts = [sum(kind == of for kind, _ in self.rows) for of in ("nexthop", "group")]
                if counts != [event["nexthops"], event["groups"]]:
                    self.wrong.append(event)
                continue
            key = event["type"], event["id"]
            before = self.rows.pop(key, None)
            after = {name: value for name, value in event.get("row", {}).items() if name not in ("genId", "entryId")}
            if event["event"] == "replaced":
                after = (before or {}) | {name: both["new"] for name, both in event["changes"].items()}
                if any(before[name] != both["old"] for name, both in event["changes"].items()):
                    self.wrong.append(event)
            elif before != (after if event["event"] == "removed" else None):
                self.wrong.append(event)
            if event["event"] != "removed":
                self.rows[key] = after

    def await_(self, condition, seconds=10):
        """Whether the condition becomes true in time."""
        end = time.monotonic() + seconds
        while not (is_met := condition()) and time.monotonic() < end:
            time.sleep(0.002)
        return is_met

    def notes(self):
        self.errors.seek(0)
        return self.errors.read()

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(10)


class LiveKernel(unittest.TestCase):
    def setUp(self):
        self.addCleanup(run, "ip", "netns", "del", NETNS)
        if why := run("ip", "netns", "add", NETNS).stderr:
            self.skipTest(f"no network namespace can be made here: {why}")
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def watch(self):
        watch = Watch()
        self.addCleanup(watch.process.kill)
        self.assertTrue(watch.await_(lambda: watch.lines and watch.lines[-1]["event"] == "complete"), watch.notes())
        return watch

    def assert_same(self, watch, patience=2):
        """The rows kept are those of the kernel now, by netlink and as `ip` prints it."""
        end = time.monotonic() + patience
        while True:
            for name, command in (("nexthop", "-d nexthop"), ("neigh", "neigh show nud all"), ("link", "-d link")):
                (self.folder / f"{name}.json").write_text(ip("-j", *command.split()).stdout)
            kept = dict(watch.rows)
            by_netlink, by_ip = rows_of("--live", "--netns", NETNS), rows_of("--dir", self.folder)
            if kept == by_netlink == by_ip or time.monotonic() > end:
                break
        self.assertEqual(by_netlink, by_ip)
        self.assertEqual(kept, by_netlink)
        self.assertEqual(watch.wrong, [])

    def test_random_changes(self):
        refused = [kind for kind in KINDS if "Unknown device" in ip("link", "add", "try", "type", kind).stderr]
        print(f"seed {SEED}; devices that this kernel does not have: {', '.join(refused) or 'none'}")
        ip("link", "del", "try")
        rng = random.Random(SEED)
        devices = ["e0", "e1", "e2", "e3", "r3", "p0", "mac0", "br0", "vx0", "tun0", "lo"]
        pairs = [f"link add e{i} up type veth peer name p{i}" for i in range(4)]
        addresses = [f"addr add {net}.1/24 dev e{i}" for i, net in enumerate(("192.0.2", "198.51.100"))]
        batch([*pairs, *addresses, "link add mac0 link e0 up type macvlan", "link add br0 up type bridge",
               "link add vx0 up type vxlan id 5 dstport 4789", "tuntap add tun0 mode tun", "link set lo up",
               *(f"link set {device} up" for device in ("tun0", "p0", "p1", "p2", "p3"))])
        number = lambda: rng.randint(1, 16)
        mac = lambda: f"02:00:00:00:00:{rng.randint(0, 255):02x}"
        host = lambda: rng.choice((f"192.0.2.{rng.randint(2, 9)}", f"198.51.100.{rng.randint(2, 9)}",
                                   f"fe80::{rng.randint(2, 5)}", f"2001:db8::{rng.randint(2, 9)}"))
        device = lambda: rng.choice(devices)
        weight = lambda: rng.choice((1, 1, 2, 3, rng.randint(1, 256)))
        members = lambda: "/".join(f"{i},{weight()}" for i in rng.sample(range(1, 17), rng.randint(1, 4)))
        encap = lambda: rng.choice(("", "", "", "encap ip id 100 dst 198.51.100.9", "encap ip6 id 70000 dst ::9",
                                    "encap seg6 mode encap segs 2001:db8::5", "encap mpls 100/200"))
        operations = (
            (30, lambda: f"nexthop replace id {number()} {encap()} via {host()} dev {device()} onlink"),
            (10, lambda: f"nexthop add id {number()} via {host()} dev {device()}"),
            (6, lambda: f"nexthop replace id {number()} {rng.choice(('blackhole', f'dev {device()}'))}"),
            (3, lambda: f"nexthop replace id {number()} via {host()} fdb"),
            (16, lambda: f"nexthop replace id {100 + number()} group {members()} {rng.choice(('', '', 'fdb'))}"),
            (4, lambda: f"nexthop replace id {200 + number()} group {members()} type resilient buckets 32"),
            (8, lambda: f"nexthop del id {number() + rng.choice((0, 0, 100, 200))}"),
            (0.3, lambda: f"nexthop flush {rng.choice(('', 'dev ' + device(), 'groups'))}"),
            (12, lambda: f"neigh replace {host()} dev {device()} lladdr {mac()} nud "
                         + rng.choice(("permanent", "stale", "reachable", "noarp", "failed", "delay"))),
            (5, lambda: f"neigh del {host()} dev {device()}"),
            (1, lambda: f"neigh add proxy {host()} dev {device()}"),
            (9, lambda: f"link set {device()} up"),
            (2, lambda: f"link set {device()} down"),
            (0.5, lambda: f"link set p{rng.randint(0, 3)} {rng.choice(('up', 'down'))}"),
            (1, lambda: f"link set {device()} address {mac()}"),
            (1, lambda: f"link set {device()} arp {rng.choice(('on', 'off'))}"),
            (1, lambda: rng.choice(("link set e3 name r3", "link set r3 name e3"))),
            (1, lambda: f"link set p0 {rng.choice(('master br0', 'nomaster'))}"),
            (0.5, lambda: f"link set {device()} alias x{number()}"),
            (0.5, lambda: rng.choice(("link del e2", pairs[2], "link set p2 up"))),
            (0.3, lambda: f"link set e1 netns {NETNS}-other"))
        run("ip", "netns", "add", f"{NETNS}-other")
        self.addCleanup(run, "ip", "netns", "del", f"{NETNS}-other")
        weights = [weight for weight, _ in operations]
        watch, taken, most = self.watch(), 0, 0
        for _ in range(PAUSES):
            chosen = [make() for _, make in rng.choices(operations, weights, k=OPERATIONS_A_PAUSE)]
            taken += batch(chosen)
            most = max(most, len(watch.rows))
            with self.subTest(chosen):
                self.assert_same(watch)
            run("bridge", "-n", NETNS, "fdb", "add", mac(), "dev", "vx0", "dst", "192.0.2.9")
            run("ip", "-n", f"{NETNS}-other", "link", "set", "e1", "netns", NETNS)
            batch([f"link set {name} up" for name in (*devices, "p1", "p2", "p3") if rng.random() < 0.8])
        print(f"{taken} of {PAUSES * OPERATIONS_A_PAUSE} operations taken, up to {most} rows, {len(watch.lines)} lines")
        self.assertGreater(taken, PAUSES * OPERATIONS_A_PAUSE / 2)
        self.assertEqual(watch.stop(), 0)


if __name__ == "__main__":
    unittest.main()
