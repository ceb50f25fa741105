// A module that asks for a web view in its start hook, for the client's web view test (client_play.py
// --webview). Its GAME_Mod opens a red page into a texture and, once an image of it came back (the first
// may be the page before it painted), prints the middle pixel and quits the game. Its SERVER_Mod (built
// from this file without PROBE_GAME_MOD) exports nothing: a world's modules need that family, and this
// one has nothing to simulate.

#include "game/Game.hpp"
#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include <cstdint>
#include <cstdio>
#include <memory>

#ifdef PROBE_GAME_MOD
#define PROBE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
std::shared_ptr<vesmo::graphics::DynamicAsyncTexture> texture;
std::uint64_t seen = 0;
} // namespace

PROBE_EXPORT void Game_Start() {
    texture = std::make_shared<vesmo::graphics::DynamicAsyncTexture>(64, 32);
    seen = 0;
    // URLs go out without spaces.
    Game::electronWebview.Texture(texture, "probe", "data:text/html,<body%20style=background:rgb(255,0,0)>", 1.0);
}

PROBE_EXPORT void Game_Update(double) {
    if (!texture || texture->Generation() == seen)
        return;
    seen = texture->Generation();
    const auto pixel = texture->Pixel(32, 16);
    if (pixel[0] < 240 || pixel[1] > 16 || pixel[2] > 16)
        return;
    std::printf("probe: the red page came back from the web view (middle pixel %d %d %d)\n", pixel[0], pixel[1],
                pixel[2]);
    std::fflush(stdout);
    Game::Quit();
}

PROBE_EXPORT void Game_Stop() { texture.reset(); }
#endif
