#include "vesmo/audio/Device.hpp"

#ifdef ORKALIN_AUDIO_DEVICE
#include <AL/al.h>
#include <AL/alc.h>
#include <sndfile.h>
#endif

#include <map>

namespace vesmo::audio {

#ifdef ORKALIN_AUDIO_DEVICE

struct Device::State {
    struct Source {
        ALuint id = 0;
        bool playing = false; // as last asked of the device
    };
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    std::map<std::string, ALuint> buffers;
    std::map<const void*, Source> sources;
};

Device::Device() : _state(std::make_unique<State>()) {}

std::unique_ptr<Device> Device::Open(std::string& error) {
    ALCdevice* device = alcOpenDevice(nullptr);
    if (!device) {
        error = "no output device";
        return nullptr;
    }
    ALCcontext* context = alcCreateContext(device, nullptr);
    if (!context || !alcMakeContextCurrent(context)) {
        if (context)
            alcDestroyContext(context);
        alcCloseDevice(device);
        error = "the output device refused a context";
        return nullptr;
    }
    std::unique_ptr<Device> opened(new Device());
    opened->_state->device = device;
    opened->_state->context = context;
    return opened;
}

Device::~Device() {
    for (auto& [key, source] : _state->sources) {
        alSourceStop(source.id);
        alDeleteSources(1, &source.id);
    }
    for (auto& [path, buffer] : _state->buffers)
        alDeleteBuffers(1, &buffer);
    if (alcGetCurrentContext() == _state->context)
        alcMakeContextCurrent(nullptr);
    alcDestroyContext(_state->context);
    alcCloseDevice(_state->device);
}

bool Device::Decode(const std::string& path, Pcm& pcm, std::string& error) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) {
        error = sf_strerror(nullptr);
        return false;
    }
    if (info.channels < 1 || info.channels > 2 || info.frames <= 0) {
        sf_close(file);
        error = info.frames <= 0 ? "no samples" : "only mono and stereo sounds play";
        return false;
    }
    pcm.channels = info.channels;
    pcm.rate = info.samplerate;
    pcm.samples.resize(static_cast<size_t>(info.frames) * static_cast<size_t>(info.channels));
    const sf_count_t read = sf_readf_short(file, pcm.samples.data(), info.frames);
    sf_close(file);
    pcm.samples.resize(static_cast<size_t>(read) * static_cast<size_t>(info.channels));
    return true;
}

void Device::AddSound(const std::string& path, const Pcm& pcm) {
    if (_state->buffers.count(path))
        return;
    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    alBufferData(buffer, pcm.channels == 2 ? AL_FORMAT_STEREO16 : AL_FORMAT_MONO16, pcm.samples.data(),
                 static_cast<ALsizei>(pcm.samples.size() * sizeof(short)), pcm.rate);
    _state->buffers[path] = buffer;
}

bool Device::HasSound(const std::string& path) const { return _state->buffers.count(path) != 0; }

void Device::Sync(const void* key, const std::string& sound, bool loop, bool playing, float gain) {
    auto source = _state->sources.find(key);
    if (source == _state->sources.end()) {
        auto buffer = _state->buffers.find(sound);
        if (buffer == _state->buffers.end())
            return; // nothing to play: the sound didn't load
        State::Source created;
        alGenSources(1, &created.id);
        alSourcei(created.id, AL_BUFFER, static_cast<ALint>(buffer->second));
        alSourcei(created.id, AL_SOURCE_RELATIVE, AL_TRUE);
        alSource3f(created.id, AL_POSITION, 0.0f, 0.0f, 0.0f);
        source = _state->sources.emplace(key, created).first;
    }
    State::Source& held = source->second;
    alSourcei(held.id, AL_LOOPING, loop ? AL_TRUE : AL_FALSE);
    alSourcef(held.id, AL_GAIN, gain);
    if (playing && !held.playing)
        alSourcePlay(held.id);
    else if (!playing && held.playing)
        alSourceStop(held.id);
    held.playing = playing;
}

void Device::Release(const void* key) {
    auto source = _state->sources.find(key);
    if (source == _state->sources.end())
        return;
    alSourceStop(source->second.id);
    alDeleteSources(1, &source->second.id);
    _state->sources.erase(source);
}

bool Device::IsSourcePlaying(const void* key) const {
    auto source = _state->sources.find(key);
    if (source == _state->sources.end())
        return false;
    ALint state = AL_STOPPED;
    alGetSourcei(source->second.id, AL_SOURCE_STATE, &state);
    return state == AL_PLAYING;
}

void Device::SetListener(const float position[3], const float velocity[3], const float forward[3], const float up[3]) {
    alListenerfv(AL_POSITION, position);
    alListenerfv(AL_VELOCITY, velocity);
    const float orientation[6] = {forward[0], forward[1], forward[2], up[0], up[1], up[2]};
    alListenerfv(AL_ORIENTATION, orientation);
}

#else // built without a sound library: never a device

struct Device::State {};

Device::Device() : _state(std::make_unique<State>()) {}
Device::~Device() = default;

std::unique_ptr<Device> Device::Open(std::string& error) {
    error = "built without OpenAL";
    return nullptr;
}

bool Device::Decode(const std::string&, Pcm&, std::string& error) {
    error = "built without libsndfile";
    return false;
}

void Device::AddSound(const std::string&, const Pcm&) {}
bool Device::HasSound(const std::string&) const { return false; }
void Device::Sync(const void*, const std::string&, bool, bool, float) {}
void Device::Release(const void*) {}
bool Device::IsSourcePlaying(const void*) const { return false; }
void Device::SetListener(const float*, const float*, const float*, const float*) {}

#endif

} // namespace vesmo::audio
