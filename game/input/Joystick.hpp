#pragma once
// game::input::Joystick: one connected game controller.
//
// Objects live in Game::_joysticks, keyed by the window system's device id; the launcher creates them when
// a device connects and calls InputUpdate() on each once an input tick, before Game::InputUpdate. Every
// device is polled as a raw joystick (axes, buttons, hats); a device that the window system knows as a
// gamepad also has the standard mapping (gamepadState: 15 buttons, 6 axes), read with the Gamepad
// accessors.
//
// Axes are normalised with a dead zone, and can learn a device's real range (calibration): see GetAxis.
// Out-of-range indices and disconnected devices read as 0 or false; nothing here fails.
//
// Threads: the input loop and the settings panel read these; the learnt ranges and the button edges are
// bookkeeping of the const accessors (hence mutable), so one object serves one thread at a time, as
// Game::_joysticks itself does.

#include "vesmo/graphics/Window.hpp"

#include <string>
#include <utility>
#include <vector>

namespace game::input {

class Joystick {
public:
    // Fills the fields from the window system, sizes the vectors, and does a first InputUpdate().
    explicit Joystick(int id);
    ~Joystick();

    // Fetches axes, buttons and hats, and, for a gamepad, the mapped state. The arrays stay the window
    // system's; they are valid until the next InputUpdate.
    void InputUpdate();

    // The axis in [-1, 1] (or [0, 1] when `unipolar`), 0 inside the dead zone.
    //  - Without `calibrate`: the learnt range goes back to [-1, 1], and a unipolar axis reads v × 0.5 + 0.5
    //    beyond -1 + deadzone (a trigger at rest at -1 reads 0, pressed fully 1), a plain one v beyond
    //    |deadzone|.
    //  - With `calibrate`: the range widens to take in v, and v is placed in it: n = (v - min) / (max - min).
    //    A plain axis gives 2n - 1, and if the range straddles 0 the axis is centred and the dead zone is
    //    around 0; otherwise (unipolar, or a range on one side of 0) the dead zone is above min. A range
    //    that is still a single value gives 0.
    // A new object has learnt nothing (its ranges are empty: min +inf, max -inf): its first calibrated
    // reading makes the range that single value, which reads 0.
    float GetAxis(int axis, float deadzone, bool calibrate, bool unipolar) const;
    // The same on the mapped axes; 0 unless the device is a gamepad.
    float GetGamepadAxis(int axis, float deadzone, bool calibrate, bool unipolar) const;
    bool GetButton(int button) const;
    // The same on the mapped buttons; false unless the device is a gamepad.
    bool GetGamepadButton(int button) const;
    // For the screen that captures a new binding: true only when the button goes from up to down after
    // it was seen once, so that a button held while the screen opens doesn't bind itself. The first call
    // for a button records its state and returns false.
    bool GetButtonBinding(int button) const;
    bool GetGamepadButtonBinding(int button) const;
    unsigned char GetHat(int hat) const;
    // GUIDs compare without regard to letter case (window systems differ on it); a prefix is not a match.
    bool IsSameGUID(const std::string& other) const;

    int id;
    bool connected = true; // only the launcher clears it
    std::string guid;
    std::string name;
    bool isGamepad = false;
    int axisCount = 0;
    int buttonCount = 0;
    int hatCount = 0;
    vesmo::graphics::Window::GamepadState gamepadState{};
    const float* axes = nullptr;
    const unsigned char* buttons = nullptr;
    const unsigned char* hats = nullptr;
    mutable std::vector<float> axisMin, axisMax;                   // one entry per axis: the range seen so far
    mutable std::vector<float> gamepadAxisMin, gamepadAxisMax;     // the same for the mapped axes
    mutable std::vector<std::pair<bool, bool>> buttonEdges;        // per button: last state, seen once
    mutable std::vector<std::pair<bool, bool>> gamepadButtonEdges; // the same for the mapped buttons

private:
    void SizeVectors();
};

} // namespace game::input
