#include "game/graphics/ui/InventoryUi.hpp"

#include "game/Game.hpp"

#include <cstdio>
#include <string>

namespace game::graphics::ui {

InventoryUi::Item::Item(const game::Item& record, unsigned long long revision)
    : id(record.id), module(record.module), type(record.type), revision(revision), stack(record.stack),
      properties(record.properties) {}

InventoryUi::Item::~Item() = default;

void InventoryUi::Item::UpdateItem(Item&& other) {
    revision = other.revision;
    stack = other.stack;
    properties = std::move(other.properties);
}

bool InventoryUi::Item::StackableOn(std::shared_ptr<Item>& other) const {
    // Equal maps hold the same keys with the same texts, both ways.
    return other && module == other->module && type == other->type && properties == other->properties;
}

bool InventoryUi::Item::CanStack(std::shared_ptr<Item>& other) const { return StackableOn(other); }

void InventoryUi::Item::Assign(std::shared_ptr<InventoryUi> target) {
    std::shared_ptr<InventoryUi> old = inventory.lock();
    if (old && target && old != target) {
        // Keep the item where it is on the screen: its position is relative to the holding window.
        const float scale = Game::GetUiScaling();
        position.x += (old->windowPos.x - target->windowPos.x) / scale;
        position.y += (old->windowPos.y - target->windowPos.y) / scale;
    } else if (!old) {
        position = ImVec2(0.0f, 0.0f);
    }
    inventory = target;
}

std::shared_ptr<InventoryUi> InventoryUi::Item::GetInventory() const { return inventory.lock(); }

game::UniqueId InventoryUi::Item::GetInventoryId() const {
    std::shared_ptr<InventoryUi> holder = inventory.lock();
    return holder ? holder->id : game::UniqueId();
}

void InventoryUi::Item::DrawAtPos(ImVec2 pos, ImVec2 size) {
    ImGui::SetCursorPos(pos);
    if (position.x == 0.0f && position.y == 0.0f)
        position = pos;
    Draw(size);
}

void InventoryUi::Item::MakeItemDraggable() {
    const bool shift = ImGui::GetIO().KeyShift;
    if (ImGui::IsItemActive() && !shift)
        dragging = ImGui::IsMouseDragging(0);
    else
        dragging = dragging && ImGui::IsMouseDragging(0);
}

void InventoryUi::Item::Draw(ImVec2 size) {
    // The id's bytes, hashed as they are: no text is made per frame.
    const char* idBytes = reinterpret_cast<const char*>(&id);
    ImGui::PushID(idBytes, idBytes + sizeof(id));
    ImGui::PushStyleVar(ImGuiStyleVar_FramePadding, ImVec2(0.0f, 0.0f));
    ImGui::PushStyleVar(ImGuiStyleVar_FrameRounding, 0.0f);
    const ImVec2 corner = ImGui::GetCursorScreenPos();
    if (texture) {
        // Dear ImGui 1.86's ImageButton takes no string id: the "##item" scope stands in for it.
        ImGui::PushID("##item");
        ImGui::ImageButton(texture, size, ImVec2(0.0f, 0.0f), ImVec2(1.0f, 1.0f), 0);
        ImGui::PopID();
    } else {
        ImGui::Button(type.c_str(), size);
    }
    MakeItemDraggable();
    if (ImGui::IsItemHovered() && !dragging) {
        ImGui::SetNextWindowPos(ImGui::GetIO().MousePos, ImGuiCond_Always, ImVec2(0.5f, 1.5f));
        ImGui::BeginTooltip();
        ImGui::Text("%s", type.c_str());
        ImGui::EndTooltip();
    }
    if (stack >= 2) {
        char count[16];
        std::snprintf(count, sizeof(count), "%d", stack);
        ImGui::SetWindowFontScale(0.7f);
        const ImVec2 textSize = ImGui::CalcTextSize(count);
        ImGui::GetWindowDrawList()->AddText(
            ImVec2(corner.x + size.x - textSize.x - 3.0f, corner.y + size.y - textSize.y - 1.0f),
            ImGui::GetColorU32(ImGuiCol_Text), count);
        ImGui::SetWindowFontScale(1.0f);
    }
    ImGui::PopStyleVar(2);
    ImGui::PopID();
}

} // namespace game::graphics::ui
