#include "vesmo/audio/Studio.hpp"

#include <algorithm>

namespace vesmo::audio {

Studio::Studio() = default;
Studio::~Studio() = default;

bool Studio::LoadBank(const char* path) {
    std::lock_guard guard(_mutex);
    if (std::find(_banks.begin(), _banks.end(), path) == _banks.end())
        _banks.emplace_back(path);
    return true;
}

std::vector<std::string> Studio::LoadedBanks() const {
    std::lock_guard guard(_mutex);
    return _banks;
}

std::shared_ptr<Studio::EventState> Studio::EventInstance(const char* path) {
    std::lock_guard guard(_mutex);
    auto state = std::make_shared<EventState>();
    state->path = path;
    _events.push_back(state);
    return state;
}

std::vector<std::shared_ptr<const Studio::EventState>> Studio::EventInstances() const {
    std::lock_guard guard(_mutex);
    std::vector<std::shared_ptr<const EventState>> live;
    for (const auto& event : _events)
        if (!event->released)
            live.push_back(event);
    return live;
}

void Studio::SetParameter(const char* name, float value, bool) {
    std::lock_guard guard(_mutex);
    _parameters[name] = value;
}

float Studio::GetParameter(const char* name) const {
    std::lock_guard guard(_mutex);
    auto found = _parameters.find(name);
    return found != _parameters.end() ? found->second : 0.0f;
}

void Studio::SetVolume(float volume, const char* bus) {
    std::lock_guard guard(_mutex);
    _busVolumes[bus] = volume;
}

float Studio::GetVolume(const char* bus) const {
    std::lock_guard guard(_mutex);
    auto found = _busVolumes.find(bus);
    return found != _busVolumes.end() ? found->second : 1.0f;
}

void Studio::SetListenerAttributes(float px, float py, float pz, float vx, float vy, float vz, float fx, float fy,
                                   float fz, float ux, float uy, float uz) {
    std::lock_guard guard(_mutex);
    _listener = Listener{{px, py, pz}, {vx, vy, vz}, {fx, fy, fz}, {ux, uy, uz}};
}

Studio::Listener Studio::GetListenerAttributes() const {
    std::lock_guard guard(_mutex);
    return _listener;
}

void Studio::Update() {
    std::lock_guard guard(_mutex);
    ++_updates;
    std::erase_if(_events, [](const std::shared_ptr<EventState>& event) { return event->released; });
}

uint64_t Studio::UpdateCount() const {
    std::lock_guard guard(_mutex);
    return _updates;
}

Studio::Event::Event(Studio* studio, const char* path) : _studio(studio), _state(studio->EventInstance(path)) {}

Studio::Event::~Event() {
    std::lock_guard guard(_studio->_mutex);
    _state->playing = false;
    _state->released = true;
}

void Studio::Event::Start() {
    std::lock_guard guard(_studio->_mutex);
    _state->playing = true;
}

void Studio::Event::Stop() {
    std::lock_guard guard(_studio->_mutex);
    _state->playing = false;
}

void Studio::Event::SetParameter(const char* name, float value, bool) {
    std::lock_guard guard(_studio->_mutex);
    _state->parameters[name] = value;
}

void Studio::Event::SetVolume(float volume) {
    std::lock_guard guard(_studio->_mutex);
    _state->volume = volume;
}

float Studio::Event::GetParameter(const char* name) const {
    std::lock_guard guard(_studio->_mutex);
    auto found = _state->parameters.find(name);
    return found != _state->parameters.end() ? found->second : 0.0f;
}

float Studio::Event::GetVolume() const {
    std::lock_guard guard(_studio->_mutex);
    return _state->volume;
}

bool Studio::Event::IsPlaying() const {
    std::lock_guard guard(_studio->_mutex);
    return _state->playing;
}

} // namespace vesmo::audio
