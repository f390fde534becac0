#!/usr/bin/env python3
"""Writes the man page of a command from what its --help prints: a usage, paragraphs, lines of options
in two columns, and a paragraph "Exit status:"."""

import argparse
import gzip
import re
import subprocess
from pathlib import Path

OPTION = re.compile(r"  (\S.*)")
# A paragraph of one such line heads the options that follow.
HEADING = re.compile(r"([A-Z][^.]*):")
EXIT_STATUS = "Exit status: "


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.MULTILINE)


def paragraphs(lines):
    """Lines that stand together, as lists; the usage is the first."""
    return [block.split("\n") for block in re.split(r"\n\s*\n", "\n".join(lines).strip("\n"))]


def text_column(lines):
    """Where the second column of the options begins, known by --help, which every command has."""
    found = next(re.match(r"  --help\S*( -h)?\s+", line) for line in lines if line.startswith("  --help"))
    return found.end()


def options(lines, column):
    """Each option with its text, its further lines joined."""
    found = []
    for line in lines:
        match = OPTION.match(line)
        if match and not match.group(1).startswith(" ") and line[2] != " ":
            option, text = line[2:column].strip(), line[column:].strip()
            if len(line) > column and line[column - 1] != " ":
                option, text = line[2:].strip(), ""
            found.append([option, text])
        else:
            found[-1][1] = f"{found[-1][1]} {line.strip()}".strip()
    return found


def option_lines(lines, column):
    for option, text in options(lines, column):
        yield f".TP\n.B {escaped(option)}\n{escaped(text)}"


def summary(description):
    """What the command does, in a few words: the description's first clause."""
    clause = re.split(r"[.,:;]", description)[0]
    return clause[0].lower() + clause[1:]


def synopsis(name, usage):
    """Each form of the command on a line of its own; a line that doesn't name it continues the last."""
    text = " ".join(line.removeprefix("Usage:").strip() for line in usage)
    for form in re.split(rf"(?:^|\s){name}\s", text)[1:]:
        yield f".B {escaped(name)}\n{escaped(form)}\n.br"


def body(blocks, column):
    """The description, the options and what follows them, each under its heading."""
    heading = "DESCRIPTION"
    yield f".SH {heading}"
    for block in blocks:
        text = " ".join(block)
        if block[0].startswith("  "):
            if heading == "DESCRIPTION":
                yield ".SH OPTIONS"
            heading = "OPTIONS"
            yield from option_lines(block, column)
        elif text.startswith(EXIT_STATUS):
            text = text.removeprefix(EXIT_STATUS)
            yield f".SH EXIT STATUS\n{escaped(text[0].upper() + text[1:])}"
        elif HEADING.fullmatch(block[0]) and len(block) > 1:
            if heading == "DESCRIPTION":
                yield ".SH OPTIONS"
            heading = "OPTIONS"
            yield f".SS {escaped(block[0][:-1])}"
            yield from option_lines(block[1:], column)
        else:
            if heading == "OPTIONS":
                heading = "NOTES"
                yield f".SH {heading}"
            yield f".PP\n{escaped(text)}"


def man_page(name, text, version, others):
    lines = text.splitlines()
    usage, description, *rest = paragraphs(lines)
    see = ", ".join(f"\\fB{other}\\fP(1)" for other in others if other != name)
    page = [
        f'.TH {name.upper()} 1 "" "{version}" "User Commands"',
        f".SH NAME\n{name} \\- {escaped(summary(' '.join(description)))}",
        ".SH SYNOPSIS",
        *synopsis(name, usage),
        *body([description, *rest], text_column(lines)),
        f".SH SEE ALSO\n{see}",
    ]
    return "\n".join(page) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("command", type=Path, help="the program")
    parser.add_argument("version", help="what the page's foot names")
    parser.add_argument("others", nargs="*", help="commands that the page refers to")
    parser.add_argument("--output", type=Path, required=True, help="the page, compressed")
    arguments = parser.parse_args()
    help_text = subprocess.run(
        [arguments.command, "--help"], check=True, capture_output=True, text=True
    ).stdout
    page = man_page(arguments.command.name, help_text, arguments.version, arguments.others)
    arguments.output.parent.mkdir(parents=True, exist_ok=True)
    # Without the time, so that the same text makes the same file.
    arguments.output.write_bytes(gzip.compress(page.encode(), mtime=0))


if __name__ == "__main__":
    main()
