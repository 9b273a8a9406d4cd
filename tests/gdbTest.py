"""The gdb printers, as installed, on a live process and on its core file. PROGRAM is tests/gdb/rows.cpp, BUILD the
build tree; GDB and CMAKE are the tools.
"""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

NEXTHOP = "P4RuntimeRouting::NexthopInfoRow"
HOP = ("{genId = 1, entryHandle = 2, valid = true, entryId = 3, id = 42, portId = 7, dmac = 02:00:00:00:00:01, "
       "smac = 02:00:00:00:00:fe, drop = false, encapType = -4, encapId = 5}")
GROUP = ("P4RuntimeRouting::EcmpMemberListRow, 51 bytes, type 2 = {genId = 1, entryHandle = 2, valid = false, "
         "entryId = 3, id = 4, member = {7, 8, 9}, watch = {}}")
ROWS = {
    "hop": f"{NEXTHOP}, 52 bytes, type 1, shared by 2 = {HOP}",
    "group": GROUP,
    "reference": GROUP,
    "null": f"{NEXTHOP}, null",
    "generic": f"Zorva::BaseRow, 52 bytes, type 1: {NEXTHOP}, shared by 2, read-only = {HOP}",
    "unknown": "Zorva::BaseRow, 7 bytes, type 0 = {bytes = {7, 0, 0, 0, 0, 0, 0}}",
    "view": f"Zorva::SubRow, 52 bytes, type 1: {NEXTHOP}, shared by 3, view at 53 = {HOP}",
    "parent": "Examples::PortRow, 105 bytes, type 9, shared by 3 = {flag = false, mac = 00:00:00:00:00:00, port = 0, "
              "delta = 0, id = 0, stamp = 0, first = {}, second = {}, third = {}, fourth = {}, "
              f"hop = {NEXTHOP}, 52 bytes, type 1, shared by 3, view at 53 = {HOP}, group = null}}",
    "mac": "02:00:00:00:00:01",
    "members": "3 elements = {7, 8, 9}",
    "null.rowBuf_": "no buffer",
    "-elements 2 -- view.rowBuf_": "105 bytes at 0x..., shared by 3 = {105, 0...}",
    "unknown.rowBuf_.block_->buffer": "7 bytes at 0x... = {7, 0, 0, 0, 0, 0, 0}",
}
# What is spoilt in memory, one after the other, and what then shows; the last stays so in the core file.
BUFFER = "spoilt.rowBuf_.block_->buffer"
SPOILT = [
    (f"*(int *)({BUFFER}.data_ + 33) = 0x60025", "watch = {7} <the count is 3>}"),
    (f"*(int *)({BUFFER}.data_ + 29) = 0x7fffea60", "= <32767 bytes at 60000 leave the 51 bytes of the buffer>,"),
    (f"*(short *){BUFFER}.data_ = 60000", "Row, <row length 60000 in 51 bytes>, type 2 = {genId = 1,"),
    ("spoilt.rowOffset_ = 30", "valid = false, entryId = <4 bytes at 21 leave the 21 bytes of the buffer>,"),
    ("spoilt.rowOffset_ = 60", "Row, <position 60 leaves the buffer of 51 bytes>"),
    (f"{BUFFER}.data_ = 16", "Row, <51 bytes at 0x10 cannot be read>"),
    ("spoilt.rowBuf_.block_->owners._M_i = 0", "Row, <0 owners: freed?>, <51 bytes at 0x10 cannot be read>"),
    ("*(long *)&spoilt.rowBuf_ = 16", "Row, <24 bytes at 0x10 cannot be read>"),
    ("*(long *)&spoilt = 16", "Row, <24 bytes at 0x10 cannot be read>"),
]
ENDED = f"p *({NEXTHOP} *)ended"
KNOWN_TABLES = "[zorva_program_table(name) == zorva_lay_out(known) for name, known in zorva_known_columns.items()]"


class Printers(unittest.TestCase):
    maxDiff = None

    def test_live_and_core(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        subprocess.run([os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", folder, "--component",
                        "runtime"], check=True, stdout=subprocess.DEVNULL)
        libraries = next(pathlib.Path(folder).glob("lib/**/libP4RuntimeRoutingEcmpTypes.so.0")).parent
        options = [f"add-auto-load-{kind} {folder}/share/gdb/auto-load" for kind in ("scripts-directory", "safe-path")]

        def gdb(*commands):
            """What the commands print as "$N = TEXT"."""
            words = [("-iex", option) for option in options] + [("-ex", command) for command in commands]
            run = subprocess.run([os.environ["GDB"], "-nx", "-batch", *sum(words, ()), os.environ["PROGRAM"]],
                                 capture_output=True, text=True)
            self.assertNotRegex(run.stdout + run.stderr, "(?i)exception|error")
            return re.findall(r"^\$\d+ = (.*)", re.sub("0x[0-9a-f]{6,}", "0x...", run.stdout), re.MULTILINE)

        rows = [f"p {expression}" for expression in ROWS] + [ENDED]
        spoilt = sum(((f"set var {change}", "p spoilt") for change, _ in SPOILT), ())
        live = gdb(f"set env LD_LIBRARY_PATH {libraries}", "break ready", "run", *rows,
                   f"python print('$0 =', {KNOWN_TABLES})", "python zorva_program_table = lambda name: None",
                   "p hop", "p group", *spoilt, f"generate-core-file {folder}/core")
        self.assertEqual(dict(zip(ROWS, live)), ROWS)
        ended, tables, hop, group, *shown = live[len(ROWS):]
        self.assertRegex(ended, "Row, .*<.*>")
        self.assertEqual([tables, hop, group], ["[True, True]", ROWS["hop"], GROUP])
        for (change, expected), text in zip(SPOILT, shown, strict=True):
            self.assertIn(expected, text, change)
        page = pathlib.Path(__file__).parents[1].joinpath("docs/debugging.md").read_text()
        for name in ("group", "null", "generic", "members"):
            self.assertIn(f"(gdb) print {name}\n{ROWS[name]}\n", page)
        core = gdb(f"core-file {folder}/core", *rows, "p spoilt")
        self.assertEqual(core, live[:len(rows)] + shown[-1:])


if __name__ == "__main__":
    unittest.main()
