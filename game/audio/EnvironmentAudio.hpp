#pragma once
// The ambience around the player: one looping event of the studio in Game::audio. Game::Start creates it
// and Game::Stop deletes it. The class grows with the audio work (UpdateData, SetWindSpeed).

#include "vesmo/audio/Studio.hpp"

namespace game::audio {

class EnvironmentAudio : public vesmo::audio::Studio::Event {
public:
    // Loads the three banks on Game::audio, builds the event "event:/game/environment/planet surface" and
    // starts it. Game::audio must be set.
    EnvironmentAudio();

    bool underwater = false;
};

} // namespace game::audio
