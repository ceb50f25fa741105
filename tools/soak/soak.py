#!/usr/bin/env python3
"""Runs the demo world for a long stretch of simulated time and watches the server's memory and numbers.

The server runs as fast as it can (--seconds) while its resident memory is sampled from /proc; at the end
every entity's pose is dumped. The soak passes when the run ends with exit code 0, no pose or progress
line holds a NaN or an infinity, and the memory of the last quarter of the run is no higher than that of
the second quarter (the first is the start) by more than 20 % + 4 MiB (a flat line with noise, not a
leak).

  soak.py --server BIN --modules DIR [--seconds 3600] [--interval 0.5]
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time


def rss_kib(pid):
    try:
        with open(f"/proc/{pid}/status") as f:
            for line in f:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
    except OSError:
        return None
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--server", required=True)
    parser.add_argument("--modules", required=True)
    parser.add_argument("--seconds", type=float, default=3600.0, help="simulated seconds")
    parser.add_argument("--interval", type=float, default=0.5, help="wall seconds between memory samples")
    options = parser.parse_args()
    options.server = os.path.abspath(options.server)

    root = tempfile.mkdtemp(prefix="orkalin-soak-")
    ok = False
    try:
        game_dir = os.path.join(root, "game")
        os.makedirs(game_dir)
        os.symlink(os.path.abspath(options.modules), os.path.join(game_dir, "modules"))
        dump = os.path.join(root, "poses.txt")
        out_path = os.path.join(root, "stdout.txt")
        started = time.monotonic()
        with open(out_path, "w") as out:
            server = subprocess.Popen([options.server, "--create", "--modules", "Planet", "soak", "--seconds",
                                       str(options.seconds), "--dump", dump], cwd=game_dir, stdout=out,
                                      stderr=subprocess.PIPE, text=True)
            samples = []
            while server.poll() is None:
                kib = rss_kib(server.pid)
                if kib:
                    samples.append(kib)
                time.sleep(options.interval)
            errors = server.stderr.read()
        wall = time.monotonic() - started
        output = open(out_path).read()
        poses = open(dump).read() if os.path.exists(dump) else ""

        problems = []
        if server.returncode != 0:
            problems.append(f"exit code {server.returncode}: {errors.strip()}")
        bad = re.compile(r"\b-?(nan|inf)\b", re.IGNORECASE)
        if bad.search(poses):
            problems.append("a pose holds NaN or infinity: " + bad.search(poses).group(0))
        if bad.search(output):
            problems.append("a progress line holds NaN or infinity")
        if not poses.strip():
            problems.append("no poses were dumped")
        if len(samples) >= 8:
            # The first quarter is the start (modules, the world being built); growth is measured after it.
            quarter = len(samples) // 4
            second, last = max(samples[quarter:2 * quarter]), max(samples[-quarter:])
            if last > second * 1.2 + 4096:
                problems.append(f"memory grew: {second} KiB in the second quarter, {last} KiB in the last")
        mib = [s / 1024 for s in samples] or [0]
        print(f"soak: {options.seconds:g} s simulated in {wall:.1f} s of wall time, {len(poses.splitlines())} "
              f"entities at the end; RSS over {len(samples)} samples: min {min(mib):.1f} MiB, "
              f"max {max(mib):.1f} MiB, last {mib[-1]:.1f} MiB")
        if problems:
            print("soak FAILED:\n  " + "\n  ".join(problems), file=sys.stderr)
            return 1
        ok = True
        print("soak: no NaN, memory flat")
        return 0
    finally:
        if ok:
            shutil.rmtree(root, ignore_errors=True)
        else:
            print(f"(kept {root})", file=sys.stderr)


if __name__ == "__main__":
    sys.exit(main())
