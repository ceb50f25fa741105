#pragma once
// vesmo::graphics::GlfwWindow: a real window of the desktop, through GLFW.
//
// The window has no graphics context: the renderer brings its own Vulkan surface (Handle() gives it
// the GLFW window for that).
//
// Threads. GLFW wants its calls on the main thread, while the game polls input from its input loop and
// a module may ask for mouse look from anywhere. So this class keeps what the game reads (keys, buttons,
// cursor, focus, size) in its own state, which GLFW's callbacks update during PollEvents, and the
// requests that change the window (cursor mode, cursor position) are recorded at once and carried out at
// the next PollEvents. Every virtual operation may thus be called from any thread; the constructor, the
// destructor, PollEvents and Handle's uses belong to the main thread.
//
// The cursor position read back is the one last set plus the motion seen since, so that SetCursorPos is
// exact at once even though the real cursor moves there only at the next PollEvents. With the cursor
// disabled it is GLFW's unbounded virtual position, which is what mouse look wants.
//
// Controllers: PollEvents also refreshes the engine's controller table (Window's statics) from every
// device GLFW sees, connecting and disconnecting entries as devices come and go.

#include "vesmo/graphics/Window.hpp"

#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

struct GLFWwindow;

namespace vesmo::graphics {

class GlfwWindow : public Window {
public:
    // Opens a window of `width` × `height` screen coordinates. Throws std::runtime_error("Could not open a
    // window: " + GLFW's reason) when there is no desktop (no display) or the window can't be made.
    GlfwWindow(int width, int height, const std::string& title);
    ~GlfwWindow() override;

    bool IsFocused() const override;
    void SetInputMode(int mode, int value) override;
    int GetInputMode(int mode) const override;
    bool GetKey(int key) const override;
    bool GetMouseButton(int button) const override;
    void GetCursorPos(double* x, double* y) const override;
    void SetCursorPos(double x, double y) override;
    // The desktop's clipboard; GLFW allows these on the main thread only.
    void SetClipboardText(const char* text) override;
    std::string GetClipboardText() const override;

    GLFWwindow* Handle() const { return _handle; }
    bool ShouldClose() const;
    void SetShouldClose(bool close);

    // Main thread: handles the desktop's events for every open window, carries out the requests of
    // other threads, and refreshes the controllers.
    static void PollEvents();

    // Optional event hooks (for the UI's text input and scrolling), called during PollEvents. Set them
    // before the first PollEvents.
    std::function<void(int key, int scancode, int action, int mods)> onKey;
    std::function<void(unsigned int codepoint)> onChar;
    std::function<void(int button, int action, int mods)> onMouseButton;
    std::function<void(double dx, double dy)> onScroll;

private:
    static void KeyCallback(GLFWwindow* handle, int key, int scancode, int action, int mods);
    static void CharCallback(GLFWwindow* handle, unsigned int codepoint);
    static void MouseButtonCallback(GLFWwindow* handle, int button, int action, int mods);
    static void ScrollCallback(GLFWwindow* handle, double dx, double dy);
    static void CursorPosCallback(GLFWwindow* handle, double x, double y);
    static void FocusCallback(GLFWwindow* handle, int focused);
    static void SizeCallback(GLFWwindow* handle, int w, int h);
    static void RefreshJoysticks();

    // Main thread: what other threads asked for since the last PollEvents.
    void ApplyRequests();

    GLFWwindow* _handle = nullptr;
    std::atomic<bool> _focused{false};
    std::array<std::atomic<bool>, KEY_LAST + 1> _keys{};
    std::array<std::atomic<bool>, MOUSE_BUTTON_LAST + 1> _mouseButtons{};

    mutable std::mutex _mutex;                     // everything below
    double _cursorX = 0.0, _cursorY = 0.0;         // what the game reads
    double _glfwCursorX = 0.0, _glfwCursorY = 0.0; // GLFW's last report
    bool _cursorRequested = false;
    std::unordered_map<int, int> _inputModes;   // as the game set them
    std::unordered_map<int, int> _pendingModes; // not yet given to GLFW
};

} // namespace vesmo::graphics
