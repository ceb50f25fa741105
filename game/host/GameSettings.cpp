#include "game/host/GameSettings.hpp"

#include <deque>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace game {

namespace {

using vesmo::filesystem::ConfigFile;
using InputBinding = ConfigFile::InputBinding;

// A key of a section and the field it fills.
struct Field {
    const char* key;
    void* field;
    int type;
};

// The keys of each section, in the order the file lists them.

std::vector<Field> HiddenGameKeys(GameSettings& s) {
    return {
        {"debug_window", &s.debug_window, ConfigFile::TYPE_BOOL},
        {"dev_tools", &s.dev_tools, ConfigFile::TYPE_BOOL},
    };
}

std::vector<Field> GameKeys(GameSettings& s) {
    return {
        {"show_help_tooltips", &s.show_help_tooltips, ConfigFile::TYPE_BOOL},
        {"admin_privileges", &s.admin_privileges, ConfigFile::TYPE_BOOL},
    };
}

std::vector<Field> GraphicsKeys(GameSettings& s) {
    return {
        {"graphics_preset", &s.graphics_preset, ConfigFile::TYPE_INT},
        {"framerate_limit_main_rendering", &s.framerate_limit_main_rendering, ConfigFile::TYPE_INT},
        {"vsync", &s.vsync, ConfigFile::TYPE_BOOL},
        {"fov", &s.fov, ConfigFile::TYPE_FLOAT},
        {"taa", &s.taa, ConfigFile::TYPE_BOOL},
        {"render_scale", &s.render_scale, ConfigFile::TYPE_FLOAT},
        {"ui_scaling", &s.ui_scaling, ConfigFile::TYPE_FLOAT},
        {"upscaling_algo", &s.upscaling_algo, ConfigFile::TYPE_STRING},
        {"upscaling_quality_setting", &s.upscaling_quality_setting, ConfigFile::TYPE_INT},
        {"upscaling_sharpness", &s.upscaling_sharpness, ConfigFile::TYPE_FLOAT},
        {"final_upscale", &s.final_upscale, ConfigFile::TYPE_FLOAT},
        {"tone_mapping", &s.tone_mapping, ConfigFile::TYPE_BOOL},
        {"dithering", &s.dithering, ConfigFile::TYPE_BOOL},
        {"brightness", &s.brightness, ConfigFile::TYPE_FLOAT},
        {"contrast", &s.contrast, ConfigFile::TYPE_FLOAT},
        {"gamma", &s.gamma, ConfigFile::TYPE_FLOAT},
        {"terrain_clutter", &s.terrain_clutter, ConfigFile::TYPE_BOOL},
        {"terrain_detail", &s.terrain_detail, ConfigFile::TYPE_FLOAT},
    };
}

std::vector<Field> IdeKeys(GameSettings& s) {
    return {
        {"ide_zoom", &s.ide_zoom, ConfigFile::TYPE_FLOAT},
        {"ide_opacity", &s.ide_opacity, ConfigFile::TYPE_FLOAT},
    };
}

std::vector<Field> AudioKeys(GameSettings& s) {
    return {
        {"master_volume", &s.master_volume, ConfigFile::TYPE_FLOAT},
        {"entities_volume", &s.entities_volume, ConfigFile::TYPE_FLOAT},
        {"interface_volume", &s.interface_volume, ConfigFile::TYPE_FLOAT},
        {"environment_volume", &s.environment_volume, ConfigFile::TYPE_FLOAT},
    };
}

#define GAME_SETTINGS_BINDING(name, initial, action, keyboard, devices, unipolar)                                      \
    {"input_binding_" #name, &s.input_binding_##name, ConfigFile::TYPE_INPUT_BINDING},

std::vector<Field> InputKeys(GameSettings& s) {
    return {
        {"look_sensitivity", &s.look_sensitivity, ConfigFile::TYPE_FLOAT},
        {"avatar_mouselook_invert_y", &s.avatar_mouselook_invert_y, ConfigFile::TYPE_BOOL},
        // clang-format off
        GAME_SETTINGS_BINDINGS(GAME_SETTINGS_BINDING)
        // clang-format on
        {"input_gamepad_axis_deadzone", &s.input_gamepad_axis_deadzone, ConfigFile::TYPE_FLOAT},
        {"input_joystick_axis_deadzone", &s.input_joystick_axis_deadzone, ConfigFile::TYPE_FLOAT},
    };
}

#undef GAME_SETTINGS_BINDING

// Copies of the string and binding fields, so that the file is read into (or written from) values no
// other thread is looking at. Single-word fields are described as they are.
class Staging {
public:
    explicit Staging(GameSettings& owner) : _owner(owner) {}

    // The section's descriptors, strings and bindings pointing at copies taken under the owner's mutex.
    std::vector<ConfigFile::Conf> Confs(const std::vector<Field>& fields) {
        std::vector<ConfigFile::Conf> confs;
        confs.reserve(fields.size());
        std::lock_guard guard(_owner.mutex);
        for (const Field& field : fields) {
            void* target = field.field;
            if (field.type == ConfigFile::TYPE_STRING)
                target = &_strings.emplace_back(static_cast<std::string*>(field.field)).copy;
            else if (field.type == ConfigFile::TYPE_INPUT_BINDING)
                target = &_bindings.emplace_back(static_cast<InputBinding*>(field.field)).copy;
            confs.emplace_back(&_owner, field.key, target, field.type);
        }
        return confs;
    }

    // Puts back, under the owner's mutex, what the file changed. A field the file left alone keeps
    // whatever it holds now, even if someone edited it in the meantime.
    void Publish() {
        std::lock_guard guard(_owner.mutex);
        for (Copy<std::string>& string : _strings)
            string.Publish();
        for (Copy<InputBinding>& binding : _bindings)
            binding.Publish();
    }

private:
    template <class T> struct Copy {
        explicit Copy(T* field_) : field(field_), before(*field_), copy(*field_) {}
        void Publish() {
            if (!(copy == before))
                *field = std::move(copy);
        }
        T* field;
        T before;
        T copy;
    };

    GameSettings& _owner;
    // deques: the descriptors point into them, so elements must not move as more are added
    std::deque<Copy<std::string>> _strings;
    std::deque<Copy<InputBinding>> _bindings;
};

} // namespace

GameSettings::GameSettings(const std::string& path, std::optional<int> interval) : ConfigFile(path, interval) {
    // The defaults are the fields' initialisers.
    ReadConfig();
    StartAutoReloadThread();
}

// The reload thread calls ReadConfig on this object: it must be gone before the fields are.
GameSettings::~GameSettings() { StopAutoReloadThread(); }

void GameSettings::ReadConfig() {
    Staging staging(*this);
    // Keys a person adds by hand: silently optional, and no other call mentions them.
    ReadFromINI("game", staging.Confs(HiddenGameKeys(*this)), false);
    ReadFromINI("game", staging.Confs(GameKeys(*this)), true);
    ReadFromINI("graphics", staging.Confs(GraphicsKeys(*this)), true);
    ReadFromINI("ide", staging.Confs(IdeKeys(*this)), true);
    ReadFromINI("audio", staging.Confs(AudioKeys(*this)), true);
    ReadFromINI("input", staging.Confs(InputKeys(*this)), true);
    staging.Publish();
    loaded = true;
}

void GameSettings::WriteConfig() {
    Staging staging(*this);
    WriteToINI("game", staging.Confs(GameKeys(*this)));
    WriteToINI("graphics", staging.Confs(GraphicsKeys(*this)));
    WriteToINI("ide", staging.Confs(IdeKeys(*this)));
    WriteToINI("audio", staging.Confs(AudioKeys(*this)));
    WriteToINI("input", staging.Confs(InputKeys(*this)));
}

std::shared_ptr<GameSettings> GameSettings::Instance(vesmo::filesystem::FilePath path, std::optional<int> interval) {
    static std::mutex mutex;
    std::lock_guard guard(mutex);
    // Never freed, so that a holder released during static destruction finds it still there.
    static std::unordered_map<std::string, std::weak_ptr<GameSettings>>* instances = nullptr;
    if (instances == nullptr)
        instances = new std::unordered_map<std::string, std::weak_ptr<GameSettings>>();

    std::weak_ptr<GameSettings>& slot = (*instances)[path.String()];
    if (std::shared_ptr<GameSettings> live = slot.lock())
        return live;
    auto created = std::make_shared<GameSettings>(path.String(), interval);
    slot = created;
    return created;
}

} // namespace game
