#pragma once
// vesmo::graphics::HeadlessWindow: a window without a device, whose input is set by code.
//
// Servers run with one, tests drive the input layer through one, and a script can play input into a
// game with it. Nothing is drawn and nothing moves by itself: a key is down from SetKey(key, true) until
// SetKey(key, false), the cursor stays where SetCursorPos put it, and focus is whatever SetFocused said
// (a new window has it). Input modes are remembered and read back, so a test sees what the game asked
// for (for example the cursor disabled by mouse look).
//
// The controller statics write the engine's controller table that Window's controller queries read;
// they are statics because controllers belong to the process, not to a window. A process with a
// GlfwWindow refreshes the same table from the real devices at each PollEvents, which replaces what these
// statics wrote, so the two don't mix.
//
// Every operation may be called from any thread.

#include "vesmo/graphics/Window.hpp"

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>

namespace vesmo::graphics {

class HeadlessWindow : public Window {
public:
    explicit HeadlessWindow(int width = 1280, int height = 720);
    ~HeadlessWindow() override;

    bool IsFocused() const override;
    void SetInputMode(int mode, int value) override;
    int GetInputMode(int mode) const override;
    bool GetKey(int key) const override;
    bool GetMouseButton(int button) const override;
    void GetCursorPos(double* x, double* y) const override;
    void SetCursorPos(double x, double y) override;

    // ---- what a device would do
    void SetFocused(bool focused);
    // Codes outside 32 to 348 (keys) or 0 to 7 (buttons) are ignored.
    void SetKey(int key, bool down);
    void SetMouseButton(int button, bool down);
    // Moves the cursor by a relative amount, as a mouse does.
    void MoveCursor(double dx, double dy);
    // Releases every key and mouse button.
    void ReleaseAll();

    // ---- controllers, by device id (0 to 15)
    struct JoystickDescription {
        std::string guid;
        std::string name;
        int axisCount = 0;
        int buttonCount = 0;
        int hatCount = 0;
        bool isGamepad = false; // the window system knows a standard mapping for it
    };
    // Plugs a device in at `id` (replacing one there). Axes rest at 0, gamepad triggers at -1.
    static void ConnectJoystick(int id, const JoystickDescription& description);
    static void DisconnectJoystick(int id);
    static void DisconnectAllJoysticks();
    // Raw values. Out-of-range indices and absent devices are ignored.
    static void SetJoystickAxis(int id, int axis, float value);
    static void SetJoystickButton(int id, int button, bool down);
    static void SetJoystickHat(int id, int hat, unsigned char value);
    // Mapped values of a gamepad (buttons 0 to 14, axes 0 to 5); ignored unless it is one.
    static void SetGamepadButton(int id, int button, bool down);
    static void SetGamepadAxis(int id, int axis, float value);

private:
    std::atomic<bool> _focused{true};
    std::array<std::atomic<bool>, KEY_LAST + 1> _keys{};
    std::array<std::atomic<bool>, MOUSE_BUTTON_LAST + 1> _mouseButtons{};
    mutable std::mutex _mutex; // the cursor and the input modes
    double _cursorX = 0.0;
    double _cursorY = 0.0;
    std::unordered_map<int, int> _inputModes;
};

} // namespace vesmo::graphics
