#include "game/host/GameSettings.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

using game::GameSettings;
using testing_support::ReadText;
using testing_support::TempDir;
using testing_support::WriteText;
using InputBinding = GameSettings::InputBinding;

// Bindings are written with designated initializers: the parts left out keep their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

// The sections of an INI text in file order, each with its keys in order.
std::vector<std::pair<std::string, std::vector<std::string>>> Sections(const std::string& text) {
    std::vector<std::pair<std::string, std::vector<std::string>>> sections;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty() || line[0] == '#' || line[0] == ';')
            continue;
        if (line[0] == '[')
            sections.emplace_back(line.substr(1, line.find(']') - 1), std::vector<std::string>{});
        else if (!sections.empty())
            sections.back().second.push_back(line.substr(0, line.find_first_of(" =")));
    }
    return sections;
}

template <class Predicate> bool WaitFor(Predicate done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

InputBinding Binding(int key, int mouse, int button, int16_t axis, int16_t direction) {
    return {.key = key,
            .mouseButton = mouse,
            .gamepadButton = button,
            .gamepadAxis = axis,
            .gamepadAxisDirection = direction};
}

} // namespace

TEST(GameSettings, MissingFileLeavesTheDefaults) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    GameSettings settings(path, 0);
    EXPECT_FALSE(std::filesystem::exists(path)); // reading never creates the file

    EXPECT_TRUE(settings.show_help_tooltips);
    EXPECT_FALSE(settings.admin_privileges || settings.debug_window || settings.dev_tools);
    EXPECT_EQ(settings.graphics_preset, -1);
    EXPECT_EQ(settings.upscaling_algo, "AUTO");
    const std::pair<float, float> numbers[] = {{settings.fov, 70.0f},
                                               {settings.upscaling_sharpness, 0.675f},
                                               {settings.gamma, 2.4f},
                                               {settings.master_volume, 0.5f},
                                               {settings.interface_volume, 1.0f},
                                               {settings.ide_opacity, 0.7f},
                                               {settings.look_sensitivity, 2.0f},
                                               {settings.input_joystick_axis_deadzone, 0.1f}};
    for (const auto& [value, expected] : numbers)
        EXPECT_EQ(value, expected);

    // Bindings: keyboard, mouse, gamepad button, gamepad axis with its sign, joystick axis with its sign.
    EXPECT_EQ(settings.input_binding_input_chat, Binding(257, -1, -1, -1, 1));
    EXPECT_EQ(settings.input_binding_avatar_jump, Binding(32, -1, 0, -1, 1));
    EXPECT_EQ(settings.input_binding_avatar_sprint, Binding(340, -1, 9, -1, 1));
    EXPECT_EQ(settings.input_binding_avatar_inventory_deselect, Binding(96, -1, 13, -1, 1));
    EXPECT_EQ(settings.input_binding_avatar_tool_secondary, Binding(-1, 1, -1, -1, 1));
    EXPECT_EQ(settings.input_binding_avatar_translate_forward, Binding(87, -1, -1, 1, -1));
    EXPECT_EQ(settings.input_binding_avatar_pitch_up, Binding(-1, -1, -1, 3, 1));
    EXPECT_EQ(settings.input_binding_vehicle_gamepad_look_toggle, Binding(-1, -1, 10, -1, 1));
    EXPECT_EQ(settings.input_binding_vehicle_aux_0, Binding(48, -1, 0, -1, 1));
    EXPECT_EQ(settings.input_binding_vehicle_aux_9, Binding(57, -1, -1, -1, 1));

    EXPECT_EQ(settings.input_binding_vehicle_roll_left,
              (InputBinding{.key = 81, .gamepadButton = 14, .joystickAxis = 0, .joystickAxisDirection = -1}));
    EXPECT_EQ(settings.input_binding_vehicle_main_thrust,
              (InputBinding{.key = 84, .gamepadAxis = 5, .joystickAxis = 2}));

    // Modules compiled against the record rely on its field order.
    EXPECT_LT(static_cast<void*>(&settings.dev_tools), static_cast<void*>(&settings.graphics_preset));
    EXPECT_LT(static_cast<void*>(&settings.terrain_detail), static_cast<void*>(&settings.master_volume));
    EXPECT_LT(static_cast<void*>(&settings.environment_volume), static_cast<void*>(&settings.ide_zoom));
    EXPECT_LT(static_cast<void*>(&settings.ide_opacity), static_cast<void*>(&settings.look_sensitivity));
    EXPECT_LT(static_cast<void*>(&settings.input_binding_vehicle_main_thrust),
              static_cast<void*>(&settings.input_gamepad_axis_deadzone));
}

TEST(GameSettings, WriteThenReadRoundTripsEditedValuesAndBindings) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "# my settings\n[mods]\nenabled = planets\n");
    {
        GameSettings settings(path, 0);
        settings.admin_privileges = true;
        settings.fov = 95.5f;
        settings.upscaling_algo = "FSR \"2\"";
        settings.ide_opacity = 0.3f;
        settings.master_volume = 0.123456f;
        settings.avatar_mouselook_invert_y = true;
        settings.input_binding_avatar_jump = {
            .key = 66, .gamepadGuid = "030000005e040000 \"pad\"", .gamepadIndex = 1, .gamepadButton = 3};
        settings.input_binding_vehicle_main_thrust = InputBinding{}; // unbound entirely
        settings.input_binding_avatar_pitch_up = {
            .gamepadAxis = 3, .joystickGuid = "stick", .joystickIndex = 2, .joystickButton = 7};
        settings.WriteConfig();
    }

    const std::string written = ReadText(path);
    const auto sections = Sections(written);
    ASSERT_EQ(sections.size(), 6u);
    EXPECT_EQ(sections[0].first, "mods"); // a section we do not own stays as it was
    EXPECT_EQ(sections[0].second, std::vector<std::string>{"enabled"});
    EXPECT_EQ(written.rfind("# my settings\n", 0), 0u);
    const std::vector<std::pair<std::string, size_t>> expected = {
        {"game", 2}, {"graphics", 18}, {"ide", 2}, {"audio", 4}, {"input", 67}};
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(sections[i + 1].first, expected[i].first);
        EXPECT_EQ(sections[i + 1].second.size(), expected[i].second) << expected[i].first;
    }
    EXPECT_EQ(sections[1].second, (std::vector<std::string>{"show_help_tooltips", "admin_privileges"}));
    EXPECT_EQ(sections[2].second.front(), "graphics_preset");
    EXPECT_EQ(sections[2].second.back(), "terrain_detail");
    EXPECT_EQ(sections[4].second,
              (std::vector<std::string>{"master_volume", "entities_volume", "interface_volume", "environment_volume"}));
    const std::vector<std::string>& input = sections[5].second;
    EXPECT_EQ(input[0], "look_sensitivity");
    EXPECT_EQ(input[2], "input_binding_input_chat");
    EXPECT_EQ(input[64], "input_binding_vehicle_main_thrust");
    EXPECT_EQ(input[66], "input_joystick_axis_deadzone");
    EXPECT_EQ(std::set<std::string>(input.begin(), input.end()).size(), 67u); // no key twice

    // Reading the file back and writing it again gives the same text: every edited value and binding part
    // (quoted texts, an unbound action, the parts left alone) survives the round trip.
    GameSettings reread(path, 0);
    EXPECT_EQ(reread.upscaling_algo, "FSR \"2\"");
    EXPECT_EQ(reread.input_binding_vehicle_main_thrust, InputBinding{});
    reread.WriteConfig();
    EXPECT_EQ(ReadText(path), written);
}

TEST(GameSettings, HandAddedDebugKeysTakeEffectAndAreNeverWritten) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "[game]\ndebug_window = true\ndev_tools = on\nadmin_privileges = true\n");
    GameSettings settings(path, 0);
    EXPECT_TRUE(settings.debug_window && settings.dev_tools && settings.admin_privileges);

    settings.WriteConfig();
    const std::string written = ReadText(path);
    EXPECT_EQ(written.find("debug_window"), std::string::npos);
    EXPECT_EQ(written.find("dev_tools"), std::string::npos);
    EXPECT_NE(written.find("admin_privileges = true"), std::string::npos);
    EXPECT_TRUE(settings.debug_window); // the live object keeps what it read

    // These keys are optional by nature: a value that does not read is not worth a complaint.
    WriteText(path, "[game]\ndebug_window = sometimes\n");
    std::unique_ptr<GameSettings> quiet;
    EXPECT_EQ(testing_support::StderrOf([&] { quiet = std::make_unique<GameSettings>(path, 0); }), "");
    EXPECT_FALSE(quiet->debug_window);
}

TEST(GameSettings, InstanceSharesOneObjectPerPathWhileHeld) {
    TempDir dir;
    const std::string first = dir.File("first.ini");
    const std::string second = dir.File("second.ini");
    WriteText(first, "[graphics]\nfov = 60\n");

    std::shared_ptr<GameSettings> a = GameSettings::Instance(first, 0);
    std::shared_ptr<GameSettings> b = GameSettings::Instance(first, 0);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->fov, 60.0f);
    std::shared_ptr<GameSettings> other = GameSettings::Instance(second, 0);
    EXPECT_NE(a, other);

    // A change made through one holder is seen by the other: it is one object.
    a->fov = 61.0f;
    EXPECT_EQ(b->fov, 61.0f);

    // Once the last holder lets go the object dies, and the next call reads the file afresh.
    std::weak_ptr<GameSettings> watch = a;
    a.reset();
    EXPECT_FALSE(watch.expired());
    b.reset();
    EXPECT_TRUE(watch.expired());
    WriteText(first, "[graphics]\nfov = 75\n");
    std::shared_ptr<GameSettings> fresh = GameSettings::Instance(first, 0);
    EXPECT_EQ(fresh->fov, 75.0f);

    // From many threads at once there is still one object.
    std::vector<std::shared_ptr<GameSettings>> results(8);
    {
        std::vector<std::thread> threads;
        for (size_t i = 0; i < results.size(); ++i)
            threads.emplace_back([&results, &second, i] { results[i] = GameSettings::Instance(second, 0); });
        for (std::thread& thread : threads)
            thread.join();
    }
    for (const auto& result : results)
        EXPECT_EQ(result, other);
}

TEST(GameSettings, ReloadThreadPicksUpAnEdit) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "[graphics]\nfov = 80\n");
    auto settings = std::make_unique<GameSettings>(path, 10);
    EXPECT_EQ(settings->fov, 80.0f);

    // Someone edits the file while the game runs (a different size, so the change is seen at once).
    WriteText(path, "[graphics]\nfov = 55\nupscaling_algo = \"DLSS\"\n[input]\n"
                    "input_binding_sit = key:71 gamepad_guid:\"pad-1\" gamepad_button:2\n");
    // A reload writes single words without a lock (the game's readers take an old or a new value), then
    // publishes strings and bindings under the settings' mutex. The test waits for a published value under
    // the mutex before it reads a word; polling the word itself is a race that ThreadSanitizer reports.
    ASSERT_TRUE(WaitFor([&] {
        std::lock_guard guard(settings->mutex);
        return settings->input_binding_sit.gamepadGuid == "pad-1";
    }));
    {
        std::lock_guard guard(settings->mutex);
        EXPECT_EQ(settings->fov, 55.0f);
        EXPECT_EQ(settings->upscaling_algo, "DLSS");
        EXPECT_EQ(settings->input_binding_sit.key, 71);
        EXPECT_EQ(settings->input_binding_sit.gamepadButton, 2);
    }

    // A reload touches only what the file gives: a string edited in memory and absent from the file stays.
    {
        std::lock_guard guard(settings->mutex);
        settings->upscaling_algo = "FSR";
    }
    WriteText(path, "[graphics]\nfov = 56.5\n[input]\ninput_binding_sit = key:72\n");
    ASSERT_TRUE(WaitFor([&] {
        std::lock_guard guard(settings->mutex);
        return settings->input_binding_sit.key == 72;
    }));
    {
        std::lock_guard guard(settings->mutex);
        EXPECT_EQ(settings->fov, 56.5f);
        EXPECT_EQ(settings->upscaling_algo, "FSR");
    }

    // Destruction stops the thread before the fields go; later edits touch nothing.
    settings.reset();
    WriteText(path, "[graphics]\nfov = 10\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}
