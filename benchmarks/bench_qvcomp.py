#!/usr/bin/env python3
"""Times qvcomp at an eighth of its working set beside itself without a limit, by turns, and prints the
medians and their ratio: wall-clock time as qvcomp reports it, and processor time.

Usage: bench_qvcomp.py QVCOMP [RUNS] [SIZE]"""

import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

DATA = Path(__file__).resolve().parent.parent / "examples" / "data"
LAYERS = [str(DATA / f"{name}.exr") for name in ("night", "forest", "venice", "city")]


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


def main(program, runs=9, size="1920x1080"):
    with tempfile.TemporaryDirectory() as folder:
        output = os.path.join(folder, "out.exr")
        limit = str(run(program, size, output)[0]["workingSetBytes"] // 8)
        free, limited = [], []
        for _ in range(int(runs)):
            free.append(run(program, size, output))
            limited.append(run(program, size, output, "--memory", limit))
    report = limited[0][0]
    print(f"{size}, {report['threads']} threads, limit {int(limit) / 2**20:.1f} MiB, "
          f"written {report['bytesWritten'] / 2**20:.0f} MiB, read {report['bytesRead'] / 2**20:.0f} MiB")
    show("wall clock", [r["seconds"] for r, _ in limited], [r["seconds"] for r, _ in free])
    show("processor time", [used for _, used in limited], [used for _, used in free])


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(*sys.argv[1:])
