"""The gdb printers, as installed, on a live process and on its core file. PROGRAM is tests/gdb/rows.cpp, BUILD the
build tree; GDB and CMAKE are the tools.
"""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

# What gdb prints of sound rows, and of one that is spoilt step by step, the last step staying so in the core file.
SOUND, SPOILT = (re.findall(r"^\(gdb\) (.*)(?:\n(?!\(gdb\))(.+))?", part, re.MULTILINE) for part in
                 pathlib.Path(__file__).with_name("gdb").joinpath("session.txt").read_text().split("\n\n"))


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

        rows = [command for command, _ in SOUND] + ["p *(P4RuntimeRouting::NexthopInfoRow *)ended"]
        live = gdb(f"set env LD_LIBRARY_PATH {libraries}", "break ready", "run", *rows,
                   *(command for command, _ in SPOILT), f"generate-core-file {folder}/core")
        sound, spoilt = ([text for _, text in session if text] for session in (SOUND, SPOILT))
        ended = live.pop(len(sound))
        self.assertEqual(live, sound + spoilt)
        self.assertRegex(ended, "Row, .*<.*>")
        page = pathlib.Path(__file__).parents[1].joinpath("docs/debugging.md").read_text()
        listings = set(re.findall(r"^\(gdb\) print (.*)\n(.*)", page, re.MULTILINE))
        self.assertTrue(set() < listings <= {(command.removeprefix("p "), text) for command, text in SOUND})
        core = gdb(f"core-file {folder}/core", *rows, "p spoilt")
        self.assertEqual(core, [*sound, ended, live[-1]])


if __name__ == "__main__":
    unittest.main()
