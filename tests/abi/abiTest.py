#!/usr/bin/env python3
"""The libraries keep the interface that the last release's records in packaging/abi show: exported symbols,
sizes, fields and virtual tables of the public classes. What is new passes; what has gone or changed fails.

    abiTest.py <build folder> <compiler>            compares
    abiTest.py <build folder> <compiler> --record   writes the records anew, as for a release, from whose
                                                    build they are: others export more

A record isn't compared with libraries of another interface version: see docs/versions.md.
"""

import lzma
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
RECORDS = ROOT / "packaging" / "abi"
LIBRARIES = ("QVbase", "QVpluginAPI", "QVresmgt", "QVmediaTiles")
# The public classes, by one source that includes all public headers: a release build has no types.
TYPES = "publicTypes"
BUILD, COMPILER = Path(), ""

NAMESPACE = re.compile(r"^(?:inline )?namespace ([\w:]+) \{$")
NAMESPACE_END = re.compile(r"^\} // namespace")
CLASS = re.compile(r"^(?:class|struct) (?:\[\[\w+\]\] |alignas\( \w+ \) )*(?:QV_\w+(?:\([^)]*\))? )*(\w+)\b(?![^{;]*;)")
# abidiff's exit code is made of bits: these are its own failures, and incompatible changes.
FAILURES, INCOMPATIBLE = 1 | 2, 8
# Instances of the standard library's templates, which come and go with the optimiser, and are weak.
STANDARD = re.compile(r"<elf-symbol name='_Z(N|T[ISV]N?)?K?(S[a-z]|9__gnu_cxx)")


def run(*command, accepted=lambda code: code == 0):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if not accepted(result.returncode):
        raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
    return result


def public_headers():
    rules = (BUILD / "include-rules.txt").read_text().splitlines()
    lists = (line.removeprefix("headers ") for line in rules if line.startswith("headers "))
    return [header for headers in lists for header in headers.split(";") if header]


def public_classes(text):
    """The full names of the classes that the text of a header defines, templates left out."""
    namespaces, former = [], ""
    for line in text.splitlines():
        if NAMESPACE.match(line):
            namespaces.append(NAMESPACE.match(line).group(1))
        elif NAMESPACE_END.match(line):
            namespaces.pop()
        elif CLASS.match(line) and not former.startswith("template"):
            yield "::".join([*namespaces, CLASS.match(line).group(1)])
        former = line


def types_source(root, headers):
    """A source whose exported functions take pointers to all classes of the headers."""
    lines = [f"#include <{header}>" for header in headers]
    names = sorted({name for header in headers for name in public_classes((root / header).read_text())})
    for name in names:
        function = "take_" + name.replace("::", "_")
        lines.append(f'extern "C" [[gnu::visibility("default")]] void {function}( const {name}& );')
        lines.append(f"void {function}( const {name}& ) {{}}")
    return "\n".join(lines) + "\n"


def make_library(folder, name, source, include):
    path = folder / f"{name}.cpp"
    path.write_text(source)
    library = folder / f"lib{name}.so"
    run(COMPILER, "-std=c++20", "-fPIC", "-shared", "-g", "-O0", "-fvisibility=hidden",
        f"-fmacro-prefix-map={include}/=", "-femit-class-debug-always" if is_gcc() else
        "-fstandalone-debug", f"-I{include}", path, "-o", library)
    return library


def is_gcc():
    return "Free Software Foundation" in run(COMPILER, "--version").stdout


def dump(library):
    text = run("abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-elf-needed",
               library).stdout
    return "\n".join(line for line in text.splitlines() if not STANDARD.search(line)) + "\n"


def built_libraries(folder):
    for name in LIBRARIES:
        yield name, (BUILD / f"lib{name}.so").resolve()
    yield TYPES, make_library(folder, TYPES, types_source(ROOT, public_headers()), ROOT)


def differences(folder, record, library):
    """What is incompatible in the library, or nothing."""
    now = folder / "now.abi"
    now.write_text(dump(library))
    result = run("abidiff", "--no-added-syms", record, now, accepted=lambda code: code & FAILURES == 0)
    has_gone = re.search(r"[1-9]\d* Removed", result.stdout)
    is_incompatible = result.returncode & INCOMPATIBLE or has_gone or is_resized(result.stdout)
    return result.stdout if is_incompatible else ""


def is_resized(report):
    return re.search(r"type size changed|vtable|offset changed|data member (deletion|insertion)", report)


def record_all():
    with tempfile.TemporaryDirectory() as folder:
        for name, library in built_libraries(Path(folder)):
            (RECORDS / f"{name}.abi.xz").write_bytes(lzma.compress(dump(library).encode(), preset=9))
            print(f"recorded {name}")


class AbiTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_the_libraries_keep_the_interface_of_the_last_release(self):
        for name, library in built_libraries(self.folder):
            with self.subTest(name):
                record = self.folder / f"{name}.abi"
                record.write_bytes(lzma.decompress((RECORDS / f"{name}.abi.xz").read_bytes()))
                found = differences(self.folder, record, library)
                if found:
                    self.fail(f"{found}docs/versions.md says what to do")

    def test_what_breaks_programs_is_found(self):
        header = "namespace Qv {\nclass A {\npublic:\n    virtual ~A();\n    void f();\nprivate:\n" \
                 "    int _a;\n};\n} // namespace Qv\n"
        source = "Qv::A::~A() {}\nvoid Qv::A::f() {}\n"
        changes = {
            "nothing": ("", "", "", False),
            "a new operation": ("    void f();", "    void f();\n    void g();", "", False),
            "a field": ("    int _a;", "    int _a;\n    long _b;", "", True),
            "a virtual operation": ("virtual ~A();", "virtual void g();\n    virtual ~A();",
                                    "void Qv::A::g() {}\n", True),
        }
        self.write_header("old", header)
        old = self.library_of("old", source)
        (self.folder / "old.abi").write_text(dump(old))
        for name, (former, new, more, is_breaking) in changes.items():
            with self.subTest(name):
                self.write_header("new", header.replace(former, new) if former else header)
                library = self.library_of("new", source + more)
                found = differences(self.folder, self.folder / "old.abi", library)
                self.assertEqual(found != "", is_breaking, found)

    def test_a_symbol_that_has_gone_is_found(self):
        """In a library without types, as a release's are."""
        source = '[[gnu::visibility("default")]] void %s() {}\n'
        libraries = []
        for name, text in (("old", source % "f" + source % "g"), ("new", source % "f")):
            library = make_library(self.folder, name, text, self.folder)
            run("strip", "--strip-debug", library)
            libraries.append(library)
        (self.folder / "old.abi").write_text(dump(libraries[0]))
        self.assertIn("1 Removed", differences(self.folder, self.folder / "old.abi", libraries[1]))
        self.assertEqual(differences(self.folder, self.folder / "old.abi", libraries[0]), "")

    def write_header(self, name, text):
        (self.folder / name).mkdir(exist_ok=True)
        (self.folder / name / "a.h").write_text(text)

    def library_of(self, name, source):
        text = types_source(self.folder / name, ["a.h"]) + source
        return make_library(self.folder, name, text, self.folder / name)


if __name__ == "__main__":
    BUILD, COMPILER = Path(sys.argv[1]).resolve(), sys.argv[2]
    if "--record" in sys.argv:
        record_all()
    else:
        unittest.main(argv=sys.argv[:1])
