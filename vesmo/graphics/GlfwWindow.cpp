#include "vesmo/graphics/GlfwWindow.hpp"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace vesmo::graphics {

namespace {

// GLFW is initialised while at least one window is open.
std::mutex libraryMutex;
int openWindows = 0;
std::vector<GlfwWindow*> windows; // under libraryMutex

// Devices whose connection changed since the last refresh; GLFW reports them during glfwPollEvents.
std::array<bool, Window::JOYSTICK_LAST + 1> joystickChanged{};

void joystickCallback(int id, int) {
    if (id >= 0 && id <= Window::JOYSTICK_LAST)
        joystickChanged[static_cast<size_t>(id)] = true;
}

std::string glfwReason() {
    const char* description = nullptr;
    glfwGetError(&description);
    return description ? description : "unknown reason";
}

GlfwWindow* owner(GLFWwindow* handle) { return static_cast<GlfwWindow*>(glfwGetWindowUserPointer(handle)); }

} // namespace

GlfwWindow::GlfwWindow(int w, int h, const std::string& title) {
    std::lock_guard guard(libraryMutex);
    if (openWindows == 0) {
        if (glfwInit() != GLFW_TRUE)
            throw std::runtime_error("Could not open a window: " + glfwReason());
        glfwSetJoystickCallback(joystickCallback);
        joystickChanged.fill(true); // devices present at start are reported by no event
    }
    glfwWindowHint(GLFW_CLIENT_API, GLFW_NO_API);
    _handle = glfwCreateWindow(w, h, title.c_str(), nullptr, nullptr);
    if (!_handle) {
        std::string reason = glfwReason();
        if (openWindows == 0)
            glfwTerminate();
        throw std::runtime_error("Could not open a window: " + reason);
    }
    ++openWindows;
    windows.push_back(this);

    glfwSetWindowUserPointer(_handle, this);
    glfwSetKeyCallback(_handle, KeyCallback);
    glfwSetCharCallback(_handle, CharCallback);
    glfwSetMouseButtonCallback(_handle, MouseButtonCallback);
    glfwSetScrollCallback(_handle, ScrollCallback);
    glfwSetCursorPosCallback(_handle, CursorPosCallback);
    glfwSetWindowFocusCallback(_handle, FocusCallback);
    glfwSetWindowSizeCallback(_handle, SizeCallback);

    int actualWidth = 0, actualHeight = 0;
    glfwGetWindowSize(_handle, &actualWidth, &actualHeight);
    width = actualWidth;
    height = actualHeight;
    _focused = glfwGetWindowAttrib(_handle, GLFW_FOCUSED) == GLFW_TRUE;
    glfwGetCursorPos(_handle, &_glfwCursorX, &_glfwCursorY);
    _cursorX = _glfwCursorX;
    _cursorY = _glfwCursorY;
}

GlfwWindow::~GlfwWindow() {
    std::lock_guard guard(libraryMutex);
    windows.erase(std::remove(windows.begin(), windows.end(), this), windows.end());
    glfwDestroyWindow(_handle);
    if (--openWindows == 0) {
        // The table keeps no device that nobody refreshes any more.
        for (int id = 0; id <= JOYSTICK_LAST; ++id)
            if (glfwJoystickPresent(id))
                StoreJoystickDisconnected(id);
        glfwTerminate();
    }
}

bool GlfwWindow::IsFocused() const { return _focused.load(); }

void GlfwWindow::SetInputMode(int mode, int value) {
    std::lock_guard guard(_mutex);
    _inputModes[mode] = value;
    _pendingModes[mode] = value;
}

int GlfwWindow::GetInputMode(int mode) const {
    std::lock_guard guard(_mutex);
    if (auto found = _inputModes.find(mode); found != _inputModes.end())
        return found->second;
    return mode == CURSOR ? CURSOR_NORMAL : 0;
}

bool GlfwWindow::GetKey(int key) const {
    return key >= KEY_FIRST && key <= KEY_LAST && _keys[static_cast<size_t>(key)].load();
}

bool GlfwWindow::GetMouseButton(int button) const {
    return button >= 0 && button <= MOUSE_BUTTON_LAST && _mouseButtons[static_cast<size_t>(button)].load();
}

void GlfwWindow::GetCursorPos(double* x, double* y) const {
    std::lock_guard guard(_mutex);
    if (x)
        *x = _cursorX;
    if (y)
        *y = _cursorY;
}

void GlfwWindow::SetCursorPos(double x, double y) {
    std::lock_guard guard(_mutex);
    _cursorX = x;
    _cursorY = y;
    _cursorRequested = true;
}

void GlfwWindow::SetClipboardText(const char* text) {
    Window::SetClipboardText(text);
    glfwSetClipboardString(_handle, text != nullptr ? text : "");
}

std::string GlfwWindow::GetClipboardText() const {
    const char* text = glfwGetClipboardString(_handle);
    return text != nullptr ? std::string(text) : Window::GetClipboardText();
}

bool GlfwWindow::ShouldClose() const { return glfwWindowShouldClose(_handle) == GLFW_TRUE; }

void GlfwWindow::SetShouldClose(bool close) { glfwSetWindowShouldClose(_handle, close ? GLFW_TRUE : GLFW_FALSE); }

void GlfwWindow::ApplyRequests() {
    std::unordered_map<int, int> modes;
    bool moveCursor = false;
    double x = 0.0, y = 0.0;
    {
        std::lock_guard guard(_mutex);
        modes.swap(_pendingModes);
        moveCursor = _cursorRequested;
        _cursorRequested = false;
        x = _cursorX;
        y = _cursorY;
    }
    // The mode first: a disabled cursor's virtual position is where the game then puts it.
    for (const auto& [mode, value] : modes)
        glfwSetInputMode(_handle, mode, value);
    if (!modes.empty() || moveCursor) {
        if (moveCursor)
            glfwSetCursorPos(_handle, x, y);
        std::lock_guard guard(_mutex);
        glfwGetCursorPos(_handle, &_glfwCursorX, &_glfwCursorY);
    }
}

void GlfwWindow::PollEvents() {
    {
        std::lock_guard guard(libraryMutex);
        if (openWindows == 0)
            return;
        for (GlfwWindow* window : windows)
            window->ApplyRequests();
    }
    glfwPollEvents();
    RefreshJoysticks();
}

void GlfwWindow::RefreshJoysticks() {
    for (int id = 0; id <= JOYSTICK_LAST; ++id) {
        bool present = glfwJoystickPresent(id) == GLFW_TRUE;
        if (joystickChanged[static_cast<size_t>(id)] || present != JoystickPresent(id)) {
            joystickChanged[static_cast<size_t>(id)] = false;
            if (!present) {
                StoreJoystickDisconnected(id);
                continue;
            }
            JoystickInfo info;
            const char* guid = glfwGetJoystickGUID(id);
            const char* name = glfwGetJoystickName(id);
            info.guid = guid ? guid : "";
            info.name = name ? name : "";
            info.isGamepad = glfwJoystickIsGamepad(id) == GLFW_TRUE;
            glfwGetJoystickAxes(id, &info.axisCount);
            glfwGetJoystickButtons(id, &info.buttonCount);
            glfwGetJoystickHats(id, &info.hatCount);
            StoreJoystickConnected(id, info);
        }
        if (!present)
            continue;
        int axisCount = 0, buttonCount = 0, hatCount = 0;
        const float* axes = glfwGetJoystickAxes(id, &axisCount);
        const unsigned char* buttons = glfwGetJoystickButtons(id, &buttonCount);
        const unsigned char* hats = glfwGetJoystickHats(id, &hatCount);
        GLFWgamepadstate mapped;
        GamepadState gamepad;
        bool isGamepad = glfwGetGamepadState(id, &mapped) == GLFW_TRUE;
        if (isGamepad) {
            std::copy(std::begin(mapped.buttons), std::end(mapped.buttons), gamepad.buttons);
            std::copy(std::begin(mapped.axes), std::end(mapped.axes), gamepad.axes);
        }
        StoreJoystickState(id, axes, axisCount, buttons, buttonCount, hats, hatCount, isGamepad ? &gamepad : nullptr);
    }
}

void GlfwWindow::KeyCallback(GLFWwindow* handle, int key, int scancode, int action, int mods) {
    GlfwWindow* self = owner(handle);
    if (key >= KEY_FIRST && key <= KEY_LAST && action != GLFW_REPEAT)
        self->_keys[static_cast<size_t>(key)] = action == GLFW_PRESS;
    if (self->onKey)
        self->onKey(key, scancode, action, mods);
}

void GlfwWindow::CharCallback(GLFWwindow* handle, unsigned int codepoint) {
    GlfwWindow* self = owner(handle);
    if (self->onChar)
        self->onChar(codepoint);
}

void GlfwWindow::MouseButtonCallback(GLFWwindow* handle, int button, int action, int mods) {
    GlfwWindow* self = owner(handle);
    if (button >= 0 && button <= MOUSE_BUTTON_LAST)
        self->_mouseButtons[static_cast<size_t>(button)] = action == GLFW_PRESS;
    if (self->onMouseButton)
        self->onMouseButton(button, action, mods);
}

void GlfwWindow::ScrollCallback(GLFWwindow* handle, double dx, double dy) {
    GlfwWindow* self = owner(handle);
    if (self->onScroll)
        self->onScroll(dx, dy);
}

void GlfwWindow::CursorPosCallback(GLFWwindow* handle, double x, double y) {
    GlfwWindow* self = owner(handle);
    std::lock_guard guard(self->_mutex);
    self->_cursorX += x - self->_glfwCursorX;
    self->_cursorY += y - self->_glfwCursorY;
    self->_glfwCursorX = x;
    self->_glfwCursorY = y;
}

void GlfwWindow::FocusCallback(GLFWwindow* handle, int focused) {
    GlfwWindow* self = owner(handle);
    self->_focused = focused == GLFW_TRUE;
    if (!self->_focused) {
        // Keys released while elsewhere never reach this window: they would stay down for ever.
        for (auto& key : self->_keys)
            key = false;
        for (auto& button : self->_mouseButtons)
            button = false;
    }
}

void GlfwWindow::SizeCallback(GLFWwindow* handle, int w, int h) {
    GlfwWindow* self = owner(handle);
    self->width = w;
    self->height = h;
}

} // namespace vesmo::graphics
