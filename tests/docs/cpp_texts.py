"""cpp_texts : the texts that C++ sources put together, and the lines that they log.

A text is what an expression of string literals joined with "+" yields, each other operand of it
standing as HOLE. Includes, comments, assertions and what extern "C" says are passed over.
"""

import re
from dataclasses import dataclass, replace
from pathlib import Path

HOLE = "\0"

_TOKEN = re.compile(
    r"(?P<blank>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*#(?:[^\n\\]|\\.)*)"
    r'|(?:u8|[LuU])?(?:R"(?P<mark>[^()\s\\]*)\((?P<raw>.*?)\)(?P=mark)"'
    r'|"(?P<text>(?:\\.|[^"\\\n])*)")'
    r"|(?P<other>'(?:\\.|[^'\\\n])+'|\d[\w.']*|\w+|::|->|.)",
    re.DOTALL | re.MULTILINE,
)
_ESCAPE = re.compile(r"\\(x[0-9a-fA-F]+|[0-7]{1,3}|.)", re.DOTALL)
_ESCAPED = {"n": "\n", "r": "\r", "t": "\t", "v": "\v", "f": "\f", "a": "\a", "b": "\b"}
_OPENING = {"(": ")", "[": "]", "{": "}"}
_NAME = re.compile(r"[A-Za-z_]\w*$")
_STATEMENTS = {"if", "for", "while", "switch", "catch"}
_PASSED_OVER = {"static_assert", "assert", "asm", "__asm__"}


@dataclass(frozen=True)
class Token:
    kind: str  # "text" or "other"
    value: str
    line: int


@dataclass(frozen=True)
class Text:
    """One composed text, where it begins, and what it is for."""

    path: str
    line: int
    value: str
    name: str = ""  # of the variable that it initialises or the function that it is given to
    is_thrown: bool = False
    is_map_key: bool = False  # it makes a MapKey

    def literal(self):
        return self.value.replace(HOLE, "")

    def shown(self):
        return self.value.replace(HOLE, "<>").strip()

    def matches(self, text):
        """Whether the expression may yield this text."""
        return re.fullmatch(self._pattern(self.value), text, re.DOTALL) is not None

    def is_in(self, text):
        """Whether what the expression yields may stand in this text; blanks around do not count."""
        return re.search(self._pattern(self.value.strip()), text, re.DOTALL) is not None

    @staticmethod
    def _pattern(value):
        return ".*".join(re.escape(part) for part in value.split(HOLE))


@dataclass(frozen=True)
class LogCall:
    """One call of a logger. Several levels: the call chooses among them. None: the function around
    it is handed the level."""

    path: str
    line: int
    levels: frozenset
    function: str  # the function around it
    format: str | None  # None: not a literal
    arguments: tuple  # the tokens of each, joined


def unescaped(text):
    def plain(match):
        code = match.group(1)
        if code[0] == "x":
            return chr(int(code[1:], 16))
        return chr(int(code, 8)) if code.isdigit() else _ESCAPED.get(code, code)

    return _ESCAPE.sub(plain, text)


def tokens_of(source):
    """The tokens of a source; adjacent string literals are one."""
    tokens = []
    line = 1
    for match in _TOKEN.finditer(source):
        if match["blank"] is None:
            is_text = match["other"] is None
            value = match["other"]
            if is_text:
                value = match["raw"] if match["raw"] is not None else unescaped(match["text"])
            if is_text and tokens and tokens[-1].kind == "text":
                tokens[-1] = Token("text", tokens[-1].value + value, tokens[-1].line)
            else:
                tokens.append(Token("text" if is_text else "other", value, line))
        line += match.group().count("\n")
    return tokens


def closing(tokens, at):
    """The position of the bracket that closes the one at `at`."""
    wanted = []
    for position in range(at, len(tokens)):
        token = tokens[position]
        if token.kind == "text":
            continue
        if token.value in _OPENING:
            wanted.append(_OPENING[token.value])
        elif wanted and token.value == wanted[-1]:
            wanted.pop()
            if not wanted:
                return position
    return len(tokens) - 1


def split_arguments(tokens, begin, end):
    """The arguments between two brackets, as lists of tokens."""
    arguments = [[]]
    position = begin + 1
    while position < end:
        token = tokens[position]
        if token.kind == "other" and token.value in _OPENING:
            close = closing(tokens, position)
            arguments[-1] += tokens[position : close + 1]
            position = close + 1
            continue
        if token.kind == "other" and token.value == ",":
            arguments.append([])
        else:
            arguments[-1].append(token)
        position += 1
    return arguments


class Source:
    """One C++ file, read for its texts and its log calls."""

    def __init__(self, path, source):
        self.path = path
        self.tokens = tokens_of(source)
        self.texts = []
        self._collect(0, len(self.tokens))
        self.calls = list(self._log_calls())

    def _is(self, at, *values):
        token = self.tokens[at] if at < len(self.tokens) else None
        return token is not None and token.kind == "other" and token.value in values

    def _is_name(self, at):
        return self.tokens[at].kind == "other" and _NAME.match(self.tokens[at].value)

    # Appends the texts between two positions.
    def _collect(self, begin, end):
        at = begin
        while at < end:
            if self._is(at, *_PASSED_OVER) and self._is(at + 1, "("):
                at = closing(self.tokens, at + 1) + 1
            elif self._is(at, "extern") and self.tokens[at + 1].kind == "text":
                at += 2
            elif self.tokens[at].kind == "text" or self._is_name(at):
                at = self._sum(at, end)
            else:
                at += 1

    # Reads operands joined by "+" from `at` on; returns the position behind them.
    def _sum(self, at, end):
        first = at
        parts = []
        while True:
            part, at = self._operand(at, end)
            parts.append(part)
            more = at + 1 < end and self._is(at, "+") and not self._is(at + 1, "+", "=")
            if not more or not (self.tokens[at + 1].kind == "text" or self._is_name(at + 1)):
                break
            at += 1
        value = "".join(parts)
        if value.replace(HOLE, ""):
            name = self._initialised(first)
            self.texts.append(
                Text(
                    self.path,
                    self.tokens[first].line,
                    value,
                    name,
                    is_thrown=self._is_thrown(first) or name == "fail",
                    is_map_key=self._makes_key(first),
                )
            )
        return at

    # Whether the statement around `at` throws what is made there.
    def _is_thrown(self, at):
        while at > 0 and not self._is(at, ";", "}", "throw"):
            at -= 1
        return self._is(at, "throw")

    # MapKey{"..."}, MapKey("...") or either with a name between.
    def _makes_key(self, at):
        if not self._is(at - 1, "{", "("):
            return False
        return self._is(at - 2, "MapKey") or self._is(at - 3, "MapKey")

    # A literal, or a name with its members, calls and subscripts; what is inside these is
    # collected on its own, but std::string(...) is what it holds.
    def _operand(self, at, end):
        if self.tokens[at].kind == "text":
            return self.tokens[at].value, at + 1
        names = []
        while at < end:
            if self._is_name(at):
                names.append(self.tokens[at].value)
                at += 1
            elif self._is(at, "::", "->", ".") and at + 1 < end and self._is_name(at + 1):
                at += 1
            elif self._is(at, "(", "[", "{"):
                close = min(closing(self.tokens, at), end)
                held = self.tokens[at + 1] if at + 1 < close else None
                if names[-1:] == ["string"] and close == at + 2 and held.kind == "text":
                    return held.value, close + 1
                self._collect(at + 1, close)
                at = close + 1
                names = []
                if not self._is(at, "::", "->", ".", "(", "["):
                    break
            else:
                break
        return HOLE, at

    # The variable in "name = ...", "name[] = ...", "name(...)" or "name{...}" around `at`.
    def _initialised(self, at):
        before = at - 1
        if before >= 0 and self._is(before, "=", "(", "{"):
            before -= 1
            while before >= 0 and self._is(before, "[", "]", "="):
                before -= 1
            if before >= 0 and self._is_name(before):
                return self.tokens[before].value
        return ""

    def _log_calls(self):
        for at in range(1, len(self.tokens) - 1):
            if not self._is(at, "log", "info", "debug") or not self._is(at - 1, ".", "->"):
                continue
            if not self._is(at + 1, "("):
                continue
            arguments = split_arguments(self.tokens, at + 1, closing(self.tokens, at + 1))
            yield self._log_call(at, arguments)

    def _log_call(self, at, arguments):
        token = self.tokens[at]
        levels = frozenset([token.value.upper()])
        if token.value == "log":
            levels = _levels_in(arguments.pop(0))
        form, *rest = arguments
        literal = form[0].value if len(form) == 1 and form[0].kind == "text" else None
        names = tuple("".join(part.value for part in argument) for argument in rest)
        return LogCall(self.path, token.line, levels, self._function_around(at), literal, names)

    # The name in "name(...) ... {" whose braces enclose `at`, statements such as "if" apart.
    def _function_around(self, at):
        depth = 0
        for position in range(at, 0, -1):
            depth += self._is(position, "{") - self._is(position, "}")
            if depth <= 0 or not self._is(position, "{"):
                continue
            depth = 0
            name = self._called_before(position)
            if name and name not in _STATEMENTS:
                return name
        return ""

    # The name in "name(...)" that ends right before a brace, qualifiers and initialisers apart.
    def _called_before(self, brace):
        position = brace - 1
        while position > 0 and self._is(position, "const", "noexcept", "override"):
            position -= 1
        if not self._is(position, ")"):
            return ""
        depth = 0
        while position > 0:
            depth += self._is(position, ")") - self._is(position, "(")
            if depth == 0:
                break
            position -= 1
        return self.tokens[position - 1].value if self._is_name(position - 1) else ""

    def members_used(self, owner):
        """The names in "owner.name"."""
        return {
            self.tokens[at + 2].value
            for at in range(len(self.tokens) - 2)
            if self._is(at, owner) and self._is(at + 1, ".")
        }

    def levels_handed_to(self, function):
        """The levels that calls of a function name; if one names none, all that the file does."""
        levels = set()
        for at in range(len(self.tokens) - 1):
            if self._is(at, function) and self._is(at + 1, "("):
                arguments = self.tokens[at + 1 : closing(self.tokens, at + 1)]
                levels |= _levels_in(arguments) or _levels_in(self.tokens)
        return levels


def _levels_in(tokens):
    return frozenset(
        tokens[at + 2].value.upper()
        for at in range(len(tokens) - 2)
        if tokens[at].value == "LogLevel" and tokens[at + 1].value == "::"
    )


def log_calls(sources):
    """All log calls, their levels told from the callers where they are handed in."""
    calls = []
    for call in (call for source in sources for call in source.calls):
        levels = call.levels
        if not levels and call.function:
            levels = frozenset().union(*(s.levels_handed_to(call.function) for s in sources))
        calls.append(replace(call, levels=levels))
    return calls


def sources_below(root, folder):
    """All C++ files below a folder of the tree, in the order of their names."""
    files = sorted(Path(root, folder).rglob("*"))
    return [
        Source(file.relative_to(root).as_posix(), file.read_text(encoding="utf-8"))
        for file in files
        if file.suffix in (".cpp", ".h")
    ]
