#pragma once
// The studio's sound device: OpenAL's default output, with sounds decoded by libsndfile.
//
// Only the studio uses it, always under the studio's mutex, so it has no lock of its own. It mirrors what
// the studio holds: one buffer per sound file, one source per event instance that has a sound, and the
// listener. Every source is relative to the listener at its position: events carry no position of their
// own, so they sound as ambience, and the listener's attributes place the ear for the device's own use.
//
// Built without OpenAL or libsndfile (ORKALIN_AUDIO_DEVICE undefined), Open always fails and the studio
// stays without a device.

#include <memory>
#include <string>
#include <vector>

namespace vesmo::audio {

class Device {
public:
    // Decoded samples of one file, interleaved 16-bit.
    struct Pcm {
        std::vector<short> samples;
        int channels = 0;
        int rate = 0;
    };

    // The default output device, or null with the reason in `error`.
    static std::unique_ptr<Device> Open(std::string& error);
    // Reads a whole sound file (any format libsndfile reads, mono or stereo). False with the reason if it
    // can't. Needs no device: callers decode before they take the studio's lock.
    static bool Decode(const std::string& path, Pcm& pcm, std::string& error);

    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // Makes a buffer for `path` from decoded samples; a path already held keeps its first buffer.
    void AddSound(const std::string& path, const Pcm& pcm);
    bool HasSound(const std::string& path) const;

    // Brings the source of instance `key` in line: created on first sight of a known sound, its looping and
    // gain set, started when `playing` turns true and stopped when it turns false.
    void Sync(const void* key, const std::string& sound, bool loop, bool playing, float gain);
    // Stops and deletes the source of `key`, if it has one.
    void Release(const void* key);
    bool IsSourcePlaying(const void* key) const; // what the device says of the instance's source

    void SetListener(const float position[3], const float velocity[3], const float forward[3], const float up[3]);

private:
    struct State;
    Device();
    std::unique_ptr<State> _state;
};

} // namespace vesmo::audio
