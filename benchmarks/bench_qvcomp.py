#!/usr/bin/env python3
"""Times qvcomp beside itself, and beside other programs.

bench_qvcomp.py limit QVCOMP [RUNS] [SIZE]
    At an eighth of its working set beside itself without a limit, by turns; the medians and their
    ratio: wall-clock time as qvcomp reports it, and processor time.

bench_qvcomp.py peers QVCOMP [RUNS] [WIDTH...]
    Beside oiiotool and libvips, where they are installed: two plates, one with alpha, made smaller
    by 8/9 with the filter of Mitchell and Netravali and laid over each other, at 4096, 8192 and 16384
    pixels wide. The best of three runs, in a row and by turns: wall-clock and processor time, the
    process's peak of memory, and what it wrote beside its output. The pictures are held against
    qvcomp's. libvips writes no OpenEXR and no half floats: its picture is a TIFF of 32-bit floats in
    tiles, once packed by deflate and once not.
    Making the plates takes oiiotool. All files are in $TMPDIR."""

import ctypes
import ctypes.util
import json
import os
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

DATA = Path(__file__).resolve().parent.parent / "examples" / "data"
LAYERS = [str(DATA / f"{name}.exr") for name in ("night", "forest", "venice", "city")]
THREADS = str(len(os.sched_getaffinity(0)))
MIB = 2**20


def run(program, size, output, *options):
    """The report, and the seconds of processor time."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    command = [program, "--size", size, "-o", output, "--report", "json", *options, *LAYERS]
    text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return json.loads(text), used


def show(name, limited, free):
    limited, free = statistics.median(limited), statistics.median(free)
    print(f"{name:15} {limited:7.3f} s limited {free:7.3f} s free   ratio {limited / free:.2f}")


def compare_limits(program, runs=9, size="1920x1080"):
    with tempfile.TemporaryDirectory() as folder:
        output = os.path.join(folder, "out.exr")
        limit = str(run(program, size, output)[0]["workingSetBytes"] // 8)
        free, limited = [], []
        for _ in range(int(runs)):
            free.append(run(program, size, output))
            limited.append(run(program, size, output, "--memory", limit))
    report = limited[0][0]
    print(f"{size}, {report['threads']} threads, limit {int(limit) / MIB:.1f} MiB, "
          f"written {report['bytesWritten'] / MIB:.0f} MiB, read {report['bytesRead'] / MIB:.0f} MiB")
    show("wall clock", [r["seconds"] for r, _ in limited], [r["seconds"] for r, _ in free])
    show("processor time", [used for _, used in limited], [used for _, used in free])


def composite_by_vips(below, above, output, scale, compression):
    """Runs in a process of its own. Its operation "composite" doesn't take light beyond 1, so that
    "over" is made of three others."""
    library = ctypes.CDLL(ctypes.util.find_library("vips"))
    library.vips_init(b"bench")
    library.vips_concurrency_set(int(THREADS))
    library.vips_image_new_from_file.restype = ctypes.c_void_p
    mitchell, of_floats = 3, 3

    def check(failed):
        if failed:
            library.vips_error_buffer.restype = ctypes.c_char_p
            sys.exit(library.vips_error_buffer().decode())

    def make(operation, *inputs):
        result = ctypes.c_void_p()
        check(library.vips_call(operation, *inputs, ctypes.byref(result), None))
        return result

    def scale_bands(image, *factors, offset=0):
        result, count = ctypes.c_void_p(), len(factors)
        check(library.vips_linear(image, ctypes.byref(result), (ctypes.c_double * count)(*factors),
                                  (ctypes.c_double * count)(*[offset] * count), count, None))
        return result

    def load(path):
        image = ctypes.c_void_p(library.vips_image_new_from_file(path.encode(), b"access", 1, None))
        check(not image)
        # The alpha of OpenEXR files comes as 0 to 255.
        resized = ctypes.c_void_p()
        check(library.vips_call(b"resize", scale_bands(image, 1, 1, 1, 1 / 255),
                                ctypes.byref(resized), ctypes.c_double(float(scale)), b"kernel",
                                mitchell, None))
        return resized

    upper = load(above)
    alpha = ctypes.c_void_p()
    check(library.vips_call(b"extract_band", upper, ctypes.byref(alpha), 3, None))
    lower = make(b"multiply", load(below), scale_bands(alpha, -1, offset=1))
    picture = make(b"add", upper, lower)
    check(library.vips_call(b"tiffsave", picture, output.encode(), b"tile", 1, b"tile-width", 256,
                            b"tile-height", 256, b"bigtiff", 1, b"compression", int(compression),
                            b"predictor", of_floats, None))


def make_plates(folder, width, height):
    """Photographs with grain, as half floats in ZIP; both have alpha, so that all programs do the same."""
    size = f"{width}x{height}"
    grain = "--noise:type=gaussian:mean=0:stddev=0.01:seed="
    paths = [os.path.join(folder, name) for name in ("below.exr", "above.exr")]
    for path, data, alpha, seed in ((paths[0], "forest", "1", "1"), (paths[1], "city", "0.5", "2")):
        subprocess.run(["oiiotool", str(DATA / f"{data}.exr"), "--resize", size, grain + seed,
                        "--ch", f"R,G,B,A={alpha}", "--premult", "-d", "half", "--compression", "zip",
                        "-o", path], check=True)
    return paths


def measure(command, output):
    """Seconds on the clock and of the processor, MiB of memory, MiB written beside the output."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
    seconds = time.monotonic() - begin
    written = int(re.search(r"wchar: (\d+)", Path(f"/proc/{process.pid}/io").read_text())[1])
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[0]} failed")
    return (seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024,
            max(written - os.path.getsize(output), 0) / MIB)


def list_commands(program, folder, plates, width, height):
    """Name, command and output of each."""
    size = f"{width}x{height}"
    free, limited, oiiotool = (os.path.join(folder, f"{name}.exr")
                               for name in ("free", "limited", "oiiotool"))
    plain = [program, "--size", size, "--matte", "none", "--glow", "0", "--threads", THREADS,
             "--scratch", folder]
    limit = f"{12 * width // 1024}M"
    commands = [
        ("qvcomp", [*plain, "-o", free, *plates], free),
        (f"qvcomp {limit}", [*plain, "--memory", limit, "-o", limited, *plates], limited)]
    resized = ["--resize:filter=mitchell", size]
    if shutil.which("oiiotool"):
        commands.append(("oiiotool", [
            "oiiotool", "--threads", THREADS, plates[1], *resized, plates[0], *resized, "--over", "-d",
            "half", "--compression", "zip", "--tile", "256", "256", "-o", oiiotool], oiiotool))
    if ctypes.util.find_library("vips"):
        for name, compression in (("libvips", "0"), ("libvips packed", "2")):
            output = os.path.join(folder, f"{name}.tif")
            commands.append((name, [sys.executable, __file__, "vips", *plates, output, str(8 / 9),
                                    compression], output))
    return commands


def describe_difference(output, expected):
    """What of the pixels differs from those of the other picture, as oiiotool sees it."""
    text = subprocess.run(["oiiotool", expected, output, "--fail", "0.001", "--diff"],
                          capture_output=True, text=True).stdout
    values = {key: re.search(rf"{key} *= *(\S+)", text) for key in ("Mean error", "Max error")}
    found = ", ".join(f"{key.lower()} {match[1]}" for key, match in values.items() if match)
    count = re.search(r"(\d+) pixels \(.*?\) over 0.001", text)
    return f"{found}, {count[1]} pixels by more than 0.001" if count else found or "none"


def compare_peers(program, runs=3, *widths):
    for width in [int(w) for w in widths] or [4096, 8192, 16384]:
        height = width * 135 // 256
        with tempfile.TemporaryDirectory() as folder:
            plates = make_plates(folder, width * 9 // 8, height * 9 // 8)
            commands = list_commands(program, folder, plates, width, height)
            row = {name: [measure(command, output) for _ in range(int(runs))]
                   for name, command, output in commands}
            turns = {name: [] for name, _, _ in commands}
            for _ in range(int(runs)):
                for name, command, output in commands:
                    turns[name].append(measure(command, output))
            print(f"{width} x {height}, {THREADS} threads")
            for name, _, output in commands:
                wall, used, memory, scratch = map(min, zip(*row[name]))
                turn_wall, turn_used, _, _ = map(min, zip(*turns[name]))
                print(f"{name:14} {wall:7.2f} s, processor {used:7.2f} s, by turns {turn_wall:7.2f} s, "
                      f"{turn_used:7.2f} s, {memory:6.0f} MiB, scratch {scratch:5.0f} MiB; difference: "
                      f"{describe_difference(output, commands[0][2])}", flush=True)


if __name__ == "__main__":
    modes = {"limit": compare_limits, "peers": compare_peers, "vips": composite_by_vips}
    if len(sys.argv) < 3 or sys.argv[1] not in modes:
        sys.exit(__doc__)
    modes[sys.argv[1]](*sys.argv[2:])
