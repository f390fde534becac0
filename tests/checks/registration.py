"""Every test is run: each source of a test folder is compiled, and one that defines tests belongs to
a program whose tests ctest lists. Tests have names of one form: SubjectTest, PromiseThatHolds."""

import json
import re
from pathlib import Path

import tree

TEST_NAME = re.compile(
    r"^[ \t]*(?:TYPED_)?TEST(?:_F|_P)?\( *(\w+),\s*(\w+) *\)", re.MULTILINE
)
DEFINES_TEST = re.compile(r"^\s*(TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\s*\(", re.MULTILINE)


def compiled_sources(tree_):
    commands = json.loads((tree_.build / "compile_commands.json").read_text())
    return {str(Path(entry["directory"], entry["file"]).resolve()) for entry in commands}


def registered_sources(tree_):
    lines = (tree_.build / "test-sources.txt").read_text().splitlines()
    return {str(Path(line).resolve()) for line in lines}


def is_below(folder, path):
    return path.startswith(f"{folder}/")


def check_names(path, text):
    for match in TEST_NAME.finditer(text):
        suite, test = match.groups()
        if not (suite.endswith("Test") and suite[0].isupper() and test[0].isupper()):
            line = text.count("\n", 0, match.start()) + 1
            yield f"{path}:{line}: {suite}.{test}: write SubjectTest.PromiseThatHolds"


def check(tree_):
    compiled = compiled_sources(tree_)
    registered = registered_sources(tree_)
    # Benchmarks and tools can be left out of a build as a whole.
    tops = {top for top in tree.TOP_FOLDERS if any(is_below(tree_.root / top, c) for c in compiled)}
    for path in tree_.sources():
        if not path.endswith(".cpp") or "/windows/" in path or path.split("/")[0] not in tops:
            continue
        where = str(tree_.root / path)
        if where not in compiled:
            yield f"{path}:1: no target compiles this file: name it in its folder's CMakeLists.txt"
            continue
        text = Path(where).read_text(encoding="utf-8")
        yield from check_names(path, text)
        if DEFINES_TEST.search(text) and where not in registered:
            yield (
                f"{path}:1: its tests aren't run: name it under TESTS of its qv_package, or in "
                f"a qv_test_program"
            )


if __name__ == "__main__":
    tree.run(check, __doc__)
