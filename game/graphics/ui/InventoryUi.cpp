#include "game/graphics/ui/InventoryUi.hpp"

#include "game/Game.hpp"
#include "game/graphics/ui/MultiFont.hpp"

#include <cmath>
#include <cstdlib>

namespace game::graphics::ui {

ImFont* _defaultUiFont = nullptr;

std::unordered_map<game::UniqueId, std::weak_ptr<InventoryUi>> InventoryUi::_inventories;
std::mutex InventoryUi::_inventoriesMutex;
std::unordered_map<std::string, std::unordered_map<std::string, InventoryUi::ItemCreator>>
    InventoryUi::ItemCreatorFunctions;
float InventoryUi::DefaultSpawnBottomOffset = 50.0f;

decltype(InventoryUi::OnMoveItem) InventoryUi::OnMoveItem;
decltype(InventoryUi::OnSwapItems) InventoryUi::OnSwapItems;
decltype(InventoryUi::OnSplitItem) InventoryUi::OnSplitItem;
decltype(InventoryUi::OnStackItems) InventoryUi::OnStackItems;
decltype(InventoryUi::OnDropItem) InventoryUi::OnDropItem;
decltype(InventoryUi::OnTryQuickTakeItem) InventoryUi::OnTryQuickTakeItem;

InventoryUi::Item* InventoryUi::draggingItem = nullptr;
char InventoryUi::searchText[128] = {};

InventoryUi::InventoryUi(game::UniqueId id, std::string name, uint64_t capacity, bool compact, bool hasSearch)
    : id(id), name(std::move(name)), hasSearch(hasSearch), compact(compact) {
    SetCapacity(capacity);
}

InventoryUi::~InventoryUi() = default;

void InventoryUi::ForEachOpenInventory(const std::function<void(std::shared_ptr<InventoryUi>&)>& visit) {
    std::lock_guard guard(_inventoriesMutex);
    for (auto& [inventoryId, weak] : _inventories)
        if (std::shared_ptr<InventoryUi> inventory = weak.lock(); inventory && inventory->visible)
            visit(inventory);
}

void InventoryUi::UpdateUi() {
    if (_defaultUiFont)
        ImGui::PushFont(_defaultUiFont);
    ImGui::PushStyleColor(ImGuiCol_Button, ImVec4(0.15f, 0.17f, 0.2f, 1.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, ImVec4(0.25f, 0.3f, 0.36f, 1.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, ImVec4(0.1f, 0.3f, 0.5f, 1.0f));
    {
        // The walk copies the live ones out: Draw locks other inventories (through Get) on a drop. The list
        // is kept between frames (UI thread only) so that a frame allocates nothing.
        static std::vector<std::shared_ptr<InventoryUi>> open;
        {
            std::lock_guard guard(_inventoriesMutex);
            for (auto& [inventoryId, weak] : _inventories)
                if (std::shared_ptr<InventoryUi> inventory = weak.lock(); inventory && inventory->visible)
                    open.push_back(std::move(inventory));
        }
        for (std::shared_ptr<InventoryUi>& inventory : open) {
            // Colours 2, 10 and 11: window background, title background and its active form.
            ImGui::PushStyleColor(ImGuiCol_WindowBg, inventory->windowColor);
            ImGui::PushStyleColor(ImGuiCol_TitleBg, inventory->windowColor);
            ImGui::PushStyleColor(ImGuiCol_TitleBgActive, inventory->windowColor);
            inventory->Draw();
            ImGui::PopStyleColor(3);
        }
        open.clear();
    }
    ImGui::PopStyleColor(3);
    if (_defaultUiFont)
        ImGui::PopFont();
}

void InventoryUi::LoadFonts() {
    if (ImFont* font = game::AddFontFile("game/graphics/ui/fonts/OpenSans-SemiBold.ttf", 56.0f))
        _defaultUiFont = font;
}

void InventoryUi::Show() { visible = true; }

void InventoryUi::Hide() {
    visible = false;
    std::lock_guard guard(mutex);
    for (std::shared_ptr<Item>& item : slots) {
        if (!item)
            continue;
        item->dragging = false;
        item->position = item->targetPosition;
        if (draggingItem == item.get())
            draggingItem = nullptr;
    }
}

std::shared_ptr<InventoryUi::Item> InventoryUi::GetItem(unsigned long index) const {
    return index < slots.size() ? slots[index] : nullptr;
}

std::shared_ptr<InventoryUi::Item> InventoryUi::GetSlot(const std::string& slot) const {
    if (slot.empty() || slot[0] < '0' || slot[0] > '9')
        return nullptr;
    return GetItem(static_cast<unsigned long>(std::strtol(slot.c_str(), nullptr, 10)));
}

size_t InventoryUi::Count() const {
    size_t count = 0;
    for (const std::shared_ptr<Item>& item : slots)
        count += item ? 1 : 0;
    return count;
}

bool InventoryUi::HasSpace() const { return Count() < capacity; }

void InventoryUi::SetCapacity(uint64_t capacity_) {
    std::lock_guard guard(mutex);
    capacity = capacity_;
    slots.reserve(capacity_);
}

void InventoryUi::UpdateInventory(const game::Inventory& inventory) {
    std::lock_guard inventoriesGuard(_inventoriesMutex);
    std::lock_guard guard(mutex);
    capacity = inventory.capacity;
    slots.reserve(capacity);
    slots.resize(capacity);
    for (size_t i = 0; i < slots.size(); ++i)
        UpdateItemFromInventory(slots[i], inventory, std::to_string(i));
}

void InventoryUi::UpdateItemFromInventory(std::shared_ptr<Item>& slotItem, const game::Inventory& inventory,
                                          const std::string& slot) {
    auto record = inventory.items.find(slot);
    if (record == inventory.items.end()) {
        slotItem.reset();
        return;
    }
    const game::Item& data = record->second;
    const unsigned long long revision = slotItem ? slotItem->revision + 1 : 0;
    std::shared_ptr<Item> fresh = ItemCreatorFunctions.at(data.module.String()).at(data.type)(data, revision);
    if (!slotItem || !(slotItem->id == fresh->id)) {
        slotItem = std::move(fresh);
        slotItem->Assign(shared_from_this());
    } else {
        slotItem->UpdateItem(std::move(*fresh));
    }
}

int InventoryUi::GetCols() const {
    const float scale = Game::GetUiScaling();
    const float padding = ImGui::GetCurrentContext() ? ImGui::GetStyle().WindowPadding.x : 0.0f;
    return static_cast<int>(std::floor(((windowSize.x - 2.0f * padding) / scale) / (slotWidth + slotMargin)));
}

int InventoryUi::GetRows() const {
    const int cols = GetCols();
    return cols > 0 ? static_cast<int>(std::ceil(static_cast<double>(capacity) / cols)) : 0;
}

ImVec2 InventoryUi::GetSlotPos(size_t index) const {
    const float scale = Game::GetUiScaling();
    const float paddingY = ImGui::GetCurrentContext() ? ImGui::GetStyle().WindowPadding.y : 0.0f;
    const int cols = GetCols();
    if (cols <= 0) // a window narrower than one slot has no slot positions
        return ImVec2(0.0f, 0.0f);
    const size_t column = index % static_cast<size_t>(cols), row = index / static_cast<size_t>(cols);
    const float x = static_cast<float>(column) * (slotWidth + slotMargin) +
                    (windowSize.x / scale - (slotWidth + slotMargin) * static_cast<float>(cols)) * 0.5f;
    const float y =
        static_cast<float>(row) * (slotHeight + slotMargin) + slotsTop + (hasSearch ? 20.0f : 0.0f) + paddingY / scale;
    return ImVec2(x, y);
}

namespace {

std::string SummaryKey(const InventoryUi::Item& item) { return item.module.String() + "." + item.type; }

bool IsConsumable(const InventoryUi::Item& item) {
    auto found = item.properties.find("consumable");
    return found != item.properties.end() && (found->second == "1" || found->second == "true");
}

} // namespace

std::map<std::string, int64_t> InventoryUi::GetSummary() {
    std::lock_guard guard(mutex);
    std::map<std::string, int64_t> summary;
    for (const std::shared_ptr<Item>& item : slots)
        if (item)
            summary[SummaryKey(*item)] += item->stack;
    return summary;
}

std::map<std::string, int64_t> InventoryUi::GetConsumableStackSummary() {
    std::lock_guard guard(mutex);
    std::map<std::string, int64_t> summary;
    for (const std::shared_ptr<Item>& item : slots)
        if (item && IsConsumable(*item))
            summary[SummaryKey(*item)] += item->stack;
    return summary;
}

std::map<std::string, double> InventoryUi::GetPropertySummary(const char* propertyName, double defaultValue) {
    std::lock_guard guard(mutex);
    std::map<std::string, double> summary;
    for (const std::shared_ptr<Item>& item : slots) {
        if (!item)
            continue;
        auto found = item->properties.find(propertyName);
        const double value =
            found != item->properties.end() ? std::strtod(found->second.c_str(), nullptr) : defaultValue;
        summary[SummaryKey(*item)] += item->stack * value;
    }
    return summary;
}

// ---- Tool

InventoryUi::Tool::~Tool() = default;
void InventoryUi::Tool::InputUpdate(double) {}

} // namespace game::graphics::ui
