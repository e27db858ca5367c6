#!/usr/bin/env python3
"""Draws the targets of the build as docs/images/targets.svg, and counts what the plan of the sources promises.

The picture comes from the list that the build writes: who links whom, top to bottom, without the lines that follow from others.
usage: architecture.py [--check | --figures] [TARGETS]
    --check    draws nothing and fails when the committed picture differs
    --figures  prints the figures beside their limits and fails when one is exceeded
    TARGETS    targets.txt of a build folder, build/dev/targets.txt unless given
"""
import os
import re
import statistics
import sys

from targets import read_targets

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PICTURE = os.path.join(ROOT, "docs/images/targets.svg")
ROOMS = ("src/", "hosttools", "factsservice", "tools/")
LIMITS = {"target": 4500, ".cpp": 350, ".h": 150, "median": 7, "percentile": 18, "shared": 30, "lines": 25000}

ROW, HEIGHT, GAP, LETTER, MARGIN = 76, 34, 18, 8.2, 20


# ---------------------------------------------------------------------------------------------------------------- the picture

class Graph:
    """Who links whom, reduced to the lines that say something, and laid out in rows."""

    def __init__(self, targets):
        names = {target.name for target in targets}
        self.links = {t.name: sorted(set(t.public + t.links) & names - {t.name}) for t in targets}
        self.programs = {t.name for t in targets if t.kind == "program"}
        self.level = {}
        for name in sorted(self.links):
            self.depth(name)
        self.reduce()
        self.chains, self.rows = [], [[] for _ in range(max(self.level.values()) + 1)]
        for name in sorted(self.links):
            self.rows[self.level[name]].append(name)
        self.bend()
        self.order()
        self.place()

    def depth(self, name):
        if name not in self.level:
            self.level[name] = 1 + max((self.depth(low) for low in self.links[name]), default=-1)
        return self.level[name]

    def below(self, name):
        return set(self.links[name]).union(*(self.below(low) for low in self.links[name]))

    def reduce(self):
        below = {name: self.below(name) for name in self.links}
        self.links = {name: [low for low in lows if not any(low in below[other] for other in lows)]
                      for name, lows in self.links.items()}

    def bend(self):
        """A line that passes rows gets a place in each of them, so that it runs beside the boxes."""
        for name in sorted(self.links):
            for low in self.links[name]:
                chain = [name]
                for level in range(self.level[name] - 1, self.level[low], -1):
                    self.rows[level].append((name, low, level))
                    chain.append((name, low, level))
                self.chains.append(chain + [low])

    def neighbours(self):
        near = {}
        for chain in self.chains:
            for high, low in zip(chain, chain[1:]):
                near.setdefault(high, ([], []))[1].append(low)
                near.setdefault(low, ([], []))[0].append(high)
        return near

    def crossings(self):
        at = {node: place for row in self.rows for place, node in enumerate(row)}
        between = {}
        for chain in self.chains:
            for step, (high, low) in enumerate(zip(chain, chain[1:])):
                between.setdefault(self.level[chain[0]] - step, []).append((at[high], at[low]))
        return sum((a[0] - b[0]) * (a[1] - b[1]) < 0
                   for lines in between.values() for i, a in enumerate(lines) for b in lines[:i])

    def order(self):
        near, best = self.neighbours(), (self.crossings(), [list(row) for row in self.rows])
        for sweep in range(40):
            side = sweep % 2
            for row in self.rows[::-1] if side == 0 else self.rows:
                at = {node: place / len(r) for r in self.rows for place, node in enumerate(r)}
                row.sort(key=lambda node: mean([at[n] for n in near.get(node, ([], []))[side]], at[node]))
            best = min(best, (self.crossings(), [list(row) for row in self.rows]), key=lambda pair: pair[0])
        self.rows = best[1]

    def place(self):
        near = self.neighbours()
        self.x = {}
        for row in self.rows:
            for place, node in enumerate(row):
                self.x[node] = place * 90.0
        for sweep in range(200):
            for row in self.rows[::-1] if sweep % 2 else self.rows:
                for node in row:
                    sides = near.get(node, ([], []))
                    self.x[node] = mean([self.x[n] for n in sides[0] + sides[1]], self.x[node])
                self.spread(row)
        left = min(self.x[node] - width(node) / 2 for node in self.x)
        self.x = {node: round(x - left + MARGIN) for node, x in self.x.items()}

    def spread(self, row):
        """Keeps the order of a row and its distances, around where its nodes want to be."""
        wanted = [self.x[node] for node in row]
        for before, node in zip(row, row[1:]):
            self.x[node] = max(self.x[node], self.x[before] + distance(before, node))
        shift = mean([want - self.x[node] for want, node in zip(wanted, row)], 0)
        for node in row:
            self.x[node] += shift

    def svg(self):
        wide = max(x + width(node) / 2 for node, x in self.x.items()) + MARGIN
        high = len(self.rows) * ROW - ROW + HEIGHT + 2 * MARGIN
        lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {wide:.0f} {high}" width="{wide:.0f}" height="{high}"'
                 ' font-family="sans-serif" font-size="14">',
                 f'<rect width="{wide:.0f}" height="{high}" fill="#ffffff"/>']
        lines += [self.line(chain) for chain in self.chains]
        for level in range(len(self.rows) - 1, -1, -1):
            lines += [self.box(node, level) for node in self.rows[level] if isinstance(node, str)]
        return "\n".join(lines + ["</svg>", ""])

    def y(self, level):
        return MARGIN + (len(self.rows) - 1 - level) * ROW

    def line(self, chain):
        level = self.level[chain[0]]
        x, y = self.x[chain[0]], self.y(level) + HEIGHT
        path = f"M{x} {y}"
        for node in chain[1:]:
            level -= 1
            to, top = self.x[node], self.y(level)
            path += f"C{x} {y + 20} {to} {top - 20} {to} {top}"
            x, y = to, top
            if not isinstance(node, str):
                y += HEIGHT
                path += f"V{y}"
        return f'<path d="{path}" fill="none" stroke="#8a94a6" stroke-width="1.2"/>'

    def box(self, node, level):
        x, y, wide = self.x[node], self.y(level), width(node)
        fill = "#fff3d6" if node in self.programs else "#e8f0fe"
        return (f'<rect x="{x - wide / 2:.1f}" y="{y}" width="{wide:.1f}" height="{HEIGHT}" rx="5" fill="{fill}" stroke="#44506a"/>'
                f'<text x="{x}" y="{y + 22}" text-anchor="middle" fill="#1c2433">{node}</text>')


def mean(values, otherwise):
    return sum(values) / len(values) if values else otherwise


def width(node):
    return len(node) * LETTER + 22 if isinstance(node, str) else 4


def distance(before, node):
    return (width(before) + width(node)) / 2 + GAP


def room(target):
    return os.path.relpath(target.folder, ROOT) + "/"


# ---------------------------------------------------------------------------------------------------------------- the figures

WORDS = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'', re.S)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.M)
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def sources():
    for folder, _, files in sorted(os.walk(os.path.join(ROOT, "src"))):
        for file in sorted(files):
            if file.endswith((".cpp", ".h")):
                path = os.path.join(folder, file)
                yield path, open(path, encoding="utf-8").read()


def blanked(text):
    """The text without comments, literals and directives, each line in its place."""
    def keep_lines(found):
        return re.sub(r"[^\n]", " ", found.group())
    return DIRECTIVE.sub(keep_lines, WORDS.sub(keep_lines, text))


def partners(text):
    open_braces, pairs = [], {}
    for place, sign in enumerate(text):
        if sign == "{":
            open_braces.append(place)
        elif sign == "}" and open_braces:
            pairs[open_braces.pop()] = place
    return pairs


def functions(text):
    """(first line, length) of each function with a body; a lambda counts to the function around it."""
    text = blanked(text)
    pairs, place, start, found = partners(text), 0, 0, []
    while place < len(text):
        sign = text[place]
        if sign in ";}":
            start = place + 1
        elif sign == "{" and place in pairs:
            head, end = text[start:place], pairs[place]
            if head.count("(") != head.count(")"):
                place = end
            elif re.match(r"\s*(?:public:|private:|protected:|signals:|\s)*\s*(?:inline\s+)?(namespace|extern\b)", head) or (
                    re.search(r"\b(class|struct|union)\b", head) and "(" not in head):
                start = place + 1
            elif "(" not in head or "=" in re.sub(r"\(.*\)|operator\S+", "", head, flags=re.S) or text[end + 1:].lstrip()[:1] in (",", "{"):
                place = end
            else:
                first = start + len(head) - len(re.sub(r"^(\s|\b(public|private|protected|signals|public Q_SLOTS)\s*:)+", "", head))
                found.append((text.count("\n", 0, first) + 1, text.count("\n", first, end) + 1))
                place, start = end, end + 1
        place += 1
    return found


def circles(files, with_sources):
    """Groups of classes that include each other: by their headers alone, or by their sources too."""
    def stem(path):
        return os.path.basename(path).rsplit(".", 1)[0]
    known = {stem(path) for path, _ in files}
    graph = {name: set() for name in known}
    for path, text in files:
        if with_sources or path.endswith(".h"):
            graph[stem(path)] |= {s for s in map(stem, INCLUDE.findall(text)) if s in known and s != stem(path)}

    def reached(name):
        seen, waiting = set(), [name]
        while waiting:
            for other in graph[waiting.pop()] - seen:
                seen.add(other)
                waiting.append(other)
        return seen
    reach = {name: reached(name) for name in graph}
    return sorted({tuple(sorted(other for other in reach[name] if name in reach[other])) for name in reach if name in reach[name]})


class Report:
    def __init__(self):
        self.failed = False

    def add(self, what, value, limit):
        over = value > limit
        self.failed |= over
        print(f"{what:<58}{value:>8,}{limit:>9,}{'  OVER' if over else ''}")


def figures(targets):
    report, files = Report(), list(sources())
    lines = {path: text.count("\n") for path, text in files}
    print(f"{'':<58}{'':>8}{'limit':>9}")
    for target in targets:
        if not room(target).startswith("src/"):
            continue
        own = [target.path(file) for file in target.files]
        report.add(f"lines of {target.name}", sum(lines.get(path, 0) for path in own), LIMITS["target"])
    for path in sorted(lines):
        limit = LIMITS[os.path.splitext(path)[1]]
        if lines[path] > limit:
            report.add("lines of " + os.path.relpath(path, ROOT), lines[path], limit)
    lengths = sorted(length for _, text in files for _, length in functions(text))
    report.add("median lines of a function", round(statistics.median(lengths)), LIMITS["median"])
    report.add("90th percentile", lengths[len(lengths) * 9 // 10], LIMITS["percentile"])
    print(f"{'functions counted':<58}{len(lengths):>8,}")
    for circle in circles(files, False):
        print("headers that include each other: " + " ".join(circle))
    report.add("circles of headers", len(circles(files, False)), 0)
    # A class may know by its source what stands on its header; it is told, since it is often an accident.
    for circle in circles(files, True):
        print("  by their sources too: " + " ".join(circle))
    report.add("places that name sharedInstance()", sum(text.count("sharedInstance()") for _, text in files), LIMITS["shared"])
    report.add("lines of src", sum(lines.values()), LIMITS["lines"])
    return 1 if report.failed else 0


def main(arguments):
    options = [argument for argument in arguments if argument.startswith("--")]
    lists = [argument for argument in arguments if not argument.startswith("--")] or [os.path.join(ROOT, "build/dev/targets.txt")]
    if len(lists) > 1 or options not in ([], ["--check"], ["--figures"]):
        print(__doc__, file=sys.stderr)
        return 2
    targets = [target for target in read_targets(lists[0]) if target.kind != "test" and room(target).startswith(ROOMS)]
    if options == ["--figures"]:
        return figures(targets)
    picture = Graph(targets).svg()
    if options == ["--check"]:
        if os.path.exists(PICTURE) and open(PICTURE, encoding="utf-8").read() == picture:
            return 0
        print("docs/images/targets.svg is not what the build links; scripts/architecture.py draws it", file=sys.stderr)
        return 1
    with open(PICTURE, "w", encoding="utf-8") as file:
        file.write(picture)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
