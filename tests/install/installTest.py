"""The installed copy serves an outside project, by find_package and by pkg-config, after it was moved
to another place."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

OUTSIDE = Path(__file__).resolve().parent / "outside"
FIRST_BUFFER = OUTSIDE.parents[2] / "examples" / "firstBuffer" / "firstBuffer.cpp"
# Set from the command line: the build folder, the compiler, and the flags of its sanitizer.
BUILD, COMPILER, FLAGS = Path(), "", []


def run(*command, **environment):
    result = subprocess.run(
        [str(word) for word in command],
        env={**os.environ, **environment},
        capture_output=True,
        text=True,
    )
    if result.returncode != 0:
        raise AssertionError(f"{command} failed:\n{result.stdout}{result.stderr}")
    return result.stdout


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="qvinstall-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        run("cmake", "--install", BUILD, "--prefix", cls.folder / "first")
        cls.prefix = cls.folder / "moved"
        (cls.folder / "first").rename(cls.prefix)

    def only(self, pattern):
        found = list(self.prefix.glob(pattern))
        self.assertEqual(len(found), 1, f"{pattern}: {found}")
        return found[0]

    def test_find_package_serves_an_outside_project(self):
        build = self.folder / "cmake"
        run(
            "cmake", "-S", OUTSIDE, "-B", build, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={COMPILER}",
            f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}",
        )
        run("cmake", "--build", build)
        self.assertEqual(run(build / "outside"), "caught\n")
        self.assert_tiles_come_back(build / "firstBuffer")
        for package in ("resmgt", "base"):
            self.assert_setting_is_read(build / f"setting-{package}")

    def test_pkg_config_serves_an_outside_project(self):
        flags = self.pkg_config("QVresmgt")
        program = self.compile("main.cpp", *flags)
        self.assertEqual(run(program, LD_LIBRARY_PATH=self.libraries()), "caught\n")
        for package in ("resmgt", "base"):
            self.assert_setting_is_read(self.compile_setting(package, *flags))
        flags = self.pkg_config("QVmediaTiles")
        self.assert_tiles_come_back(self.compile(FIRST_BUFFER, *flags))

    def test_naming_a_package_keeps_its_library(self):
        flags = [f"-I{self.prefix}/include/qvresmgt", f"-L{self.libraries()}"]
        libraries = ["-lQVresmgt", "-lQVpluginAPI", "-lQVbase"]
        self.assert_setting_is_read(self.compile_setting("resmgt", *flags, *libraries))

    def libraries(self):
        return str(self.only("**/libQVresmgt.so").parent)

    def pkg_config(self, library):
        folder = self.only(f"**/{library}.pc").parent
        return run(
            "pkg-config", "--cflags", "--libs", library, PKG_CONFIG_PATH=str(folder)
        ).split()

    def compile(self, source, *flags):
        program = self.folder / Path(source).stem
        run(COMPILER, "-std=c++20", *FLAGS, OUTSIDE / source, *flags, "-o", program)
        return program

    def compile_setting(self, package, *flags):
        return self.compile(
            "setting.cpp", "-Wl,--as-needed", f"-DOUTSIDE_DEPENDS_ON={package}", *flags
        )

    def assert_tiles_come_back(self, program):
        output = run(program, self.folder / "cache", LD_LIBRARY_PATH=self.libraries())
        self.assertRegex(output, "16 of 16 tiles came back")
        shown = run(self.only("bin/qvcache"), self.folder / "cache", "verify")
        self.assertIn("0 blocks of 0 bytes", shown)

    def assert_setting_is_read(self, program):
        settings = self.folder / "settings.ini"
        settings.write_text("outside::columns = 7\n")
        environment = {
            "QV_USER_INIT_FILE": str(settings), "LD_LIBRARY_PATH": self.libraries()
        }
        self.assertEqual(run(program, **environment), "7 columns\n")

    def test_library_carries_its_interface_version(self):
        for name in ("QVbase", "QVpluginAPI", "QVresmgt", "QVmediaTiles"):
            library = self.only(f"**/lib{name}.so")
            self.assertIn(f"lib{name}.so.0.1", run("objdump", "-p", library).split())

    def test_installed_headers_are_the_public_ones(self):
        headers = self.prefix / "include" / "qvresmgt"
        self.assertTrue((headers / "base" / "init" / "inSingleton.imp").exists())
        private = [path for path in headers.rglob("*") if path.parent.name in ("src", "test")]
        self.assertEqual(private, [])

    def test_no_trace_of_the_build_is_left(self):
        source = str(OUTSIDE.parents[2])
        for path in [*self.prefix.glob("**/*.cmake"), *self.prefix.glob("**/*.pc")]:
            text = path.read_text()
            for word in (source, str(BUILD), str(self.folder), "qv_build"):
                self.assertNotIn(word, text, path)

    def test_command_starts_from_the_installed_copy(self):
        command = self.only("bin/qvcomp")
        self.assertIn("qvcomp", run(command, "--version"))
        # What it says comes from the file that was installed with it.
        texts = self.only("share/qvresmgt/resources/messages/qvcomp.msg")
        text = texts.read_text()
        texts.write_text(text.replace("there is no layer", "a layer is wanted"))
        self.addCleanup(texts.write_text, text)
        libraries = self.libraries()
        link = self.folder / "link" / "libraries"
        link.parent.mkdir()
        link.symlink_to(libraries)
        for folder in (libraries, link):
            result = subprocess.run(
                [command, "--size", "8x8", "-o", self.folder / "out.exr"],
                env={**os.environ, "LD_LIBRARY_PATH": str(folder)},
                capture_output=True, text=True,
            )
            self.assertEqual((result.returncode, result.stdout), (2, ""), result.stderr)
            self.assertTrue(result.stderr.startswith("qvcomp: a layer is wanted"), result.stderr)


if __name__ == "__main__":
    BUILD, COMPILER = Path(sys.argv[1]), sys.argv[2]
    FLAGS = sys.argv[3:]
    unittest.main(argv=sys.argv[:1])
