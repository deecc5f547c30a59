"""What each target of the build links."""

import collections
import re

from layers.tree import BUILD, ROOT, in_tree

Link = collections.namedtuple("Link", "line parts libraries")  # a line of build.ninja: whose sources, what is linked


def ninja_edges():
    """The edges of build.ninja: line, outputs, rule, inputs, implicit inputs, what only has to exist before."""
    lines = (ROOT / BUILD / "build.ninja").read_text().splitlines()
    for number, line in enumerate(lines, 1):
        if not line.startswith("build "):
            continue
        following = number
        while line.endswith("$"):
            line = line[:-1] + lines[following]
            following += 1
        line = line.replace("$:", "\1").replace("$ ", "\2")
        outputs, _, inputs = line.removeprefix("build ").partition(":")
        groups = {"": [], "|": [], "||": []}
        group = ""
        for word in inputs.split():
            if word in groups:
                group = word
            else:
                groups[group].append(word.replace("\1", ":").replace("\2", " ").replace("$$", "$"))
        rule, *plain = groups[""]
        yield number, [word for word in outputs.split() if word != "|"], rule, plain, groups["|"], groups["||"]


def link_lines(includes, part_of_file):
    """Each target that is linked, by name. Object libraries, which are linked by whoever takes their objects, count too."""
    parts = collections.defaultdict(set)  # target -> the parts of its own sources
    owner = {}  # object or library -> the target that makes it
    linked = []
    for number, outputs, rule, inputs, implicit, before in ninja_edges():
        if re.match(r"(C|CXX)_COMPILER__", rule):
            owner[outputs[0]] = re.search(r"([^/]+)\.dir/", outputs[0])[1]
            path = in_tree(ROOT / BUILD / inputs[0])
            source = path if path in part_of_file else includes.candidate(re.sub(r"\.pb\.cc$", ".pb.h", path))
            if source in part_of_file:
                parts[owner[outputs[0]]].add(part_of_file[source])
        elif match := re.fullmatch(r"(?:C|CXX)_(\w+)_LINKER__(.+)_[A-Za-z]*", rule):
            owner[outputs[0]] = match[2]
            linked.append((number, match[2], inputs, before if match[1] == "STATIC_LIBRARY" else implicit))
        elif rule == "CMAKE_SYMLINK_LIBRARY":
            owner.update({output: owner[inputs[0]] for output in outputs})
    programs = {target for _, target, _, _ in linked} - {
        owner[path] for path in owner if re.search(r"(^|/)lib[^/]+\.(a|so)[^/]*$", path)}
    lines = {}
    for number, target, inputs, libraries in linked:
        others = {owner[path] for path in inputs + libraries if path in owner} - {target} - programs
        # A target without a source of its own stands for the objects that it is made of.
        own = parts[target] or set().union(*(parts[owner[path]] for path in inputs if path in owner))
        lines[target] = Link(number, own, others if parts[target] else others - {owner.get(path) for path in inputs})
        parts[target] = own
    for target in parts.keys() - lines.keys():
        lines[target] = Link(0, parts[target], set())
    return lines


def check_links(table, lines):
    """Returns complaints, and how many arrows were looked at."""
    complaints, looked_at = [], 0
    for target, link in sorted(lines.items()):
        for library in sorted(link.libraries):
            looked_at += 1
            # What another library of the same line brings along is that library's arrow.
            brought = any(library in lines[other].libraries and other not in lines[library].libraries
                          for other in link.libraries - {library})
            if not table.may_link(link.parts, lines[library].parts) and not brought:
                complaints.append(f"{BUILD}/build.ninja:{link.line}: {target} links {library}: "
                                  f"{', '.join(sorted(link.parts))} may not know {', '.join(sorted(lines[library].parts))}")
    return complaints, looked_at
