#pragma once
// The engine's sound engine: banks, buses, events with parameters, and one listener.
//
// Banks are text files of events (vesmo/audio/Bank.hpp). An event instance is made from its description in
// the loaded banks; every event goes to a bus, and buses nest by path under the master bus "bus:/".
//
// What callers set is kept and can be read back, device or not: bus volumes, the listener's attributes, the
// banks in their order of loading, every event instance with its parameters, volume and play state, and the
// global parameters. Update works out each live instance's gain:
//
//     gain = event volume × volume of every bus on its path ("bus:/", "bus:/a", "bus:/a/b", ...)
//            × each curve of the event at its parameter's value
//
// where a curve's parameter is read from the event, else from the global parameters, else as 0. An instance
// whose event no bank describes is silent (gain 0). Settings reach the gain at the next Update, as they
// would reach a mixer; a stopped instance keeps its gain and is simply not heard.
//
// Two faces. A studio made with Output::Silent (servers, tests) has no device: nothing is decoded or mixed,
// and it is exactly the state above. One made with Output::Device opens the default OpenAL output; if there
// is none it says so in one line on stderr and runs silent. With a device, LoadBank decodes each event's
// sound file (libsndfile), and Update brings the device in line with the state: listener, one source per
// instance with a sound, its looping, its gain, started when the instance is started and stopped when it is
// stopped or released. The state reads back the same with either face.
//
// Failures are the game's to survive, not to handle: a bank that can't be read or parsed, and an event that
// no loaded bank names, each print one line on stderr ("Studio: ..."), and the call goes on: LoadBank
// returns false and registers nothing, EventInstance returns a silent instance whose values stay readable.
// With a device, a sound file that can't be decoded is one such line too; its bank loads and its event is
// silent on the device.
//
// Threads: any thread may call any operation. One mutex guards the studio and every event of it; events
// must not outlive their studio.

#include "vesmo/audio/Bank.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vesmo::audio {

class Device;

class Studio {
public:
    enum class Output {
        Silent, // no device, whatever the machine has
        Device, // the default OpenAL output if there is one
    };

    struct Listener {
        float position[3] = {0, 0, 0};
        float velocity[3] = {0, 0, 0};
        float forward[3] = {0, 0, 1};
        float up[3] = {0, 1, 0};
    };

    // What the studio knows of one event instance.
    struct EventState {
        std::string path;
        std::optional<EventDescription> description; // empty if no loaded bank names the event
        bool playing = false;
        bool released = false;
        float volume = 1.0f;
        float gain = 0.0f; // as of the last Update
        std::map<std::string, float> parameters;
    };

    // One playing sound. Stops its instance when it goes.
    class Event {
    public:
        Event(Studio* studio, const char* path);
        virtual ~Event();

        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;

        void Start();
        void Stop();
        // `ignoreSeekSpeed` asks a device to jump to the value at once rather than glide; without one every
        // value is taken at once, so it is kept for the call's shape only.
        void SetParameter(const char* name, float value, bool ignoreSeekSpeed = false);
        void SetVolume(float volume);

        float GetParameter(const char* name) const; // 0 if never set
        float GetVolume() const;
        float GetGain() const; // as of the studio's last Update
        bool IsPlaying() const;
        bool IsDescribed() const; // a loaded bank names the event
        // The device is playing its sound (always false without a device). A sound that isn't looped ends on
        // the device while the instance stays started: IsPlaying is what the caller asked, this what is heard.
        bool IsSounding() const;
        const std::string& Path() const { return _state->path; }

    protected:
        Studio* _studio;
        std::shared_ptr<EventState> _state;
    };

    explicit Studio(Output output = Output::Silent);
    virtual ~Studio();

    bool HasDevice() const { return _device != nullptr; }

    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    // Reads and parses the bank file at `path` and adds its events. A bank already loaded is left as it is
    // (true). An event path that an earlier bank holds keeps the earlier description.
    bool LoadBank(const char* path);
    std::vector<std::string> LoadedBanks() const; // in order of loading
    std::optional<EventDescription> FindEvent(const char* path) const;

    // A new instance of the event `path`, registered with the studio; Event objects wrap one.
    std::shared_ptr<EventState> EventInstance(const char* path);
    // Every instance created so far that hasn't been released, in order of creation.
    std::vector<std::shared_ptr<const EventState>> EventInstances() const;

    // A global parameter.
    void SetParameter(const char* name, float value, bool ignoreSeekSpeed = false);
    float GetParameter(const char* name) const; // 0 if never set

    // The volume of a bus ("bus:/" is the master bus); a bus never set reads as 1.
    void SetVolume(float volume, const char* bus);
    float GetVolume(const char* bus) const;

    void SetListenerAttributes(float px, float py, float pz, float vx, float vy, float vz, float fx, float fy, float fz,
                               float ux, float uy, float uz);
    Listener GetListenerAttributes() const;

    // One tick of the engine: works out the gains, drops released instances, and brings the device (if any)
    // in line with what is left.
    void Update();
    uint64_t UpdateCount() const;

private:
    float GainOf(const EventState& event) const;   // _mutex held
    float BusVolume(const std::string& bus) const; // _mutex held
    void LoadSounds(const Bank& bank);

    mutable std::mutex _mutex;
    std::vector<std::string> _banks;
    std::map<std::string, EventDescription> _descriptions;
    std::vector<std::shared_ptr<EventState>> _events;
    std::map<std::string, float> _parameters;
    std::map<std::string, float, std::less<>> _busVolumes; // looked up by string_view: no copy per event and update
    Listener _listener;
    uint64_t _updates = 0;
    std::unique_ptr<Device> _device; // null without one
};

} // namespace vesmo::audio
