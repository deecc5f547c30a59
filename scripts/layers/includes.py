"""What each include of the tree names."""

import collections
import json
import os
import pathlib
import posixpath
import re
import shlex

from layers.tree import BUILD, ROOT, Fault, in_tree

INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
IMPORT = re.compile(r'\s*import\s+(?:public\s+|weak\s+)?"([^"]+)"')

Arrow = collections.namedtuple("Arrow", "file line text target")  # an include and the file that it names


class Includes:
    """Every include of the tree, and the file that it names."""

    def __init__(self, files):
        self.files = files
        self.complaints = []
        self.targets = collections.defaultdict(set)  # (file, line, text) -> the files that it names
        self.of_target = set()  # files that were looked up as a target of the build has them
        self.lines = {file: self._read(file) for file in files}

    @staticmethod
    def _read(file):
        found = []
        for number, line in enumerate((ROOT / file).read_text(errors="replace").splitlines(), 1):
            match = (IMPORT if file.endswith(".proto") else INCLUDE).match(line)
            if match:
                quoted = match[1] is not None
                found.append((number, match[1] if quoted else match[2], quoted))
        return found

    def candidate(self, path):
        """The file of the tree at path: itself, or what it is generated from."""
        path = posixpath.normpath(path)
        if path in self.files:
            return path
        source = re.sub(r"\.pb\.h$", ".proto", re.sub(rf"^{BUILD}/|generated/(?=[^/]*$)", "", path))
        return source if source in self.files else None

    def look_up(self, file, roots, of_target):
        """Notes what the includes of the file name with these roots. Returns the files that they name."""
        named = []
        for number, text, quoted in self.lines[file]:
            places = ([posixpath.dirname(file)] if quoted else []) + list(roots)
            found = list(dict.fromkeys(filter(None, (self.candidate(posixpath.join(place, text)) for place in places))))
            # Among the directories of the whole tree a name may well stand twice; the file's own directory is right then.
            if not of_target and quoted and found and posixpath.dirname(found[0]) == posixpath.dirname(file):
                found = found[:1]
            if not found and quoted and not text.startswith("google/") and not any(
                    (ROOT / place / text).exists() for place in places):
                of = f"of its target has (is {BUILD} up to date?)" if of_target else "of the tree has"
                self.complaints.append(f'{file}:{number}: includes "{text}", which no include directory {of}')
            self.targets[file, number, text].update(found)
            named += found
        return named

    def follow(self, units):
        """Looks up all that is compiled, headers with the include directories of each source that reaches them."""
        open_files = list(units)
        seen = set(open_files)
        while open_files:
            file, roots = open_files.pop()
            self.of_target.add(file)
            for target in self.look_up(file, roots, True):
                if (target, roots) not in seen and not target.endswith(".proto"):
                    seen.add((target, roots))
                    open_files.append((target, roots))

    def arrows(self):
        found = []
        for (file, number, text), targets in sorted(self.targets.items()):
            if len(targets) > 1:
                meanings = " or ".join(sorted(targets))
                self.complaints.append(f'{file}:{number}: includes "{text}", which is ambiguous: it may mean {meanings}')
            found += [Arrow(file, number, text, target) for target in sorted(targets)]
        return found


def compiled_units(files):
    """The sources that the build compiles, each with its include directories."""
    units = set()
    for entry in json.loads((ROOT / BUILD / "compile_commands.json").read_text()):
        file = in_tree(os.path.join(entry["directory"], entry["file"]))
        words = shlex.split(entry["command"])
        roots = []
        for word, following in zip(words, words[1:] + [""]):
            option = re.fullmatch(r"(?:-I|-isystem|-iquote)(.*)", word)
            if option:
                roots.append(in_tree(os.path.join(entry["directory"], option[1] or following)))
        if file in files:
            units.add((file, tuple(roots)))
    if not units:
        raise Fault(f"{BUILD}/compile_commands.json compiles no file of this tree")
    return units


def tree_roots(names):
    """The include directories that any CMakeLists.txt names, and where headers are generated from .proto files."""
    roots = {posixpath.dirname(name) for name in names if name.endswith(".proto")}
    directories = {str(parent) for name in names for parent in pathlib.PurePosixPath(name).parents}
    for name in names:
        if posixpath.basename(name) != "CMakeLists.txt":
            continue
        here = posixpath.dirname(name)
        for call in re.findall(r"\btarget_include_directories\(([^)]*)\)", (ROOT / name).read_text()):
            for word in re.sub(r"\$<BUILD_INTERFACE:([^>]*)>", r"\1", call).replace('"', "").split():
                word = re.sub(r"^\$\{CMAKE_CURRENT_SOURCE_DIR\}/?", "./", word)
                from_root = re.fullmatch(r"\$\{\w+_SOURCE_DIR\}/?(.*)", word)
                place = posixpath.normpath(from_root[1] if from_root else posixpath.join(here, word))
                if place in directories:
                    roots.add(place)
    return tuple(sorted(roots))
