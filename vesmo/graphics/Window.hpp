#pragma once
// The application window, as the library sees it.
//
// Key, mouse, cursor-mode and gamepad codes are GLFW's numbers. This class is the window without a
// device: focus, input modes and the cursor position are plain state that code sets and reads, which is
// what servers and tests use. The GLFW window of the client derives from it and arrives with the input
// and rendering work, which also add the keys, buttons and joystick queries.
//
// Any thread may call these: the main loop and the input loop both do.

#include <mutex>
#include <unordered_map>

namespace vesmo::graphics {

class Window {
public:
    // GLFW's names for the cursor mode, for callers that don't include GLFW.
    static constexpr int CURSOR = 0x00033001;          // GLFW_CURSOR
    static constexpr int CURSOR_NORMAL = 0x00034001;   // GLFW_CURSOR_NORMAL
    static constexpr int CURSOR_HIDDEN = 0x00034002;   // GLFW_CURSOR_HIDDEN
    static constexpr int CURSOR_DISABLED = 0x00034003; // GLFW_CURSOR_DISABLED

    Window() = default;
    virtual ~Window();

    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    virtual bool IsFocused() const;
    // glfwSetInputMode's meaning: `mode` is GLFW_CURSOR and the like, `value` its new value.
    virtual void SetInputMode(int mode, int value);
    // The last value set for `mode`; GLFW's initial values otherwise (the cursor is normal).
    virtual int GetInputMode(int mode) const;
    virtual void SetCursorPos(double x, double y);
    virtual void GetCursorPos(double* x, double* y) const;

    // Without a device, focus is whatever code says it is; a new window has it.
    void SetFocused(bool focused);

private:
    mutable std::mutex _mutex;
    bool _focused = true;
    std::unordered_map<int, int> _inputModes;
    double _cursorX = 0.0;
    double _cursorY = 0.0;
};

} // namespace vesmo::graphics
