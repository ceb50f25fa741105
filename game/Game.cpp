#include "game/Game.hpp"

std::string Game::_current_world;
