"""tree : the files of the repository as the checks see them."""

import os
import re
from dataclasses import dataclass
from pathlib import Path

SKIPPED_FOLDERS = {".git", "build", "__pycache__"}
CPP_SUFFIXES = {".h", ".cpp", ".c"}
OTHER_SUFFIXES = {".txt", ".cmake", ".md", ".py", ".sh", ".json", ".yaml", ".yml", ".map"}
TEXT_SUFFIXES = CPP_SUFFIXES | OTHER_SUFFIXES

# What does not count as code, longest forms first: raw strings, comments, strings, characters.
_NOT_CODE = re.compile(
    r'R"(?P<mark>[^()\s\\]*)\((?:.*?)\)(?P=mark)"'
    r"|//[^\n]*"
    r"|/\*.*?\*/"
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'",
    re.DOTALL,
)


@dataclass(frozen=True, order=True)
class Finding:
    """One breach of a rule, at a line (from 1; 0: the file as a whole)."""

    path: str
    line: int
    text: str

    def __str__(self):
        return f"{self.path}:{self.line}: {self.text}"


class Tree:
    """All text files below a root, read once."""

    def __init__(self, root):
        self._texts = {}
        for folder, names, files in os.walk(root):
            names[:] = [name for name in names if name not in SKIPPED_FOLDERS]
            for file in files:
                path = Path(folder, file)
                if path.suffix in TEXT_SUFFIXES or (path.suffix == "" and _is_script(path)):
                    relative = path.relative_to(root).as_posix()
                    self._texts[relative] = path.read_text(encoding="utf-8")

    def paths(self):
        return sorted(self._texts)

    def has(self, path):
        return path in self._texts

    def cpp_paths(self, *folders):
        """The C and C++ files, below these folders or everywhere."""
        return [
            path
            for path in self.paths()
            if Path(path).suffix in CPP_SUFFIXES and (not folders or path.split("/")[0] in folders)
        ]

    def text(self, path):
        return self._texts[path]

    def lines(self, path):
        """Pairs of line number and line."""
        return list(enumerate(self._texts[path].splitlines(), start=1))

    def code_lines(self, path):
        """The same of a C or C++ file, with comments and what is in quotes left out."""
        code = without_comments_and_strings(self._texts[path])
        return list(enumerate(code.splitlines(), start=1))


def without_comments_and_strings(text):
    """Blanks them out; the lines stay where they are. Names of included files stay too."""

    def blank(match):
        kept = re.sub(r"[^\n]", " ", match.group())
        return '""' + kept[2:] if match.group().endswith('"') else kept

    parts = re.split(r"^([ \t]*#[ \t]*include[^\n]*)$", text, flags=re.MULTILINE)
    return "".join(part if i % 2 else _NOT_CODE.sub(blank, part) for i, part in enumerate(parts))


def _is_script(path):
    with open(path, "rb") as file:
        return file.read(2) == b"#!"
