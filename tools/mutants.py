#!/usr/bin/env python3
"""Does the test suite catch real faults? Applies one-line faults to the sources, one at a time, builds what
the changed file feeds and runs the tests of that subsystem; a fault is caught when a test fails.

    tools/mutants.py [--build DIR] [--only SUBSTRING] [--binaries A,B] [--list] [--check] [--jobs N]

Each fault is a small, plausible slip (a flipped comparison, an off-by-one, a dropped call, a wrong
constant) in one line of one file. The file is put back after every fault, also when the script is
interrupted. The build folder must be configured with the tests (./run build); a fault that does not
compile is reported as such and counted apart. Prints one line per fault and "caught N/M" at the end.

The machine is shared: builds and tests run under `nice -n 10` with at most two jobs, and only the test
binaries of the fault's subsystem are built and run.
"""

import argparse
import os
import re
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# The tests of each subsystem, by source folder (the longest matching prefix wins).
TESTS = {
    "vesmo/core/": ["test_vesmo_core"],
    "vesmo/cpu/": ["test_vesmo_core"],
    "vesmo/filesystem/": ["test_vesmo_filesystem"],
    "vesmo/graphics/": ["test_vesmo_graphics"],
    "vesmo/audio/": ["test_vesmo_audio"],
    "vesmo/renderer/": ["test_vesmo_renderer"],
    "game/Game": ["test_game_lifecycle"],
    "game/host/Config": ["test_game_config"],
    "game/host/GameSettings": ["test_game_settings"],
    "game/host/": ["test_game_host"],
    "game/modular/": ["test_game_modular"],
    "game/chemistry/VoxelType": ["test_game_voxeltype"],
    "game/chemistry/": ["test_game_chemistry"],
    "game/entity/PressurizedVolume": ["test_game_volumes"],
    "game/entity/EntityConfig": ["test_game_entity"],
    "game/entity/JointSolver": ["test_game_entity", "test_game_server_entity"],
    "game/entity/common": ["test_game_entity", "test_game_physics"],
    "game/entity/PhysicsUpdate": ["test_game_physics"],
    "game/entity/": ["test_game_server_entity"],
    "game/physics/": ["test_game_physics"],
    "game/visual/VesmoScreen": ["test_game_screen"],
    "game/visual/VesmoCodeNodes": ["test_game_visual", "test_game_visual_ui"],
    "game/visual/": ["test_game_visual", "test_game_visual_ui"],
    "game/graphics/ui/": ["test_game_visual_ui"],
    "game/graphics/GameRenderer": ["test_game_renderer"],
    "game/graphics/": ["test_game_mesh"],
    "vesmo/vk/": ["test_vesmo_vk"],
    "game/input/": ["test_game_input"],
    "game/audio/": ["test_game_audio"],
    "game/webview/WebviewThreads": ["test_game_webview_threads"],
    "game/webview/": ["test_game_webview"],
    "launcher/": ["test_server_parts"],
    "modules/": ["test_server_parts"],
}

# (file, the text of one line as it stands, what the slip makes of it). The text must occur exactly once.
FAULTS = [
    # the engine
    ("vesmo/core/Base16.cpp", "return c - 'a' + 10;", "return c - 'a' + 11;"),
    ("vesmo/core/String.cpp", 'return value < 0 ? "-inf" : "inf";', 'return value > 0 ? "-inf" : "inf";'),
    ("vesmo/filesystem/Stream.cpp", "if (size > _buffer.size() - _position)", "if (size > _buffer.size() - _position + 1)"),
    ("vesmo/filesystem/ConfigFile.cpp", "trimmed.back() == ']' && trimmed.size() >= 2", "trimmed.back() == ']' && trimmed.size() > 2"),
    ("vesmo/graphics/HeadlessWindow.cpp", "return key >= KEY_FIRST && key <= KEY_LAST && _keys", "return key >= KEY_FIRST && key < KEY_LAST && _keys"),
    ("vesmo/audio/Studio.cpp", "from = slash + 1;", "from = slash;"),
    ("vesmo/cpu/Profiler.cpp", 'return value != nullptr && std::strcmp(value, "0") != 0;', 'return value != nullptr && std::strcmp(value, "0") == 0;'),
    ("vesmo/renderer/VesmoRenderer.cpp", "return static_cast<uint32_t>(_textures.size() - 1);", "return static_cast<uint32_t>(_textures.size());"),
    # host
    ("game/host/UniqueId.cpp", "if (text.size() != 28)", "if (text.size() != 27)"),
    ("game/host/Config.cpp", "bool IsDigit(char c) { return c >= '0' && c <= '9'; }", "bool IsDigit(char c) { return c > '0' && c <= '9'; }"),
    ("game/host/GameSettings.cpp", '{"input_binding_" #name, &s.input_binding_##name', '{"input_bindings_" #name, &s.input_binding_##name'),
    ("game/host/DebugInfo.cpp", "if (length < 0)", "if (length <= 0)"),
    # the hub
    ("game/GameChannels.cpp", "std::strncpy(found->second.data(), value.c_str(), kImcCapacity - 1);", "std::strncpy(found->second.data(), value.c_str(), kImcCapacity - 2);"),
    ("game/GameChannels.cpp", "return found != _imcData.end() ? std::strtod(found->second.data(), nullptr) : defaultValue;", "return found != _imcData.end() ? std::strtod(found->second.data(), nullptr) : 0.0;"),
    ("game/Game.cpp", "    _joysticks.clear();", "    ;"),
    ("game/Game.cpp", "static double avgDeltaTime = 1.0 / 60.0;", "static double avgDeltaTime = 1.0 / 30.0;"),
    # modules host
    ("game/modular/Module.cpp", "if (ModuleUnload)", "if (!ModuleUnload)"),
    ("game/modular/Module.cpp", 'Resolve("ModuleSort", ModuleSort);', ";"),
    # chemistry
    ("game/chemistry/Chemistry.cpp", "if (count > 1)", "if (count > 2)"),
    ("game/chemistry/Chemistry.cpp", "grams += count * element->atomicMass;", "grams += element->atomicMass;"),
    ("game/chemistry/VoxelType.cpp", "if (data == 0)", "if (data != 0)"),
    # entities
    ("game/entity/common.cpp", "radius = 0.5f * glm::length(boxMax - boxMin);", "radius = glm::length(boxMax - boxMin);"),
    ("game/entity/EntityConfig.cpp", "if (boxMin[axis] > boxMax[axis])", "if (boxMin[axis] < boxMax[axis])"),
    ("game/entity/JointSolver.cpp", "if (joints.empty() || entity->jointStates.empty())", "if (joints.empty() && entity->jointStates.empty())"),
    ("game/entity/PressurizedVolume.cpp", "condensed += mass / molecule.GetMaximumLiquidDensity();", "condensed += mass * molecule.GetMaximumLiquidDensity();"),
    ("game/entity/ServerSideEntityPersistence.cpp", "settleTime = 2.0;", "settleTime = 0.5;"),
    ("game/entity/ServerSideEntityTick.cpp", "parent->settleTime < 2.0", "parent->settleTime < 1.0"),
    ("game/entity/ServerSideEntity.cpp", "if (!inserted) {", "if (inserted) {"),
    ("game/entity/ServerSideEntityHierarchy.cpp", "entity->angularVelocity = orientation * entity->angularVelocity;", "entity->angularVelocity = entity->angularVelocity;"),
    ("game/entity/ServerTick.cpp", "average = (1.0 - deltaTime) * average", "average = (1.0 + deltaTime) * average"),
    ("game/entity/PhysicsUpdate.cpp", "e.settleTime = std::clamp(e.settleTime + deltaTime, 0.0, 1.0);", "e.settleTime = std::clamp(e.settleTime + deltaTime, 0.0, 2.0);"),
    ("game/entity/PhysicsUpdate.cpp", "glm::cross(parent->angularVelocity, r) + parent->smoothedAcceleration;", "glm::cross(parent->angularVelocity, r) - parent->smoothedAcceleration;"),
    # physics
    ("game/physics/Rigidbody.cpp", "sweptRadius = glm::length(linearVelocity) * deltaTime * 0.5 + this->boundingRadius;", "sweptRadius = glm::length(linearVelocity) * deltaTime * 0.5;"),
    ("game/physics/Rigidbody.cpp", "linearVelocity = vh + a * dt * 0.5;", "linearVelocity = vh - a * dt * 0.5;"),
    ("game/physics/Frame.cpp", "for (int step = 0; step < substeps; ++step) {", "for (int step = 0; step <= substeps; ++step) {"),
    ("game/physics/Collision.cpp", "const double overlap = std::min(pa.max, pb.max) - std::max(pa.min, pb.min);", "const double overlap = std::max(pa.max, pb.max) - std::max(pa.min, pb.min);"),
    ("game/physics/Environment.cpp", "const double q = density * -0.5 * dragCoefficient;", "const double q = density * 0.5 * dragCoefficient;"),
    # meshes, lights and the frame
    ("game/graphics/RenderableInstance.cpp", "if (vertexCount <= 65536) {", "if (vertexCount < 65536) {"),
    ("game/graphics/LightSourceInstance.cpp", "const float d = power / 0.01f - 1.0f;", "const float d = power / 0.1f - 1.0f;"),
    ("game/graphics/GameRenderer.cpp", "Game::settings->graphics_preset = 3;", "Game::settings->graphics_preset = 2;"),
    # visual programming
    ("game/visual/VesmoCodeGenerator.cpp", "if (position <= inputExprs.size())", "if (position < inputExprs.size())"),
    ("game/visual/VesmoScreen.cpp", "return c0 | (c1 << 8) | (c2 << 16) | (alpha << 24);", "return c0 | (c1 << 8) | (c2 << 8) | (alpha << 24);"),
    ("game/visual/VesmoCodeNodes.cpp", 'visit(Named("channel"), n.channel);', ";"),
    # screen UI
    ("game/graphics/ui/NodeEditor.cpp", "zoom = std::clamp((1.0f + steps * 0.125f) * zoom", "zoom = std::clamp((1.0f + steps * 0.25f) * zoom"),
    ("game/graphics/ui/TextEditor.cpp", "if (n > 0 && line[0] == '#') {", "if (n > 0 && line[0] == '!') {"),
    # input
    ("game/input/Joystick.cpp", "return v > -1.0f + deadzone ? v * 0.5f + 0.5f : 0.0f;", "return v > -1.0f + deadzone ? v * 0.5f - 0.5f : 0.0f;"),
    ("game/input/Controller.cpp", "next.AvatarYaw += x / width * 0.5;", "next.AvatarYaw += x / width * 0.25;"),
    ("game/input/Controller.cpp", "if (moving < 0.1)", "if (moving > 0.1)"),
    # audio
    ("game/audio/EnvironmentAudio.cpp", "auto blend = [](float old, float sample) { return 0.8f * old + 0.2f * sample; };", "auto blend = [](float old, float sample) { return 0.2f * old + 0.8f * sample; };"),
    # web view
    ("game/webview/ElectronWebview.cpp", "if (key >= 48 && key <= 90 && digitsAndLetters", "if (key >= 48 && key < 90 && digitsAndLetters"),
    ("game/webview/PipeServer.cpp", "return count < 0 ? 0 : static_cast<unsigned long>(count);", "return count < 0 ? 0 : static_cast<unsigned long>(count) - 1;"),
    ("game/webview/WebviewThreads.cpp", "if (_stopping.exchange(true))", "if (!_stopping.exchange(true))"),
    # the server program and the sample world
    ("launcher/WorldFile.cpp", "if (!(words >> key) || key[0] == '#')", "if (!(words >> key) || key[0] == ';')"),
    ("modules/Planet/PlanetEnvironment.cpp", "if (seaAltitude < 0.0 && altitude >= 0.0) {", "if (seaAltitude < 0.0 && altitude < 0.0) {"),
]


def tests_for(path):
    best = max((p for p in TESTS if path.startswith(p)), key=len, default=None)
    return TESTS[best] if best else []


def run(command, timeout, cwd=ROOT):
    """Runs a command niced; returns (exit code, output). A timeout counts as a failure."""
    try:
        done = subprocess.run(["nice", "-n", "10"] + command, cwd=cwd, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=timeout)
        return done.returncode, done.stdout
    except subprocess.TimeoutExpired as expired:
        return -1, (expired.stdout or b"").decode(errors="replace") if isinstance(expired.stdout, bytes) else "timeout"


_suites = {}


def suites_of(build, binary):
    """The GoogleTest suite names of a test binary (as CTest names its tests: Suite.Case)."""
    if binary not in _suites:
        code, out = run([os.path.join(build, "bin", binary), "--gtest_list_tests"], 120)
        names = [line.rstrip(".") for line in out.splitlines() if line and not line.startswith(" ")]
        _suites[binary] = [n.split("/")[-1] if "/" in n else n for n in names if code == 0]
    return _suites[binary]


def ctest_regex(build, binaries):
    suites = sorted({s for b in binaries for s in suites_of(build, b)})
    # Parameterised suites are named Prefix/Suite.Case/Param.
    return "^([^/.]*/)?(" + "|".join(re.escape(s) for s in suites) + ")\\."


def check(faults):
    bad = 0
    for path, old, _ in faults:
        text = open(os.path.join(ROOT, path)).read()
        count = text.count(old)
        if count != 1:
            print(f"STALE  {path}: {old!r} occurs {count} times")
            bad += 1
        if not tests_for(path):
            print(f"NOTEST {path}")
            bad += 1
    return bad


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(ROOT, "build"))
    parser.add_argument("--only", help="only faults whose file contains this text")
    parser.add_argument("--binaries", help="only faults run against one of these test binaries (comma-separated): "
                        "after a change to some tests, the faults whose result it can change")
    parser.add_argument("--list", action="store_true", help="list the faults and their tests")
    parser.add_argument("--check", action="store_true", help="check that every fault still applies")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--baseline", action="store_true",
                        help="first run the chosen tests on the unchanged tree; stop if any fails")
    args = parser.parse_args()

    faults = [f for f in FAULTS if not args.only or args.only in f[0]]
    if args.binaries:
        wanted = set(args.binaries.split(","))
        faults = [f for f in faults if wanted & set(tests_for(f[0]))]
    if args.list:
        for path, old, new in faults:
            print(f"{path}: {old}  ->  {new}   [{' '.join(tests_for(path))}]")
        return 0
    if check(faults):
        return 2
    if args.check:
        print(f"{len(faults)} faults apply")
        return 0

    # Every binary first, so that a fault's build is only the changed file and the links after it.
    everything = sorted({b for path, _, _ in faults for b in tests_for(path)})
    code, out = run(["cmake", "--build", args.build, f"-j{args.jobs}", "--target"] + everything, 3600)
    if code != 0:
        print(out[-3000:])
        print("The unchanged tree does not build.")
        return 2

    if args.baseline:
        code, out = run(["ctest", "--test-dir", args.build, "-j", str(args.jobs), "--timeout", "120", "-R",
                         ctest_regex(args.build, everything)], 3600)
        if code != 0:
            print(out[-3000:])
            print("The unchanged tree fails its tests: a fault could not be told from that.")
            return 2

    original = {}

    def restore(*_):
        for path, text in original.items():
            with open(os.path.join(ROOT, path), "w") as out_file:
                out_file.write(text)
        original.clear()

    def interrupted(signum, frame):
        restore()
        sys.exit(130)

    signal.signal(signal.SIGINT, interrupted)
    signal.signal(signal.SIGTERM, interrupted)

    caught = missed = broken = 0
    started = time.time()
    for number, (path, old, new) in enumerate(faults, 1):
        full = os.path.join(ROOT, path)
        by = ""
        text = open(full).read()
        original[path] = text
        try:
            with open(full, "w") as out_file:
                out_file.write(text.replace(old, new, 1))
            binaries = tests_for(path)
            code, out = run(["cmake", "--build", args.build, f"-j{args.jobs}", "--target"] + binaries, 1800)
            if code != 0:
                broken += 1
                verdict = "NO BUILD"
            else:
                code, out = run(["ctest", "--test-dir", args.build, "-j", str(args.jobs), "--timeout", "120",
                                 "--stop-on-failure", "-R", ctest_regex(args.build, binaries)], 3600)
                if code != 0:
                    caught += 1
                    # The first test to fail in the run's own order; CTest lists the ones it stopped after it too.
                    failed = re.search(r"Test\s+#\d+: (\S+) \.*\*\*\*", out)
                    verdict = "caught"
                    by = f"   [{failed.group(1)}]" if failed else ""
                else:
                    missed += 1
                    verdict = "MISSED"
        finally:
            restore()
        print(f"{number:3d} {verdict:8s} {path}: {old.strip()}  ->  {new.strip()}{by}", flush=True)

    # Put the build back to the unchanged sources (ccache makes this cheap).
    run(["cmake", "--build", args.build, f"-j{args.jobs}", "--target"] + everything, 3600)
    total = caught + missed
    print(f"caught {caught}/{total}" + (f" ({broken} did not build)" if broken else "") +
          f" in {int(time.time() - started)} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
