"""Checks the rules of the source tree that no compiler checks.

    architecture_check.py ROOT PUBLIC_HEADER...

Prints one line per violation, `file: what is wrong`, and exits 1 if there is any.
The rules:
  floor     a file includes only what stands on its own floor or on one that FLOORS grants it
  cycle     no file includes itself, however far around
  public    a public header includes public headers and the C++ standard library, nothing else,
            and none of the standard headers that cost every user compile time
  form      our own headers are included as <TavrineShared/...>
  listed    every source and header is named in the CMakeLists.txt that should build it, so that
            no test is ever forgotten
"""

import os
import re
import sys

# Which floor a file stands on: the longest prefix that fits its path.
PREFIXES = {
    "TavrineShared/foundation/": "foundation",
    "TavrineShared/model/": "records",
    "TavrineShared/recorder/recorder_records": "records",
    "TavrineShared/parsers/": "parsers",
    "TavrineShared/recorder/": "recorder",
    "TavrineShared/store/": "store",
    "TavrineShared/demo/": "demo",
    "TavrineShared/tavrine_shared.h": "whole library",
    "companion/": "companion",
    "tests/": "tests",
    "benchmarks/": "benchmarks",
    "fuzz/": "fuzz",
    "examples/": "examples",
}

LIBRARY = {"foundation", "records", "parsers", "recorder", "store", "demo"}

# What each floor may include besides itself.
FLOORS = {
    "foundation": set(),
    "records": {"foundation"},
    "parsers": {"foundation", "records"},
    "recorder": {"foundation", "records"},
    "store": {"foundation", "records"},
    "demo": {"foundation", "records"},
    "whole library": LIBRARY,
    "companion": LIBRARY,
    "tests": LIBRARY | {"whole library", "companion"},
    "benchmarks": LIBRARY | {"companion", "tests"},
    "fuzz": LIBRARY | {"companion", "tests"},
    "examples": LIBRARY | {"whole library"},
}

HEAVY_HEADERS = {"iostream", "ranges", "regex"}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


def source_files(root):
    """Every .h and .cpp on one of the floors, as paths from the root."""
    for top in sorted({prefix.split("/")[0] for prefix in PREFIXES}):
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if name.endswith((".h", ".cpp")):
                    yield os.path.relpath(os.path.join(folder, name), root)


def floor_of(path):
    fitting = [prefix for prefix in PREFIXES if path.startswith(prefix)]
    return PREFIXES[max(fitting, key=len)] if fitting else None


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def resolve(root, path, name):
    """The file of ours that `path` means by including `name`, or None."""
    for folder in (os.path.dirname(path), ""):
        candidate = os.path.normpath(os.path.join(folder, name))
        if os.path.isfile(os.path.join(root, candidate)):
            return candidate
    return None


def floor_violations(path, own):
    floor = floor_of(path)
    if floor is None:
        return [f"{path}: stands on no floor; PREFIXES in architecture_check.py lists them"]
    allowed = FLOORS[floor] | {floor}
    return [
        f"{path}: is on the floor '{floor}', which may not include {target} ('{floor_of(target)}')"
        for target in own
        if floor_of(target) not in allowed
    ]


def public_header_violations(path, own, foreign, public):
    for target in own:
        if target not in public:
            yield f"{path}: is installed and includes {target}, which is not"
    for name in foreign:
        if not re.fullmatch(r"[a-z0-9_]+", name):
            yield f"{path}: is a public header and includes <{name}>, not of the C++ library"
        elif name in HEAVY_HEADERS:
            yield f"{path}: is a public header and includes <{name}>, which costs all users time"


def form_violations(path, includes):
    return [
        f'{path}: writes "{name}" where <TavrineShared/...> is meant'
        for quote, name, target in includes
        if target and target.startswith("TavrineShared/") and (quote, name) != ("<", target)
    ]


def cycle_violations(graph):
    """One violation per circle of includes, found depth first."""
    done, trail = set(), []

    def visit(path):
        if path in trail:
            yield " -> ".join(trail[trail.index(path):] + [path]) + ": includes itself"
        elif path not in done:
            trail.append(path)
            for target in graph.get(path, []):
                yield from visit(target)
            trail.pop()
            done.add(path)

    for path in graph:
        yield from visit(path)


def listing_violations(root, path):
    folder = os.path.dirname(path)
    while not os.path.isfile(os.path.join(root, folder, "CMakeLists.txt")):
        if not folder:
            return [f"{path}: there is no CMakeLists.txt above it"]
        folder = os.path.dirname(folder)
    listing = os.path.join(folder, "CMakeLists.txt")
    words = re.split(r"[\s()]+", re.sub(r"#.*", "", read(os.path.join(root, listing))))
    if os.path.relpath(path, folder) in words:
        return []
    return [f"{path}: is not named in {listing}"]


def violations(root, public):
    graph = {}
    found = []
    for path in source_files(root):
        includes = [
            (quote, name, resolve(root, path, name))
            for quote, name in INCLUDE.findall(read(os.path.join(root, path)))
        ]
        own = [target for _, _, target in includes if target]
        foreign = [name for _, name, target in includes if not target]
        graph[path] = own
        found += floor_violations(path, own)
        found += form_violations(path, includes)
        if path in public:
            found += public_header_violations(path, own, foreign, public)
        if path.endswith(".cpp") or path.startswith("TavrineShared/"):
            found += listing_violations(root, path)
    return found + list(cycle_violations(graph))


def main():
    root = os.path.abspath(sys.argv[1])
    public = {os.path.relpath(header, root) for header in sys.argv[2:]}
    if not public:
        sys.exit("architecture_check.py: no public header was named")
    found = violations(root, public)
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
