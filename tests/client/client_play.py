#!/usr/bin/env python3
"""The client as a player meets it, on a virtual X display (run under xvfb-run) with lavapipe.

Starts orkalin in a fresh run directory, clicks PLAY through the window (xdotool: real X input), lets the
demo world run 120 frames, takes a screenshot with F12, opens the settings with F1, picks another graphics
preset from its combo, binds a key captured from the keyboard on the input tab, shows and hides the backpack
with TAB (a picture of it), holds ESCAPE to quit, and
checks: exit code 0, no validation message, the world saved, the preset and the key in the settings file,
and the picture's sky, ground and crate yard.

With --offscreen first, it runs the way a user without a screen sees the game instead: no display,
`orkalin --screenshot PATH --frames 60` presses PLAY itself, writes the picture and exits 0; the world it
plays is one that orkalin-server made, and orkalin-server loads it again after the client saved it.

With --webview first, the third argument is the folder of the WebviewProbe module (WebviewProbe.cpp), which
asks for a web view when the game starts: offscreen, the client starts the browser process, the probe gets
a frame of its red page and quits, and the web view's threads end (exit 0, the pipe files gone). It needs
node and /usr/bin/chromium, and skips without them.

Usage: client_play.py [--offscreen | --webview] ORKALIN_BIN RUN_DIR PICTURE_DIR|PROBE_DIR
Exit code 0 passes, 77 skips (no Vulkan device), anything else fails.
"""

import os
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from png import read_png  # noqa: E402

SKIP = 77


def fail(message):
    print(f"FAIL: {message}", flush=True)
    sys.exit(1)


class Client:
    def __init__(self, command, cwd):
        self.process = subprocess.Popen(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        text=True, bufsize=1)
        self.lines = queue.Queue()
        self.output = []
        self.rects = {}  # the newest place of each traced control, whether a wait_for saw its line or not
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            line = line.rstrip("\n")
            print(f"  | {line}", flush=True)
            self.output.append(line)
            traced = re.match(r"ui-rect (\S+) (\d+) (\d+) (\d+) (\d+)$", line)
            if traced:
                self.rects[traced.group(1)] = traced.groups()[1:]
            self.lines.put(line)
        self.lines.put(None)

    def wait_for(self, pattern, timeout=120):
        deadline = time.time() + timeout
        regex = re.compile(pattern)
        while time.time() < deadline:
            try:
                line = self.lines.get(timeout=max(0.1, deadline - time.time()))
            except queue.Empty:
                break
            if line is None:
                fail(f"orkalin ended (code {self.process.wait()}) before printing /{pattern}/")
            match = regex.search(line)
            if match:
                return match
        fail(f"no /{pattern}/ within {timeout} s")


    def settled(self, pattern, settle=2.5, timeout=120):
        """The last line matching `pattern` once no new match came for `settle` seconds (a popup places
        itself a frame after it opens)."""
        match = self.wait_for(pattern, timeout)
        regex = re.compile(pattern)
        while True:
            try:
                line = self.lines.get(timeout=settle)
            except queue.Empty:
                return match
            if line is None:
                fail("orkalin ended while a control was being placed")
            match = regex.search(line) or match


    def rect(self, name, settle=2.5, timeout=120):
        """Where the control `name` is once it stayed put for `settle` seconds."""
        deadline = time.time() + timeout
        while name not in self.rects:
            if time.time() > deadline:
                fail(f"control {name} never placed")
            time.sleep(0.1)
        last, since = self.rects[name], time.time()
        while time.time() - since < settle:
            time.sleep(0.1)
            if self.rects[name] != last:
                last, since = self.rects[name], time.time()
        return last


def xdotool(*args):
    subprocess.run(["xdotool", *args], check=True)


def press(key, seconds=2.0):
    """Holds a key long enough for a frame to see it: the game polls keys, at the frame rate for F12."""
    xdotool("keydown", key)
    time.sleep(seconds)
    xdotool("keyup", key)


def click_rect(window, match):
    x, y, w, h = (float(v) for v in (match.groups()[-4:] if hasattr(match, "groups") else match))
    xdotool("mousemove", "--window", window, str(int(x + w / 2)), str(int(y + h / 2)))
    time.sleep(0.3)
    # Held through a frame or two: the menu and the panels see the button at the frame rate.
    xdotool("mousedown", "1")
    time.sleep(1.5)
    xdotool("mouseup", "1")


def keep_picture(source, folder, name):
    os.makedirs(folder, exist_ok=True)
    target = os.path.join(folder, name)
    shutil.copyfile(source, target)
    print(f"picture: {target}", flush=True)
    return target


def make_run_dir(root, run_dir, extra_module=None):
    """A run directory of links to the build's, so that the world and settings land in `root`; with
    `extra_module` (a folder of <Name>.<Family>.so files), modules/ is a folder that adds it."""
    game = os.path.join(root, "game")
    os.makedirs(game)
    for entry in os.listdir(run_dir):
        if not (extra_module and entry == "modules"):
            os.symlink(os.path.join(run_dir, entry), os.path.join(game, entry))
    if extra_module:
        modules = os.path.join(game, "modules")
        os.makedirs(modules)
        for entry in os.listdir(os.path.join(run_dir, "modules")):
            os.symlink(os.path.join(run_dir, "modules", entry), os.path.join(modules, entry))
        name = os.listdir(extra_module)[0].split(".")[0]
        os.symlink(extra_module, os.path.join(modules, name))
    return game


def offscreen(orkalin, run_dir, picture_dir):
    root = tempfile.mkdtemp(prefix="orkalin-offscreen-")
    try:
        game = make_run_dir(root, run_dir)
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        shot = os.path.join(root, "shot.png")
        # One world for both programs: the dedicated server makes "demo", the client continues it, and the
        # server loads what the client saved.
        server = [os.path.join(os.path.dirname(orkalin), "orkalin-server"), "demo"]
        made = subprocess.run(server + ["--create", "--modules", "Planet", "--ticks", "30"], cwd=game,
                              capture_output=True, text=True, timeout=300)
        if made.returncode != 0:
            fail(f"orkalin-server could not make the world: {made.stdout}{made.stderr}")
        result = subprocess.run([orkalin, "--screenshot", shot, "--frames", "60", "--validation", "--stats"],
                                cwd=game, env=env, capture_output=True, text=True, timeout=500)
        print(result.stdout + result.stderr, flush=True)
        if result.returncode != 0:
            fail(f"exit code {result.returncode}")
        if "orkalin: 0 validation messages" not in result.stdout or "offscreen" not in result.stdout:
            fail("not offscreen, or validation messages")
        if "world 'demo' (saved) playing" not in result.stdout:
            fail("the client did not continue the server's world")
        loaded = subprocess.run(server + ["--ticks", "1"], cwd=game, capture_output=True, text=True, timeout=300)
        if loaded.returncode != 0:
            fail(f"orkalin-server could not load the world the client saved: {loaded.stdout}{loaded.stderr}")
        check_picture(keep_picture(shot, picture_dir, "client-offscreen.png"))
        print("PASS", flush=True)
        return 0
    finally:
        shutil.rmtree(root, ignore_errors=True)


def webview(orkalin, run_dir, probe_dir):
    if shutil.which("node") is None or not os.path.exists("/usr/bin/chromium"):
        print("SKIP: needs node and /usr/bin/chromium (./run test installs them)")
        return SKIP
    root = tempfile.mkdtemp(prefix="orkalin-webview-")
    try:
        game = make_run_dir(root, run_dir, probe_dir)
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        # The probe quits once its frame came; 60 frames a second for 3600 frames end a run whose frame
        # never comes.
        os.makedirs(os.path.join(root, "Orkalin-data"))
        with open(os.path.join(root, "Orkalin-data", "settings.conf"), "w") as settings:
            settings.write("[graphics]\nframerate_limit_main_rendering = 60\n")
        result = subprocess.run([orkalin, "--offscreen", "--play", "--frames", "3600", "--size", "256x144",
                                 "--modules", "WebviewProbe"], cwd=game, env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, timeout=240)
        print(result.stdout, flush=True)
        if result.returncode != 0:
            fail(f"exit code {result.returncode}")
        if "orkalin: a module asked for a web view: the browser process starts" not in result.stdout:
            fail("the browser process was not started")
        if "probe: the red page came back from the web view" not in result.stdout:
            fail("no frame of the probe's page came")
        pipes = [f for f in os.listdir(os.path.join(root, "Orkalin-data")) if f.startswith("webview.")]
        if pipes:
            fail(f"the web view's pipes were left: {pipes}")
        print("PASS", flush=True)
        return 0
    finally:
        shutil.rmtree(root, ignore_errors=True)


def main():
    args = sys.argv[1:]
    mode = args[0] if args and args[0] in ("--offscreen", "--webview") else None
    headless = mode is not None
    orkalin, run_dir, picture_dir = (os.path.abspath(a) for a in (args[1:4] if headless else args[0:3]))
    orkalin = os.path.abspath(orkalin)
    vkcheck = os.path.join(os.path.dirname(orkalin), "vesmo-vkcheck")
    check = subprocess.run([vkcheck], capture_output=True, text=True) if os.path.exists(vkcheck) else None
    if check and check.returncode != 0:
        print(f"SKIP: {check.stdout.strip() or check.stderr.strip()}")
        return SKIP
    if mode == "--webview":
        return webview(orkalin, run_dir, picture_dir)
    if headless:
        return offscreen(orkalin, run_dir, picture_dir)

    root = tempfile.mkdtemp(prefix="orkalin-client-")
    try:
        game = make_run_dir(root, run_dir)
        data = os.path.join(root, "Orkalin-data")

        client = Client([orkalin, "--trace-ui", "--validation", "--silent", "--size", "1280x720"], cwd=game)
        play = client.wait_for(r"ui-rect menu:PLAY (\d+) (\d+) (\d+) (\d+)", timeout=180)
        window = subprocess.run(["xdotool", "search", "--sync", "--name", "^Orkalin$"], capture_output=True,
                                text=True, check=True).stdout.split()[0]
        time.sleep(1.0)
        # Keys go to the window under the pointer, and to the focused one.
        xdotool("mousemove", "--window", window, "5", "5")
        xdotool("windowfocus", window)
        time.sleep(0.3)
        # The main menu's picture, then PLAY.
        press("F12")
        menu_shot = client.wait_for(r"Screenshot: (\S+)").group(1)
        keep_picture(os.path.join(game, menu_shot), picture_dir, "client-menu.png")
        click_rect(window, play)
        client.wait_for(r"world 'demo' \(new\) playing")
        client.wait_for(r"frame (1[2-9]\d|[2-9]\d\d|\d{4,}) of play", timeout=300)
        press("F12")
        world_shot = client.wait_for(r"Screenshot: (\S+)").group(1)
        picture = keep_picture(os.path.join(game, world_shot), picture_dir, "client-world.png")

        # Settings: F1, the preset combo, its second entry.
        press("F1")
        combo = client.settled(r"ui-rect settings:##Performance/Quality (\d+) (\d+) (\d+) (\d+)")
        time.sleep(0.5)
        click_rect(window, combo)
        entry = client.settled(r"ui-rect settings:preset:1 (\d+) (\d+) (\d+) (\d+)")
        time.sleep(0.5)
        click_rect(window, entry)
        time.sleep(1.0)

        # Input: the keyboard cell of "zoom", then K (GLFW 75) captured from the keyboard.
        click_rect(window, client.rect("settings:tab:Input"))
        click_rect(window, client.rect("settings:key:zoom"))
        time.sleep(1.0)
        press("k", 1.0)
        client.wait_for(r"Settings: zoom bound")

        # The backpack: a short ESCAPE closes the panels, TAB (the inventory binding) shows it, TAB hides it.
        press("Escape", 0.5)
        time.sleep(1.0)
        press("Tab", 0.5)
        client.wait_for(r"Planet: backpack shown")
        time.sleep(1.0)
        press("F12")
        backpack_shot = client.wait_for(r"Screenshot: (\S+)").group(1)
        keep_picture(os.path.join(game, backpack_shot), picture_dir, "client-backpack.png")
        press("Tab", 0.5)
        client.wait_for(r"Planet: backpack hidden")

        # ESCAPE held for two seconds quits.
        xdotool("keydown", "Escape")
        time.sleep(2.8)
        xdotool("keyup", "Escape")
        try:
            code = client.process.wait(timeout=120)
        except subprocess.TimeoutExpired:
            client.process.kill()
            fail("orkalin did not quit after ESCAPE was held")
        time.sleep(0.2)
        output = "\n".join(client.output)
        if code != 0:
            fail(f"exit code {code}")
        if "orkalin: 0 validation messages" not in output:
            fail("validation messages (or no count printed)")
        if not re.search(r"world 'demo' saved \((\d+) entities\)", output):
            fail("the world was not saved")

        world = os.path.join(data, "server", "worlds", "demo")
        states = [f for f in os.listdir(os.path.join(world, "entities")) if f.endswith(".entitystate")]
        if not os.path.exists(os.path.join(world, "world.conf")) or len(states) < 20:
            fail(f"world files: {len(states)} entity files")

        settings = open(os.path.join(data, "settings.conf")).read()
        preset = re.search(r"graphics_preset\s*=\s*(-?\d+)", settings)
        if not preset or preset.group(1) != "1":
            fail(f"graphics_preset in the settings file: {preset.group(1) if preset else 'missing'}")
        if not re.search(r"^input_binding_zoom\s*=\s*key:75\b", settings, re.M):
            fail("the captured key of zoom was not written")
        final_upscale = re.search(r"final_upscale\s*=\s*([\d.]+)", settings)
        if not final_upscale or float(final_upscale.group(1)) != 2.0:
            fail("the preset's final_upscale was not written")

        check_picture(picture)
        print("PASS", flush=True)
        return 0
    finally:
        shutil.rmtree(root, ignore_errors=True)


def check_picture(path):
    width, height, pixel = read_png(path)
    if (width, height) != (1280, 720):
        fail(f"picture is {width}x{height}")

    def region(x0, y0, x1, y1, test, step=4):
        hits = total = 0
        for y in range(y0, y1, step):
            for x in range(x0, x1, step):
                total += 1
                hits += 1 if test(*pixel(x, y)) else 0
        return hits / total

    sky = region(0, 0, width, 90, lambda r, g, b: b > 150 and b > r + 20)
    ground = region(0, height - 120, width, height, lambda r, g, b: g > b + 10 and g > 70)
    # The crates' wood by its hue (red over green over blue), lit or in shade; the ground is greener, the
    # sand and the rover paler.
    crate = region(width // 4, height // 4, 3 * width // 4, 3 * height // 4,
                   lambda r, g, b: r > 1.3 * g and g > 1.4 * b and r > 60)
    print(f"picture: sky {sky:.0%} of the top band, ground {ground:.0%} of the bottom band, "
          f"crate colour {crate:.1%} of the middle", flush=True)
    if sky < 0.9:
        fail("no sky at the top of the picture")
    if ground < 0.6:
        fail("no ground at the bottom of the picture")
    if crate < 0.01:
        fail("no crate in the middle of the picture")


if __name__ == "__main__":
    sys.exit(main())
