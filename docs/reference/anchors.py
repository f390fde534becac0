"""Doxygen's filter for the guides: gives each heading the anchor that links to it name, with the page's
name before it, since Doxygen knows an anchor once, and leads the links there."""

import re
import sys
from collections import Counter
from pathlib import Path

HEADING = re.compile(r"^(##+) (.+)$", re.MULTILINE)
LINK = re.compile(r"\]\(([^()#:]*)#([^()]+)\)")


def filtered(page, text):
    counts = Counter()

    def with_anchor(heading):
        words = re.sub(r"[^\w\- ]", "", heading[2].lower()).replace(" ", "-")
        counts[words] += 1
        number = f"-{counts[words] - 1}" if counts[words] > 1 else ""
        return f"{heading[0]} {{#{page}-{words}{number}}}"

    text = HEADING.sub(with_anchor, text)
    return LINK.sub(lambda link: f"](#{Path(link[1]).stem or page}-{link[2]})", text)


if __name__ == "__main__":
    path = Path(sys.argv[1])
    sys.stdout.write(filtered(path.stem, path.read_text(encoding="utf-8")))
