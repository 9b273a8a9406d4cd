"""nexthop-rows, run on the recordings, on made-up dumps and files, and on a network namespace made for it.

NEXTHOP_ROWS is the program, RECORDINGS the folder of recordings."""
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest
import zlib

RECORDINGS = pathlib.Path(os.environ["RECORDINGS"])
FOLDERS = sorted(file.parent for file in RECORDINGS.glob("*/expected.json"))

ETHERNET = {"ifindex": 10, "ifname": "e0", "flags": ["UP", "LOWER_UP"], "link_type": "ether",
            "address": "02:00:00:00:01:00"}
TUN = {"ifindex": 2, "ifname": "tun0", "flags": ["POINTOPOINT", "UP", "LOWER_UP"], "link_type": "none"}
NEIGHBOUR = {"dst": "2001:db8:0:0::2", "dev": "e0", "lladdr": "02:00:00:00:02:00", "state": ["STALE"]}
GOOD = {"id": 1, "gateway": "2001:db8::2", "dev": "e0", "flags": []}


def vlan(ifindex, name, lower, tag, protocol="802.1Q"):
    data = {"protocol": protocol, "id": tag}
    return ETHERNET | {"ifindex": ifindex, "ifname": name, "link": lower,
                       "linkinfo": {"info_kind": "vlan", "info_data": data}}


class NexthopRows(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def run_rows(self, *arguments, status=0, **environment):
        run = subprocess.run([os.environ["NEXTHOP_ROWS"], *map(str, arguments)], capture_output=True, text=True,
                             env=os.environ | environment)
        self.assertIn(run.returncode, status if isinstance(status, tuple) else (status,), run.stderr)
        return run.stdout, run.stderr

    def rows(self, nexthop, neigh=(NEIGHBOUR,), link=(ETHERNET, TUN), status=0):
        """The rows by id and the notes of a made-up dump; a text stands for the file's whole contents."""
        for name, content in (("nexthop", nexthop), ("neigh", neigh), ("link", link)):
            text = content if isinstance(content, str) else json.dumps(content)
            (self.folder / f"{name}.json").write_text(text)
        output, notes = self.run_rows("json", "--dir", self.folder, status=status)
        return {row["id"]: row for row in map(json.loads, output.splitlines())}, notes

    def test_recordings_give_the_expected_rows(self):
        self.assertTrue(FOLDERS)
        for folder in FOLDERS:
            with self.subTest(folder.name):
                expected = json.loads((folder / "expected.json").read_text())
                wanted, reasons = [], []
                for table, kind in enumerate(("nexthops", "groups"), 1):
                    for entry, row in enumerate(expected[kind], 1):
                        if "why" in row:
                            reasons.append(f" {row['id']} not valid: {row.pop('why')}")
                        wanted.append(row | {"genId": 1, "entryHandle": (table << 32) + row["id"], "entryId": entry})
                for skipped in expected["skipped"]:
                    fate = "refused" if "entries" in skipped["why"] else "skipped"
                    reasons.append(f" {skipped['id']} {fate}: {skipped['why']}")
                output, notes = self.run_rows("json", "--dir", folder, status=int("refused" in "".join(reasons)))
                self.assertEqual([json.loads(line) for line in output.splitlines()], wanted)
                self.assertEqual(len(notes.splitlines()), len(reasons), notes)
                for reason in reasons:
                    self.assertIn(reason + "\n", notes)

    def test_one_row(self):
        folder = RECORDINGS / "vlan-mpls.ip6.1"
        listed = self.run_rows("list", "--dir", folder)[0].splitlines()
        for kind, place in (("nexthop", 3), ("group", 19)):
            key = listed[place].split(", ")[4].removeprefix("id = ")
            self.assertEqual(self.run_rows("get", kind, key, "--dir", folder)[0], listed[place] + "\n")
        dump = self.run_rows("dump", "group", 103, "--dir", folder)[0]
        self.assertRegex(dump, r"(?m)^\+0019 \| 67 00 00 00 .* 103 .*id \(key\)$")
        self.assertRegex(dump, r"(?m)^\+002b \| 0c 00 00 00 .* 12 .*member\[1\]$")
        self.assertIn("no group 12\n", self.run_rows("get", "group", 12, "--dir", folder, status=2)[1])

    def test_statistics(self):
        output = self.run_rows("--stats", "--dir", RECORDINGS / "vlan-mpls.ip6.1")[0]
        # 52 bytes a next hop; 37 a group and, for each of its arrays, 2 and 4 an entry (19 entries in all)
        self.assertIn("nexthop: 18 rows, 936 bytes\ngroup: 4 rows, 316 bytes\nrow objects constructed: ", output)

    def test_diff(self):
        up, down = RECORDINGS / "mixed-up.ip6.1", RECORDINGS / "mixed-down.ip6.1"
        output = self.run_rows("diff", up, down)[0]
        self.assertRegex(output, "^nexthop 12 removed: .*\nnexthop 13 removed: .*\nnexthop: 0 inserted, 2 removed, "
                         r"0 changed\ngroup 108 changed: member \[.*\] -> \[.*\], watch \[.*\] -> \[.*\]\ngroup: 0 "
                         "inserted, 0 removed, 1 changed\n$")
        self.assertRegex(self.run_rows("diff", down, up)[0], "(?m)^nexthop 12 inserted: genId = 2, ")
        self.rows([GOOD | {"id": 2}, GOOD])
        old = self.folder.rename(f"{self.folder}.old")
        self.addCleanup(lambda: [*map(os.unlink, old.iterdir()), old.rmdir()])
        self.folder.mkdir()
        self.rows([GOOD | {"dev": "tun0"}, GOOD | {"id": 2}])
        changed = ('nexthop 1 changed: portId 10 -> 2, dmac "02:00:00:00:02:00" -> "00:00:00:00:00:00", '
                   'smac "02:00:00:00:01:00" -> "00:00:00:00:00:00"\nnexthop: 0 inserted, 0 removed, 1 changed\n')
        self.assertTrue(self.run_rows("diff", old, self.folder)[0].startswith(changed))

    def test_group_size(self):
        for weight, status, note in ((4094, 0, ""), (4095, 1, "group 9 refused: 4096 entries, more than 4095\n")):
            members = [{"id": 1, "weight": 2 * weight}, {"id": 404, "weight": 2}]
            groups = [{"id": 9, "group": members}, {"id": 10, "group": [{"id": 1}]}]
            rows, notes = self.rows(groups + [GOOD], status=status)
            self.assertTrue(notes.endswith(note))
            self.assertEqual(rows[10]["watch"], [10])
            self.assertEqual(9 in rows, status == 0)
            if status == 0:
                self.assertEqual(rows[9]["member"], [1] * 4094 + [404])
                self.assertEqual(rows[9]["watch"], [10] * 4094 + [0])

    def test_not_valid(self):
        links = [ETHERNET, TUN, vlan(30, "ad", "e0", 5, "802.1ad"), vlan(31, "v", "e0", 6), vlan(32, "lost", "x", 7),
                 vlan(33, "loop", "loop", 8), TUN | {"ifindex": 34, "ifname": "down", "flags": ["UP"]}]
        cases = [({"dev": "nil"}, "unknown device nil"), ({"dev": "down"}, "device down is down"),
                 ({"flags": ["linkdown"]}, "flag linkdown"), ({"dev": "ad"}, "stacked or 802.1ad tags"),
                 ({"dev": "lost"}, "no port below lost"), ({"dev": "loop"}, "stacked or 802.1ad tags"),
                 ({"dev": "v", "encap": {"encap_type": "ip", "id": 4}}, "ip over a VLAN"),
                 ({"dev": "v"}, "no neighbour"), ({"gateway": "2001:db8::3"}, "no neighbour")]
        nexthops = [GOOD | fields | {"id": i} for i, (fields, _) in enumerate(cases, 2)]
        neighbours = [NEIGHBOUR, NEIGHBOUR | {"dst": "2001:db8::3", "state": ["FAILED"]}]
        rows, notes = self.rows([GOOD] + nexthops + [{"id": 99, "group": [{"id": 2}]}], neighbours, links)
        self.assertEqual([row["id"] for row in rows.values() if row["valid"]], [1])
        for i, (_, reason) in enumerate(cases, 2):
            self.assertIn(f"nexthop.json: nexthop {i} not valid: {reason}\n", notes)
        self.assertIn("group 99 not valid: no valid member\n", notes)

    def test_a_refused_object_leaves_the_others(self):
        nexthops = [({"id": 4294967296}, "object 2", "id: 4294967296"), ({"id": -1}, "object 2", "id: -1"),
                    ({"id": "7"}, "object 2", 'id: "7"'), ({"id": 1.5}, "object 2", "id: 1.5"),
                    ({"dev": "e0"}, "object 2", "no id"), (7, "object 2", "value: 7"),
                    (GOOD, "nexthop 1", "duplicate id"), ({"id": 1, "group": []}, "group 1", "duplicate id"),
                    ({"id": 7, "dev": 3}, "nexthop 7", "dev: 3"), ({"id": 7, "flags": [1]}, "nexthop 7", "flags: [1]"),
                    ({"id": 7, "gateway": "192.0.2"}, "nexthop 7", 'gateway: "192.0.2"'),
                    ({"id": 7, "encap": 1}, "nexthop 7", "encap: 1"),
                    ({"id": 7, "encap": "mpls", "dst": "1/x"}, "nexthop 7", 'dst: "1/x"'),
                    ({"id": 7, "group": [{"id": 1, "weight": 0}]}, "group 7", "weight: 0")]
        for bad, name, reason in nexthops:
            with self.subTest(bad):
                rows, notes = self.rows([GOOD, bad, GOOD | {"id": 2}], status=1)
                self.assertIn(f"{self.folder}/nexthop.json: {name} refused: {reason}", notes)
                self.assertEqual([(row["id"], row["entryId"], row["valid"]) for row in rows.values()],
                                 [(1, 1, True), (2, 2, True)])
        for lladdr in ("02:00:00:00:02", "02:00:00:00:02:00:00", "02:00:00:00:02:0g", "02-00-00-00-02-00"):
            bad = NEIGHBOUR | {"lladdr": lladdr}
            notes = self.rows([GOOD], neigh=[bad, NEIGHBOUR | {"dst": "192.0.2.2"}], status=1)[1]
            self.assertIn(f'neigh.json: neighbour 2001:db8:0:0::2 dev e0 refused: lladdr: "{lladdr}"', notes)
            self.assertEqual(self.rows([], neigh=[bad | {"dev": "tun0"}])[0], {})  # no Ethernet: other addresses
        for bad, reason in ((ETHERNET, "duplicate name"), (ETHERNET | {"ifname": "e0", "address": "02:00"}, "address")):
            rows, notes = self.rows([GOOD], link=[{}, TUN, ETHERNET, bad], status=1)
            self.assertIn(f"link.json: link e0 refused: {reason}", notes)
            self.assertEqual(rows[1]["smac"], ETHERNET["address"])

    def test_bad_input_files_nothing(self):
        for text, reason in (('[{"id":1', "parse error"), ("[] x", "parse error"), ("{}", "not an array but object"),
                             ("[" * 100000, "nested")):
            for name in ("nexthop", "neigh", "link"):
                rows, notes = self.rows(**({"nexthop": [GOOD]} | {name: text}), status=2)
                self.assertEqual(rows, {})
                self.assertIn(f"{name}.json: {reason}", notes)
        self.assertEqual(self.rows("", neigh="\n", link=""), ({}, ""))  # what ip prints of nothing
        (self.folder / "neigh.json").unlink()
        for arguments in (["json", "--dir", self.folder], ["diff", self.folder, RECORDINGS], ["list"], [],
                          ["get", "route", 1, "--dir", FOLDERS[0]], ["get", "group", 2**32, "--dir", FOLDERS[0]]):
            self.assertTrue(self.run_rows(*arguments, status=2)[1])

    def test_files(self):
        file = self.folder / "rows"

        def content(*rows):
            return b"nexthop-rows file 1: %d rows\n" % len(rows) + b"".join(
                b"P4RuntimeRouting::%s %d %08x\n%s\n" % (kind, len(row), zlib.crc32(row), row) for kind, row in rows)

        def load(data, status=2):
            file.write_bytes(data)
            rows, errors = self.run_rows("json", "--file", file, status=status)
            self.assertTrue(rows if not errors else not rows and f": {file}: damaged at byte " in errors, errors)
            return errors

        for folder in FOLDERS:
            rows = self.run_rows("json", "--dir", folder, status=(0, 1))[0]
            saved = self.run_rows("save", file, "--dir", folder, status=(0, 1))[0]
            self.assertEqual(saved, f"{len(rows.splitlines())} rows saved\n")
            self.assertEqual(self.run_rows("json", "--file", file), (rows, ""))
            self.assertEqual(self.run_rows("check", "--file", file)[0], saved.replace("saved", "verified"))
        self.rows([GOOD, {"id": 9, "group": [{"id": 1}]}])
        self.run_rows("save", file, "--dir", self.folder)
        saved = file.read_bytes()
        nexthop, group = (b"NexthopInfoRow", saved[73:125]), (b"EcmpMemberListRow", saved[-50:-1])
        self.assertEqual(saved, content(nexthop, group))
        load(content((group[0], group[1][:38] + b"\xf0" + group[1][39:])), 0)  # spare bits of an array header
        self.run_rows("save", file, "--file", file)
        self.assertEqual(file.read_bytes()[-46:], saved[-46:])  # all but the header with its type id
        for at in range(len(saved)):
            load(saved[:at])
            load(saved[:at] + bytes([saved[at] ^ 1 << at % 8]) + saved[at + 1:])
        for kind, row in nexthop, group:
            for at in range(len(row)):  # damage that the checksum fits
                load(content((kind, row[:at] + bytes([row[at] ^ 1 << at % 8]) + row[at + 1:])), (0, 2))
        for data, error in ((b"{}", "0: no file of rows"), (content((b"Row", b"")), "28: unknown row type"),
                            (content(nexthop, nexthop), "171: a second row with id 1"), (content() + b"x", "28: bytes"),
                            (content((group[0], b"")), "75: bytes are no P4RuntimeRouting::Ecmp")):
            self.assertIn(error, load(data))
        self.assertIn("Not a directory", self.run_rows("save", file / "x", "--dir", self.folder, status=2)[1])

    def test_what_ip_does(self):
        program, live = self.folder / "ip", ["--live", "--netns", "of mine"]
        path = f"{self.folder}:{os.environ['PATH']}"
        self.assertIn("ip -j -d nexthop: No such file", self.run_rows("list", "--live", PATH="/none", status=2)[1])
        for script, reason in (("echo no >&2; exit 3", "nexthop: exit status 3: no"), ("kill -9 $$", "signal 9"),
                               ("yes '' | head -c 400000 | tee /dev/stderr", "mine -j -d link: printed no link")):
            program.write_text("#!/bin/sh\n" + script)
            program.chmod(0o755)
            self.assertIn(reason, self.run_rows("list", *live, PATH=path, status=2)[1])
        program.write_text(f"""#!/bin/sh\n[ "$1" = -n ] && [ "$2" = "of mine" ] && shift 2; for last; do :; done
            case "$*" in "-j -d nexthop" | "-j neigh" | "-j -d link") cat "{FOLDERS[0]}/$last.json";;
            "monitor nexthop link neigh") echo gone >&2; exit 1;; esac""")
        rows = self.run_rows("list", *live, PATH=path)[0]
        self.assertEqual(rows, self.run_rows("list", "--dir", FOLDERS[0])[0])
        output, notes = self.run_rows("watch", *live, PATH=path, status=2)
        self.assertEqual([line.split(" inserted: ")[1] for line in output.splitlines()], rows.splitlines())
        self.assertRegex(notes, "(?s)ip -n of mine monitor nexthop link neigh.* gone\n.*ended, exit status 1")

    def test_watch(self):
        def ip(*command):
            return subprocess.run(["ip", *command], capture_output=True, text=True)

        netns = f"nexthop-rows-{os.getpid()}"
        if (made := ip("netns", "add", netns)).returncode:
            self.skipTest(f"no network namespace can be made here: {made.stderr}")
        self.addCleanup(ip, "netns", "del", netns)
        for command in ("link add e0 up type veth peer name e1", "link set e1 up", "addr add 192.0.2.1/24 dev e0",
                        "nexthop add id 1 via 192.0.2.2 dev e0"):
            self.assertEqual(ip("-n", netns, *command.split()).stderr, "")
        steps = {"link": ("inserted nexthop 1", {"genId": 1, "valid": False}),
                 "neigh add 192.0.2.2 lladdr 02:00:00:00:00:01 dev e0": ("replaced nexthop 1", {
                     "valid": [False, True], "dmac": ["00:00:00:00:00:00", "02:00:00:00:00:01"]}),
                 "nexthop add id 9 group 1": ("inserted group 9", {"member": [1], "valid": True}),
                 "link set e0 down": ("removed nexthop 1", {"valid": True}),  # by the kernel, and the group with it
                 "neigh": ("removed group 9", {"member": [1]})}
        command = ["timeout", "60", os.environ["NEXTHOP_ROWS"], "watch", "--live", "--netns", netns, "--json"]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as watch:
            for command, (event, content) in steps.items():
                self.assertEqual(ip("-n", netns, *command.split()).stderr, "")
                line = json.loads(watch.stdout.readline())
                self.assertEqual(f"{line['event']} {line['type']} {line['id']}", event)
                columns = line.get("row") or {name: [*both.values()] for name, both in line["changes"].items()}
                self.assertEqual(columns, line.get("row", {}) | content)
            watch.send_signal(signal.SIGINT)
            self.assertEqual((watch.wait(), watch.stdout.read(), ip("netns", "pids", netns).stdout), (0, "", ""))


if __name__ == "__main__":
    unittest.main()
