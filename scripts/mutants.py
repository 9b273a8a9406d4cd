"""What scripts/mutate tries: small faults in C++ and Python files, found by their text. Knows no tests."""
import ast
import bisect
import collections
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Each operator and what it becomes. Spaces around it tell an operator from brackets, references and signs.
BINARY = dict(pair.split() for pair in (
    '< <=', '<= <', '> >=', '>= >', '== !=', '!= ==', '+ -', '- +', '* +', '/ *', '% /', '&& ||', '|| &&', '& |', '| &',
    '^ |', '<< >>', '>> <<', '+= -=', '-= +=', '&= |=', '|= &=', '^= |='))
OTHER = {'!': '', '++': '--', 'true': 'false', 'false': 'true'}
OPERATOR = re.compile(r'(?<= )(?:' + '|'.join(re.escape(o) for o in sorted(BINARY, key=len, reverse=True)) + r')(?= )'
                      r'|(?<![\w)])!(?=[\w(])|\+\+|\b(?:true|false)\b')
NUMBER = re.compile(r"(?<![\w.'])(?:0x[0-9a-fA-F]+|\d+)(?![\w.'])")
ORDER = re.compile(r'\bmemory_order_(?:acquire|acq_rel)\b|const std::lock_guard lock\([\w.()]+\);')
FETCH = re.compile(r'([\w.>-]+)\.fetch_(add|sub)\(([^(),]+)(?:, [\w:]+)?\)')
COLUMN = re.compile(r'(?<=>\(")\w+(?="\))')
CHECK = re.compile(r'(?:\w+\.)?(?:require|check|ensure|mayStore)\w*\(.*\);$')
RAW = re.compile(r'R"\((.*?)\)"', re.S)
TEXT = re.compile(r'"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])\'')
# No declarations: those have a space before the name that is called or assigned to.
STATEMENT = re.compile(r'(?!return\b|throw\b|using\b)(?:[\w:.<>,*&\[\]-]+\(.*\);|[\w:.>*\[\]()-]+ [-+&|^]?= .*;|'
                       r'(?:\+\+|--)[\w.>-]+;|[\w.>-]+(?:\+\+|--);)$', re.S)
DECLARED = re.compile(r'(?:const )?[\w:<>,*& ]*[\w>*&] [&*]*\w+ *(?:=.*)?$', re.S)  # a parameter or a variable
PREFIX = re.compile(r'\s*(?:else\b|do\b|(?:case\b[^;{}?]*?|default|public|private|protected):(?!:))')
HEAD = re.compile(r'\s*(?:if|for|while|switch)\b\s*(?:constexpr\s*)?(?=\()')
# What gives the same when it is replaced by a value that is nothing.
NOTHING = ('', '{}', '0', 'nullptr', 'std::nullopt', '""', 'false', 'None')

Mutant = collections.namedtuple('Mutant', 'kind file begin end new')
texts = {}


def text_of(file):
    return texts.setdefault(file, (ROOT / file).read_text())


def line_of(mutant):
    return text_of(mutant.file).count('\n', 0, mutant.begin) + 1


def lines_around(mutant):
    """The text from the start of the mutant's first line to the end of its last, before and after."""
    text = text_of(mutant.file)
    begin = text.rfind('\n', 0, mutant.begin) + 1
    end = text.find('\n', mutant.end)
    end = len(text) if end < 0 else end
    return text[begin:end], text[begin:mutant.begin] + mutant.new + text[mutant.end:end]


def mutated(mutant):
    text = text_of(mutant.file)
    return text[:mutant.begin] + mutant.new + text[mutant.end:]


def blank(pattern, text):
    return re.sub(pattern, lambda match: re.sub(r'[^\n]', ' ', match.group()), text, flags=re.S | re.M)


class Source:
    """A C++ file without comments and what is not run, or not by tests; `bare` is without the insides of texts too."""

    def __init__(self, file):
        # A raw text becomes one that is as long and blank: its lines are mutated as one.
        text = RAW.sub(lambda match: '""' + re.sub(r'[^\n]', ' ', match[0][2:]), text_of(file))
        text = re.sub(rf'({TEXT.pattern})|//[^\n]*', lambda match: match[1] or ' ' * len(match[0]), text)
        self.code = blank(r'static_assert\([^;]*;|concept [^;]*;|\[\[[^]]*\]\]|__attribute__\(\(.*?\)\)|'
                          r'^ *#(?:[^\n]*\\\n)*[^\n]*|operator[^\w\s]+\(', text)
        self.bare = re.sub(TEXT, lambda match: match[0][0] + ' ' * (len(match[0]) - 2) + match[0][0], self.code)

    def closing(self, at):
        """Where the bracket that opens there ends, just behind it."""
        depth = 0
        for i in range(at, len(self.bare)):
            if self.bare[i] in '([{':
                depth += 1
            elif self.bare[i] in ')]}':
                depth -= 1
                if depth == 0:
                    return i + 1
        return len(self.bare)

    def parts(self, begin, end, separator=','):
        """The spans between separators that are in no brackets of their own, without the spaces around them."""
        spans, depth, start = [], 0, begin
        for i in range(begin, end + 1):
            character = self.bare[i] if i < end else separator
            # Angle brackets of a template are told from a comparison by the missing spaces.
            if character in '([{' or (character == '<' and self.bare[i - 1:i].isalnum()):
                depth += 1
            elif character in ')]}' or (character == '>' and self.bare[i - 1] not in ' -=' and depth > 0):
                depth -= 1
            elif character == separator and (depth == 0 or i == end):
                spans.append(self.stripped(start, i))
                start = i + 1
        return spans

    def stripped(self, begin, end):
        while begin < end and self.bare[begin].isspace():
            begin += 1
        while begin < end and self.bare[end - 1].isspace():
            end -= 1
        return begin, end

    def operand(self, at, step):
        """How far what is joined at a place by && or the like extends, to the left (-1) or to the right (1)."""
        opening, ending = ('([{', ')]}') if step > 0 else (')]}', '([{')
        depth, i = 0, at if step > 0 else at - 1
        while 0 <= i < len(self.bare):
            character = self.bare[i]
            if character in opening:
                depth += 1
            elif character in ending:
                if depth == 0:
                    break
                depth -= 1
            elif depth == 0:
                around = self.bare[max(0, i - 1):i + 2]
                if character in ',;?' or self.bare[i - 1:i + 2] in (' = ', ' : ') or \
                        around in (' &&', '&& ', ' ||', '|| ') and self.bare[i] in '&|' or \
                        step < 0 and re.search(r'\breturn$', self.bare[max(0, i - 6):i + 1]):
                    break
            i += step
        return i if step > 0 else i + 1

    def statements(self):
        """All statements that are run: (begin, end, whether a loop's `break` and a void function's `return` may stand
        there)."""
        blocks = []  # kind, depth of parentheses and start of the statement around it
        depth, start, i = 0, 0, 0
        while i < len(self.bare):
            character = self.bare[i]
            if character in '([':
                depth += 1
            elif character in ')]':
                depth -= 1
            elif character == '{':
                blocks.append((self.kind(start, i, depth, blocks), depth, start))
                depth, start = 0, i + 1
            elif character == '}' and blocks:
                kind, depth, before = blocks.pop()
                start = before if kind in ('value', 'lambda') else i + 1
            elif character == ';' and depth == 0:
                kinds = [kind for kind, _, _ in blocks]
                begin = self.behind_heads(start, i)
                if begin < i and not {'function', 'void', 'lambda'}.isdisjoint(kinds):
                    last = next(kind for kind in reversed(kinds) if kind != 'block')
                    in_loop = last == 'loop' or re.match(r'\s*(?:for|while)\b', self.bare[start:i]) is not None
                    around = [kind for kind in kinds if kind in ('function', 'void', 'lambda')][-1]
                    yield begin, i + 1, in_loop, around == 'void'
                start = i + 1
            i += 1

    def behind_heads(self, begin, end):
        """The start of a statement behind `else`, `if (...)` and labels."""
        while True:
            if match := PREFIX.match(self.bare, begin, end):
                begin = match.end()
            elif match := HEAD.match(self.bare, begin, end):
                begin = self.closing(match.end())
            else:
                return self.stripped(begin, end)[0]

    def kind(self, start, at, depth, blocks):
        head = self.bare[start:at].strip()
        inside = any(kind in ('function', 'void', 'lambda') for kind, _, _ in blocks)
        if re.search(r'\[[^][]*\]\s*(?:\([^{}]*\)\s*)?(?:mutable\s*|noexcept\s*)?(?:-> [\w:<>*& ]+)?$', head):
            return 'lambda'
        if depth or not re.search(r'(?:\)|\bconst|\bnoexcept|\boverride|\belse|\bdo|\btry|-> [\w:<>*& ]+)$|'
                                  r'(?:^|\b)(?:namespace|struct|class|enum|union|extern)\b', head) and head:
            return 'value'
        if inside:
            return ('loop' if re.match(r'(?:else\s+)?(?:for|while|do)\b', head) else
                    'switch' if head.startswith('switch') else 'block')
        if re.search(r'(?:^|\s)(?:namespace|struct|class|enum|union|extern)\b[^()]*$', head):
            return 'space'
        return 'void' if re.search(r'\bvoid\s+[\w:~]+\s*\(', head) else 'function'


def in_cpp(file):
    source = Source(file)
    code, bare = source.code, source.bare
    columns = dict(re.findall(r'\{"(\w+)", (?:Zorva::)?Type::(\w+)', code))

    def mutant(kind, begin, end, new):
        return Mutant(kind, file, begin, end, new)

    for match in ORDER.finditer(bare):
        yield mutant('order', *match.span(), 'memory_order_relaxed' if 'order' in match[0] else ';')
    for match in FETCH.finditer(bare):
        sign = {'add': '+', 'sub': '-'}[match[2]]
        yield mutant('order', *match.span(), f'[](auto& counter) {{ const auto before = counter.load(); '
                                             f'counter.store(before {sign} {match[3]}); return before; }}({match[1]})')
    for match in COLUMN.finditer(code):
        same = [name for name, kind in columns.items() if kind == columns.get(match[0]) and name != match[0]]
        for name in same[:1]:
            yield mutant('column', *match.span(), name)
    for match in OPERATOR.finditer(bare):
        yield mutant('operator', *match.span(), {**BINARY, **OTHER}[match[0]])
        if match[0] in ('&&', '||'):
            left = source.stripped(source.operand(match.start(), -1), match.start())
            right = source.stripped(match.end(), source.operand(match.end(), 1))
            yield mutant('conjunct', left[0], right[0], '')
            yield mutant('conjunct', left[1], right[1], '')
    for match in NUMBER.finditer(bare):
        if re.search(r'\)[\w ]* = $', bare[:match.start()][-30:]):
            continue  # a pure virtual function
        yield mutant('limit', *match.span(), str(int(match[0], 16 if 'x' in match[0] else 10) + 1))
    for match in RAW.finditer(text_of(file)):
        yield mutant('text', match.end() - 2, match.end() - 2, '~')
    for match in TEXT.finditer(code):
        if match[0] == '""' and text_of(file)[match.start()] == 'R':
            continue
        if not re.search(r'extern $|include $|asm\($|: $', code[max(0, match.start() - 8):match.start()]) or \
                '(' in code[code.rfind('\n', 0, match.start()) + 1:match.start()]:
            inner = match[0][1:-1]
            if match[0][0] == '"':
                yield mutant('text', *match.span(), f'"{inner}~"')
            elif len(inner) == 1:
                yield mutant('text', *match.span(), f"'{'#' if inner != '#' else '%'}'")
    for begin, end, in_loop, in_void in source.statements():
        statement = bare[begin:end]
        value = re.match(r'return\b\s*(.*);$', statement, re.S)
        if value and value[1] not in (*NOTHING, 'true'):
            yield mutant('return', begin, end, 'return {};')
        if statement in ('return;', 'break;', 'continue;'):
            yield mutant('early', begin, end, ';')
        if statement == 'continue;':
            yield mutant('early', begin, end, 'break;')
        if statement.startswith('throw'):
            yield mutant('swallow', begin, end, ';')
        if STATEMENT.match(statement):
            yield mutant('statement', begin, end, ';')
            if in_loop:
                yield mutant('early', begin, end, 'break;')
            elif in_void:
                yield mutant('early', begin, end, 'return;')
    for match in re.finditer(r'\b(if|while|for)\b\s*(?:constexpr\s*)?\(', bare):
        spans = source.parts(match.end(), source.closing(match.end() - 1) - 1, ';')
        begin, end = spans[1] if match[1] == 'for' and len(spans) == 3 else spans[-1]
        if begin == end or match[1] == 'for' and len(spans) != 3:
            continue
        if re.match(r'[\w:<>*& ]+ [&*]*\w+ = ', bare[begin:end]):  # a declaration
            continue
        for forced in ('true', 'false') if match[1] == 'if' else ('false',):
            if bare[begin:end] != forced:
                yield mutant('condition', begin, end, forced)
    for match in re.finditer(r'(?<=\s)\? ', bare):
        begin, end = source.stripped(source.operand(match.start(), -1), match.start())
        for forced in ('true', 'false'):
            yield mutant('condition', begin, end, forced)
    for match in re.finditer(r'(?<=[\w>])\((?=[^)])|(?:(?<=return )|(?<== ))\{', bare):
        if re.search(r'\b(?:if|while|for|switch|catch)\s*(?:constexpr\s*)?$|\b(?:min|max)$', bare[:match.start()][-20:]):
            continue  # no call, or one that takes its arguments in either order
        end = source.closing(match.start()) - 1
        spans = source.parts(match.end(), end)
        if any(DECLARED.match(bare[slice(*span)]) or bare[slice(*span)].endswith(('&', '*', '_t')) for span in spans):
            continue
        for a, b in zip(spans, spans[1:]):
            if a[0] < a[1] and b[0] < b[1] and code[slice(*a)] != code[slice(*b)]:
                yield mutant('arguments', a[0], b[1], code[slice(*b)] + code[a[1]:b[0]] + code[slice(*a)])
        if match[0] == '{' and len(spans) > 1 and code[slice(*spans[-1])] not in NOTHING:
            yield mutant('member', spans[-2][1], spans[-1][1], '')
    for match in re.finditer(r'(?<=[,:] )\w+_([({])', bare):
        end = source.closing(match.end() - 1)
        if source.stripped(match.end(), end - 1)[0] < end - 1 and re.match(r',|\s*[{:]', bare[end:end + 80]):
            yield mutant('member', match.end(), end - 1, '')
    for match in re.finditer(r'\bcatch \([^)]*\)\s*\{', bare):
        begin, end = source.stripped(match.end(), source.closing(match.end() - 1) - 1)
        if begin < end:
            yield mutant('swallow', begin, end, '')
    ends = [match.end() for match in re.finditer(r'\n|$', bare)]
    lines = bare.split('\n')
    for number in range(len(lines) - 1):
        if all(CHECK.match(line.strip()) for line in lines[number:number + 2]) and lines[number] != lines[number + 1]:
            begin, end = ends[number] - len(lines[number]) - 1, ends[number] + len(lines[number + 1])
            yield mutant('swap', begin, end, '\n'.join(reversed(text_of(file)[begin:end].split('\n'))))


COMPARE = {'Lt': '<=', 'LtE': '<', 'Gt': '>=', 'GtE': '>', 'Eq': '!=', 'NotEq': '==', 'Is': 'is not', 'IsNot': 'is',
           'In': 'not in', 'NotIn': 'in'}
ARITHMETIC = {'Add': '-', 'Sub': '+', 'Mult': '+', 'FloorDiv': '*', 'Mod': '+', 'BitAnd': '|', 'BitOr': '&', 'LShift': '>>'}


def in_python(file):
    text = text_of(file)
    starts = [0, *(match.end() for match in re.finditer('\n', text))]
    tree = ast.parse(text)

    def span(first, last=None):
        last = last or first  # ASCII only: columns count bytes
        return starts[first.lineno - 1] + first.col_offset, starts[last.end_lineno - 1] + last.end_col_offset

    def source(node):
        return text[slice(*span(node))]

    def mutant(kind, where, new):
        return Mutant(kind, file, *(where if isinstance(where, tuple) else span(where)), new)

    inside = set()  # what stands in the braces of an f-string has no places of its own
    documentation = set()
    last = set()  # what ends a function by returning nothing, which it does anyway
    for node in ast.walk(tree):
        if isinstance(node, ast.FunctionDef) and isinstance(node.body[-1], ast.Try):
            last.update(handler for handler in node.body[-1].handlers if source(handler.body[-1]) == 'return None')
        if isinstance(node, ast.JoinedStr):
            inside.update(part for part in ast.walk(node) if part is not node)
        body = getattr(node, 'body', None)
        if isinstance(body, list) and body and isinstance(body[0], ast.Expr) and isinstance(body[0].value, ast.Constant):
            documentation.update((body[0], body[0].value))
    for node in ast.walk(tree):
        if node in inside or node in documentation:
            continue
        if isinstance(node, (ast.If, ast.While, ast.IfExp)):
            for forced in ('True', 'False') if not isinstance(node, ast.While) else ('False',):
                yield mutant('condition', node.test, forced)
        elif isinstance(node, ast.BoolOp):
            for value, following in zip(node.values, node.values[1:]):
                yield mutant('conjunct', (span(value)[0], span(following)[0]), '')
            yield mutant('conjunct', (span(node.values[-2])[1], span(node.values[-1])[1]), '')
        elif isinstance(node, ast.Compare) and len(node.ops) == 1:
            yield mutant('operator', node,
                         f'{source(node.left)} {COMPARE[type(node.ops[0]).__name__]} {source(node.comparators[0])}')
        elif isinstance(node, ast.Compare):
            yield mutant('conjunct', (span(node.left)[0], span(node.comparators[0])[0]), '')
            yield mutant('conjunct', (span(node.comparators[-2])[1], span(node)[1]), '')
        elif isinstance(node, ast.BinOp) and type(node.op).__name__ in ARITHMETIC:
            yield mutant('operator', node, f'{source(node.left)} {ARITHMETIC[type(node.op).__name__]} {source(node.right)}')
        elif isinstance(node, ast.UnaryOp) and isinstance(node.op, ast.Not):
            yield mutant('operator', node, source(node.operand))
        elif isinstance(node, ast.Constant) and isinstance(node.value, bool):
            yield mutant('operator', node, str(not node.value))
        elif isinstance(node, ast.Constant) and isinstance(node.value, int):
            yield mutant('limit', node, str(node.value + 1))
        elif isinstance(node, ast.Constant) and isinstance(node.value, (str, bytes)) or isinstance(node, ast.JoinedStr):
            if source(node).endswith('"') and '"""' not in source(node):
                yield mutant('text', node, source(node)[:-1] + '~"')
        elif isinstance(node, ast.Return) and node.value and source(node.value) not in NOTHING:
            yield mutant('return', node, 'return None')
        elif isinstance(node, (ast.Expr, ast.Assign, ast.AugAssign)):
            if not isinstance(getattr(node, 'value', None), (ast.Yield, ast.YieldFrom)):
                yield mutant('statement', node, 'pass')
        elif isinstance(node, ast.Raise):
            yield mutant('swallow', node, 'pass')
        elif isinstance(node, (ast.Break, ast.Continue)):
            yield mutant('early', node, 'pass')
        elif isinstance(node, ast.ExceptHandler) and node not in last and not isinstance(node.body[0], ast.Pass):
            yield mutant('swallow', (span(node.body[0])[0], span(node.body[-1])[1]), 'pass')
        elif isinstance(node, ast.Call):
            for a, b in zip(node.args, node.args[1:]):
                if source(a) != source(b):
                    yield mutant('arguments', (span(a)[0], span(b)[1]), f'{source(b)}, {source(a)}')
        if isinstance(node, (ast.For, ast.While)) and not isinstance(node.body[0], ast.If):
            yield mutant('early', node.body[-1], 'break')


def mutants_of(file):
    """All mutants of a file, each with another text than the file has; no two alike."""
    found = {}
    for mutant in (in_python if file.endswith('.py') else in_cpp)(file):
        text = text_of(mutant.file)
        assert 0 <= mutant.begin <= mutant.end <= len(text), mutant
        if text[mutant.begin:mutant.end] != mutant.new:
            found.setdefault((mutant.begin, mutant.end, mutant.new), mutant)
    if file.endswith('.py'):
        for key, mutant in list(found.items()):
            try:
                compile(mutated(mutant), file, 'exec')
            except SyntaxError:
                del found[key]
    return list(found.values())


def lines_of_code(file):
    """How many lines are neither blank nor comment."""
    return sum(not re.match(r'\s*(?://|#|$)', line) for line in text_of(file).split('\n'))
