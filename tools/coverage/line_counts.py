"""line_counts : how often each line has run, as the compiler's counters of one build tell it."""

import json
import os
import shlex
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path


class CountsError(Exception):
    """The build has not left what the counts are made of."""


def objects_of(build):
    """The object files of the build, as far as they are compiled with counters."""
    commands = json.loads(Path(build, "compile_commands.json").read_text(encoding="utf-8"))
    notes = [_output(command).with_suffix(".gcno") for command in commands]
    return [file for file in notes if file.exists()]


def _output(command):
    words = shlex.split(command["command"])
    return Path(command["directory"], words[words.index("-o") + 1])


def read_counts(build, root):
    """{path below root: {line: count}}, summed over all objects that hold code of the line."""
    files = objects_of(build)
    if not files:
        raise CountsError(f"{build} is not built with counters")
    if not any(file.with_suffix(".gcda").exists() for file in files):
        raise CountsError(f"nothing has run in {build}")
    counts = {}
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for document in pool.map(lambda file: _gcov(file, root), files):
            for file in document["files"]:
                path = Path(file["file"]).relative_to(root).as_posix()
                lines = counts.setdefault(path, {})
                for line in file["lines"]:
                    number = line["line_number"]
                    lines[number] = lines.get(number, 0) + line["count"]
    return counts


def _gcov(notes, root):
    command = ["gcov", "--json-format", "--stdout", "--relative-only", "--source-prefix", str(root)]
    result = subprocess.run(
        [*command, str(notes)], cwd=notes.parent, capture_output=True, text=True, check=False
    )
    # An object of which nothing has run leaves no counters, which gcov only mentions.
    if result.returncode != 0 or not result.stdout.strip():
        raise CountsError(f"gcov fails on {notes}: {result.stderr.strip()}")
    return json.loads(result.stdout)
