"""Sources are as clang-format leaves them; its path is the environment's CLANG_FORMAT."""

import os
import re
import subprocess

import tree

FINDING = re.compile(r"^(.*?:\d+):\d+: (?:error|warning): ", re.MULTILINE)


def check(tree_):
    paths = list(tree_.sources())
    result = subprocess.run(
        [os.environ["CLANG_FORMAT"], "--dry-run", "--style=file", *paths],
        cwd=tree_.root,
        capture_output=True,
        text=True,
        check=True,
    )
    seen = set()
    for match in FINDING.finditer(result.stderr):
        path = match.group(1).rpartition(":")[0]
        if path not in seen:
            seen.add(path)
            yield f"{match.group(1)}: isn't formatted: run clang-format -i {path}"


if __name__ == "__main__":
    tree.run(check, __doc__)
