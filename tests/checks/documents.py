"""Documents stay true: their links lead to files, code that they quote stands in the source that
the comment before it names, and each page of docs/ is found by a link."""

import re

import tree

LINK = re.compile(r"\[[^\]]*\]\(([^)#]+)(?:#[^)]*)?\)")
QUOTE = re.compile(r"<!-- (\S+\.(?:cpp|h|txt|sh)) -->\n```\w*\n(.*?)```", re.DOTALL)
FOLDERS = ("docs", "examples", "benchmarks", "tools")


def documents(tree_):
    yield from sorted(tree_.root.glob("*.md"))
    for folder in FOLDERS:
        yield from sorted((tree_.root / folder).rglob("*.md"))


def without_indentation(text):
    return [line.strip() for line in text.strip().splitlines()]


def stands_in(quoted, source):
    """Whether the lines of `quoted` follow one another in `source`, however far they are indented."""
    lines, wanted = without_indentation(source), without_indentation(quoted)
    starts = range(len(lines) - len(wanted) + 1)
    return bool(wanted) and any(lines[i : i + len(wanted)] == wanted for i in starts)


def check_quote(tree_, source, quoted):
    if not (tree_.root / source).exists():
        return f"quotes {source}, which doesn't exist"
    if not stands_in(quoted, (tree_.root / source).read_text(encoding="utf-8")):
        return f"the code isn't that of {source}: copy it anew"
    return None


def check(tree_):
    linked = set()
    for document in documents(tree_):
        path = document.relative_to(tree_.root).as_posix()
        text = document.read_text(encoding="utf-8")
        for match in LINK.finditer(text):
            target = match.group(1)
            linked.add((document.parent / target).resolve())
            if "://" not in target and not (document.parent / target).exists():
                yield f"{path}:{line_of(text, match)}: the link to {target} leads nowhere"
        for match in QUOTE.finditer(text):
            finding = check_quote(tree_, match.group(1), match.group(2))
            if finding:
                yield f"{path}:{line_of(text, match)}: {finding}"
    for page in sorted((tree_.root / "docs").rglob("*.md")):
        if page not in linked:
            path = page.relative_to(tree_.root).as_posix()
            yield f"{path}:1: no document links to this page: name it in README.md"


def line_of(text, match):
    return text.count("\n", 0, match.start()) + 1


if __name__ == "__main__":
    tree.run(check, __doc__)
