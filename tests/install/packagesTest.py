"""The Debian packages are in order, install in a clean folder, work from there, and leave nothing
behind. There the README's first program is built and run, alone and as printed, and each command's man
page has all that its --help prints."""

import gzip
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# Set from the command line: the build folder and the compiler.
BUILD, COMPILER = Path(), ""
DATABASE = Path("var/lib/dpkg")
COMMANDS = ("qvcache", "qvcomp", "qvlock", "qvlog")
AS_ROOT = [] if os.geteuid() == 0 else ["fakeroot"]


def run(*command, status=0, **options):
    result = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, **options
    )
    if result.returncode != status:
        raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
    return result.stdout


def first_program():
    """The README's first program, and the commands that it is built and run with."""
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    chapter = re.split(r"^## ", readme.partition("## A first program\n")[2], flags=re.MULTILINE)[0]
    program = re.search(r"```cpp\n(.*?)```", chapter, re.DOTALL).group(1)
    commands = re.findall(r"^    (g\+\+ .*|\./.*)$", chapter, re.MULTILINE)
    return program, commands


class PackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="qvpackages-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        run("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder / "packages",
            cwd=cls.folder)
        cls.packages = sorted((cls.folder / "packages").glob("*.deb"))
        cls.root = cls.folder / "root"
        # It knows of the system's packages, so that dependencies on them must hold, and has no other file.
        database = cls.root / DATABASE
        for folder in ("info", "updates", "triggers"):
            (database / folder).mkdir(parents=True)
        shutil.copy("/var/lib/dpkg/status", database / "status")
        cls.dpkg(cls.root, "--install", *cls.packages)

    @staticmethod
    def dpkg(root, *arguments):
        path = f"{os.environ['PATH']}:/usr/sbin:/sbin"
        run(
            *AS_ROOT, "dpkg", f"--instdir={root}", f"--admindir={root / DATABASE}", "--no-triggers",
            "--force-not-root", "--force-unsafe-io", *arguments, env={**os.environ, "PATH": path},
        )

    @staticmethod
    def files(root):
        found = (path for path in root.rglob("*") if root / DATABASE not in path.parents)
        return {path.relative_to(root).as_posix() for path in found if not path.is_dir()}

    def libraries(self):
        return next(self.root.glob("usr/lib/*/libQVresmgt.so")).parent

    def environment(self):
        libraries = self.libraries()
        return {
            **os.environ,
            "PKG_CONFIG_PATH": str(libraries / "pkgconfig"),
            "LD_LIBRARY_PATH": str(libraries),
            "CXX": COMPILER,
        }

    def test_lintian_has_no_errors(self):
        # As root it would refuse, and its verdict is wanted, not its exit code.
        result = subprocess.run(
            ["lintian", "--no-cfg", "--allow-root", "--tag-display-limit", "0", *self.packages],
            capture_output=True, text=True,
        )
        self.assertIn(result.returncode, (0, 2), result.stderr)
        self.assertNotRegex(result.stdout, r"(?m)^E: ")

    def test_each_package_has_its_part(self):
        names = [path.name.partition("_")[0] for path in self.packages]
        self.assertEqual(
            sorted(re.sub(r"[\d.]+$", "", name) for name in names),
            ["libqvresmgt", "libqvresmgt-dev", "qvresmgt-doc", "qvresmgt-tools"],
        )
        files = self.files(self.root)
        wanted = {
            "usr/include/qvresmgt/mediaTiles/mediaTiles.h",
            "usr/share/doc/qvresmgt/README.md",
            "usr/share/doc/qvresmgt/docs/architecture.md",
            "usr/share/qvresmgt/resources/messages/qvcomp.msg",
            "usr/share/qvresmgt/gdb/qvresmgt.py",
            *(f"usr/bin/{name}" for name in COMMANDS),
            *(f"usr/share/man/man1/{name}.1.gz" for name in COMMANDS),
        }
        self.assertEqual(wanted - files, set())
        version = self.libraries().joinpath("libQVbase.so").resolve().name
        printers = self.root.glob(f"usr/share/gdb/auto-load/usr/lib/*/{version}-gdb.py")
        self.assertEqual(len(list(printers)), 1)

    def test_commands_work_from_the_folder(self):
        picture = self.folder / "picture.exr"
        layer = self.root / "usr/share/doc/qvresmgt/examples/data/forest.exr"
        without = {name: text for name, text in os.environ.items() if name != "LD_LIBRARY_PATH"}
        run(self.root / "usr/bin/qvcomp", "--size", "64x36", "-o", picture, layer, env=without)
        self.assertGreater(picture.stat().st_size, 0)

    def test_first_program_of_the_readme_builds_alone(self):
        program, commands = first_program()
        self.assertEqual(len(commands), 2, commands)
        folder = self.folder / "first"
        folder.mkdir()
        source = re.search(r"\S+\.cpp", commands[0]).group()
        (folder / source).write_text(program, encoding="utf-8")
        output = ""
        for command in commands:
            command = command.replace("g++", '"$CXX"', 1)
            output = run("bash", "-c", command, cwd=folder, env=self.environment())
        self.assertRegex(output, "16 of 16 tiles came back as they were, after [1-9]")

    def test_man_pages_have_all_that_help_prints(self):
        for name in COMMANDS:
            with self.subTest(name):
                page = self.root / f"usr/share/man/man1/{name}.1.gz"
                shown = run("man", "--warnings=all", "--local-file", page,
                            env={**os.environ, "MANWIDTH": "1000", "MAN_KEEP_FORMATTING": "",
                                 "LC_ALL": "C.UTF-8"})
                help_text = run(self.root / "usr/bin" / name, "--help", env=self.environment())
                wanted = re.sub(r"^Usage:|^Exit status:", "", help_text, flags=re.MULTILINE)
                # The first word of a sentence may have got another case.
                words = [word.lower() for word in re.findall(r"\S+", wanted)]
                there = set(re.findall(r"\S+", shown.lower()))
                missing = [word for word in words if word not in there and f"{word}:" not in there]
                self.assertEqual(missing, [])
                self.assertTrue(gzip.decompress(page.read_bytes()).startswith(b".TH "))

    def test_removal_leaves_nothing(self):
        # In a copy: the other tests need what is installed.
        copy = self.folder / "copy"
        shutil.copytree(self.root, copy, symlinks=True)
        self.assertNotEqual(self.files(copy), set())
        names = [path.name.partition("_")[0] for path in self.packages]
        self.dpkg(copy, "--purge", *names)
        self.assertEqual(self.files(copy), set())


if __name__ == "__main__":
    BUILD, COMPILER = Path(sys.argv[1]), sys.argv[2]
    unittest.main(argv=sys.argv[:1])
