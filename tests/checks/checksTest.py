"""Each check finds the faults of a small tree that has them, and none in one that hasn't."""

import json
import os
import tempfile
import unittest
from pathlib import Path

import documents
import exports
import formatting
import includes
import packages
import reference
import registration
from tree import Tree

PACKAGE_OBJECT = "{ registerPackage(); dependsOn<%s>(); }\n"
RULES = """package base base
uses
headers base/failure/ex.h
lonely base/failure/ex.h
package low resmgt/low
uses base
headers resmgt/low/low.h
lonely
package high resmgt/high
uses low
headers resmgt/high/high.h;resmgt/high/../resmgtApi.h
lonely resmgt/high/high.h;resmgt/high/../resmgtApi.h
"""
GOOD = {
    "base/failure/ex.h": "#include <string>\n",
    "base/src/baseInit.cpp": "registerPackage();\n",
    "resmgt/resmgtApi.h": "",
    "resmgt/low/low.h": "#include <base/failure/ex.h>\n#include <resmgt/resmgtApi.h>\n",
    "resmgt/low/src/lowInit.cpp": PACKAGE_OBJECT % "base",
    "resmgt/low/src/posix/event.cpp": "#include <resmgt/low/src/event.h>\n#include <unistd.h>\n",
    "resmgt/low/src/posix/lowPosix.cpp": "#include <resmgt/low/low.h>\n#include <unistd.h>\n",
    "resmgt/low/src/event.h": "",
    "resmgt/high/high.h": "#include <resmgt/low/low.h>\n",
    "resmgt/high/src/highInit.cpp": PACKAGE_OBJECT % "low",
    # A test program is made of all that the package reaches.
    "resmgt/high/test/highTest.cpp": "#include <base/failure/ex.h>\n#include <unistd.h>\n"
    "#include <resmgt/low/src/event.h>\n"
    "TEST( HighTest, Holds ) {}\n",
    "tests/install/outside/CMakeLists.txt": "project( outside )\n",
    "tests/install/outside/main.cpp": "int  main() {}\n",
    "tests/checks/againstStartOrder.txt": "# comment\n",
    ".clang-format": "BasedOnStyle: LLVM\n",
    "docs/page.md": "[start](../README.md#anchor), [outside](https://example.org/x)\n",
    "CHANGES.md": "[page](docs/page.md)\n",
    "README.md": "<!-- resmgt/low/src/posix/event.cpp -->\n```cpp\n    #include <unistd.h>\n```\n## Anchor\n",
}


class ChecksTest(unittest.TestCase):
    def findings(self, check, changes=(), rules=RULES, compiled=None, registered=None):
        """What the check says of the good tree with `changes` (path -> text) made to it."""
        files = {**GOOD, **dict(changes)}
        sources = [path for path in files if path.endswith(".cpp") and "outside" not in path]
        with tempfile.TemporaryDirectory() as folder:
            # Below a folder of a name that the tree's own folders have, too.
            root = Path(folder).resolve() / "src"
            for path, text in files.items():
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text)
            build = root / "build"
            build.mkdir()
            (build / "include-rules.txt").write_text(rules)
            commands = [
                {"directory": str(root), "file": path}
                for path in (sources if compiled is None else compiled)
            ]
            (build / "compile_commands.json").write_text(json.dumps(commands))
            tests = ["resmgt/high/test/highTest.cpp"] if registered is None else registered
            (build / "test-sources.txt").write_text("\n".join(str(root / t) for t in tests))
            return list(check(Tree(root, build)))

    def assert_one(self, findings, start, part):
        self.assertEqual(len(findings), 1, findings)
        self.assertTrue(findings[0].startswith(start), findings[0])
        self.assertIn(part, findings[0])

    def test_good_tree_has_no_findings(self):
        for check in (includes.check, packages.check, registration.check, documents.check, exports.check):
            self.assertEqual(self.findings(check), [])

    def test_forbidden_includes_are_found(self):
        low = "resmgt/low/low.h"
        cases = {
            "a package that isn't used": (low, "<resmgt/high/high.h>", "package high"),
            "one used only in a round-about way": (
                "resmgt/high/high.h",
                "<base/failure/ex.h>",
                "package base",
            ),
            "an upper library": ("base/failure/ex.h", "<resmgt/low/low.h>", "package low"),
            "system header": (low, "<sys/types.h>", "system header"),
            "system header of a portable source": (
                "resmgt/low/src/other.cpp",
                "<pthread.h>",
                "system header",
            ),
            "private header in a public one": (low, "<resmgt/low/src/event.h>", "private"),
            "another package's private header": (
                "resmgt/high/src/other.cpp",
                "<resmgt/low/src/event.h>",
                "private to package low",
            ),
            "quotes": (low, '"low.h"', "path from the source root"),
            "a private header of a package above": (
                "resmgt/low/test/lowTest.cpp",
                "<resmgt/high/src/high.h>",
                "private to package high",
            ),
            "no such file": (low, "<resmgt/low/none.h>", "doesn't exist"),
            "what tests share": (
                "resmgt/low/src/other.cpp",
                "<tests/install/outside/main.cpp>",
                "no part of the libraries",
            ),
        }
        for name, (path, included, part) in cases.items():
            with self.subTest(name):
                changes = {path: f"\n#include {included}\n", "resmgt/high/src/high.h": ""}
                found = self.findings(includes.check, changes)
                self.assert_one(found, f"{path}:2: ", part)

    def test_header_that_nothing_compiles_alone_is_found(self):
        source = "resmgt/low/src/posix/lowPosix.cpp"
        late = self.findings(includes.check, {source: f"#include <string>\n{GOOD[source]}"})
        self.assertEqual(len(late), 2, late)
        self.assertIn("include <resmgt/low/low.h> first", late[0])
        self.assertTrue(late[1].startswith("resmgt/low/low.h:1: "), late)
        private = self.findings(
            includes.check, {"resmgt/low/src/event.cpp": "#include <resmgt/low/low.h>\n"}
        )
        self.assert_one(private, "resmgt/low/src/event.cpp:1: ", "<resmgt/low/src/event.h> first")

    def test_marked_templates_are_found(self):
        cases = {
            "template <class T>\nclass QV_BASE_API A {": 1,
            "template <class T, int N>\nstruct QV_RESMGT_API A;": 1,
            "template <class T>\nclass QV_TEMPLATE_API A {": 0,
            "template <>\nclass QV_BASE_API A<int> {": 0,
            "template <class T> void f();\nclass QV_BASE_API A {": 0,
        }
        for text, count in cases.items():
            with self.subTest(text):
                found = self.findings(exports.check, {"resmgt/low/low.h": text})
                self.assertEqual(len(found), count, found)

    def test_public_header_that_no_list_names_is_found(self):
        found = self.findings(includes.check, {"resmgt/low/extra.h": ""})
        self.assert_one(found, "resmgt/low/extra.h:1: ", "HEADERS")

    def test_use_without_dependency_is_found(self):
        rules = RULES.replace("uses low", "uses low;base")
        found = self.findings(packages.check, rules=rules)
        self.assert_one(found, "resmgt/high/CMakeLists.txt:1: ", "high uses base")

    def test_named_exception_is_accepted_once_needed(self):
        exceptions = {packages.EXCEPTIONS: "high uses base: its export macro alone\n"}
        rules = RULES.replace("uses low", "uses low;base")
        self.assertEqual(self.findings(packages.check, exceptions, rules=rules), [])
        found = self.findings(packages.check, exceptions)
        self.assert_one(found, f"{packages.EXCEPTIONS}:1: ", "remove it")

    def test_dependency_without_use_is_found(self):
        found = self.findings(packages.check, rules=RULES.replace("uses low", "uses"))
        self.assert_one(found, "resmgt/high/src/highInit.cpp:1: ", "depends on low")

    def test_the_two_graphs_have_one_order(self):
        rules = RULES.replace("uses low", "uses low;base")
        objects = ("low, QvInit::base", "base,\n    low")
        for dependencies, count in zip(objects, (0, 1)):
            changes = {"resmgt/high/src/highInit.cpp": PACKAGE_OBJECT % dependencies}
            found = self.findings(packages.check, changes, rules=rules)
            self.assertEqual(len([f for f in found if "another order" in f]), count, found)
            self.assertEqual(len(found), count, found)

    def test_package_without_object_is_found(self):
        found = self.findings(packages.check, {"resmgt/low/src/lowInit.cpp": ""})
        self.assertIn("package low has no package object", found[0])

    def test_source_that_nothing_compiles_is_found(self):
        compiled = [path for path in GOOD if path.endswith(".cpp") and "highTest" not in path]
        found = self.findings(registration.check, compiled=compiled)
        self.assert_one(found, "resmgt/high/test/highTest.cpp:1: ", "no target compiles")

    def test_tests_that_ctest_does_not_run_are_found(self):
        found = self.findings(registration.check, registered=[])
        self.assert_one(found, "resmgt/high/test/highTest.cpp:1: ", "aren't run")

    def test_names_of_another_form_are_found(self):
        for names in ("High, Holds", "HighTest, holds", "highTest,\n      Holds"):
            with self.subTest(names):
                found = self.findings(
                    registration.check,
                    {"resmgt/high/test/highTest.cpp": f"\nTEST( {names} ) {{}}\n"},
                )
                self.assert_one(found, "resmgt/high/test/highTest.cpp:2: ", "PromiseThatHolds")

    def test_link_that_leads_nowhere_is_found(self):
        found = self.findings(documents.check, {"docs/page.md": "\n[gone](gone.md)\n"})
        self.assert_one(found, "docs/page.md:2: ", "gone.md")

    def test_page_that_nothing_links_to_is_found(self):
        found = self.findings(documents.check, {"docs/lost.md": "[me](page.md)\n"})
        self.assert_one(found, "docs/lost.md:1: ", "README.md")

    def test_undocumented_names_are_found(self):
        header = (
            "/** A. */\nnamespace Qv {\n%sclass A {\npublic:\n    A();\n    int getB() const;\n"
            "%s    void f();\n    void f( int );\n\n%s    enum E { X };\nprivate:\n    void p();\n};\n"
            "%s    void g();\n} // namespace Qv\n"
        )
        done = ["/// Says something.\n"] * 4
        names = ("Qv::A", "Qv::A::f", "Qv::A::E", "Qv::g")
        path = "resmgt/high/high.h"
        self.assertEqual(self.findings(reference.check, {path: header % tuple(done)}), [])
        for i, name in enumerate(names):
            with self.subTest(name):
                texts = [*done[:i], "", *done[i + 1 :]]
                changes = {path: header % tuple(texts)}
                found = self.findings(reference.check, changes)
                self.assert_one(found, path, f"{name} is public and not documented")

    def test_link_to_a_heading_that_is_not_there_is_found(self):
        for link in ("../README.md#anchor", "#here", "#here-1"):
            self.assertEqual(
                self.findings(reference.check, {"docs/page.md": f"[a]({link})\n## Here\n## Here\n"}), []
            )
        found = self.findings(reference.check, {"docs/page.md": "\n[a](../README.md#gone)\n"})
        self.assert_one(found, "docs/page.md:2: ", "README-gone")

    def test_quoted_code_that_the_source_has_not_is_found(self):
        for quoted in ("#include <unistd.hpp>\n", ""):
            with self.subTest(quoted):
                text = f"<!-- resmgt/low/src/posix/event.cpp -->\n```cpp\n{quoted}```\n"
                found = self.findings(documents.check, {"README.md": text})
                self.assert_one(found, "README.md:1: ", "copy it anew")

    @unittest.skipUnless(os.environ.get("CLANG_FORMAT"), "the formatting check has no clang-format")
    def test_unformatted_source_is_found(self):
        found = self.findings(formatting.check, {"resmgt/high/high.h": "int  a;\nint  b;\n"})
        self.assertIn("resmgt/high/high.h:1: ", "\n".join(found))


if __name__ == "__main__":
    unittest.main()
