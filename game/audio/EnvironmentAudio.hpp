#pragma once
// The ambience around the player: one looping event of the studio in Game::audio, shaped by how enclosed
// the listener is, how far water is and how hard the wind blows. Game::Start creates it and Game::Stop
// deletes it; modules sample the surroundings (with rays, say) and hand over the counts.
//
// UpdateData and SetWindSpeed are for one thread at a time: the smoothed values are unguarded statics.

#include "vesmo/audio/Studio.hpp"

namespace game::audio {

// Samples of the surroundings, added up by the caller between two UpdateData calls, which resets them.
struct EnvironmentAudioData {
    int missCount = 0;               // samples that hit nothing
    int terrainCount = 0;            // samples that hit terrain
    int objectCount = 0;             // samples that hit objects
    int hydrosphereCount = 0;        // samples that hit water
    int hydrosphereDistance = 10000; // distance to water in hundredths (of a metre)
};

class EnvironmentAudio : public vesmo::audio::Studio::Event {
public:
    // Loads "game/audio/banks/Master.bank", "Master.strings.bank" and "environment.bank" on Game::audio, in
    // this order, builds the event "event:/game/environment/planet surface" and starts it. Game::audio must
    // be set. The base's destructor stops the event.
    EnvironmentAudio();

    // Blends the record's shares into the smoothed factors (0.8 × old + 0.2 × sample), then sets the event's
    // "inside" (object share to the power 4, so it stays near 0 until most samples hit objects) and
    // "dist to water" (smoothed, in metres), and the global "underwater" (1 or 0). A record without samples
    // changes nothing. Either way the record is reset: counts to 0, distance to 10000.
    //
    // The smoothed values are statics of the function: they start at 0 (distance 10000) once per process
    // and carry over from one game run to the next.
    void UpdateData(EnvironmentAudioData* data);

    // Event parameters "wind speed" and "density", and the event's volume at half the environment_volume
    // setting (Game::settings must be set).
    void SetWindSpeed(float speed, float density);

    bool underwater = false; // modules write it
};

} // namespace game::audio
