"""Writes what a run measured: the tables in docs/performance.md, between its two marks, and docs/performance.svg."""
import datetime
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
    with open('/proc/cpuinfo', encoding='ascii', errors='replace') as info:
        return next((line.split(':')[1].strip() for line in info if line.startswith('model name')), platform.machine())


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


def measured(command, goals, rows, second, many):
    goal_rows = ((goal.name, f'{goal.measured:.2f}', f'{"≤" if goal.relation == "<=" else "≥"} {goal.wanted:g}',
                  'met' if met else '**missed**') for goal, met in goals)
    met_count = sum(met for _, met in goals)
    return '\n\n'.join([
        BEGIN,
        f'`{command}` on {datetime.date.today()}, {processor()}, {platform.system()} {platform.release()}. '
        f'{met_count} of {len(goals)} goals met.',
        '![Times of the row, its limit and its peers](performance.svg)',
        table(('goal', 'measured', 'wanted', ''), goal_rows),
        '## Times', 'Fastest repetition, nanoseconds an operation.', times_table(rows),
        'With a second thread alive:', times_table(second),
        'Tables, nanoseconds a row:', times_table(many.times),
        'Heap bytes a row:', table(('case', 'bytes'), ((n, f'{b:.1f}') for n, b in sorted(many.bytes.items()))),
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


def write(folder, command, goals, rows, second, many):
    page = folder / 'performance.md'
    text = page.read_text(encoding='utf-8') if page.exists() else f'# Performance\n\n{BEGIN}\n{END}\n'
    before, rest = text.split(BEGIN)
    after = rest.split(END)[1]
    page.write_text(before + measured(command, goals, rows, second, many) + after, encoding='utf-8')
    (folder / 'performance.svg').write_text(chart(rows), encoding='utf-8')
