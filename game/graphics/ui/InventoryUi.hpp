#pragma once
// The player's inventory on screen, with its tools and items. Game holds the user's inventory, the tool in
// hand and the selected item; the classes grow with the inventory work.

namespace game::graphics::ui {

class InventoryUi {
public:
    class Tool;
    class Item;
    virtual ~InventoryUi() = default;
};

} // namespace game::graphics::ui
