"""The tree that is looked at, and its build."""

import os
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = "build/release"
SOURCE = re.compile(r".*\.(c|cc|cpp|h|hpp|inc|proto)")


class Fault(Exception):
    """What keeps the check from looking at the tree."""


def known_files():
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True, check=False)
    if listed.returncode != 0:
        raise Fault(f"git cannot list the files of {ROOT}: {listed.stderr.strip()}")
    return {name for name in listed.stdout.split("\0") if name and (ROOT / name).is_file()}


def in_tree(path):
    """The path from the root when it lies in the tree, else as it is."""
    path = os.path.realpath(path)
    relative = os.path.relpath(path, ROOT)
    return path if relative.startswith("..") else relative
