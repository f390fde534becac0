"""What the checks know of the source tree: its files, and the packages that the build declares."""

import argparse
import re
import sys
from dataclasses import dataclass, field
from pathlib import Path

SOURCE_SUFFIXES = {".h", ".imp", ".inline", ".cpp"}
TOP_FOLDERS = ("base", "pluginAPI", "resmgt", "mediaTiles", "tools", "examples", "tests", "benchmarks")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


@dataclass
class Package:
    name: str
    folder: str
    uses: list = field(default_factory=list)
    headers: set = field(default_factory=set)
    # Those that the build compiles on their own.
    lonely: set = field(default_factory=set)


class Tree:
    """The tree at `root`, whose build folder `build` holds what configuring wrote."""

    def __init__(self, root, build):
        self.root = Path(root).resolve()
        self.build = Path(build)
        self.packages = self._read_packages()

    def _read_packages(self):
        packages = {}
        package = None
        for line in (self.build / "include-rules.txt").read_text().splitlines():
            keyword, _, rest = line.partition(" ")
            if keyword == "package":
                name, folder = rest.split(" ")
                package = packages[name] = Package(name, folder)
            elif keyword == "uses":
                package.uses = [name for name in rest.split(";") if name]
            elif keyword in ("headers", "lonely"):
                paths = {normalised(path) for path in rest.split(";") if path}
                setattr(package, keyword, paths)
        return packages

    def sources(self):
        """The paths of all sources from the root, those of outside projects left out."""
        for top in TOP_FOLDERS:
            for path in sorted((self.root / top).rglob("*")):
                if path.suffix in SOURCE_SUFFIXES and not self._is_outside_project(path.parent):
                    yield path.relative_to(self.root).as_posix()

    def _is_outside_project(self, folder):
        while folder != self.root:
            listing = folder / "CMakeLists.txt"
            if listing.exists() and re.search(r"^project\(", listing.read_text(), re.MULTILINE):
                return True
            folder = folder.parent
        return False

    def package_of(self, path):
        """The package whose folder holds `path`, or None."""
        found = [p for p in self.packages.values() if path.startswith(p.folder + "/")]
        return max(found, key=lambda package: len(package.folder), default=None)

    def closure(self, package):
        """The names of the packages that `package` reaches by its uses, its own among them."""
        seen = set()
        waiting = [package.name]
        while waiting:
            name = waiting.pop()
            if name not in seen:
                seen.add(name)
                waiting.extend(self.packages[name].uses)
        return seen

    def includes(self, path):
        """Each include of the file: line number, opening quote, included path."""
        text = (self.root / path).read_text(encoding="utf-8")
        for number, line in enumerate(text.splitlines(), 1):
            match = INCLUDE.match(line)
            if match:
                yield number, match.group(1), match.group(2)


def normalised(path):
    """`a/b/../c` as `a/c`."""
    parts = []
    for part in path.split("/"):
        if part == ".." and parts:
            parts.pop()
        else:
            parts.append(part)
    return "/".join(parts)


def run(check, description):
    """The `main` of a check: prints what `check( tree )` finds, and fails when that is something."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("root", help="the source tree")
    parser.add_argument("build", help="its configured build folder")
    arguments = parser.parse_args()
    findings = list(check(Tree(arguments.root, arguments.build)))
    for finding in findings:
        print(finding)
    print(f"{len(findings)} findings")
    sys.exit(1 if findings else 0)
