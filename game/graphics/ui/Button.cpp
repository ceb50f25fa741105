#include "game/graphics/ui/Button.hpp"

namespace game::graphics::ui {

Button::Button(const glm::vec2& position_, const glm::vec2& size_, const char* text, unsigned short style)
    : Box(glm::vec4(0.5f, 0.5f, 0.5f, 0.8f), position_, size_, style) {
    order = 10;
    SetText(text);
    // The callbacks hold `this`: they live in the button and go with it.
    onHover = [this](bool over, bool down) {
        if (over && down) {
            SetColor(backgroundPressed);
            if (label)
                label->SetColor(textPressed);
        } else {
            SetColor(backgroundNormal);
            if (label)
                label->SetColor(over ? textHover : textNormal);
        }
    };
    onClick = [this](int a, int b) {
        if (b != 0)
            return;
        if (a == 1) {
            SetColor(backgroundPressed);
            if (label)
                label->SetColor(textPressed);
            pressed = true;
        } else if (a == 0 && pressed && visible) {
            std::lock_guard guard(mutex);
            action();
        } else {
            pressed = false;
        }
    };
}

void Button::SetText(const char* text) {
    if (label) {
        label->SetText(text);
        return;
    }
    if (text == nullptr || text[0] == '\0')
        return;
    label = Element::Make<Text>(textNormal, position, size.y * 0.5f, text);
    label->order = 11;
    label->visible = visible;
}

void Button::SetPosition(const glm::vec2& position_) {
    Box::SetPosition(position_);
    if (label)
        label->SetPosition(position_);
}

void Button::SetSize(const glm::vec2& size_) {
    Box::SetSize(size_);
    if (label)
        label->SetSize(size_.y * 0.5f);
}

void Button::Reset() {
    std::lock_guard guard(mutex);
    pressed = false;
    SetColor(backgroundNormal);
    if (label)
        label->SetColor(textNormal);
}

void Button::Show() {
    Box::Show();
    if (label)
        label->Show();
}

void Button::Hide() {
    Box::Hide();
    if (label)
        label->Hide();
}

} // namespace game::graphics::ui
