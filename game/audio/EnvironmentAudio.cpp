#include "game/audio/EnvironmentAudio.hpp"

#include "game/Game.hpp"
#include "game/host/GameSettings.hpp"

#include <cmath>

namespace game::audio {

namespace {
// The banks go in before the event: its description lives in them.
vesmo::audio::Studio* LoadBanks() {
    Game::audio->LoadBank("game/audio/banks/Master.bank");
    Game::audio->LoadBank("game/audio/banks/Master.strings.bank");
    Game::audio->LoadBank("game/audio/banks/environment.bank");
    return Game::audio;
}

constexpr int kNoWater = 10000;
} // namespace

EnvironmentAudio::EnvironmentAudio() : Event(LoadBanks(), "event:/game/environment/planet surface") {
    underwater = false;
    Start();
}

void EnvironmentAudio::UpdateData(EnvironmentAudioData* data) {
    static float missFactor = 0.0f;
    static float terrainFactor = 0.0f;
    static float objectFactor = 0.0f;
    static float hydrosphereFactor = 0.0f;
    static float hydrosphereDistance = static_cast<float>(kNoWater);

    const int total = data->missCount + data->terrainCount + data->objectCount + data->hydrosphereCount;
    if (total != 0) {
        const float count = static_cast<float>(total);
        auto blend = [](float old, float sample) { return 0.8f * old + 0.2f * sample; };
        missFactor = blend(missFactor, static_cast<float>(data->missCount) / count);
        terrainFactor = blend(terrainFactor, static_cast<float>(data->terrainCount) / count);
        objectFactor = blend(objectFactor, static_cast<float>(data->objectCount) / count);
        hydrosphereDistance = blend(hydrosphereDistance, static_cast<float>(data->hydrosphereDistance) / 100.0f);
        hydrosphereFactor = blend(hydrosphereFactor, static_cast<float>(data->hydrosphereCount) / count);

        SetParameter("inside", std::pow(objectFactor, 4.0f));
        SetParameter("dist to water", hydrosphereDistance);
        Game::audio->SetParameter("underwater", underwater ? 1.0f : 0.0f);
    }
    // Only the object share and the distance reach the sound; the other shares are kept for their own sake.

    data->missCount = 0;
    data->terrainCount = 0;
    data->objectCount = 0;
    data->hydrosphereCount = 0;
    data->hydrosphereDistance = kNoWater;
}

void EnvironmentAudio::SetWindSpeed(float speed, float density) {
    SetParameter("wind speed", speed);
    SetParameter("density", density);
    SetVolume(0.5f * Game::settings->environment_volume);
}

} // namespace game::audio
