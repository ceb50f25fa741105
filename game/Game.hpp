#pragma once
// Interim: the one static of the hub that entity persistence reads. The host's Game replaces this file.

#include <string>

class Game {
public:
    static std::string _current_world;
};
