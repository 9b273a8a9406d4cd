"""nexthop-rows (NEXTHOP_ROWS), run on recordings (the folder RECORDINGS), made-up dumps and files."""
import json
import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile
import time
import unittest
import zlib

RECORDINGS = pathlib.Path(os.environ["RECORDINGS"])
FOLDERS = [file.parent for folder in (RECORDINGS, pathlib.Path(__file__).parent / "dumps")
           for file in sorted(folder.glob("*/expected.json"))]
UP = RECORDINGS / "mixed-up.ip6.1"
GOOD = {"id": 1, "gateway": "2001:db8::2", "dev": "e0", "flags": []}


def read(file):
    """What there is of a pipe or of a terminal, which ends with an error."""
    try:
        return file.read(65536)
    except OSError:
        return b""


class NexthopRows(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def run_rows(self, *arguments, status=0, **environment):
        run = subprocess.run([os.environ["NEXTHOP_ROWS"], *map(str, arguments)], capture_output=True, text=True,
                             env=os.environ | environment)
        self.assertEqual(run.returncode, status, run.stderr)
        return run.stdout, run.stderr

    def rows(self, *nexthops, status=0, **texts):
        """The rows by id and the notes of a dump: next hops, or files' whole contents, and all else as in UP."""
        texts = {"nexthop": json.dumps(nexthops)} | texts
        for name in ("nexthop", "neigh", "link"):
            (self.folder / f"{name}.json").write_text(texts.get(name, (UP / f"{name}.json").read_text()))
        output, notes = self.run_rows("json", "--dir", self.folder, status=status)
        return {row["id"]: row for row in map(json.loads, output.splitlines())}, notes.replace(f"{self.folder}/", "")

    def test_dumps_give_the_expected_rows_and_notes_and_survive_a_file(self):
        self.assertGreater(len(FOLDERS), 1)
        for folder in FOLDERS:
            expected, wanted = json.loads((folder / "expected.json").read_text()), []
            reasons = expected.get("notes") or [f"{row['id']} {'refused' if 'entries' in row['why'] else 'skipped'}: "
                                                + row["why"] for row in expected["skipped"]]
            for table, kind in enumerate(("nexthops", "groups"), 1):
                for entry, row in enumerate(expected[kind], 1):
                    if "why" in row:
                        reasons.append(f"{row['id']} not valid: {row.pop('why')}")
                    wanted.append(row | {"genId": 1, "entryHandle": (table << 32) + row["id"], "entryId": entry})
            file, status = self.folder / "rows", int("refused" in "".join(reasons))
            rows, notes = self.run_rows("json", "--dir", folder, status=status)
            self.assertEqual([json.loads(line) for line in rows.splitlines()], wanted)
            start = 1 if "notes" in expected else 3  # words: the program, the file and the kind of object
            noted = [note.split(" ", start)[-1] for note in notes.replace(f"{folder}/", "").splitlines()]
            self.assertCountEqual(noted, reasons)
            self.assertIn(f"{len(wanted)} rows saved\n", self.run_rows("save", file, "--dir", folder, status=status))
            self.assertEqual(self.run_rows("json", "--file", file), (rows, ""))
            self.assertIn(f"{len(wanted)} rows verified\n", self.run_rows("check", "--file", file))

    def transcript(self, text):
        """The text's comments and commands, each command with what it prints when it is run now."""
        shutil.copytree(RECORDINGS.parent, folder := pathlib.Path(tempfile.mkdtemp(dir=self.folder)), dirs_exist_ok=True)
        shutil.copytree(pathlib.Path(__file__).parent / "dumps", folder := folder / "recordings", dirs_exist_ok=True)
        environment = {"PATH": f"{pathlib.Path(os.environ['NEXTHOP_ROWS']).parent}:{os.environ['PATH']}", "TERM": "xterm"}
        printed = ""
        for line in re.findall("(?m)^[#$%] .*\n", text):
            printed += line
            if line.startswith("#"):
                continue
            reader, writer = pty.openpty() if line.startswith("%") else os.pipe()
            with subprocess.Popen(["bash", "-c", line[2:]], stdin=subprocess.DEVNULL, stdout=writer, stderr=writer,
                                  cwd=folder, env=environment) as process, open(reader, "rb", 0) as file:
                os.close(writer)
                output = b"".join(iter(lambda: read(file), b"")).decode()
            before, *progress = re.split(r"(?:\r([^\r]+), \d+ s\x1b\[K)+\r\x1b\[K", output)
            output = before + "".join(f"<{what}, N s>" for what in progress[:1]) + "".join(progress[1::2])
            printed += output.replace("\r\n", "\n").replace("\r", "<CR>").replace("\x1b", "<ESC>")
            printed += f"? {process.returncode}\n" if process.returncode else ""
        return printed

    def test_transcripts(self):
        for file in sorted((pathlib.Path(__file__).parent / "cli").glob("*.txt")):
            if os.environ.get("SANITIZER") and file.stem == "scarce":
                continue
            with self.subTest(file.name):
                self.assertEqual(self.transcript(file.read_text()), file.read_text())

    def test_largest_group(self):
        members = [{"id": 1, "weight": 2 * 4094}, {"id": 404, "weight": 2}]
        rows, notes = self.rows({"id": 9, "group": members}, GOOD)
        self.assertEqual((notes, rows[9]["member"], rows[9]["watch"]), ("", [1] * 4094 + [404], [10] * 4094 + [0]))

    def test_vlans_in_a_circle_take_no_longer_than_others(self):
        devices = range(1, 20001)
        start = time.monotonic()
        rows, _ = self.rows(*({"id": i, "gateway": "192.0.2.2", "dev": f"v{i}"} for i in devices), link=json.dumps(
            [{"ifindex": i, "ifname": f"v{i}", "flags": ["UP", "LOWER_UP"], "link_type": "none", "link": f"v{i % 20000 + 1}",
              "linkinfo": {"info_kind": "vlan", "info_data": {"protocol": "802.1Q", "id": 5}}} for i in devices]))
        self.assertEqual({(row["portId"], row["encapType"]) for row in rows.values()}, {(0, -1)})
        self.assertLess(time.monotonic() - start, 60)

    def test_bad_input_files_nothing(self):
        for text, reason in (('[{"id":1', "parse error"), ("[] x", "parse error"), ("{}", "not an array but object"),
                             ("[" * 100000, "nested")):
            for name in ("nexthop", "neigh", "link"):
                rows, notes = self.rows(GOOD, **{name: text}, status=2)
                self.assertTrue(not rows and f"{name}.json: {reason}" in notes, notes)
        self.assertEqual(self.rows(nexthop="", neigh="\n", link=""), ({}, ""))  # what ip prints of nothing
        (self.folder / "neigh.json").unlink()
        self.assertIn("neigh.json: No such file", self.run_rows("diff", UP, self.folder, status=2)[1])

    def test_damaged_files(self):
        file = self.folder / "rows"

        def content(*rows):
            return b"nexthop-rows file 1: %d rows\n" % len(rows) + b"".join(
                b"P4RuntimeRouting::%s %d %08x\n%s\n" % (kind, len(row), zlib.crc32(row), row) for kind, row in rows)

        self.rows(GOOD, {"id": 9, "group": [{"id": 1}]})
        file.touch(0o600)  # as it stays
        self.run_rows("save", file, "--dir", self.folder)
        self.assertEqual(file.stat().st_mode & 0o777, 0o600)
        saved = file.read_bytes()
        nexthop, group = (b"NexthopInfoRow", saved[73:125]), (b"EcmpMemberListRow", saved[-50:-1])
        self.assertEqual(saved, content(nexthop, group))
        damaged = [(saved[:at] + rest, "") for at in range(len(saved))
                   for rest in (b"", bytes([saved[at] ^ 1 << at % 8]) + saved[at + 1:])]
        for data, error in ((b"{}", "0: no file of rows"), (content((b"Row", b"")), "28: unknown row type"),
                            (content(nexthop, nexthop), "171: a second row with id 1"), (content() + b"x", "28: bytes"),
                            (content((group[0], b"")), "75: bytes are no P4RuntimeRouting::Ecmp"), *damaged):
            file.write_bytes(data)
            rows, errors = self.run_rows("json", "--file", file, status=2)
            self.assertEqual(rows, "")
            self.assertIn(f": {file}: damaged at byte {error}", errors)
        self.assertIn("Not a directory", self.run_rows("save", file / "x", "--dir", self.folder, status=2)[1])


if __name__ == "__main__":
    unittest.main()
