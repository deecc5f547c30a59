"""The parts of the tree, and which may know which."""

import configparser
import re

from layers.graph import strongly_connected
from layers.tree import ROOT, Fault

TABLE = "scripts/layers/parts.txt"


class Table:
    """The parts, as scripts/layers/parts.txt has them."""

    def __init__(self, files):
        self.parser = configparser.ConfigParser(delimiters=("=",), comment_prefixes=("#",), interpolation=None)
        self.parser.optionxform = str
        self.parser.read_string((ROOT / TABLE).read_text())
        self.cycles = {kind: self._reasons("cycles", kind) for kind in ("stays", "going")}
        self.names = [name for name in self.parser.sections() if name != "cycles"]
        self.used = set()
        self.complaints = []
        self.part_of_file = self._assign(files)
        self._check_entries(files)

    def _check_entries(self, files):
        for part in self.names:
            for key in self.parser[part]:
                if key not in ("holds", "knows", "sources know", "links", "going", "going links"):
                    self._complain(f"[{part}] has the unknown key '{key}'")
            for entry in self._words(part, "knows") + self._words(part, "sources know") + list(self._reasons(part, "going")):
                if entry not in files and entry not in self.names and entry != "*":
                    self._complain(f"[{part}] mentions {entry}, which is neither a part nor a file")
            for entry in self._words(part, "links") + list(self._reasons(part, "going links")):
                if entry not in self.names:
                    self._complain(f"[{part}] links {entry}, which is not a part")
        graph = {part: {other for other in self._words(part, "knows") if other in self.names} for part in self.names}
        for circle in strongly_connected(graph):
            self._complain(f"{' and '.join(f'[{part}]' for part in circle)} may know each other, so none stands below another")

    def _complain(self, text):
        self.complaints.append(f"{TABLE}: {text}")

    def _words(self, part, key):
        return self.parser.get(part, key, fallback="").split()

    def _reasons(self, section, key):
        """Lines of 'what: reason'; each needs its reason."""
        lines = [line for line in self.parser.get(section, key, fallback="").splitlines() if line.strip()]
        for line in lines:
            if not re.fullmatch(r"\S[^:]*: \S.*", line):
                raise Fault(f"{TABLE}: [{section}] gives no reason in '{line}'")
        return dict(line.split(": ", 1) for line in lines)

    def _assign(self, files):
        part_of_file = {}
        for part in self.names:
            for place in self._words(part, "holds"):
                held = [file for file in files if file == place or (place.endswith("/") and file.startswith(place))]
                if not held:
                    self._complain(f"[{part}] holds {place}, which is not there")
                for file in held:
                    if file in part_of_file:
                        self._complain(f"{file} stands in [{part_of_file[file]}] and in [{part}]")
                    part_of_file[file] = part
        for file in sorted(files - part_of_file.keys()):
            self._complain(f"{file} belongs to no part")
        return part_of_file

    def may_include(self, file, target):
        """A file of no part has been complained of before."""
        part, towards = self.part_of_file.get(file), self.part_of_file.get(target)
        if part is None or towards is None or part == towards:
            return True
        known = self._words(part, "knows")
        if not file.endswith(".h"):
            known = known + self._words(part, "sources know")
        if "*" in known or towards in known or target in known:
            return True
        if target in self._reasons(part, "going"):
            self.used.add((part, "going", target))
            return True
        return False

    def may_link(self, parts, library_parts):
        """A library of several parts may be linked by whoever may know one of them."""
        if parts & library_parts:
            return True
        for part in parts:
            known = set(self._words(part, "knows") + self._words(part, "links"))
            if "*" in known or known & library_parts:
                return True
        going = [(part, "going links", towards)
                 for part in parts for towards in self._reasons(part, "going links") if towards in library_parts]
        self.used.update(going)
        return bool(going)

    def leftovers(self, with_links):
        """Entries for arrows that are to go, of which none is left."""
        keys = ("going", "going links") if with_links else ("going",)
        for part in self.names:
            for key in keys:
                for entry in self._reasons(part, key):
                    if (part, key, entry) not in self.used:
                        yield f"{TABLE}: nothing needs '{key} = {entry}' of [{part}] any more; remove it"
