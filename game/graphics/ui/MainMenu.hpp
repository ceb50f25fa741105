#pragma once
// game::MainMenu: the screen before a game runs, a dark panel with two buttons made of UI elements.
//
//     game::MainMenu menu;
//     menu.Init();                  // after the renderer's pipelines can load (any time; they follow)
//     menu.play->action = [] { ... };   // replaces Game::Play, e.g. to open a world first
//     menu.Hide();                  // when the game starts; Show() when it returns to the menu
//
// The elements draw in the renderer's overlay pass like every element; the launcher sends mouse presses
// and releases to each button's Click and moves to Hover (Button.hpp).

#include "game/graphics/ui/Button.hpp"
#include "game/graphics/ui/Element.hpp"

#include <memory>

namespace game {

class MainMenu {
public:
    // Background box (0, 0, 0, 0.3) at (0, 0), size (0.55, 0.275); "PLAY" at (0, -0.06) and "QUIT" at
    // (0, 0.06), both 0.5 x 0.1. PLAY runs Game::Play, QUIT Game::Quit.
    void Init();
    void Show();
    // Resets both buttons first, so that a held one shows its normal colours when the menu returns.
    void Hide();

    std::shared_ptr<graphics::ui::Box> background;
    std::shared_ptr<graphics::ui::Button> play;
    std::shared_ptr<graphics::ui::Button> quit;
};

} // namespace game
