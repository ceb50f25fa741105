// The inventory's moves without a gesture: MoveOrSwapItem (to a point of the window) and MoveItem (to the
// first place that takes the item). Both change `slots` at once; the callers report the change.

#include "game/graphics/ui/InventoryUi.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"

namespace game::graphics::ui {

namespace {

// Left Shift, GLFW key 340 in io.KeysDown (ImGui 1.86 has no named key 528 for it).
bool LeftShiftDown() { return ImGui::GetCurrentContext() && ImGui::GetIO().KeysDown[340]; }

} // namespace

int InventoryUi::HitSlot(ImVec2 point) const {
    const size_t count = compact ? slots.size() : capacity;
    const float half = slotMargin * 0.5f;
    for (size_t i = 0; i < count; ++i) {
        const ImVec2 slot = GetSlotPos(i);
        if (point.x > slot.x - half && point.x < slot.x + slotWidth + half && point.y > slot.y - half &&
            point.y < slot.y + slotHeight + half)
            return static_cast<int>(i);
    }
    return -1;
}

std::string InventoryUi::MoveOrSwapItem(std::shared_ptr<Item>& item, ImVec2 position, bool split) {
    const float scale = Game::GetUiScaling();
    position = ImVec2(position.x / scale, position.y / scale);
    GAME_ASSERT(item);
    GAME_ASSERT(!split || item->stack > 1);
    std::lock_guard guard(mutex);

    // The fallback of a compact inventory: the first free entry, or the end.
    auto fallback = [&]() -> std::string {
        if (split)
            return {};
        for (size_t i = 0; i < slots.size(); ++i) {
            if (!slots[i]) {
                item->Assign(shared_from_this());
                slots[i] = std::move(item);
                return std::to_string(i);
            }
            if (slots[i] == item)
                return std::to_string(i);
        }
        if (slots.size() < capacity && slots.capacity() >= capacity) {
            item->Assign(shared_from_this());
            slots.push_back(std::move(item));
            return std::to_string(slots.size() - 1);
        }
        return {};
    };

    const int hit = HitSlot(position);
    if (hit < 0 || (slots.empty() && compact))
        return compact ? fallback() : std::string();
    const size_t index = static_cast<size_t>(hit);
    if (index >= slots.size()) {
        if (compact)
            return fallback();
        if (index >= slots.capacity())
            return {};
        slots.resize(index + 1);
    }
    if (slots[index] == item)
        return {};
    if (compact && !slots[index])
        return fallback();

    if (split) {
        const int amount = LeftShiftDown() ? item->stack / 2 : 1;
        item->stack -= amount;
        if (slots[index])
            slots[index]->stack += amount;
    } else {
        item->Assign(shared_from_this());
        std::swap(item, slots[index]);
    }
    return std::to_string(index);
}

std::string InventoryUi::MoveItem(std::shared_ptr<Item>& item, bool stack) {
    std::shared_ptr<InventoryUi> oldInventory = item->GetInventory();
    GAME_ASSERT(oldInventory);
    std::lock_guard guard(mutex);

    for (std::shared_ptr<Item>& entry : slots)
        if (entry == item)
            entry.reset();

    if (stack && OnStackItems) {
        for (size_t i = 0; i < slots.size(); ++i) {
            std::shared_ptr<Item>& entry = slots[i];
            if (!entry)
                continue;
            if (!item->StackableOn(entry) && !entry->CanStack(item))
                continue;
            if (OnStackItems(oldInventory->id, item->id, id, entry->id, oldInventory->compact)) {
                entry->stack += item->stack;
                item.reset();
                return std::to_string(i);
            }
        }
    }

    auto place = [&](size_t index) {
        const game::UniqueId itemId = item->id;
        item->Assign(shared_from_this());
        if (OnMoveItem)
            OnMoveItem(oldInventory->id, itemId, id, std::to_string(index), oldInventory->compact);
    };
    for (size_t i = 0; i < slots.size(); ++i) {
        if (!slots[i]) {
            place(i);
            slots[i] = item;
            return std::to_string(i);
        }
    }
    if (slots.size() >= capacity || slots.capacity() < capacity)
        return {};
    place(slots.size());
    slots.push_back(item);
    return std::to_string(slots.size() - 1);
}

} // namespace game::graphics::ui
