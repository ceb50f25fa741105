#pragma once
// A joystick or gamepad connected to the window. Game::_joysticks holds them by device id; the launcher
// adds and removes entries. The class grows with the input work (axes, buttons, hats, bindings).

namespace game::input {

class Joystick {
public:
    virtual ~Joystick() = default;
};

} // namespace game::input
