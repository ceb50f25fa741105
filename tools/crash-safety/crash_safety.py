#!/usr/bin/env python3
"""Kills orkalin-server with SIGKILL inside its saves, then checks that the world still loads whole.

Each round runs a few ticks of a world and kills the server at a chosen file event of its save (the
preloaded KillAtFileEvent library does the killing, so every kill lands in the save instead of in the
ticks around it). Then a clean server loads the world and saves it again, and the round checks:
  - the load succeeds (exit code 0): no damaged or half-written file;
  - every entity is there, and no temporary of an interrupted save is left;
  - the module's clock (planet.state) equals the world's clock (world.conf): old world or new, never a mix.

  crash_safety.py --server BIN --modules DIR --preload LIB [--saves N] [--seed S] [--keep DIR]
"""

import argparse
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile


def run(server, game_dir, args, env=None):
    full = dict(os.environ)
    full.update(env or {})
    return subprocess.run([server] + args, cwd=game_dir, env=full, capture_output=True, text=True, timeout=120)


def clock(path, key):
    with open(path) as f:
        for line in f:
            words = line.split()
            if len(words) == 2 and words[0] == key:
                return float(words[1])
    raise RuntimeError(f"no '{key}' in {path}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--server", required=True)
    parser.add_argument("--modules", required=True, help="the build's sample modules folder")
    parser.add_argument("--preload", required=True, help="the KillAtFileEvent library")
    parser.add_argument("--saves", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--keep", help="keep the work folder here instead of removing it")
    options = parser.parse_args()
    options.server = os.path.abspath(options.server)
    options.preload = os.path.abspath(options.preload)
    rng = random.Random(options.seed)

    root = options.keep or tempfile.mkdtemp(prefix="orkalin-crash-")
    game_dir = os.path.join(root, "game")
    os.makedirs(game_dir, exist_ok=True)
    if not os.path.exists(os.path.join(game_dir, "modules")):
        os.symlink(os.path.abspath(options.modules), os.path.join(game_dir, "modules"))
    world = os.path.join(root, "Orkalin-data", "server", "worlds", "w")
    entities = os.path.join(world, "entities")
    failures = []
    try:
        made = run(options.server, game_dir, ["--create", "--modules", "Planet", "w", "--ticks", "30"])
        if made.returncode != 0:
            print(made.stdout, made.stderr, file=sys.stderr)
            return 1
        expected = len([n for n in os.listdir(entities) if n.endswith(".entitystate")])

        # How many file events one run of the round makes: the kill points to choose from.
        count_file = os.path.join(root, "events")
        counted = run(options.server, game_dir, ["w", "--ticks", "3"],
                      {"LD_PRELOAD": options.preload, "ORKALIN_KILL_COUNT": count_file})
        if counted.returncode != 0:
            print(counted.stderr, file=sys.stderr)
            return 1
        events = int(open(count_file).read())
        print(f"crash safety: {expected} entities, {events} file events per save, {options.saves} saves")

        killed = 0
        for round_number in range(1, options.saves + 1):
            at = rng.randint(1, events)
            crash = run(options.server, game_dir, ["w", "--ticks", "3"],
                        {"LD_PRELOAD": options.preload, "ORKALIN_KILL_AT": str(at)})
            if crash.returncode == -signal.SIGKILL:
                killed += 1
            elif crash.returncode != 0:
                failures.append(f"round {round_number}: the run itself failed ({crash.returncode}): {crash.stderr}")
                break

            check = run(options.server, game_dir, ["w", "--ticks", "0"])
            problems = []
            if check.returncode != 0:
                problems.append(f"the world does not load (exit {check.returncode}): {check.stderr.strip()}")
            else:
                names = os.listdir(entities)
                states = len([n for n in names if n.endswith(".entitystate")])
                if states != expected:
                    problems.append(f"{states} entity files, {expected} expected")
                leftovers = [n for n in names + os.listdir(world) if re.search(r"\.tmp-", n)]
                if leftovers:
                    problems.append(f"temporaries left: {leftovers[:3]}")
                module_time = clock(os.path.join(world, "planet.state"), "time")
                world_time = clock(os.path.join(world, "world.conf"), "time")
                if module_time != world_time:
                    problems.append(f"clocks apart: module {module_time!r}, world {world_time!r}")
            if problems:
                failures.append(f"round {round_number} (killed at event {at} of {events}): " + "; ".join(problems))
                break
            if round_number % 100 == 0:
                print(f"crash safety: {round_number} saves, {killed} killed inside the save, all loaded whole",
                      flush=True)
    finally:
        if not options.keep and not failures:
            shutil.rmtree(root, ignore_errors=True)

    if failures:
        print("crash safety FAILED:\n  " + "\n  ".join(failures), file=sys.stderr)
        print(f"(world kept in {root})", file=sys.stderr)
        return 1
    print(f"crash safety: {options.saves} saves, {killed} killed inside the save; every world loaded whole "
          f"with equal clocks")
    return 0


if __name__ == "__main__":
    sys.exit(main())
