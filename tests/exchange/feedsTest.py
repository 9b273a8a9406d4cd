"""nexthop-rows (NEXTHOP_ROWS) with feeds: sessions in a shell with a Redis server of its own, and what they print."""
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).parent
NETNS = f"nexthop-rows-feeds-{os.getpid()}"
VARYING = {r"/tmp/[^/]*": "FOLDER", r"\d{4}-\d\d-\d\dT[\d:.]+Z": "TIME", r"\b(?!host7)[\w.-]+:\d+(?=\"}|\n)": "HOST:PID",
           r" \d+ (s|min) ": " N s ", r'"age":[\d.]+': '"age":N'}
BEGIN = """
export SERVER=redis+unix://$PWD/socket PATH=${NEXTHOP_ROWS%/*}:$PATH
unset REDISCLI_AUTH
serve() { redis-server --port 0 --unixsocket socket --save '' >server & server=$!; await redis-cli -s socket ping; }
await() { for i in {1..1000}; do "$@" &>/dev/null && return; sleep 0.02; done; echo "in vain: $*"; tail *; }
trap 'kill $(jobs -p) 2>/dev/null' EXIT
serve
"""


class Feeds(unittest.TestCase):
    maxDiff = None

    def replay(self, session):
        expected = (HERE / session).read_text()
        script = "".join(f"echo {shlex.quote('$ ' + line)}\n{line}\n" for line in re.findall(r"(?m)^\$ (.*)\n", expected))
        variables = {"NEXTHOPS": "zorva:{leaf1}:P4RuntimeRouting::NexthopInfoRow", "NETNS": NETNS,
                     "FAULTS": HERE.parent / "dumps" / "faults"}
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            printed = subprocess.run(["bash", "-c", BEGIN + script], env=os.environ | variables, cwd=folder, text=True,
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout
        for varying, name in VARYING.items():
            printed = re.sub(varying, name, printed)
        self.assertEqual(printed, expected)

    def test_publish_read_compare_and_refuse(self):
        self.replay("feeds.session")

    def test_a_kernel_is_published_and_followed_whatever_the_server_does(self):
        self.addCleanup(subprocess.run, ["ip", "netns", "del", NETNS], stderr=subprocess.DEVNULL)
        if why := subprocess.run(["ip", "netns", "add", NETNS], capture_output=True, text=True).stderr:
            self.skipTest(f"no network namespace can be made here: {why}")
        self.replay("kernelFeed.session")


if __name__ == "__main__":
    unittest.main()
