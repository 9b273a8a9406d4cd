"""Measures nexthop-rows on the running kernel, in network namespaces of its own."""
import contextlib
import json
import os
import pathlib
import socket
import statistics
import struct
import subprocess
import sys
import time

DEVICES = 64


def commands(nexthops, groups):
    for device in range(DEVICES):
        yield from (f'link add e{device} up type veth peer name p{device}', f'link set p{device} up',
                    f'addr add 10.{device}.0.1/16 dev e{device}')
        yield from (f'neigh add 10.{device}.0.{host + 2} lladdr 02:00:00:00:{device:02x}:{host:02x} dev e{device}'
                    for host in range(200))
    for i in range(nexthops):
        yield f'nexthop add id {i + 1} via 10.{i % DEVICES}.0.{i // DEVICES % 200 + 2} dev e{i % DEVICES}'
    for i in range(groups):
        yield f'nexthop add id {nexthops + i + 1} group ' + '/'.join(str((i * 64 + k) % nexthops + 1) for k in range(64))


@contextlib.contextmanager
def namespace(name, nexthops, groups):
    """A namespace of that many next hops, yielded as the words to put before a command."""
    subprocess.run(['ip', 'netns', 'add', name], check=True)
    try:
        batch = '\n'.join(commands(nexthops, groups))
        subprocess.run(['ip', '-n', name, '-batch', '-'], input=batch, text=True, check=True)
        yield ['ip', 'netns', 'exec', name]
    finally:
        subprocess.run(['ip', 'netns', 'del', name], check=True)


def change(program, turns=2000):
    """Within a namespace: the median seconds from the kernel's acknowledgement of a changed next hop, the last one, to
    the line that watch prints, and watch's processor seconds a change."""
    watch = subprocess.Popen([program, 'watch', '--live', '--json'], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    last = 0
    for event in map(json.loads, iter(watch.stdout.readline, b'')):
        if event['event'] == 'complete':
            break
        if event['type'] == 'nexthop':
            last = event['id']
    rtnetlink = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 0)
    rtnetlink.bind((0, 0))
    device = socket.if_nametoindex('e0')

    def used():
        return int(pathlib.Path(f'/proc/{watch.pid}/schedstat').read_text().split()[0]) / 1e9

    times, before = [], used()
    for turn in range(turns):
        attributes = struct.pack('=HHI', 8, 1, last) + struct.pack('=HHI', 8, 5, device) + struct.pack(
            '=HH4B', 8, 6, 10, 0, 0, 50 + turn % 2)
        rtnetlink.send(struct.pack('=IHHII4BI', 48, 104, 0x505, turn, 0, socket.AF_INET, 0, 4, 0, 0) + attributes)
        error = struct.unpack_from('=i', rtnetlink.recv(4096), 16)[0]
        acknowledged = time.perf_counter()
        if error:
            sys.exit(f'bench: the kernel refuses a change: {os.strerror(-error)}')
        watch.stdout.readline()
        times.append(time.perf_counter() - acknowledged)
    seconds = (used() - before) / turns
    watch.terminate()
    watch.wait()
    return statistics.median(times), seconds


def measure(build, sizes=(1_000, 100_000)):
    """The times of an import of the largest size, as kernelImport prints them, and change() of each; None where no
    namespace can be made."""
    changes = []
    for size in sizes:
        try:
            with namespace(f'nexthop-rows-bench-{os.getpid()}', size, size // 100) as inside:
                changes.append(json.loads(subprocess.run(
                    [*inside, sys.executable, '-B', __file__, build / 'nexthop_rows/nexthop-rows'],
                    check=True, capture_output=True, text=True).stdout))
                imported = json.loads(subprocess.run([*inside, build / 'bench/kernel-import'], check=True,
                                                     capture_output=True, text=True).stdout)
        except subprocess.CalledProcessError as error:
            print(f'bench: no figures of the running kernel: {error}', file=sys.stderr)
            return None
    return imported, changes


if __name__ == '__main__':
    print(json.dumps(change(sys.argv[1])))
