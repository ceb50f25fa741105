#pragma once
// A Box that reacts to the mouse, with an optional Text label above it.
//
//     auto play = Element::Make<Button>(glm::vec2(0, -0.06f), glm::vec2(0.5f, 0.1f), "PLAY", 0);
//     play->action = [] { Game::Play(); };
//
// The input side feeds it through Element: Click(position, screen, 1, 0) for a press of the left button,
// Click(position, screen, 0, 0) for its release, Hover(position, screen, pressed) as the mouse moves.
// Click reaches the button only over it, so a press released outside runs nothing; `action` runs at a
// release over the button after a press, and `pressed` stays set until the next press or Reset.
//
// The button is drawn at order 10 and its label at 11; the label's height is half the button's.

#include "game/graphics/ui/Element.hpp"

#include <functional>
#include <memory>

namespace game::graphics::ui {

class Button : public Box {
public:
    // `text` empty or null: no label.
    Button(const glm::vec2& position, const glm::vec2& size, const char* text, unsigned short style = 0);

    void SetPosition(const glm::vec2& position) override;
    void SetSize(const glm::vec2& size) override;
    virtual void SetText(const char* text);

    // Clears `pressed` and shows the normal colours.
    void Reset() override;
    void Show() override;
    void Hide() override;

    glm::vec4 backgroundNormal{0.5f, 0.5f, 0.5f, 0.8f};
    glm::vec4 textNormal{0.8f, 0.8f, 0.8f, 1.0f};
    glm::vec4 textHover{1.0f, 1.0f, 1.0f, 1.0f};
    glm::vec4 backgroundPressed{0.4f, 0.4f, 0.4f, 0.8f};
    glm::vec4 textPressed{0.0f, 0.0f, 0.0f, 1.0f};
    std::shared_ptr<Text> label;
    bool pressed = false;
    std::function<void()> action = [] {};
};

} // namespace game::graphics::ui
