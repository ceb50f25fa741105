#!/usr/bin/env bash
# A module author's path, end to end: install the build into a fresh prefix, copy the template module out of
# the tree, build it against the installed package, and run it with the installed server. Also: the installed
# sample world runs from the installed run directory, and pkg-config alone builds a program against game.so.
# Usage: InstallTest.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/orkalin-sdk-XXXXXX")
trap 'rm -rf "$work"' EXIT
# Runs a step quietly; shows what it said if it fails.
quiet() { "$@" >"$work/step.log" 2>&1 || { cat "$work/step.log"; echo "failed: $*"; exit 1; }; }

quiet cmake --install "$build" --prefix "$work/prefix"
cp -r "$source/modules/Template" "$work/MyModule"
quiet cmake -S "$work/MyModule" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix"
quiet cmake --build "$work/build"
module=$work/build/game/modules/Template
test -f "$module/Template.SERVER_Mod.so" && test -f "$module/entities/marker.conf"

"$work/prefix/bin/orkalin-server" --game-dir "$work/build/game" --create --modules Template mine --ticks 10
test -f "$work/build/Orkalin-data/server/worlds/mine/world.conf"

"$work/prefix/bin/orkalin-server" --game-dir "$work/prefix/share/orkalin/game" --create --modules Planet demo --ticks 3
test -f "$work/prefix/share/orkalin/Orkalin-data/server/worlds/demo/world.conf"

printf '#include "game/Game.hpp"\nint main() { return Game::isActive ? 1 : 0; }\n' >"$work/probe.cpp"
# shellcheck disable=SC2046 # pkg-config's words are meant to split
g++ "$work/probe.cpp" -o "$work/probe" $(PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --cflags --libs orkalin)
"$work/probe"
echo "installed, built a module outside the tree against the package, ran it with the installed server"
