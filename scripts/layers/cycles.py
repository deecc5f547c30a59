"""Cycles of includes."""

import collections
import pathlib
import re

from layers.graph import as_graph, shortest_circle, strongly_connected
from layers.table import TABLE
from layers.tree import ROOT


def units_of(arrows):
    """File -> the header whose class it implements, the header itself included.

    For a source that is the header of its own name, else that of the class of which it defines most; for a header, that of the
    class whose inner class it defines.
    """
    included = collections.defaultdict(dict)
    for arrow in arrows:
        if arrow.target.endswith(".h"):
            included[arrow.file][pathlib.PurePosixPath(arrow.target).stem] = arrow.target
    units = {}
    for file, by_name in included.items():
        text = (ROOT / file).read_text(errors="replace")
        names = re.findall(r"^(?:class|struct) (\w+)::\w+", text, re.M)
        if not file.endswith(".h"):
            names = re.findall(r"^(?!\s)[^;=\n]*?\b(\w+)::~?\w+\(", text, re.M)
            names = [pathlib.PurePosixPath(file).stem] + [name for name, _ in collections.Counter(names).most_common()]
        units[file] = next((by_name[name] for name in names if name in by_name), file)
    return units


def check_cycles(table, arrows):
    """Returns complaints: a circle of each group of files that reach each other, and entries of the table that close none."""
    unit = units_of(arrows)
    edges = {}  # (unit, unit) -> an include that makes it
    for arrow in arrows:
        pair = unit.get(arrow.file, arrow.file), unit.get(arrow.target, arrow.target)
        if pair[0] != pair[1]:
            edges.setdefault(pair, arrow)
    complaints = []
    marked = {tuple(entry.split(" -> ")) for entry in (*table.cycles["stays"], *table.cycles["going"])}
    in_circles = [set(group) for group in strongly_connected(as_graph(edges))]
    for pair in sorted(marked):
        if pair not in edges or not any(set(pair) <= group for group in in_circles):
            complaints.append(f"{TABLE}: nothing needs '{' -> '.join(pair)}' of [cycles] any more; remove it")
    parted = as_graph(pair for pair in edges if pair not in marked)
    for group in strongly_connected(parted):
        steps = [edges[pair] for pair in shortest_circle(parted, group[0], set(group))]
        path = ", ".join(f"{step.file}:{step.line} includes {step.target}" for step in steps)
        complaints.append(f"{steps[0].file}:{steps[0].line}: begins a cycle: {path}")
    return complaints
