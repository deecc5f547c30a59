#!/usr/bin/env python3
"""Shows that the simulation can fail: reverts each mend of mends.txt in turn and counts the seeds until that is noticed.

Called by scripts/simulate --reverted with the repository's root and the most seeds to try. Works in a scratch copy of the
sources under build/, so nothing of the working tree changes.

A mend stands in mends.txt as

    mend: one line that names it
    file: the source that holds it, from the root
    text:
    | the exact lines that are there
    by:
    | what takes their place; no line at all removes them

A mend in several places repeats file, text and by. Lines that begin with # count for nothing.
"""

import pathlib
import re
import shutil
import subprocess
import sys


class Fault(Exception):
    pass


def read_mends(path):
    """The mends, each a name and a list of (file, text, replacement)."""
    mends, section = [], None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if line.startswith("#") or not line.strip():
            continue
        if line.startswith("mend:"):
            mends.append((line[5:].strip(), []))
            section = None
        elif line.startswith("file:") and mends:
            mends[-1][1].append([line[5:].strip(), [], []])
            section = None
        elif line == "text:" and mends and mends[-1][1]:
            section = mends[-1][1][-1][1]
        elif line == "by:" and mends and mends[-1][1]:
            section = mends[-1][1][-1][2]
        elif line.startswith("|") and section is not None:
            section.append(line[2:])
        else:
            raise Fault(f"{path}:{number}: this cannot be read: {line}")
    return mends


def replaced(scratch, changes):
    """Carries the changes out. Returns what the files held before."""
    before = {}
    for name, text, replacement in changes:
        file = scratch / name
        content = file.read_text()
        before.setdefault(file, content)
        wanted = "".join(line + "\n" for line in text)
        if content.count(wanted) != 1:
            raise Fault(f"{name} holds the text {content.count(wanted)} times, not once:\n{wanted}")
        file.write_text(content.replace(wanted, "".join(line + "\n" for line in replacement)))
    return before


def copy_sources(root, scratch):
    """The files that git knows and those that it would take, as they are; untouched ones keep their times."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root, check=True,
                            capture_output=True).stdout.decode().split("\0")
    wanted = {name for name in listed if name and (root / name).is_file()}
    for file in [f for f in scratch.rglob("*") if f.is_file() and "build" not in f.relative_to(scratch).parts[:1]]:
        if str(file.relative_to(scratch)) not in wanted:
            file.unlink()
    for name in wanted:
        target = scratch / name
        if target.exists() and target.read_bytes() == (root / name).read_bytes():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(root / name, target)


def build(scratch):
    for command in (["cmake", "--preset", "simulation"],
                    ["cmake", "--build", "--preset", "simulation", "--target", "simulation"]):
        result = subprocess.run(command, cwd=scratch, capture_output=True, text=True, check=False)
        if result.returncode != 0:
            raise Fault(result.stdout[-4000:] + result.stderr[-4000:])


def seeds_until_failure(scratch, most):
    """How many seeds it took, and what was found; None when nothing was."""
    program = scratch / "build/simulation/tests/simulation/simulation"
    result = subprocess.run([program, "run", str(most), "--until-failure"], capture_output=True, text=True, check=False)
    found = re.search(r"^failed at seed (\d+)$", result.stdout, re.M)
    if not found:
        return None
    return int(found[1]), result.stdout.splitlines()[0]


def main():
    root, most = pathlib.Path(sys.argv[1]), int(sys.argv[2])
    mends = read_mends(root / "tests/simulation/mends.txt")
    scratch = root / "build/simulation-reverted"
    scratch.mkdir(parents=True, exist_ok=True)
    copy_sources(root, scratch)
    unnoticed = 0
    print(f"{'seeds':>7}  mend reverted: what fails first")
    for name, changes in mends:
        before = {}
        try:
            before = replaced(scratch, changes)
            build(scratch)
            found = seeds_until_failure(scratch, most)
        finally:
            for file, content in before.items():
                file.write_text(content)
        unnoticed += found is None
        print(f"{found[0] if found else '-':>7}  {name}: {found[1] if found else f'not noticed in {most} seeds'}", flush=True)
    print(f"{len(mends)} mends, {unnoticed} unnoticed")
    return 1 if unnoticed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Fault as fault:
        print(f"simulate: {fault}", file=sys.stderr)
        sys.exit(2)
