"""Measures nexthop-rows on the running kernel, in network namespaces of its own."""
import contextlib
import itertools
import json
import os
import pathlib
import socket
import statistics
import struct
import subprocess
import sys
import threading
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


def watching(program):
    """A watch that has printed what there is, and its events of next hops until then."""
    watch = subprocess.Popen([program, 'watch', '--live', '--json'], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    events = itertools.takewhile(lambda event: event['event'] != 'complete', map(json.loads, watch.stdout))
    return watch, [event for event in events if event['type'] == 'nexthop']


def change(program, turns=2000):
    """Within a namespace: the median seconds from the kernel's acknowledgement of a changed next hop, the last one, to
    the line that watch prints, and watch's processor seconds a change."""
    watch, events = watching(program)
    last = events[-1]['id']
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


def burst(program):
    """Within a namespace: the seconds that watch takes longer than `ip -batch` to have a new gateway for each next hop."""
    watch, events = watching(program)
    view = {event['id']: event['row']['dmac'] for event in events}
    marker = len(view) * 2
    batch = ''.join(f'nexthop replace id {i + 1} via 10.{i % DEVICES}.0.{(i // DEVICES + 1) % 200 + 2} '
                    f'dev e{i % DEVICES}\n' for i in range(len(view))) + f'nexthop add id {marker} dev e0\n'
    done = []

    def make():
        status = subprocess.run(['ip', '-batch', '-'], input=batch, text=True).returncode
        done.append(time.perf_counter())
        if status:
            watch.terminate()

    maker = threading.Thread(target=make)
    maker.start()
    lines = list(itertools.takewhile(lambda line: b'"id":%d,' % marker not in line, watch.stdout))
    seen = time.perf_counter()
    maker.join()
    watch.terminate()
    watch.wait()
    for event in map(json.loads, lines):
        if event.get('type') == 'nexthop' and 'dmac' in event.get('changes', {}):
            view[event['id']] = event['changes']['dmac']['new']
    rows = map(json.loads, subprocess.run([program, 'json', '--live'], capture_output=True, check=True).stdout.splitlines())
    if view != {row['id']: row['dmac'] for row in rows if 'dmac' in row and row['id'] != marker}:
        sys.exit('bench: after many changes watch has other rows than the kernel')
    return seen - done[0]


def measure(build, sizes=(1_000, 100_000)):
    """The times of an import of the largest size, as kernelImport prints them, and change() and burst() of each; None where no
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
    print(json.dumps((*change(sys.argv[1]), burst(sys.argv[1]))))
