"""A class template is marked with QV_TEMPLATE_API, not with the macro of a library: where importing
is marked, no library would have the instances that another makes."""

import re

import tree

MARKED_TEMPLATE = re.compile(
    r"^[ \t]*template\s*<\s*[^>\s][^{;]*?>\s*(?:class|struct)\s+(QV_\w+_API)\b", re.MULTILINE
)


def check(tree_):
    for path in tree_.sources():
        if tree_.package_of(path) is None:
            continue
        text = (tree_.root / path).read_text(encoding="utf-8")
        for match in MARKED_TEMPLATE.finditer(text):
            if match.group(1) != "QV_TEMPLATE_API":
                line = text.count("\n", 0, match.start()) + 1
                yield f"{path}:{line}: a class template bears {match.group(1)}: use QV_TEMPLATE_API"


if __name__ == "__main__":
    tree.run(check, __doc__)
