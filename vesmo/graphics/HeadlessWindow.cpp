#include "vesmo/graphics/HeadlessWindow.hpp"

namespace vesmo::graphics {

HeadlessWindow::HeadlessWindow(int w, int h) {
    width = w;
    height = h;
}

HeadlessWindow::~HeadlessWindow() = default;

bool HeadlessWindow::IsFocused() const { return _focused.load(); }

void HeadlessWindow::SetFocused(bool focused) { _focused.store(focused); }

void HeadlessWindow::SetInputMode(int mode, int value) {
    std::lock_guard guard(_mutex);
    _inputModes[mode] = value;
}

int HeadlessWindow::GetInputMode(int mode) const {
    std::lock_guard guard(_mutex);
    if (auto found = _inputModes.find(mode); found != _inputModes.end())
        return found->second;
    return mode == CURSOR ? CURSOR_NORMAL : 0;
}

bool HeadlessWindow::GetKey(int key) const {
    return key >= KEY_FIRST && key <= KEY_LAST && _keys[static_cast<size_t>(key)].load();
}

void HeadlessWindow::SetKey(int key, bool down) {
    if (key >= KEY_FIRST && key <= KEY_LAST)
        _keys[static_cast<size_t>(key)].store(down);
}

bool HeadlessWindow::GetMouseButton(int button) const {
    return button >= 0 && button <= MOUSE_BUTTON_LAST && _mouseButtons[static_cast<size_t>(button)].load();
}

void HeadlessWindow::SetMouseButton(int button, bool down) {
    if (button >= 0 && button <= MOUSE_BUTTON_LAST)
        _mouseButtons[static_cast<size_t>(button)].store(down);
}

void HeadlessWindow::ReleaseAll() {
    for (auto& key : _keys)
        key.store(false);
    for (auto& button : _mouseButtons)
        button.store(false);
}

void HeadlessWindow::GetCursorPos(double* x, double* y) const {
    std::lock_guard guard(_mutex);
    if (x)
        *x = _cursorX;
    if (y)
        *y = _cursorY;
}

void HeadlessWindow::SetCursorPos(double x, double y) {
    std::lock_guard guard(_mutex);
    _cursorX = x;
    _cursorY = y;
}

void HeadlessWindow::MoveCursor(double dx, double dy) {
    std::lock_guard guard(_mutex);
    _cursorX += dx;
    _cursorY += dy;
}

void HeadlessWindow::ConnectJoystick(int id, const JoystickDescription& description) {
    StoreJoystickConnected(id, JoystickInfo{description.guid, description.name, description.isGamepad,
                                            description.axisCount, description.buttonCount, description.hatCount});
}

void HeadlessWindow::DisconnectJoystick(int id) { StoreJoystickDisconnected(id); }

void HeadlessWindow::DisconnectAllJoysticks() {
    for (int id = 0; id <= JOYSTICK_LAST; ++id)
        StoreJoystickDisconnected(id);
}

void HeadlessWindow::SetJoystickAxis(int id, int axis, float value) { StoreJoystickAxis(id, axis, value); }
void HeadlessWindow::SetJoystickButton(int id, int button, bool down) { StoreJoystickButton(id, button, down); }
void HeadlessWindow::SetJoystickHat(int id, int hat, unsigned char value) { StoreJoystickHat(id, hat, value); }
void HeadlessWindow::SetGamepadButton(int id, int button, bool down) { StoreGamepadButton(id, button, down); }
void HeadlessWindow::SetGamepadAxis(int id, int axis, float value) { StoreGamepadAxis(id, axis, value); }

} // namespace vesmo::graphics
