"""gdb shows strings, pointers, paths and buffers as what they stand for."""

import subprocess
import sys
import tempfile
import unittest

GDB, PRINTERS, PROGRAM = "", "", ""
# Variable of the program -> regular expression of what gdb prints for it.
SHOWN = {
    "text": r'"two\\nlines"',
    "emptyPath": r'""',
    "path": r'"/studio/shots/0010\.exr"',
    "relativePath": r'"plates"',
    "drivePath": r'"\./c:/plates"',
    "owner": r"OPtr<int> 0x[0-9a-f]+ = \{\* = 5\}",
    "nullOwner": r"OPtr<int> null",
    "array": r"APtr<char> 0x[0-9a-f]+ = \{\* = 120 'x'\}",
    "plain": r"UPtr<int> 0x[0-9a-f]+ = \{\* = 3\}",
    "shared": r"RCPtr<.*Node> 0x[0-9a-f]+, 2 references = .*number = 7.*",
    "strong": r"RCStrongPtr<int> 0x[0-9a-f]+, 1 strong, 1 weak = \{\* = 9\}",
    "weak": r"RCWeakPtr<int> 0x[0-9a-f]+, 1 strong, 1 weak = \{\* = 9\}",
    "expired": r"RCWeakPtr<int> expired",
    "none": "null",
    "fresh": r'"fresh", 4096 bytes, not in memory, 0 locks',
    "tile": r'"tile", 65536 bytes, in memory at 0x[0-9a-f]+, 1 lock',
    "guard": r'"tile", 65536 bytes, in memory at 0x[0-9a-f]+, 1 lock',
}


def values():
    """What gdb prints for each variable, or its error."""
    commands = [f"source {PRINTERS}", "break stop", "run", "up"]
    for name in SHOWN:
        commands += [f"echo \\n@{name}=", f"output {name}"]
    words = [word for command in commands for word in ("-ex", command)]
    with tempfile.TemporaryDirectory() as cache:
        # Without -nx the user's own settings would count; an error ends nothing in batch mode.
        result = subprocess.run(
            [GDB, "-nx", "-batch", "-iex", "set debuginfod enabled off", *words,
             "--args", PROGRAM, cache],
            capture_output=True, text=True, timeout=240,
        )
    lines = [line.partition("=") for line in result.stdout.split("\n@")]
    return {name: value.strip() for name, _, value in lines}, result.stdout + result.stderr


class GdbTest(unittest.TestCase):
    def test_each_type_is_shown_as_what_it_stands_for(self):
        found, output = values()
        for name, wanted in SHOWN.items():
            with self.subTest(name):
                self.assertRegex(found.get(name, output)[-2000:], rf"(?s)\A{wanted}\Z")


if __name__ == "__main__":
    GDB, PRINTERS, PROGRAM = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1])
