#include "vesmo/audio/Studio.hpp"

#include "vesmo/audio/Device.hpp"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace vesmo::audio {

namespace {

void Report(const std::string& line) { std::cerr << "Studio: " << line << std::endl; }

} // namespace

Studio::Studio(Output output) {
    if (output != Output::Device)
        return;
    std::string error;
    _device = Device::Open(error);
    if (!_device)
        Report("no sound device (" + error + "); running silent");
}

Studio::~Studio() = default;

void Studio::LoadSounds(const Bank& bank) {
    for (const EventDescription& event : bank.events) {
        if (event.sound.empty())
            continue;
        {
            std::lock_guard guard(_mutex);
            if (_device->HasSound(event.sound))
                continue;
        }
        Device::Pcm pcm;
        std::string error;
        if (!Device::Decode(event.sound, pcm, error)) {
            Report("cannot load sound \"" + event.sound + "\" of event \"" + event.path + "\": " + error);
            continue;
        }
        std::lock_guard guard(_mutex);
        _device->AddSound(event.sound, pcm);
    }
}

bool Studio::LoadBank(const char* path) {
    {
        std::lock_guard guard(_mutex);
        if (std::find(_banks.begin(), _banks.end(), path) != _banks.end())
            return true;
    }
    // Read and parse outside the lock: a bank is a file, and the mixer's callers shouldn't wait on a disk.
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Report(std::string("cannot load bank \"") + path + "\": no such file");
        return false;
    }
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Bank bank;
    try {
        bank = Bank::Parse(text, path);
    } catch (const std::runtime_error& error) {
        Report(std::string("cannot load bank \"") + path + "\": " + error.what());
        return false;
    }
    if (_device)
        LoadSounds(bank);
    std::lock_guard guard(_mutex);
    if (std::find(_banks.begin(), _banks.end(), path) != _banks.end())
        return true; // another thread got there first
    _banks.emplace_back(path);
    for (EventDescription& event : bank.events)
        _descriptions.try_emplace(event.path, std::move(event));
    return true;
}

std::vector<std::string> Studio::LoadedBanks() const {
    std::lock_guard guard(_mutex);
    return _banks;
}

std::optional<EventDescription> Studio::FindEvent(const char* path) const {
    std::lock_guard guard(_mutex);
    auto found = _descriptions.find(path);
    if (found == _descriptions.end())
        return std::nullopt;
    return found->second;
}

std::shared_ptr<Studio::EventState> Studio::EventInstance(const char* path) {
    auto state = std::make_shared<EventState>();
    state->path = path;
    {
        std::lock_guard guard(_mutex);
        auto found = _descriptions.find(path);
        if (found != _descriptions.end())
            state->description = found->second;
        _events.push_back(state);
    }
    if (!state->description)
        Report(std::string("no loaded bank holds event \"") + path + "\"; it stays silent");
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

float Studio::BusVolume(const std::string& bus) const {
    // "bus:/a/b" plays through "bus:/", "bus:/a" and "bus:/a/b". The prefixes are views into `bus`: this
    // runs for every event on every Update, so it must not allocate.
    const std::string_view path(bus), master("bus:/");
    auto volumeOf = [this](std::string_view name) {
        auto found = _busVolumes.find(name);
        return found != _busVolumes.end() ? found->second : 1.0f;
    };
    float volume = volumeOf(master);
    if (path == master)
        return volume;
    for (size_t from = master.size();;) {
        const size_t slash = path.find('/', from);
        volume *= volumeOf(path.substr(0, slash));
        if (slash == std::string_view::npos)
            return volume;
        from = slash + 1;
    }
}

float Studio::GainOf(const EventState& event) const {
    if (!event.description)
        return 0.0f;
    float gain = event.volume * BusVolume(event.description->bus);
    for (const GainCurve& curve : event.description->curves) {
        float value = 0.0f;
        if (auto own = event.parameters.find(curve.parameter); own != event.parameters.end())
            value = own->second;
        else if (auto global = _parameters.find(curve.parameter); global != _parameters.end())
            value = global->second;
        gain *= curve.At(value);
    }
    return gain;
}

void Studio::Update() {
    std::lock_guard guard(_mutex);
    ++_updates;
    std::erase_if(_events, [this](const std::shared_ptr<EventState>& event) {
        if (event->released && _device)
            _device->Release(event.get());
        return event->released;
    });
    for (const auto& event : _events)
        event->gain = GainOf(*event);
    if (!_device)
        return;
    _device->SetListener(_listener.position, _listener.velocity, _listener.forward, _listener.up);
    for (const auto& event : _events)
        if (event->description)
            _device->Sync(event.get(), event->description->sound, event->description->loop, event->playing,
                          event->gain);
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

float Studio::Event::GetGain() const {
    std::lock_guard guard(_studio->_mutex);
    return _state->gain;
}

bool Studio::Event::IsPlaying() const {
    std::lock_guard guard(_studio->_mutex);
    return _state->playing;
}

bool Studio::Event::IsSounding() const {
    std::lock_guard guard(_studio->_mutex);
    return _studio->_device && _studio->_device->IsSourcePlaying(_state.get());
}

bool Studio::Event::IsDescribed() const { return _state->description.has_value(); }

} // namespace vesmo::audio
