#!/usr/bin/env python3
"""Holds every #include, and every library linked in a CMakeLists.txt, to scripts/arrows.txt; a line for each offence."""

import os
import re
import subprocess
import sys

TABLE = "scripts/arrows.txt"
HEADER = re.compile(r'\s*#\s*(?:include|import)\s*(?:"([^"]+)"|<(kalvetra/[^>]+)>)')


def read_table(report):
    """{folder: the folders that it may include}, in the table's order."""
    allowed = {}
    for number, line in enumerate(open(TABLE), 1):
        line = line.split("#")[0].rstrip()
        if not line:
            continue
        if line[0].isspace():
            name, words = next(reversed(allowed)), line.split()
        else:
            name, words = line.partition(":")[0], line.partition(":")[2].split()
        others = list(allowed) if words == ["*"] else words
        for other in others:
            if other not in allowed or other == name:
                report(TABLE, number, f"{name} names {other}, which has no line before it: put the lower folder first")
        allowed.setdefault(name, set()).update(others)
    return allowed


def room_of(path, allowed):
    """The folder of the table that holds a file; None if none does."""
    folder = os.path.dirname(path)
    while folder and folder not in allowed:
        folder = os.path.dirname(folder)
    return folder or None


def rooms_of(folder, allowed):
    """The folders of the table that lie in a folder, itself with them, or the one that it lies in."""
    inside = {room for room in allowed if (room + "/").startswith(folder + "/")}
    return inside or {room_of(folder + "/CMakeLists.txt", allowed)}


def check_includes(files, allowed, report):
    for path in files:
        room = room_of(path, allowed)
        if room is None:
            report(path, 1, f"its folder has no line in {TABLE}: give it one")
            continue
        for number, line in enumerate(open(path, encoding="utf-8"), 1):
            match = HEADER.match(line)
            if not match:
                continue
            header = match[1] or "include/" + match[2]
            if match[1] and header.startswith("kalvetra/"):
                header = "include/" + header
            if not os.path.exists(header):
                report(path, number, f'includes "{header}", which is no file: write the path from the top of the tree, '
                       "or <...> for a library's header")
                continue
            other = room_of(header, allowed)
            if other != room and other not in allowed[room]:
                report(path, number, f'includes "{header}", but {room} may include nothing of {other}: move what both need '
                       f"to a folder below, or pass it in from above ({TABLE})")


def check_links(files, allowed, report):
    """A folder's libraries link those alone of whose folders its files, or those of its subfolders, may include some."""
    commands = []
    for path in files:
        text = re.sub(r"#[^\n]*", lambda comment: " " * len(comment[0]), open(path).read())
        for match in re.finditer(r"\b(add_library|target_link_libraries)\s*\(([^)]*)\)", text):
            commands.append((path, text.count("\n", 0, match.start()) + 1, match[1], match[2].split()))
    homes = {words[0]: os.path.dirname(path) for path, _, command, words in commands if command == "add_library"}

    for path, number, command, words in commands:
        folder = os.path.dirname(path)
        reach = set().union(*({room} | allowed.get(room, set()) for room in rooms_of(folder, allowed)))
        for library in words[1:] if command == "target_link_libraries" else []:
            home = homes.get(library)
            if home and not rooms_of(home, allowed) & reach:
                report(path, number, f"links {library}, but {folder} may include nothing of {home} ({TABLE})")


def main():
    offences = []

    def report(path, line, sentence):
        offences.append(f"{path}:{line}: {sentence}")

    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], check=True,
                            capture_output=True, text=True).stdout.splitlines()
    files = [path for path in listed if os.path.isfile(path)]
    allowed = read_table(report)
    check_includes([path for path in files if path.endswith((".h", ".c", ".cpp", ".mm"))], allowed, report)
    check_links([path for path in files if path.endswith("CMakeLists.txt")], allowed, report)
    print(*offences, sep="\n", end="\n" if offences else "")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
