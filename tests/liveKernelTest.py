"""nexthop-rows (NEXTHOP_ROWS) on the running kernel, in network namespaces of the test's own; RECORDINGS as data."""
import datetime
import json
import os
import pathlib
import random
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest

PROGRAM = os.environ["NEXTHOP_ROWS"]
RECORDINGS = pathlib.Path(os.environ["RECORDINGS"])
FOLDER = pathlib.Path(__file__).parent / "netlink"
NETNS = os.environ["NETNS"] = f"nexthop-rows-{os.getpid()}"
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


def lines_of(name):
    return [line for line in (FOLDER / name).read_text().splitlines() if line and not line.startswith("#")]


GRAMMAR = [(line.split(" ", 2) + [""])[:3] for line in lines_of("random.grammar")]
GRAMMAR.append(["other-namespace", 1, f"{NETNS}-other"])


def drawn(rng, rule):
    """One of the texts of a rule of the grammar, and so on for the rules in it."""
    weights, texts = zip(*((float(weight), text) for of, weight, text in GRAMMAR if of == rule))
    text = re.sub(r"{([a-z-]+)}", lambda inner: drawn(rng, inner[1]), *rng.choices(texts, weights))
    return re.sub(r"{(\d+)\.\.(\d+)}", lambda bounds: str(rng.randint(int(bounds[1]), int(bounds[2]))), text)


def columns_of(row):
    """A row but for what tells one run of the program from another."""
    return {name: value for name, value in row.items() if name not in ("genId", "entryId")}


def rows_of(*arguments):
    rows = map(json.loads, run(PROGRAM, "json", *arguments).stdout.splitlines())
    return {("group" if "member" in row else "nexthop", row["id"]): columns_of(row) for row in rows}


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
                said = {kind: event[f"{kind}s"] for kind in ("nexthop", "group")}
                before = {kind: sum(kind == of for of, _ in self.rows) for kind in said}
            else:
                key, row = (event["type"], event["id"]), columns_of(event.get("row", {}))
                before = self.rows.pop(key, None)
                old, new = ((before or {}) | {name: both[age] for name, both in event.get("changes", {}).items()}
                            for age in ("old", "new"))
                said, after = {"inserted": (None, row), "removed": (row, None), "replaced": (old, new)}[event["event"]]
                if after is not None:
                    self.rows[key] = after
            if before != said:
                self.wrong.append(event)

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

    def play(self, session):
        """Commands of a session, what they and `watch --json` print ("$ watch" starts it), and what is noted once ("!")."""
        setup, rest = "\n".join(lines_of(session)).split("$ watch")
        run("sh", "-c", setup)
        watch = self.watch()
        os.environ["WATCH"] = str(watch.process.pid)
        for part in rest.split("\n$ "):
            command, *expected = part.split("\n")
            result = run("sh", "-c", command)
            if result.returncode == 77:
                self.skipTest(f"this kernel does not take {command}")
            printed, notes = result.stdout.splitlines(), [line for line in expected if line.startswith("! ")]
            events = len(expected) - len(notes) - len(printed)
            watch.await_(lambda: len(watch.lines) >= events and all(note[2:] in watch.notes() for note in notes))
            for event in watch.lines[:events]:
                at = datetime.datetime.fromisoformat(event.pop("time").replace("Z", "+00:00")).timestamp()
                self.assertLess(abs(at - time.time()), 60)
                printed.append(json.dumps(event))
            del watch.lines[:events]
            printed = [re.sub(r'"(portId|watch)": ?[^a-z"]*', lambda part: re.sub(r"\d+", "N", part[0]), line)
                       .replace(NETNS, "NETNS") for line in printed]
            self.assertEqual(printed + [note for note in notes if watch.notes().count(note[2:]) == 1], expected, command)
        self.assertEqual((watch.stop(), watch.lines, watch.wrong), (0, [], []))

    def test_changes_are_printed_as_they_come(self):
        self.play("watched.session")

    def test_namespaces_that_go_and_come_or_cannot_be_watched(self):
        self.play("namespace.session")

    def test_devices_and_large_groups(self):
        self.addCleanup(run, "ip", "netns", "del", f"{NETNS}-large")
        self.play("devices.session")

    def test_wide_weights(self):
        self.play("weights.session")

    def test_output_that_nobody_takes(self):
        batch(["link set lo up", *(f"nexthop add id {i} blackhole" for i in range(1, 1001))])
        for end, status in ((lambda process: process.send_signal(signal.SIGTERM), 0),
                            (lambda process: process.stdout.close(), 2)):
            process = subprocess.Popen([PROGRAM, "watch", "--live", "--netns", NETNS], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL)
            process.stdout.read(1)
            time.sleep(0.2)
            self.assertIsNone(process.poll())
            start = time.monotonic()
            end(process)
            self.assertEqual(process.wait(5), status)
            self.assertLess(time.monotonic() - start, 1)
            process.stdout.close()

    def test_overrun(self):
        batch(["link set lo up", "link add e0 up type veth peer name e1", "link set e1 up"])
        watch = self.watch()
        watch.process.send_signal(signal.SIGSTOP)
        changes = [f"nexthop replace id {i % 5000 + 1} " + ("blackhole" if i % 3 else "dev e0") for i in range(50000)]
        self.assertEqual(batch(changes), len(changes))
        batch(["nexthop del id 77", "nexthop add id 9999 group 1"])
        watch.process.send_signal(signal.SIGCONT)
        self.assertTrue(watch.await_(lambda: ("group", 9999) in watch.rows, 30), watch.notes())
        self.assert_same(watch, 10)
        self.assertEqual(watch.notes().count("faster than they were read"), 1)

    def test_a_recorded_namespace_built_again(self):
        watch = self.watch()
        commands = lines_of("mixed-up.batch")
        batch(links := [command for command in commands if command.startswith("link")])
        self.assertTrue(watch.await_(lambda: ip("link").stdout.count(",LOWER_UP") == 14), ip("link").stdout)
        rest = [command for command in commands if command not in links]
        self.assertEqual(batch(rest), len(rest))
        for recording, change in (("mixed-up", ()), ("mixed-down", ("link set p2 down", "link set e3 down"))):
            batch(change)
            expected = json.loads((RECORDINGS / f"{recording}.ip6.1" / "expected.json").read_text())
            rows = {(kind, row["id"]): row for kind in ("nexthop", "group") for row in expected[f"{kind}s"]}
            del rows["nexthop", 41]  # over the tun device
            for row in rows.values():
                row.pop("why", None)
            watch.await_(lambda: watch.rows.keys() == rows.keys(), 3)
            kept = {key: {name: value for name, value in row.items() if name in rows.get(key, row)}
                    for key, row in watch.rows.items()}
            self.assertEqual(kept, rows)
            self.assert_same(watch)

    def test_random_changes(self):
        refused = [kind for kind in KINDS if "Unknown device" in ip("link", "add", "try", "type", kind).stderr]
        print(f"seed {SEED}; devices that this kernel does not have: {', '.join(refused) or 'none'}")
        ip("link", "del", "try")
        rng = random.Random(SEED)
        batch([text for rule, _, text in GRAMMAR if rule == "setup"])
        run("ip", "netns", "add", f"{NETNS}-other")
        self.addCleanup(run, "ip", "netns", "del", f"{NETNS}-other")
        watch, taken, most = self.watch(), 0, 0
        for _ in range(PAUSES):
            chosen = [drawn(rng, "command") for _ in range(OPERATIONS_A_PAUSE)]
            taken += batch(chosen)
            run("ip", "netns", "exec", NETNS, "bash", "-c", "for i in {2..9}; do echo >/dev/udp/192.0.2.$i/9; done")
            most = max(most, len(watch.rows))
            with self.subTest(chosen):
                self.assert_same(watch)
            run("bridge", "-n", NETNS, "fdb", "add", drawn(rng, "mac"), "dev", "vx0", "dst", "203.0.113.9")
            run("ip", "-n", f"{NETNS}-other", "link", "set", "e1", "netns", NETNS)
            batch([f"link set {name} up" for rule, _, name in GRAMMAR
                   if rule in ("device", "peer") and rng.random() < 0.8])
        print(f"{taken} of {PAUSES * OPERATIONS_A_PAUSE} operations taken, up to {most} rows, {len(watch.lines)} lines")
        self.assertGreater(taken, PAUSES * OPERATIONS_A_PAUSE / 2)
        self.assertEqual(watch.stop(), 0)


if __name__ == "__main__":
    unittest.main()
