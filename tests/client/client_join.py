#!/usr/bin/env python3
"""A client joins a dedicated server over loopback and draws the server's world.

Starts orkalin-server on the demo world with Planet and Net on a free UDP port, then
`orkalin --connect 127.0.0.1:PORT --screenshot PATH` offscreen: it must exit 0, report the joining and as
many entities as the server had when it joined, and leave a picture with sky, ground and crates (kept in
PICTURE_DIR as client-join.png). Then the server goes away under a second client, which must say that it
lost the server and exit non-zero.

Usage: client_join.py ORKALIN_BIN ORKALIN_SERVER_BIN RUN_DIR PICTURE_DIR
Exit code 0 passes, 77 skips (no Vulkan device), anything else fails.
"""

import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from client_play import SKIP, check_picture, fail, keep_picture, make_run_dir  # noqa: E402


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    def __init__(self, binary, game, root):
        self.port = free_udp_port()
        world = os.path.join(root, "Orkalin-data", "server", "worlds", "net")
        os.makedirs(world)
        with open(os.path.join(world, "world.conf"), "w") as conf:
            conf.write(f"modules Planet Net\nnet_port {self.port}\n")
        self.log = os.path.join(root, "server.txt")
        with open(self.log, "w") as out:
            self.process = subprocess.Popen([binary, "net"], cwd=game, stdout=out, stderr=subprocess.STDOUT)
        self.wait_for(r"Net: listening", 60)

    def output(self):
        with open(self.log) as log:
            return log.read()

    def wait_for(self, pattern, timeout):
        deadline = time.time() + timeout
        while time.time() < deadline:
            match = re.search(pattern, self.output())
            if match:
                return match
            if self.process.poll() is not None:
                break
            time.sleep(0.1)
        fail(f"the server printed no /{pattern}/:\n{self.output()}")

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.process.wait(timeout=60)


def main():
    orkalin, server_bin, run_dir, picture_dir = (os.path.abspath(a) for a in sys.argv[1:5])
    vkcheck = os.path.join(os.path.dirname(orkalin), "vesmo-vkcheck")
    check = subprocess.run([vkcheck], capture_output=True, text=True) if os.path.exists(vkcheck) else None
    if check and check.returncode != 0:
        print(f"SKIP: {check.stdout.strip() or check.stderr.strip()}")
        return SKIP

    root = tempfile.mkdtemp(prefix="orkalin-join-")
    server = None
    try:
        game = make_run_dir(root, run_dir)
        server = Server(server_bin, game, root)
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        address = f"127.0.0.1:{server.port}"
        shot = os.path.join(root, "shot.png")
        result = subprocess.run([orkalin, "--connect", address, "--screenshot", shot, "--frames", "90"],
                                cwd=game, env=env, capture_output=True, text=True, timeout=500)
        print(result.stdout + result.stderr, flush=True)
        if result.returncode != 0:
            fail(f"exit code {result.returncode}")
        served = int(server.wait_for(r"joined \(1 connected, (\d+) entities\)", 10).group(1))
        received = re.search(r"Net: left \S+ with (\d+) entities", result.stdout)
        if f"Net: joined {address}" not in result.stdout or not received:
            fail("the client did not report joining and its entities")
        print(f"server: {served} entities, client: {received.group(1)}", flush=True)
        if served == 0 or int(received.group(1)) != served:
            fail("the client's entities are not the server's")
        check_picture(keep_picture(shot, picture_dir, "client-join.png"))

        # The server goes away while a client plays: it says so and gives up (with --screenshot, exit 1).
        client = subprocess.Popen([orkalin, "--connect", address, "--screenshot", shot, "--frames", "100000"],
                                  cwd=game, env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        server.wait_for(r"joined[\s\S]*joined", 120)
        server.process.kill()
        out, _ = client.communicate(timeout=300)
        print(out, flush=True)
        if client.returncode == 0 or f"the server at {address} was lost" not in out:
            fail(f"a client that lost its server ended with {client.returncode} and no word of it")
        print("PASS", flush=True)
        return 0
    finally:
        if server:
            server.stop()
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
