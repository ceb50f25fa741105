#pragma once
// The records a module feeds the inventory with: game::Item, one thing in a slot, and game::Inventory, a
// capacity and its items by slot text (the slot index in decimal). Plain data, copied freely.

#include "game/host/UniqueId.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <cstdint>
#include <string>
#include <unordered_map>

namespace game {

struct Item {
    UniqueId id;
    vesmo::modular::ModuleID module;
    std::string type;
    int32_t stack = 1;
    std::unordered_map<std::string, std::string> properties;
};

struct Inventory {
    uint64_t capacity = 0;
    std::unordered_map<std::string, Item> items; // by slot index in decimal
};

} // namespace game
