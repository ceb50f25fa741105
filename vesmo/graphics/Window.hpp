#pragma once
// vesmo::graphics::Window: the application window as the library sees it, and the game controllers.
//
// Every code is GLFW's number: keys (32 to 348), mouse buttons (0 to 7), cursor modes (GLFW_CURSOR and its
// values), joystick ids (0 to 15), gamepad buttons (0 to 14) and gamepad axes (0 to 5). Code above the
// engine polls; it never sees events.
//
// Two implementations, one interface:
//  - HeadlessWindow (vesmo/graphics/HeadlessWindow.hpp): no device. Keys, buttons, cursor, focus and the
//    controllers are whatever code sets: servers, tests, scripted input.
//  - GlfwWindow (vesmo/graphics/GlfwWindow.hpp): a real window of the desktop.
//
// Controllers are not tied to a window: the window system sees them once for the process, so their
// queries are statics by device id. They read the engine's table of controllers, which HeadlessWindow's
// statics write directly and GlfwWindow::PollEvents refreshes from the devices. The arrays they return
// live as long as the process: a pointer stays valid after a disconnection (its count is then 0) and its
// values change in place at each refresh. A reader on another thread may see a value of the last or of
// the current refresh; each value is a single word, so that is harmless for polling.
//
// Every operation may be called from any thread.

#include <atomic>
#include <mutex>
#include <string>

namespace vesmo::graphics {

class Window {
public:
    // GLFW's cursor mode names, for callers that don't include GLFW.
    static constexpr int CURSOR = 0x00033001;          // GLFW_CURSOR
    static constexpr int CURSOR_NORMAL = 0x00034001;   // GLFW_CURSOR_NORMAL
    static constexpr int CURSOR_HIDDEN = 0x00034002;   // GLFW_CURSOR_HIDDEN
    static constexpr int CURSOR_DISABLED = 0x00034003; // GLFW_CURSOR_DISABLED

    static constexpr int KEY_FIRST = 32;        // GLFW_KEY_SPACE
    static constexpr int KEY_LAST = 348;        // GLFW_KEY_LAST
    static constexpr int MOUSE_BUTTON_LAST = 7; // GLFW_MOUSE_BUTTON_LAST
    static constexpr int JOYSTICK_LAST = 15;    // GLFW_JOYSTICK_LAST
    static constexpr int GAMEPAD_BUTTON_COUNT = 15;
    static constexpr int GAMEPAD_AXIS_COUNT = 6;

    // Room kept per device. A device that reports more (none in practice) is cut to these counts.
    static constexpr int MAX_JOYSTICK_AXES = 64;
    static constexpr int MAX_JOYSTICK_BUTTONS = 544; // all of Linux's joystick buttons, and four hats as buttons
    static constexpr int MAX_JOYSTICK_HATS = 16;

    // GLFWgamepadstate's layout: 15 button bytes (1 down, 0 up), then 6 axes in [-1, 1]. The triggers
    // (axes 4 and 5) rest at -1.
    struct GamepadState {
        unsigned char buttons[GAMEPAD_BUTTON_COUNT];
        float axes[GAMEPAD_AXIS_COUNT];
    };

    Window() = default;
    virtual ~Window();

    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    virtual bool IsFocused() const = 0;
    // glfwSetInputMode's meaning: `mode` is GLFW_CURSOR and the like, `value` its new value.
    virtual void SetInputMode(int mode, int value) = 0;
    // The last value set for `mode`; GLFW's initial value otherwise (the cursor is normal).
    virtual int GetInputMode(int mode) const = 0;
    // True while the key (GLFW code) is down. Codes outside 32 to 348 read false.
    virtual bool GetKey(int key) const = 0;
    // True while the mouse button (0 to 7) is down; other codes read false.
    virtual bool GetMouseButton(int button) const = 0;
    // Cursor position in screen coordinates from the window's top left corner. With the cursor disabled
    // it is a virtual position without bounds, which is what mouse look reads and puts back to (0, 0).
    virtual void GetCursorPos(double* x, double* y) const = 0;
    virtual void SetCursorPos(double x, double y) = 0;

    // The clipboard as the UI sees it. Here an in-process text, safe from any thread; a desktop window
    // also hands it to the desktop.
    virtual void SetClipboardText(const char* text);
    virtual std::string GetClipboardText() const;

    // The window's size in screen coordinates, kept current by the implementation.
    std::atomic<int> width{0};
    std::atomic<int> height{0};

    // ---- game controllers, by device id (0 to 15). Unknown or disconnected ids read as empty or false.
    static bool JoystickPresent(int id);
    // The device's SDL-style GUID text (32 hexadecimal digits, lower case on Linux).
    static std::string GetJoystickGUID(int id);
    static std::string GetJoystickName(int id);
    // True when the window system has a standard mapping for the device.
    static bool JoystickIsGamepad(int id);
    // The raw state. Each writes the array's length to `count` (0 when absent); the pointer is never null.
    static const float* GetJoystickAxes(int id, int* count);
    static const unsigned char* GetJoystickButtons(int id, int* count);
    static const unsigned char* GetJoystickHats(int id, int* count);
    // The mapped state of a gamepad. False, and `state` untouched, unless the device is a gamepad.
    static bool GetGamepadState(int id, GamepadState* state);

protected:
    // Writers of the controller table, for the implementations.
    struct JoystickInfo {
        std::string guid;
        std::string name;
        bool isGamepad = false;
        int axisCount = 0;
        int buttonCount = 0;
        int hatCount = 0;
    };
    // (Re)connects a device: the counts are set and every value goes to rest (axes 0, gamepad triggers -1).
    static void StoreJoystickConnected(int id, const JoystickInfo& info);
    static void StoreJoystickDisconnected(int id);
    // Copies a whole state; counts beyond the device's are cut. `gamepad` may be null.
    static void StoreJoystickState(int id, const float* axes, int axisCount, const unsigned char* buttons,
                                   int buttonCount, const unsigned char* hats, int hatCount,
                                   const GamepadState* gamepad);
    // Single values; out-of-range indices and absent devices are ignored.
    static void StoreJoystickAxis(int id, int axis, float value);
    static void StoreJoystickButton(int id, int button, bool down);
    static void StoreJoystickHat(int id, int hat, unsigned char value);
    static void StoreGamepadButton(int id, int button, bool down);
    static void StoreGamepadAxis(int id, int axis, float value);

private:
    mutable std::mutex _clipboardMutex;
    std::string _clipboard;
};

} // namespace vesmo::graphics
