#!/usr/bin/env python3
"""Runs the built benchmark, prints one line per goal and writes docs/performance.md and docs/performance.svg.

All programs run pinned to one core, taking turns. What counts of each case is its fastest repetition within this run;
a goal is a ratio of two such minima. Variants of one verb must agree in their checksums.
"""
import argparse
import collections
import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

import kernel
import madeUpDump
import report

ROOT = pathlib.Path(__file__).resolve().parent.parent
OURS = r'/(row|builder|exported|generic-row|row-operations)$'
MANY = r'^(grow|insert|find|heap)-'

Goal = collections.namedtuple('Goal', 'name measured relation wanted')


class Minima:
    """The fastest repetition of every case of one program, over all its turns."""

    def __init__(self, *command):
        self.command = command
        self.times = {}
        self.checks = {}
        self.bytes = {}

    def turn(self, filter_, repetitions, min_time=0.001):
        output = subprocess.run(
            [*pinned(), *self.command, f'--benchmark_filter={filter_}', f'--benchmark_repetitions={repetitions}',
             f'--benchmark_min_time={min_time}', '--benchmark_enable_random_interleaving=true',
             '--benchmark_format=json'],
            check=True, capture_output=True, text=True).stdout
        for run in json.loads(output)['benchmarks']:
            if run['run_type'] != 'iteration':
                continue
            name = run['run_name'].removesuffix('/iterations:1/manual_time')
            if 'bytes' in run:
                self.bytes[name] = run['bytes']
                continue
            time = run['cpu_time'] if name == run['run_name'] else run['real_time']
            self.times[name] = min(time, self.times.get(name, time))
            if self.checks.setdefault(name.split('/')[0], run['check']) != run['check']:
                sys.exit(f'bench: {name} did other work than the variants of its verb before it')

    def ratio(self, a, b):
        return self.times[a] / self.times[b]


def pinned():
    return ['taskset', '-c', str(max(os.sched_getaffinity(0)))]


def seconds_of(command):
    """The processor time that a command takes."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([*pinned(), *command], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def measure_program(build, turns):
    """Processor time of nexthop-rows filing a made-up dump against nlohmann-json's parse of the same files."""
    with tempfile.TemporaryDirectory() as folder:
        files = madeUpDump.write(pathlib.Path(folder), nexthops=100_000, groups=1_000, members=64)
        program = [build / 'nexthop_rows/nexthop-rows', '--dir', folder, '--stats']
        parse = [build / 'bench/parse-json', *files]
        times = [(seconds_of(program), seconds_of(parse)) for _ in range(turns)]
    return min(t for t, _ in times), min(t for _, t in times)


def measure_exchange(build, quick):
    """What bench/exchange.cpp prints, by name. Not pinned: it is about processes that work side by side."""
    output = subprocess.run([build / 'bench/exchange-bench', *(['--quick'] if quick else [])], check=True,
                            capture_output=True, text=True).stdout
    return {name: float(number) for name, number in (line.split(': ') for line in output.splitlines())}


def goals(rows, second, checks_cost, many, program, exchange, huge):
    r, s, m = rows.ratio, second.ratio, many.ratio
    sizes = ['100000', '1000000'] + (['10000000'] if huge else [])
    per_row = [many.times[f'grow-{n}/row'] for n in sizes]
    all_goals = [
        Goal('build, inlined builder / limit', r('build/builder', 'build/limit'), '<=', 1.10),
        Goal('build, exported constructor / limit', r('build/exported', 'build/limit'), '<=', 1.30),
        Goal('build with a second thread / its limit', s('build/builder', 'build/limit'), '<=', 1.10),
        Goal('build, FlatBuffers / ours', r('build/flatbuffers', 'build/builder'), '>=', 2.8),
        Goal("build, Cap'n Proto / ours", r('build/capnproto', 'build/builder'), '>=', 2.8),
    ]
    for n, wanted in ((0, 1.25), (4, 1.25), (64, 1.25), (1024, 1.05), (4095, 1.05)):
        all_goals.append(Goal(f'ECMP build, {n} members / limit',
                              r(f'ecmp-build-{n}/row', f'ecmp-build-{n}/limit'), '<=', wanted))
    all_goals += [
        Goal('ECMP build, 4 members, two vectors / ours', r('ecmp-build-4/two-vectors', 'ecmp-build-4/row'), '>=', 1.3),
        Goal('copy and drop, shared_ptr / generic row', r('copy-drop/shared_ptr', 'copy-drop/generic-row'), '>=', 3.0),
        Goal('copy and drop, shared_ptr / typed row', r('copy-drop/shared_ptr', 'copy-drop/row'), '>=', 3.0),
        Goal('copy and drop with a second thread, shared_ptr / generic row',
             s('copy-drop/shared_ptr', 'copy-drop/generic-row'), '>=', 2.2),
        Goal('copy and drop with a second thread, shared_ptr / typed row',
             s('copy-drop/shared_ptr', 'copy-drop/row'), '>=', 2.2),
        Goal('copy and modify / limit', r('copy-modify/row', 'copy-modify/limit'), '<=', 1.35),
        Goal('read one column / limit', r('read-one/row', 'read-one/limit'), '<=', 1.10),
        Goal('read all columns / limit', r('read-all/row', 'read-all/limit'), '<=', 1.4),
        Goal('all row cases, with / without bounds checks', checks_cost, '<=', 1.05),
        Goal('key hash / its arithmetic', r('key-hash/row', 'key-hash/limit'), '<=', 1.35),
        Goal('key hash, row operations / its arithmetic', r('key-hash/row-operations', 'key-hash/limit'), '<=', 1.7),
        Goal('content hash / its arithmetic', r('content-hash/row', 'content-hash/limit'), '<=', 1.25),
        Goal("content hash, boost's combine / ours", r('boost-content-hash/boost', 'content-hash/row'), '>=', 2.5),
    ]
    for n in (1024, 4095):
        all_goals.append(Goal(f'ECMP content hash, {n} members / one chain',
                              r(f'ecmp-content-hash-{n}/row', f'ecmp-content-hash-{n}/limit'), '<=', 1.25))
    all_goals.append(Goal('equality / memcmp', r('equality/row', 'equality/limit'), '<=', 1.9))
    for n in (1024, 4095):
        all_goals.append(Goal(f'ECMP equality, {n} members / memcmp',
                              r(f'ecmp-equality-{n}/row', f'ecmp-equality-{n}/limit'), '<=', 1.15))
    all_goals += [
        Goal('order in the last column / memcmp', r('order/row', 'order/limit'), '<=', 4),
        Goal('text, string stream / ours', r('text/string-stream', 'text/row'), '>=', 7),
        Goal('JSON, string stream / ours', r('json-text/string-stream', 'json-text/row'), '>=', 7),
        Goal('JSON, protobuf / ours', r('json/protobuf', 'json/row'), '>=', 25),
    ]
    for n in (4, 64, 1024, 4095):
        all_goals.append(Goal(f'array text, {n} members, string stream / ours',
                              r(f'ecmp-array-text-{n}/string-stream', f'ecmp-array-text-{n}/row'), '>=', 5))
    all_goals += [
        Goal('insertion into a plain stream, plain way / ours', r('insertion/plain', 'insertion/row'), '>=', 3),
        Goal('heap bytes a next hop row', round(many.bytes['heap-1000000/row'], 1), '<=', 120),
        Goal('table of 10^6, dependent find / boost', m('find-1000000/row', 'find-1000000/boost'), '<=', 1.1),
        Goal('table of 10^6, bytes / boost', many.bytes['heap-table-1000000/row'] /
             many.bytes['heap-table-1000000/boost'], '<=', 1.2),
        Goal('table of 10^6, insert / boost', m('insert-1000000/row', 'insert-1000000/boost'), '<=', 1.6),
        Goal(f'build, per row at 10^5 to 10^{len(sizes[-1]) - 1}, slowest / fastest',
             max(per_row) / min(per_row), '<=', 1.15),
        Goal('nexthop-rows / nlohmann-json parse alone', program[0] / program[1], '<=', 2),
        Goal('10,000 rows from table to table, ms', exchange['ms for 10,000 rows'], '<=', 100),
        Goal('10,000 rows, field by field / ours',
             exchange['ms for 10,000 rows by fields, all of a row at once'] / exchange['ms for 10,000 rows'], '>=', 10),
        Goal('many rows from table to table, rate / bare processes',
             exchange['ms for many rows, bare'] / exchange['ms for many rows'], '>=', 0.5),
        Goal('one change from call to call, median, us', exchange['us for one change, median'], '<=', 1000),
        Goal("10^6 changes of 1,000 keys, server's peak MB", exchange["server's peak MB"], '<=', 64),
        Goal('and rows then told to the follower', exchange['rows told after standing still'], '<=', 1000),
    ]
    return all_goals


def kernel_goals(measured):
    """On the running kernel; none where it may not be asked."""
    if measured is None:
        return []
    imported, ((small_latency, small_cost), (large_latency, large_cost)) = measured
    wanted = max(1.5 * (imported['receiving'] + imported['filing']), imported['nexthops'] * 1e-6)
    return [
        Goal('watch, a change at 10^3 next hops, median ms to its line', small_latency * 1e3, '<=', 5),
        Goal('watch, a change at 10^5 next hops, median ms to its line', large_latency * 1e3, '<=', 5),
        Goal('watch, processor time a change, 10^5 / 10^3 next hops', large_cost / small_cost, '<=', 1.5),
        Goal('import of 10^5 next hops / receiving and filing alone, or 1 µs each',
             imported['import'] / wanted, '<=', 1),
        Goal('bytes a next hop beyond its row', round(imported['stateBytes'] / imported['nexthops']), '<=', 300),
    ]


def met(goal):
    return goal.measured <= goal.wanted if goal.relation == '<=' else goal.measured >= goal.wanted


def measure(build, quick, huge):
    rows = Minima(build / 'bench/zorva-bench')
    second = Minima(build / 'bench/zorva-bench', '--second-thread')
    checked = Minima(build / 'bench/zorva-bench')
    unchecked = Minima(build / 'bench/zorva-bench-unchecked')
    many = Minima(build / 'bench/zorva-bench')
    turns = 16 if quick else 60  # each with processes of their own: where memory comes to lie matters
    for turn in range(turns):
        print(f'bench: turn {turn + 1} of {turns}', file=sys.stderr)
        rows.turn('-' + MANY, repetitions=16)
        second.turn('^(build|copy-drop|copy-modify)/', repetitions=15)
        for program in (checked, unchecked):
            program.turn(OURS, repetitions=10)
        many.turn('^(insert|find)-1000000/', repetitions=1)
        if turn % 6 == 0:
            many.turn('^(grow|insert|find)-(10000|100000|1000000)/|^heap-', repetitions=1)
    if huge:
        many.turn('^(insert|find)-10000000/', repetitions=2)
        for _ in range(3):
            many.turn('^grow-10000000/', repetitions=6)
    program = measure_program(build, turns // 3)
    cost = 1.0
    for name, time in unchecked.times.items():
        cost *= (checked.times[name] / time) ** (1 / len(unchecked.times))
    return (goals(rows, second, cost, many, program, measure_exchange(build, quick), huge) +
            kernel_goals(kernel.measure(build)), rows, second, many)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('build', type=pathlib.Path, help='the build folder')
    parser.add_argument('--quick', action='store_true', help='fewer repetitions: under three minutes')
    parser.add_argument('--huge', action='store_true', help='also tables of 10^7 rows (4 GB of memory)')
    arguments = parser.parse_args()

    results, rows, second, many = measure(arguments.build, arguments.quick, arguments.huge)
    for goal in results:
        print(f'{goal.name:<66} {goal.measured:7.2f}  wanted {goal.relation} {goal.wanted:<6g}'
              f' {"met" if met(goal) else "missed"}')
    print(f'{sum(map(met, results))} of {len(results)} goals met')
    flags = ''.join(f' --{name}' for name in ('quick', 'huge') if getattr(arguments, name))
    report.write(ROOT / 'docs', 'scripts/bench' + flags, [(goal, met(goal)) for goal in results],
                 rows.times, second.times, many)


if __name__ == '__main__':
    main()
