"""The reference has all public headers, and each link of its guides leads somewhere. Every public name is
documented where it is declared: classes, functions, variables, types, macros.

Not asked for is what says itself: constructors, destructors, operators; queries and setters that are named
so (get, is, has, set); what overrides a documented function; further overloads of one.
"""

import os
import re
import subprocess
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import tree

DOXYFILE = Path(__file__).resolve().parents[2] / "docs" / "reference" / "Doxyfile"
SPEAKING = re.compile(r"(get|is|has|set)[A-Z0-9]\w*")


def is_documented(element):
    texts = (element.find(part) for part in ("briefdescription", "detaileddescription"))
    return any("".join(text.itertext()).strip() for text in texts if text is not None)


def without_arguments(name):
    """`Qv::A< B::C >::f` as `Qv::A::f`."""
    former = None
    while former != name:
        former, name = name, re.sub(r"\s*<[^<>]*>", "", name)
    return name


def scopes(name):
    """`A::B` as `A` and `A::B`."""
    parts = name.split("::")
    return ["::".join(parts[:count]) for count in range(1, len(parts) + 1)]


class Reference:
    """The public names of the headers, by what Doxygen reads in them."""

    def __init__(self, compounds):
        self.compounds = [c for c in compounds if c.get("kind") in ("class", "struct", "namespace", "file")]
        # Whatever stands in a private class is private.
        hidden = {c.findtext("compoundname") for c in self.compounds if c.get("prot") == "private"}
        self.compounds = [c for c in self.compounds if not hidden & set(scopes(c.findtext("compoundname")))]
        self.members = {}
        for compound in self.compounds:
            for member in compound.iter("memberdef"):
                # A file lists what its namespaces have, too; macros stand there alone.
                if compound.get("kind") != "file" or member.get("kind") == "define":
                    self.members[member.get("id")] = (compound, member)

    def is_documented(self, member):
        bases = (self.members.get(base.get("refid")) for base in member.findall("reimplements"))
        return is_documented(member) or any(self.is_documented(base[1]) for base in bases if base)

    def names(self):
        """Each public name with where it is and whether it is documented."""
        for compound in self.compounds:
            name = without_arguments(compound.findtext("compoundname"))
            is_class = compound.get("kind") in ("class", "struct")
            if is_class and compound.find("location") is not None:
                yield name, location(compound), is_documented(compound)
        for compound, member in self.members.values():
            if self.is_asked_for(compound, member):
                yield self.full_name(compound, member), location(member), self.is_documented(member)

    @staticmethod
    def full_name(compound, member):
        scope = "" if member.get("kind") == "define" else compound.findtext("compoundname") + "::"
        return without_arguments(scope) + member.findtext("name")

    @staticmethod
    def is_asked_for(compound, member):
        name = member.findtext("name")
        scope = without_arguments(compound.findtext("compoundname"))
        if member.get("prot") == "private" or member.get("kind") == "friend" or "@" in scope or not name:
            return False
        is_special = name.lstrip("~") == scope.rpartition("::")[2] or name.startswith("operator")
        arguments = member.findtext("argsstring") or ""
        is_fixed = member.get("kind") == "function" and (
            "override" in arguments or arguments.endswith("=delete") or SPEAKING.fullmatch(name))
        return not is_special and not is_fixed


def location(element):
    place = element.find("location")
    return f"{place.get('file')}:{place.get('line')}"


def read(root):
    """What Doxygen makes of the tree: the elements of its compounds, and its warnings."""
    with tempfile.TemporaryDirectory() as folder:
        settings = DOXYFILE.read_text(encoding="utf-8") + "\n".join(
            ("", f"OUTPUT_DIRECTORY = {folder}", "GENERATE_HTML = NO", "GENERATE_XML = YES",
             "XML_PROGRAMLISTING = NO", f"WARN_LOGFILE = {folder}/warnings", ""))
        names = {"QV_ROOT": str(root), "QV_REFERENCE": str(DOXYFILE.parent), "QV_VERSION": ""}
        run = subprocess.run(["doxygen", "-"], input=settings, text=True, cwd=root,
                             capture_output=True, env={**os.environ, **names})
        if run.returncode != 0:
            raise RuntimeError(run.stderr)
        compounds = [compound for path in sorted((Path(folder) / "xml").glob("*.xml"))
                     for compound in ElementTree.parse(path).getroot().findall("compounddef")]
        return compounds, (Path(folder) / "warnings").read_text(encoding="utf-8").splitlines()


def check(tree_):
    compounds, warnings = read(tree_.root)
    for warning in warnings:
        if "unable to resolve reference" in warning:
            yield warning.removeprefix(f"{tree_.root}/")
    shown = {c.find("location").get("file") for c in compounds if c.get("kind") == "file"}
    for header in sorted({h for package in tree_.packages.values() for h in package.headers} - shown):
        yield f"{header}:1: the reference has no page of this header"
    places, documented = {}, set()
    for name, place, is_done in Reference(compounds).names():
        places.setdefault(name, place)
        if is_done:
            documented.add(name)
    for name, place in sorted(places.items()):
        if name not in documented:
            yield f"{place}: {name} is public and not documented"


if __name__ == "__main__":
    tree.run(check, __doc__)
