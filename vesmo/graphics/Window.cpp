#include "vesmo/graphics/Window.hpp"

namespace vesmo::graphics {

Window::~Window() = default;

bool Window::IsFocused() const {
    std::lock_guard guard(_mutex);
    return _focused;
}

void Window::SetFocused(bool focused) {
    std::lock_guard guard(_mutex);
    _focused = focused;
}

void Window::SetInputMode(int mode, int value) {
    std::lock_guard guard(_mutex);
    _inputModes[mode] = value;
}

int Window::GetInputMode(int mode) const {
    std::lock_guard guard(_mutex);
    if (auto found = _inputModes.find(mode); found != _inputModes.end())
        return found->second;
    return mode == CURSOR ? CURSOR_NORMAL : 0;
}

void Window::SetCursorPos(double x, double y) {
    std::lock_guard guard(_mutex);
    _cursorX = x;
    _cursorY = y;
}

void Window::GetCursorPos(double* x, double* y) const {
    std::lock_guard guard(_mutex);
    if (x)
        *x = _cursorX;
    if (y)
        *y = _cursorY;
}

} // namespace vesmo::graphics
