"""Writes what a run measured: the tables in docs/performance.md, between its two marks, and docs/performance.svg."""
import datetime
import json
import pathlib
import platform
import re

BEGIN = '<!-- measured: scripts/bench writes from here -->'
END = '<!-- measured: to here -->'

# Verbs of the chart, with the label of each.
CHART = {'build': 'build', 'copy-drop': 'copy, drop', 'copy-modify': 'copy, modify', 'read-one': 'read one column',
         'read-all': 'read all columns', 'equality': 'equality', 'content-hash': 'content hash', 'json': 'JSON'}
# The chart's variants, ours first.
VARIANTS = {'ours': ('exported', 'row'), 'limit': ('limit',), 'shared_ptr': ('shared_ptr',),
            'FlatBuffers': ('flatbuffers',), "Cap'n Proto": ('capnproto',), 'protobuf': ('protobuf',)}
COLOURS = ('#1f77b4', '#7f7f7f', '#bcbd22', '#ff7f0e', '#2ca02c', '#d62728')


def processor():
    """Name, family, model, stepping and largest cache of the processor."""
    said = {}
    with open('/proc/cpuinfo', encoding='ascii', errors='replace') as info:
        for line in info:
            if ':' not in line:
                break
            name, value = (part.strip() for part in line.split(':', 1))
            said[name] = value
    caches = ', '.join(f'L{cache["level"]} {cache["size"]}' for cache in cache_sizes())
    numbers = ', '.join(f'{name} {said[key]}' for name, key in
                        (('family', 'cpu family'), ('model', 'model'), ('stepping', 'stepping')) if key in said)
    return f'{said.get("model name", platform.machine())} ({"; ".join(filter(None, (numbers, caches)))})'


def cache_sizes():
    for folder in sorted(pathlib.Path('/sys/devices/system/cpu/cpu0/cache').glob('index*')):
        cache = {name: (folder / name).read_text().strip() for name in ('level', 'type', 'size')}
        if cache['type'] != 'Instruction':
            yield cache


def rounded(measured):
    """Four digits say all that a time is worth."""
    return {group: {name: float(f'{number:.4g}') for name, number in sorted(numbers.items())}
            for group, numbers in measured.items()}


def kept(path, command, measured):
    """Writes the run into the file of all processors' runs, in place of this processor's last one, which it puts first,
    and returns them all."""
    runs = json.loads(path.read_text(encoding='utf-8')) if path.exists() else {}
    name = processor()
    earlier = {other: run for other, run in runs.items() if other != name}
    ran = f'`{command}` on {datetime.date.today()}, {platform.system()} {platform.release()}'
    runs = {name: {'ran': ran, **measured}} | earlier
    path.write_text(json.dumps(runs, indent=1) + '\n', encoding='utf-8')
    return runs


def table(head, rows):
    lines = ['| ' + ' | '.join(head) + ' |', '|' + ' --- |' * len(head)]
    return '\n'.join(lines + ['| ' + ' | '.join(row) + ' |' for row in rows])


def times_table(times):
    verbs = {}
    for name, time in times.items():
        verb, variant = name.split('/')
        verbs.setdefault(verb, []).append(f'{variant} {time:.4g}')
    natural = lambda verb: [int(part) if part.isdigit() else part for part in re.split(r'(\d+)', verb)]
    return table(('case', 'ns'), ((verb, ', '.join(sorted(verbs[verb]))) for verb in sorted(verbs, key=natural)))


def measured(runs, goals):
    """`goals(run)` are a run's goals with the verdict on each."""
    names = list(runs)
    columns = [goals(run) for run in runs.values()]
    met = [f'{sum(verdict == "met" for _, verdict in column)} of '
           f'{sum(verdict != "not measured" for _, verdict in column)} goals met' for column in columns]
    shown = lambda goal, verdict: '–' if goal.measured is None else (
        f'{goal.measured:.2f}' if verdict == 'met' else f'**{goal.measured:.2f}**')
    rows = [[column[i] for column in columns] for i in range(len(columns[0]))]
    newest = runs[names[0]]
    reasons = [f'- {goal.name}: {verdict}, the limit 1' for goal, verdict in columns[0] if 'out of reach' in verdict]
    return '\n\n'.join([
        BEGIN,
        '\n'.join(f'{i}. {name}: {runs[name]["ran"]}; {met[i - 1]}.' for i, name in enumerate(names, 1)),
        'Where nothing else stands behind a goal, it is a ratio to the limit of the same operation. Bold figures miss it;'
        ' the columns are the processors above.',
        table(('goal', 'wanted', *map(str, range(1, len(names) + 1))),
              ((row[0][0].name, f'{"≤" if row[0][0].relation == "<=" else "≥"} {row[0][0].wanted:g}',
                *(shown(*cell) for cell in row)) for row in rows)),
        *(['Out of reach on the first processor:', '\n'.join(reasons)] if reasons else []),
        '## Times', f'Of {names[0]}: fastest repetition, nanoseconds an operation.',
        '![Times of the row, its limit and its peers](performance.svg)', times_table(newest['rows']),
        'With a second thread alive:', times_table(newest['second']),
        'Tables, nanoseconds a row:', times_table(newest['many']),
        'Heap bytes a row:', table(('case', 'bytes'), ((n, f'{b:.1f}') for n, b in newest['bytes'].items())),
        END])


def chart(times):
    """Grouped bars, one group a verb: each variant's time as a multiple of ours."""
    bar, gap, left, scale, widest = 11, 14, 130, 70, 8.0
    body, y = [], 40
    for i, (name, colour) in enumerate(zip(VARIANTS, COLOURS)):
        body.append(f'<rect x="{left + 95 * i}" y="10" width="10" height="10" fill="{colour}"/>'
                    f'<text x="{left + 95 * i + 14}" y="19">{name}</text>')
    for verb, label in CHART.items():
        present = [(next((times[f'{verb}/{v}'] for v in variants if f'{verb}/{v}' in times), None), colour)
                   for variants, colour in zip(VARIANTS.values(), COLOURS)]
        ours = present[0][0]
        body.append(f'<text x="{left - 8}" y="{y + 10}" text-anchor="end">{label}</text>')
        for time, colour in present:
            if time is None:
                continue
            ratio = time / ours
            width = scale * min(ratio, widest)
            body.append(f'<rect x="{left}" y="{y}" width="{width:.1f}" height="{bar - 2}" fill="{colour}"/>'
                        f'<text x="{left + width + 4:.1f}" y="{y + 9}">{time:.3g} ns'
                        f'{f" ({ratio:.0f} times, cut)" if ratio > widest else ""}</text>')
            y += bar
        y += gap
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + 800}" height="{y}" font-family="sans-serif" '
            f'font-size="11">\n<rect width="100%" height="100%" fill="white"/>\n' + '\n'.join(body) +
            f'\n<line x1="{left + scale}" x2="{left + scale}" y1="32" y2="{y - gap}" stroke="black" '
            'stroke-dasharray="3"/>\n</svg>\n')


def write(folder, runs, goals):
    page = folder / 'performance.md'
    text = page.read_text(encoding='utf-8') if page.exists() else f'# Performance\n\n{BEGIN}\n{END}\n'
    before, rest = text.split(BEGIN)
    after = rest.split(END)[1]
    page.write_text(before + measured(runs, goals) + after, encoding='utf-8')
    (folder / 'performance.svg').write_text(chart(next(iter(runs.values()))['rows']), encoding='utf-8')
