"""Where a C++ file can be broken in a small way: a comparison, an operator, a constant, a bound, a
condition, a statement or the order of two. Reads our own sources, which clang-format has laid out:
a binary operator stands between blanks, a template bracket or a pointer star does not."""

import dataclasses
import random
import re

TOKEN = re.compile(
    r"""(?P<blank>\s+|//[^\n]*|/\*.*?\*/)
      |(?P<directive>^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*)
      |(?P<string>"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])')
      |(?P<number>(?:0[xX][0-9a-fA-F]+|\d+\.?\d*(?:[eE][+-]?\d+)?)[uUlLfF]*)
      |(?P<name>[A-Za-z_]\w*)
      |(?P<op><=>|<<=|>>=|\.\.\.|::|->|\+\+|--|&&|\|\||[<>=!+\-*/%&|^]=|<<|>>|.)""",
    re.X | re.S | re.M)

COMPARISONS = {"<": ["<=", ">=", ">"], "<=": ["<", ">", ">="], ">": [">=", "<=", "<"],
               ">=": [">", "<", "<="], "==": ["!="], "!=": ["=="]}
ARITHMETIC = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*", "/"], "+=": ["-="],
              "-=": ["+="], "|=": ["&="], "&": ["|"], "|": ["&"], "<<": [">>"], ">>": ["<<"]}
WRAPPED = {"wrap_add": ["wrap_sub"], "wrap_sub": ["wrap_add"], "wrap_mul": ["wrap_add"]}
LIMITS = {"min": ["max"], "max": ["min"]}
CLAMPS = ("av_limit_min_max", "clamp")
SIZE_NAME = re.compile(r"VCA_\w+_(NUM|MAX|MIN|ROWS|COLS|GRID)$")
DECLARES = {"return", "if", "for", "while", "switch", "case", "goto", "using", "typedef", "const",
            "constexpr", "auto", "static", "struct", "class", "delete", "default", "public",
            "private", "template", "else", "do", "extern", "namespace", "enum", "static_assert",
            "inline", "explicit", "throw", "try", "catch"}
ASSIGNS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>=", "++", "--"}
OPEN, CLOSE = "([{", ")]}"


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    start: int
    block: str = ""  # what the innermost brace around it encloses: code, scope or list
    depth: int = 0
    mate: int = -1  # index of the other bracket
    mate_block: str = ""  # of an opening brace: what it encloses itself

    @property
    def end(self):
        return self.start + len(self.text)


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    kind: str
    start: int
    end: int
    before: str
    after: str
    line: int

    def apply(self, text):
        assert text[self.start:self.end] == self.before
        return text[:self.start] + self.after + text[self.end:]


def tokenize(text):
    tokens = [Token(m.lastgroup, m.group(), m.start()) for m in TOKEN.finditer(text)
              if m.lastgroup not in ("blank", "directive")]
    stack = []
    for i, tok in enumerate(tokens):
        if tok.kind == "op" and tok.text in CLOSE and stack:
            tok.mate = stack.pop()
            tokens[tok.mate].mate = i
        braces = [tokens[k] for k in stack if tokens[k].text == "{"]
        tok.depth = len(stack)
        tok.block = braces[-1].mate_block if braces else "scope"
        if tok.kind == "op" and tok.text in OPEN:
            if tok.text == "{":
                tok.mate_block = brace_kind(tokens, i, tok.block)
            stack.append(i)
    return tokens


def brace_kind(tokens, i, outer):
    before = [t.text for t in tokens[max(0, i - 12):i]]
    head = []
    for text in reversed(before):
        if text in (";", "{", "}", ")"):
            break
        head.append(text)
    if any(word in head for word in ("namespace", "struct", "class", "enum", "union")):
        return "scope"
    if head and head[-1] == "extern":
        return "scope"
    last = before[-1] if before else ""
    if last in (")", "else", "do", "const", "noexcept", "override", "]"):
        return "code"
    if last in (";", "}", "{") and outer == "code":
        return "code"
    return "list"


class Finder:
    """All mutants of one file, by kind."""

    def __init__(self, name, text):
        self.name, self.text = name, text
        self.tokens = tokenize(text)
        self.found = {}
        self.skip = self.left_out()
        for i, tok in enumerate(self.tokens):
            if i not in self.skip:
                self.at_token(i, tok)
        self.statements()

    def add(self, kind, start, end, after):
        before = self.text[start:end]
        # The lines behind keep their numbers, which the log prints.
        lost = before.count("\n") - after.count("\n")
        line = self.text.count("\n", 0, start) + 1
        self.found.setdefault(kind, []).append(
            Mutant(self.name, kind, start, end, before, after + "\n" * max(0, lost), line))

    def left_out(self):
        skip = set()
        for i, tok in enumerate(self.tokens):
            if tok.text in ("static_assert", "using", "template"):
                end = i
                while self.tokens[end].text not in (";", ">"):
                    end += 1
                skip.update(range(i, end + 1))
        return skip

    def binary(self, tok):
        return self.text[tok.start - 1].isspace() and self.text[tok.end].isspace()

    def at_token(self, i, tok):
        following = self.tokens[i + 1].text if i + 1 < len(self.tokens) else ""
        if tok.kind == "op":
            self.at_operator(tok)
        elif tok.kind == "number":
            for after in other_constants(tok.text):
                self.add("constant", tok.start, tok.end, after)
        elif tok.text in WRAPPED and following == "(":
            for after in WRAPPED[tok.text]:
                self.add("arithmetic", tok.start, tok.end, after)
        elif tok.text in LIMITS and following == "(" and self.tokens[i - 1].text == "::":
            for after in LIMITS[tok.text]:
                self.add("bound", tok.start, tok.end, after)
        elif tok.text in CLAMPS and following == "(" and self.tokens[i - 1].kind != "name":
            self.at_clamp(i)
        elif tok.text in ("true", "false"):
            self.add("truth", tok.start, tok.end, "false" if tok.text == "true" else "true")
        elif tok.text in ("break", "continue"):
            self.add("jump", tok.start, tok.end,
                     "continue" if tok.text == "break" else "break")
        elif tok.text in ("if", "while") and following == "(":
            close = self.tokens[self.tokens[i + 1].mate]
            start = self.tokens[i + 1].end
            condition = self.text[start:close.start]
            self.add("condition", start, close.start, "!(" + condition + ")")
        elif SIZE_NAME.match(tok.text) and tok.block != "list":
            self.add("constant", tok.start, tok.end, f"({tok.text} - 1)")
            self.add("constant", tok.start, tok.end, f"({tok.text} + 1)")

    def at_operator(self, tok):
        if tok.text in ("++", "--"):
            self.add("step", tok.start, tok.end, "--" if tok.text == "++" else "++")
        if not self.binary(tok):
            return
        for after in COMPARISONS.get(tok.text, []):
            self.add("comparison", tok.start, tok.end, after)
        for after in ARITHMETIC.get(tok.text, []):
            self.add("arithmetic", tok.start, tok.end, after)
        if tok.text in ("&&", "||"):
            self.add("logic", tok.start, tok.end, "||" if tok.text == "&&" else "&&")

    # A clamp without its bounds.
    def at_clamp(self, i):
        first = i
        while self.tokens[first - 1].text == "::":
            first -= 2
        opening = self.tokens[i + 1]
        close = self.tokens[opening.mate]
        comma = next(t for t in self.tokens[i + 2:] if t.text == "," and
                     t.depth == opening.depth + 1)
        self.add("bound", self.tokens[first].start, close.end,
                 "(" + self.text[opening.end:comma.start] + ")")

    def statements(self):
        previous = None
        for i, tok in enumerate(self.tokens):
            if not self.starts_statement(i):
                continue
            end = self.end_of_statement(i)
            kind = self.statement_kind(i, end) if end is not None else None
            if kind is None:
                continue
            last = self.tokens[end]
            self.add("statement", tok.start, last.end, ";")
            in_row = self.tokens[i - 1].text in (";", "{", "}")
            if (previous is not None and previous[1] == i - 1 and in_row and kind != "jump" and
                    previous[2] != "jump" and self.may_differ(previous, (i, end, kind))):
                first = self.text[self.tokens[previous[0]].start:self.tokens[previous[1]].end]
                gap = self.text[self.tokens[previous[1]].end:tok.start]
                second = self.text[tok.start:last.end]
                if first != second:
                    self.add("order", self.tokens[previous[0]].start, last.end,
                             second + gap + first)
            previous = (i, end, kind) if in_row else None

    def starts_statement(self, i):
        if i == 0 or self.tokens[i].block != "code" or i in self.skip:
            return False
        before = self.tokens[i - 1]
        if before.text in (";", "{", "}", "else", "do") and before.kind != "string":
            # Not the clauses of a for loop.
            return self.innermost(i) == "{"
        if before.text == ")":
            return self.tokens[before.mate - 1].text in ("if", "for", "while")
        return False

    def innermost(self, i):
        for k in range(i - 1, -1, -1):
            tok = self.tokens[k]
            if tok.text in OPEN and tok.kind == "op" and (tok.mate > i or tok.mate < 0):
                return tok.text
        return ""

    def end_of_statement(self, i):
        k = i
        while self.tokens[k].text != ";":
            if self.tokens[k].text in CLOSE:
                return None
            k = self.tokens[k].mate if self.tokens[k].text in OPEN else k
            k += 1
        return k

    # "call", "assignment" or "jump"; None for declarations and everything else.
    def statement_kind(self, i, end):
        texts = [t.text for t in self.tokens[i:end + 1]]
        if texts in (["return", ";"], ["continue", ";"], ["break", ";"]):
            return "jump"
        if texts[0] in ("++", "--"):
            return "assignment"
        if texts[0] in DECLARES or not (self.tokens[i].kind == "name" or texts[0] == "*"):
            return None
        k = i + 1 if texts[0] == "*" else i
        called = False
        while k < end:
            tok = self.tokens[k]
            if tok.text in ASSIGNS:
                return "assignment"
            if tok.text in ("(", "["):
                called = tok.text == "("
                k = tok.mate + 1
                continue
            if tok.text == "<" and not self.binary(tok):
                while self.tokens[k].text != ">":
                    k += 1
            elif tok.kind == "name":
                if self.tokens[k - 1].kind == "name" and k > i:
                    return None
                if self.tokens[k - 1].text in ("*", "&", ">") and k > i + (texts[0] == "*"):
                    return None
            elif tok.text not in ("::", ".", "->", "*", "&"):
                return None
            k += 1
        return "call" if called else None

    # Two assignments to different places that do not read each other may change places unnoticed.
    def may_differ(self, a, b):
        if a[2] == "call" and b[2] == "call":
            return True
        return any(self.written(x) & self.names(y) for x, y in ((a, b), (b, a)))

    def names(self, statement):
        return {t.text for t in self.tokens[statement[0]:statement[1]] if t.kind == "name"}

    def written(self, statement):
        if statement[2] == "call":
            return self.names(statement)
        last = None
        k = statement[0]
        if self.tokens[k].text in ("++", "--"):
            k += 1
        while k < statement[1] and self.tokens[k].text not in ASSIGNS:
            tok = self.tokens[k]
            if tok.text in ("(", "["):
                k = tok.mate
            elif tok.kind == "name":
                last = tok.text
            k += 1
        return {last} if last else set()


def other_constants(text):
    suffix = text[len(text.rstrip("uUlLfF")):] if not text.lower().startswith("0x") else ""
    digits = text[:len(text) - len(suffix)]
    if "." in digits or "e" in digits.lower() and not digits.lower().startswith("0x"):
        value = float(digits)
        if value == 0.0:
            return ["1.0" + suffix]
        return [repr(value * factor) + suffix for factor in (1.01, 1.1, 2.0)]
    value = int(digits, 0)
    return [f"{value + 1}{suffix}"] + ([f"{value - 1}{suffix}"] if value > 0 else [])


def code_lines(text):
    """Lines that hold code: what a file's share of the mutants is measured by."""
    bare = re.sub(r"//[^\n]*", "", text)
    return sum(1 for line in bare.splitlines() if line.strip() and not line.startswith("#"))


def choose(sources, seed):
    """All mutants in the order in which they are tried. A file is drawn in proportion to its code,
    then a kind, then a place, then one way of changing it."""
    rng = random.Random(seed)
    places = {}
    for name, text in sources.items():
        kinds = {}
        for kind, mutants in Finder(name, text).found.items():
            at = {}
            for mutant in mutants:
                at.setdefault((mutant.start, mutant.end), []).append(mutant)
            kinds[kind] = list(at.values())
        if kinds:
            places[name] = kinds
    names = list(places)
    weights = [code_lines(sources[name]) for name in names]
    while names:
        name = rng.choices(names, weights)[0]
        kinds = places[name]
        kind = rng.choice(sorted(kinds))
        variants = kinds[kind].pop(rng.randrange(len(kinds[kind])))
        if not kinds[kind]:
            del kinds[kind]
        if not kinds:
            del weights[names.index(name)]
            names.remove(name)
        yield rng.choice(variants)
