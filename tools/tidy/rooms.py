"""rooms : the arrows that ARCHITECTURE.md draws, held against #include lines and link lines."""

import re

from tree import Finding

ARCHITECTURE = "ARCHITECTURE.md"
POCO_ROOMS = {"http", "transport", "host/chainhost"}

# Targets that carry another name than their room. libkelhost offers what the room kel describes.
ROOM_OF_TARGET = {
    "kel_headers": "kel",
    "kelhost": "kel",
    "kelhost_core": "kel",
    "ovcommon": "runtime",
    "ovclient": "runtime",
}

_BLOCK = re.compile(r"^```rooms\n(.*?)^```$", re.DOTALL | re.MULTILINE)
_INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


class Arrows:
    """Which rooms a room may use. Throws ValueError when the block is missing or makes no sense."""

    def __init__(self, architecture_text):
        block = _BLOCK.search(architecture_text)
        if block is None:
            raise ValueError("no fenced block ```rooms")
        self._uses = {}
        for line in block.group(1).splitlines():
            room, colon, uses = line.partition(":")
            if not colon or not room.strip() or room.strip() in self._uses:
                raise ValueError(f"bad line in the block of rooms: {line!r}")
            self._uses[room.strip()] = uses.split()
        for room, uses in self._uses.items():
            for used in uses:
                if used not in self._uses:
                    raise ValueError(f"{room} uses the room {used}, which has no line")
        self._refuse_circles()

    def rooms(self):
        return set(self._uses)

    def allows(self, room, used):
        return room == used or used in self._uses[room]

    def _refuse_circles(self):
        done = set()

        def follow(room, way):
            if room in way:
                raise ValueError("the arrows run in a circle: " + " -> ".join([*way, room]))
            if room not in done:
                for used in self._uses[room]:
                    follow(used, [*way, room])
                done.add(room)

        for room in self._uses:
            follow(room, [])


def room_of_path(path):
    """The room that a file belongs to; None: to no room."""
    parts = path.split("/")
    if len(parts) > 2 and parts[0] == "src":
        return parts[1]
    if len(parts) > 2 and parts[0] == "host":
        return "host/" + parts[1]
    if len(parts) > 2 and parts[0] == "include":
        return parts[1]
    return None


def check_rooms(tree):
    try:
        arrows = Arrows(tree.text(ARCHITECTURE))
    except KeyError:
        return [Finding(ARCHITECTURE, 0, "missing: it draws the arrows between the rooms")]
    except ValueError as error:
        return [Finding(ARCHITECTURE, 0, str(error))]
    findings = []
    for path in tree.paths():
        room = room_of_path(path)
        if room is None:
            continue
        if room not in arrows.rooms():
            findings.append(Finding(path, 0, f"the room {room} has no line in {ARCHITECTURE}"))
        elif path.endswith((".h", ".cpp", ".c")):
            findings += _check_includes(tree, path, room, arrows)
        elif path.endswith("CMakeLists.txt"):
            findings += _check_links(tree, path, room, arrows)
    return findings


def _room_of_include(name, arrows):
    first = name.split("/")[0]
    if first in arrows.rooms():
        return first
    return "host/" + first if "host/" + first in arrows.rooms() else None


def _check_includes(tree, path, room, arrows):
    findings = []
    for number, line in tree.code_lines(path):
        include = _INCLUDE.match(line)
        if include is None:
            continue
        quote, name = include.groups()
        used = _room_of_include(name, arrows)
        if used is not None and not arrows.allows(room, used):
            text = f"{room} may not include {name}: no arrow to {used}"
            findings.append(Finding(path, number, text))
        if used is None and quote == '"':
            text = f'"{name}" is in no room; ours are named by room'
            findings.append(Finding(path, number, text))
        if name.startswith("Poco/") and room not in POCO_ROOMS:
            findings.append(Finding(path, number, f"{room} is to stay free of POCO"))
    return findings


def _check_links(tree, path, room, arrows):
    code = re.sub(r"#[^\n]*", "", tree.text(path))
    findings = []
    for call in re.finditer(r"\b(room|target_link_libraries)\s*\(([^()]*)\)", code):
        words = call.group(2).split()
        if call.group(1) == "room" and "USES" in words:
            words = words[words.index("USES") :]
        for word in words[1:]:
            line = code.count("\n", 0, call.start()) + 1
            used = ROOM_OF_TARGET.get(word, word)
            if used in arrows.rooms() and not arrows.allows(room, used):
                text = f"{room} may not link {word}: no arrow to {used}"
                findings.append(Finding(path, line, text))
            if word.startswith("Poco::") and room not in POCO_ROOMS:
                findings.append(Finding(path, line, f"{room} is to stay free of POCO"))
    return findings
