#include "game/graphics/ui/MainMenu.hpp"

#include "game/Game.hpp"

namespace game {

using graphics::ui::Box;
using graphics::ui::Button;
using graphics::ui::Element;

void MainMenu::Init() {
    background = Element::Make<Box>(glm::vec4(0.0f, 0.0f, 0.0f, 0.3f), glm::vec2(0.0f, 0.0f), glm::vec2(0.55f, 0.275f));
    play = Element::Make<Button>(glm::vec2(0.0f, -0.06f), glm::vec2(0.5f, 0.1f), "PLAY");
    play->action = [] { Game::Play(); };
    quit = Element::Make<Button>(glm::vec2(0.0f, 0.06f), glm::vec2(0.5f, 0.1f), "QUIT");
    quit->action = [] { Game::Quit(); };
}

void MainMenu::Show() {
    background->Show();
    play->Show();
    quit->Show();
}

void MainMenu::Hide() {
    play->Reset();
    quit->Reset();
    background->Hide();
    play->Hide();
    quit->Hide();
}

} // namespace game
