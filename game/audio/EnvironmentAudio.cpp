#include "game/audio/EnvironmentAudio.hpp"

#include "game/Game.hpp"

namespace game::audio {

namespace {
// The banks go in before the event: its description lives in them.
vesmo::audio::Studio* LoadBanks() {
    Game::audio->LoadBank("game/audio/banks/Master.bank");
    Game::audio->LoadBank("game/audio/banks/Master.strings.bank");
    Game::audio->LoadBank("game/audio/banks/environment.bank");
    return Game::audio;
}
} // namespace

EnvironmentAudio::EnvironmentAudio() : Event(LoadBanks(), "event:/game/environment/planet surface") {
    underwater = false;
    Start();
}

} // namespace game::audio
