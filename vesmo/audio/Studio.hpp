#pragma once
// The engine's sound engine: banks, buses, events with parameters, and one listener.
//
// This is the studio without a sound device. Nothing is decoded or mixed; everything the library and the
// modules set is kept and can be read back: bus volumes, the listener's attributes, the banks in their
// order of loading, every event instance with its parameters, volume and play state, and the global
// parameters. A bank is registered by its path whether or not the file exists (no device reads it).
// The audio work extends this class with a device-backed face; callers don't change.
//
// Threads: any thread may call any operation. One mutex guards the studio and every event of it; events
// must not outlive their studio.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vesmo::audio {

class Studio {
public:
    struct Listener {
        float position[3] = {0, 0, 0};
        float velocity[3] = {0, 0, 0};
        float forward[3] = {0, 0, 1};
        float up[3] = {0, 1, 0};
    };

    // What the studio knows of one event instance.
    struct EventState {
        std::string path;
        bool playing = false;
        bool released = false;
        float volume = 1.0f;
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
        // `ignoreSeekSpeed` is the device's concern (jump to the value at once); kept for the call's shape.
        void SetParameter(const char* name, float value, bool ignoreSeekSpeed = false);
        void SetVolume(float volume);

        float GetParameter(const char* name) const; // 0 if never set
        float GetVolume() const;
        bool IsPlaying() const;
        const std::string& Path() const { return _state->path; }

    protected:
        Studio* _studio;
        std::shared_ptr<EventState> _state;
    };

    Studio();
    virtual ~Studio();

    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    bool LoadBank(const char* path);
    std::vector<std::string> LoadedBanks() const;

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

    // One tick of the engine; without a device it only counts, and drops released instances.
    void Update();
    uint64_t UpdateCount() const;

private:
    mutable std::mutex _mutex;
    std::vector<std::string> _banks;
    std::vector<std::shared_ptr<EventState>> _events;
    std::map<std::string, float> _parameters;
    std::map<std::string, float> _busVolumes;
    Listener _listener;
    uint64_t _updates = 0;
};

} // namespace vesmo::audio
