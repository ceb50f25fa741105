// InventoryUi::Draw: the window, the search box, the slots, the items in windows of their own, and the
// gestures on them. A gesture is read while the slot loop holds `mutex` and carried out after it has let
// the lock go, since a drop locks the target inventory, which may be this one.

#include "game/graphics/ui/InventoryUi.hpp"

#include "game/Game.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <string>

namespace game::graphics::ui {

namespace {

// Left Shift, GLFW key 340 in io.KeysDown (ImGui 1.86 has no named key 528 for it).
bool LeftShiftDown() { return ImGui::GetIO().KeysDown[340]; }

std::string Lower(const char* text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

bool Contains(ImVec2 corner, ImVec2 size, ImVec2 point) {
    return point.x >= corner.x && point.y >= corner.y && point.x < corner.x + size.x && point.y < corner.y + size.y;
}

} // namespace

struct InventoryUi::Drop {
    enum Kind { None, Finished, Split, QuickTake };
    Kind kind = None;
    std::shared_ptr<Item> item;
    size_t index = 0;
};

void InventoryUi::Draw() {
    const float scale = Game::GetUiScaling();
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    const ImGuiStyle& style = ImGui::GetStyle();

    // 1. First placement: a size that shows every slot in up to 8 columns, above the viewport's bottom,
    // unless the owner gave a place and size before the first frame.
    ImVec2 size = windowSize;
    if (size.x <= 0.0f || size.y <= 0.0f) {
        const int cols = static_cast<int>(std::clamp<uint64_t>(capacity, 1, 8));
        const int rows = static_cast<int>((std::max<uint64_t>(capacity, 1) + cols - 1) / cols);
        size.x = (slotWidth + slotMargin) * static_cast<float>(cols) * scale + 2.0f * style.WindowPadding.x + 2.0f;
        size.y =
            ((slotHeight + slotMargin) * static_cast<float>(rows) + slotsTop + (hasSearch ? 20.0f : 0.0f)) * scale +
            2.0f * style.WindowPadding.y;
    }
    ImVec2 place = windowPos;
    if (place.x == 0.0f && place.y == 0.0f)
        place = ImVec2(viewport->Pos.x + (viewport->Size.x - size.x) * 0.5f,
                       viewport->Pos.y + viewport->Size.y - DefaultSpawnBottomOffset * scale - size.y);
    ImGui::SetNextWindowSize(size, ImGuiCond_Once);
    ImGui::SetNextWindowPos(place, ImGuiCond_Once);
    // Items draw in windows of their own above this one: focusing the inventory must not cover them.
    ImGui::Begin(name.c_str(), nullptr,
                 ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoSavedSettings |
                     ImGuiWindowFlags_NoBringToFrontOnFocus);

    // 2, 3. Where the window is, whether it is being resized, and kept on the screen.
    ImVec2 pos = ImGui::GetWindowPos();
    const ImVec2 currentSize = ImGui::GetWindowSize();
    if (currentSize.x != windowSize.x || currentSize.y != windowSize.y)
        resizing = true;
    else if (!ImGui::IsMouseDragging(0))
        resizing = false;
    windowSize = currentSize;
    if (pos.x < 0.0f) {
        pos.x = 0.0f;
        ImGui::SetWindowPos(pos);
    } else if (pos.x + currentSize.x > viewport->Size.x) {
        pos.x = viewport->Size.x - currentSize.x;
        ImGui::SetWindowPos(pos);
    }
    if (pos.y < 0.0f) {
        pos.y = 0.0f;
        ImGui::SetWindowPos(pos);
    } else if (pos.y + currentSize.y > viewport->Size.y) {
        pos.y = viewport->Size.y - currentSize.y;
        ImGui::SetWindowPos(pos);
    }
    windowPos = pos;
    scroll = ImVec2(ImGui::GetScrollX(), ImGui::GetScrollY());

    // 4. The search box; one text for all inventories.
    if (hasSearch) {
        ImGui::SetWindowFontScale(0.7f);
        ImGui::TextUnformatted(" Search: ");
        ImGui::SameLine();
        ImGui::SetNextItemWidth(std::max(60.0f, currentSize.x * 0.5f));
        ImGui::InputText("##InventorySearch", searchText, sizeof(searchText));
        ImGui::SameLine();
        if (ImGui::Button(" clear "))
            searchText[0] = '\0';
        ImGui::SetWindowFontScale(1.0f);
    }

    Drop drop;
    {
        std::lock_guard guard(mutex);
        const size_t count = compact ? slots.size() : capacity;
        for (size_t i = 0; i < count; ++i)
            if (i >= slots.size() || !slots[i])
                DrawSlot(GetSlotPos(i), "", 0.7f);
        // Room for the grid, so that the window scrolls over all of it.
        if (count > 0) {
            const ImVec2 last = GetSlotPos(count - 1);
            ImGui::SetCursorPos(ImVec2(0.0f, (last.y + slotHeight + slotMargin) * scale));
            ImGui::Dummy(ImVec2(1.0f, 1.0f));
        }
        ImGui::End();
        for (size_t i = 0; i < slots.size(); ++i)
            if (slots[i])
                DrawItem(i, drop);
    }
    CarryOut(drop);
}

void InventoryUi::DrawSlot(ImVec2 position, const std::string& label, float fontScale) {
    const float scale = Game::GetUiScaling();
    ImGui::SetCursorPos(ImVec2((position.x - 3.5f) * scale, (position.y - 3.5f) * scale));
    ImGui::PushStyleVar(ImGuiStyleVar_FrameBorderSize, 1.0f);
    ImGui::PushStyleColor(ImGuiCol_Button, ImVec4(1.0f, 1.0f, 1.0f, 0.04f));
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, ImVec4(1.0f, 1.0f, 1.0f, 0.04f));
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, ImVec4(1.0f, 1.0f, 1.0f, 0.04f));
    ImGui::SetWindowFontScale(fontScale);
    ImGui::BeginDisabled();
    ImGui::PushID(static_cast<int>(position.x * 7919.0f + position.y));
    ImGui::Button(label.empty() ? "##slot" : label.c_str(),
                  ImVec2((slotWidth + 6.0f) * scale, (slotHeight + 6.0f) * scale));
    ImGui::PopID();
    ImGui::EndDisabled();
    ImGui::SetWindowFontScale(1.0f);
    ImGui::PopStyleColor(3);
    ImGui::PopStyleVar();
}

void InventoryUi::DrawItem(size_t index, Drop& drop) {
    const float scale = Game::GetUiScaling();
    std::shared_ptr<Item>& item = slots[index];

    // 5. Towards the slot, unless in the hand.
    if (!item->dragging) {
        item->targetPosition = GetSlotPos(index);
        const ImVec2 target = item->targetPosition;
        if (resizing || (item->position.x == 0.0f && item->position.y == 0.0f)) {
            item->position = target;
        } else {
            item->position.x += (target.x - item->position.x) * 0.2f;
            item->position.y += (target.y - item->position.y) * 0.2f;
            if (std::fabs(target.x - item->position.x) < 0.5f && std::fabs(target.y - item->position.y) < 0.5f)
                item->position = target;
        }
    }
    const ImVec2 itemSize(slotWidth * scale, slotHeight * scale);
    const ImVec2 screen(windowPos.x + item->position.x * scale - scroll.x,
                        windowPos.y + item->position.y * scale - scroll.y);
    // Scrolled out of the window: not drawn, unless in the hand.
    if (!item->dragging && (screen.y + itemSize.y <= windowPos.y || screen.y >= windowPos.y + windowSize.y))
        return;

    // 6. A window of its own; renamed while dragged, which makes it new and so drawn above the others. The
    // name is formatted into a buffer: a frame of a full inventory allocates nothing.
    char window[256];
    std::snprintf(window, sizeof(window), "%s%s_inventory_item_%zu", item->dragging ? "##dragging_inven" : "",
                  name.c_str(), index);
    if (item->dragging)
        ImGui::SetNextWindowPos(ImGui::GetIO().MousePos, ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    else
        ImGui::SetNextWindowPos(screen, ImGuiCond_Always);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0.0f, 0.0f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowMinSize, ImVec2(1.0f, 1.0f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowBorderSize, 0.0f);
    ImGui::Begin(window, nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoBackground | ImGuiWindowFlags_NoSavedSettings |
                     ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav |
                     ImGuiWindowFlags_NoMove);
    ImGui::PopStyleVar(3);
    const bool hidden = searchText[0] != '\0' && Lower(item->type.c_str()).find(Lower(searchText)) == std::string::npos;
    if (hidden) {
        ImGui::PushStyleColor(ImGuiCol_Button, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
        ImGui::PushStyleColor(ImGuiCol_ButtonHovered, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
        ImGui::PushStyleColor(ImGuiCol_ButtonActive, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
        ImGui::Button("##hiddenItem", itemSize);
        ImGui::PopStyleColor(3);
    } else {
        item->DrawAtPos(ImGui::GetCursorPos(), itemSize);
    }
    const bool clicked = ImGui::IsWindowHovered() && ImGui::IsMouseClicked(0);
    ImGui::End();
    if (hidden)
        return;

    // The gesture (the moves' rules: InventoryUi.hpp).
    const bool rightClick = ImGui::IsMouseClicked(1);
    if (item->dragging && !rightClick) {
        draggingItem = item.get();
        const ImVec2 delta = ImGui::GetMouseDragDelta(0);
        item->position.x += delta.x / scale;
        item->position.y += delta.y / scale;
        item->targetPosition.x += delta.x / scale;
        item->targetPosition.y += delta.y / scale;
        ImGui::ResetMouseDragDelta(0);
    } else if (draggingItem == item.get() && (!item->dragging || rightClick)) {
        drop.kind = item->dragging ? Drop::Split : Drop::Finished;
        drop.item = item;
        drop.index = index;
    } else if (clicked && LeftShiftDown() && OnTryQuickTakeItem) {
        drop.kind = Drop::QuickTake;
        drop.item = item;
        drop.index = index;
    }
}

void InventoryUi::EmptySlotOf(const std::shared_ptr<Item>& item, size_t index) {
    std::lock_guard guard(mutex);
    if (index >= slots.size() || slots[index] != item) {
        auto found = std::find(slots.begin(), slots.end(), item);
        if (found == slots.end())
            return;
        index = static_cast<size_t>(found - slots.begin());
    }
    if (compact)
        slots.erase(slots.begin() + static_cast<std::ptrdiff_t>(index));
    else
        slots[index].reset();
}

void InventoryUi::CarryOut(Drop& drop) {
    if (drop.kind == Drop::None)
        return;
    std::shared_ptr<Item> item = drop.item;
    const float scale = Game::GetUiScaling();

    if (drop.kind == Drop::QuickTake) {
        const game::UniqueId targetId = OnTryQuickTakeItem(id);
        if (targetId.IsNull())
            return;
        std::shared_ptr<InventoryUi> target = Get<InventoryUi>(targetId);
        if (!target || target.get() == this)
            return;
        std::shared_ptr<Item> moved = item;
        if (!target->MoveItem(moved, true).empty())
            EmptySlotOf(item, drop.index);
        return;
    }

    const bool finished = drop.kind == Drop::Finished;
    const bool splitGesture = drop.kind == Drop::Split;
    if (finished) {
        draggingItem = nullptr;
        ImGui::SetWindowFocus(nullptr);
    }
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    std::shared_ptr<InventoryUi> target;
    ForEachOpenInventory([&](std::shared_ptr<InventoryUi>& open) {
        if (!target && Contains(open->windowPos, open->windowSize, mouse))
            target = open;
    });

    if (!target) {
        if (!splitGesture && OnDropItem && OnDropItem(id, item->id))
            EmptySlotOf(item, drop.index);
        return;
    }
    const ImVec2 local(mouse.x - target->windowPos.x + target->scroll.x,
                       mouse.y - target->windowPos.y + target->scroll.y);

    // Onto another item that it stacks with.
    if (OnStackItems) {
        std::shared_ptr<Item> other;
        int hit = -1;
        {
            std::lock_guard guard(target->mutex);
            hit = target->HitSlot(ImVec2(local.x / scale, local.y / scale));
            if (hit >= 0 && static_cast<size_t>(hit) < target->slots.size())
                other = target->slots[static_cast<size_t>(hit)];
        }
        if (other && other != item && (item->StackableOn(other) || other->CanStack(item))) {
            if (splitGesture && item->stack > 1) {
                const int amount = LeftShiftDown() ? item->stack / 2 : 1;
                if (OnSplitItem && OnSplitItem(id, item->id, target->id, std::to_string(hit), amount)) {
                    item->stack -= amount;
                    other->stack += amount;
                }
                return;
            }
            if (finished) {
                item->dragging = false;
                draggingItem = nullptr;
                if (OnStackItems(id, item->id, target->id, other->id, compact)) {
                    other->stack += item->stack;
                    EmptySlotOf(item, drop.index);
                }
                return;
            }
        }
    }

    const bool split = splitGesture && item->stack >= 2;
    if (finished) {
        item->dragging = false;
        draggingItem = nullptr;
    }
    const int oldStack = item->stack;
    std::shared_ptr<Item> held = item;
    const std::string slot = target->MoveOrSwapItem(held, local, split);
    if (slot.empty()) {
        // A split in the source window off every slot: the amount goes to the first free place.
        if (splitGesture && target.get() == this && item->stack >= 2) {
            const int amount = LeftShiftDown() ? item->stack / 2 : 1;
            item->stack -= amount;
            std::shared_ptr<Item> moved = item;
            const std::string placed = MoveItem(moved, false);
            if (!placed.empty() && OnSplitItem)
                OnSplitItem(id, item->id, id, placed, amount);
        }
        return;
    }
    if (item->stack != oldStack) {
        if (OnSplitItem)
            OnSplitItem(id, item->id, target->id, slot, oldStack - item->stack);
    } else if (held) {
        // A swap: what was in the target slot takes the moved item's place here.
        {
            std::lock_guard guard(mutex);
            if (drop.index < slots.size() && slots[drop.index] == item) {
                held->Assign(shared_from_this());
                slots[drop.index] = held;
            }
        }
        if (OnSwapItems)
            OnSwapItems(id, item->id, target->id, held->id);
    } else {
        if (OnMoveItem)
            OnMoveItem(id, item->id, target->id, slot, compact);
        if (target.get() != this || slot != std::to_string(drop.index))
            EmptySlotOf(item, drop.index);
    }
}

} // namespace game::graphics::ui
