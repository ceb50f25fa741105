// Game's lookups of game controllers in _joysticks.

#include "game/Game.hpp"
#include "game/input/Joystick.hpp"

namespace {

using JoystickPtr = std::shared_ptr<game::input::Joystick>;

bool isPlainJoystick(const game::input::Joystick& device) {
    return device.connected && !device.isGamepad && device.axisCount >= 2;
}

// The index-th device of _joysticks, in the order of the ids, that `fits`.
template <class Fits> JoystickPtr nth(int index, Fits fits) {
    if (index < 0)
        return {};
    for (const auto& [id, device] : Game::_joysticks) {
        if (device && fits(*device) && index-- == 0)
            return device;
    }
    return {};
}

} // namespace

JoystickPtr Game::GetFirstJoystick() { return GetJoystick(0); }

JoystickPtr Game::GetFirstGamepad() { return GetGamepad(std::string(), 0); }

JoystickPtr Game::GetJoystick(int index) { return nth(index, isPlainJoystick); }

JoystickPtr Game::GetJoystick(const std::string& guid, int index) {
    if (guid.empty())
        return GetJoystick(index);
    return nth(index, [&](const game::input::Joystick& device) { return device.connected && device.IsSameGUID(guid); });
}

JoystickPtr Game::GetGamepad(const std::string& guid, int index) {
    return nth(index, [&](const game::input::Joystick& device) {
        return device.connected && device.isGamepad && (guid.empty() || device.IsSameGUID(guid));
    });
}
