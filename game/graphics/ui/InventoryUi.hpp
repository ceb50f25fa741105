#pragma once
// game::graphics::ui::InventoryUi: the client's view of one container of items, a grid of slots in its
// own ImGui window with a search box, animated items, stacks, summaries and drag and drop between any open
// inventories. The client doesn't own the content: a module feeds records with UpdateInventory, and every
// move a user makes is applied to `slots` at once and reported through the static callbacks (On...),
// which the module forwards to the server. The next UpdateInventory is the authority; the client never
// rolls a move back.
//
//     auto chest = InventoryUi::Make<InventoryUi>(id, "Chest", 20);   // listed in _inventories
//     InventoryUi::ItemCreatorFunctions["ACME_tools"]["wrench"] = [](const game::Item& r, auto rev) {
//         return std::make_shared<InventoryUi::Item>(r, rev); };
//     chest->UpdateInventory(record);
//     chest->Show();
//     InventoryUi::UpdateUi();                  // each UI frame, inside ImGui's frame
//
// Units. Slot sizes, item positions and GetSlotPos are unscaled UI units, relative to the window's top
// left corner (scroll included); on screen they are multiplied by Game::GetUiScaling().
//
// Gestures (in Draw): drag an item with the left button onto a slot of any open inventory to move it, or
// onto another item to swap (or stack, where both agree and OnStackItems is set); a right click while
// dragging splits one unit off (half the stack with left Shift) onto the slot under the mouse; a release
// outside every open inventory asks OnDropItem; a Shift click asks OnTryQuickTakeItem for a target.
// Left Shift is GLFW key 340 in io.KeysDown: Dear ImGui 1.86 predates the named key (528) for it.
//
// Threads. UpdateInventory runs where the server's data arrives and Draw on the UI thread; both take
// `mutex`, after `_inventoriesMutex` when both are held. Draw takes another inventory's mutex only after
// its own slot loop has let its own go. Callbacks run on the UI thread, some with the target's mutex held:
// they must not wait for another thread that locks the same inventory.

#include "game/graphics/ui/InventoryRecord.hpp"
#include "game/host/UniqueId.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <imgui.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace game::graphics::ui {

// The inventory's font (OpenSans SemiBold at 56 pixels), set by InventoryUi::LoadFonts; null before.
extern ImFont* _defaultUiFont;

class InventoryUi : public std::enable_shared_from_this<InventoryUi> {
public:
    class Item;
    class Tool;

    using ItemCreator = std::function<std::shared_ptr<Item>(const game::Item& record, unsigned long long revision)>;

    InventoryUi(game::UniqueId id, std::string name, uint64_t capacity, bool compact = false, bool hasSearch = false);
    virtual ~InventoryUi();
    InventoryUi(const InventoryUi&) = delete;
    InventoryUi& operator=(const InventoryUi&) = delete;

    // Makes a T (an InventoryUi or a module's subclass) and lists it in `_inventories` by its id.
    template <class T = InventoryUi, class... Args> static std::shared_ptr<T> Make(Args&&... args) {
        std::shared_ptr<T> inventory = std::make_shared<T>(std::forward<Args>(args)...);
        std::lock_guard guard(_inventoriesMutex);
        _inventories[inventory->id] = inventory;
        return inventory;
    }
    // The live inventory with this id, as a T; empty when there is none (or it isn't a T).
    template <class T = InventoryUi> static std::shared_ptr<T> Get(game::UniqueId inventoryId) {
        std::lock_guard guard(_inventoriesMutex);
        auto found = _inventories.find(inventoryId);
        if (found == _inventories.end())
            return {};
        return std::dynamic_pointer_cast<T>(found->second.lock());
    }
    // Under `_inventoriesMutex`, `visit` for every live inventory whose `visible` is set.
    static void ForEachOpenInventory(const std::function<void(std::shared_ptr<InventoryUi>&)>& visit);
    // Each UI frame: draws every live, visible inventory with the inventory font and colours.
    static void UpdateUi();
    // Adds "game/graphics/ui/fonts/OpenSans-SemiBold.ttf" at 56 pixels and keeps it in _defaultUiFont.
    static void LoadFonts();

    virtual void Show();
    // Also drops every item out of the hand, back to its slot.
    virtual void Hide();
    // The pointer in `slots`, empty outside it. Not locked.
    virtual std::shared_ptr<Item> GetItem(unsigned long index) const;
    // The slot whose index a text begins with ("12a" is 12); empty for a text that doesn't begin with a
    // digit. Not locked.
    virtual std::shared_ptr<Item> GetSlot(const std::string& slot) const;
    virtual size_t Count() const; // occupied slots
    virtual bool HasSpace() const;
    // Takes the record as the truth: capacity, then each slot by its index text. An item whose id stays
    // keeps its object (and its place in the user's hand) and takes the new data. An item type nobody
    // registered in ItemCreatorFunctions throws std::out_of_range ("unordered_map::at").
    virtual void UpdateInventory(const game::Inventory& inventory);
    virtual void Draw();
    // An empty slot at `position` (unscaled, window-relative) with its hint `label` at `fontScale`.
    virtual void DrawSlot(ImVec2 position, const std::string& label, float fontScale = 0.7f);
    // Puts the item at `position` (window-relative screen pixels, scroll included) of this inventory: a
    // move or a swap, or with `split` one unit (half the stack with left Shift) onto the slot there. The
    // slot index in decimal, or empty when nothing happened. `item` ends holding what was in the slot.
    virtual std::string MoveOrSwapItem(std::shared_ptr<Item>& item, ImVec2 position, bool split);

    // Puts the item at the first place of this inventory that takes it: onto a stack it joins (when
    // `stack` and OnStackItems agree) or into the first free slot. The slot index in decimal, or empty.
    std::string MoveItem(std::shared_ptr<Item>& item, bool stack);

    void SetCapacity(uint64_t capacity);
    int GetCols() const;
    int GetRows() const;
    ImVec2 GetSlotPos(size_t index) const;
    // Sums of `stack` by "<module>.<type>" over the occupied slots.
    std::map<std::string, int64_t> GetSummary();
    // The same over the items whose property "consumable" reads as true ("1" or "true").
    std::map<std::string, int64_t> GetConsumableStackSummary();
    // Sums of stack * the property's value (strtod; `defaultValue` where an item lacks it).
    std::map<std::string, double> GetPropertySummary(const char* name, double defaultValue);

    game::UniqueId id;
    std::string name;
    uint64_t capacity = 0;
    bool visible = false;
    bool hasSearch = false;
    ImVec2 windowPos{0.0f, 0.0f}; // set before the first Draw, it is where the window first opens
    ImVec2 windowSize{0.0f, 0.0f};
    ImVec2 scroll{0.0f, 0.0f};
    bool resizing = false;
    float slotWidth = 64.0f;
    float slotHeight = 64.0f;
    float slotMargin = 8.0f;
    float slotsTop = 40.0f; // room for the title bar
    bool compact = false;
    ImVec4 windowColor{0.05f, 0.06f, 0.08f, 0.9f};
    std::vector<std::shared_ptr<Item>> slots;
    std::mutex mutex;

    // ---- what modules set
    static std::unordered_map<game::UniqueId, std::weak_ptr<InventoryUi>> _inventories;
    static std::mutex _inventoriesMutex;
    static std::unordered_map<std::string, std::unordered_map<std::string, ItemCreator>> ItemCreatorFunctions;
    static float DefaultSpawnBottomOffset; // 50: units above the viewport's bottom where windows open

    // ---- the moves; an empty callback means the move isn't offered
    static std::function<void(game::UniqueId from, game::UniqueId item, game::UniqueId to, const std::string& slot,
                              bool compact)>
        OnMoveItem;
    static std::function<void(game::UniqueId from, game::UniqueId item, game::UniqueId to, game::UniqueId other)>
        OnSwapItems;
    static std::function<bool(game::UniqueId from, game::UniqueId item, game::UniqueId to, const std::string& slot,
                              int amount)>
        OnSplitItem;
    static std::function<bool(game::UniqueId from, game::UniqueId item, game::UniqueId to, game::UniqueId other,
                              bool compact)>
        OnStackItems;
    static std::function<bool(game::UniqueId inventory, game::UniqueId item)> OnDropItem;
    static std::function<game::UniqueId(game::UniqueId from)> OnTryQuickTakeItem;

    // ---- the gesture in progress, shared by all inventories
    static Item* draggingItem; // the item under a drag (and a right-button split)
    static char searchText[128];

protected:
    // Slot `slot` (index text) from the record: emptied, replaced by a fresh item, or refreshed in place.
    void UpdateItemFromInventory(std::shared_ptr<Item>& slotItem, const game::Inventory& inventory,
                                 const std::string& slot);

private:
    struct Drop;
    // The first slot (index) whose rectangle, widened by half the margin, strictly holds the unscaled
    // point; -1 for none. `mutex` held.
    int HitSlot(ImVec2 point) const;
    // Draws item `index` in its own window and reads its gesture. `mutex` held.
    void DrawItem(size_t index, Drop& drop);
    // The gesture of a frame, carried out after the slot loop has let `mutex` go.
    void CarryOut(Drop& drop);
    // Empties the source entry of a moved item (erasing it when compact). Takes `mutex`.
    void EmptySlotOf(const std::shared_ptr<Item>& item, size_t index);
};

// One thing in a slot. Modules derive from it for their own look (Draw) and stacking rules.
class InventoryUi::Item : public std::enable_shared_from_this<InventoryUi::Item> {
public:
    Item(const game::Item& record, unsigned long long revision);
    // Takes revision, stack and properties of `other`; leaves position, dragging and inventory alone.
    virtual void UpdateItem(Item&& other);
    virtual ~Item();
    // The button of the item, `size` in pixels: its texture when it has one, else its type as a label.
    virtual void Draw(ImVec2 size);
    // Same module, type and properties.
    virtual bool StackableOn(std::shared_ptr<Item>& other) const;
    virtual bool CanStack(std::shared_ptr<Item>& other) const;

    // Makes `inventory` the holder; a move from another live inventory keeps the item where it is on
    // the screen, and a first placement (no old inventory) puts it at (0, 0), "not placed yet".
    void Assign(std::shared_ptr<InventoryUi> inventory);
    std::shared_ptr<InventoryUi> GetInventory() const;
    game::UniqueId GetInventoryId() const;
    // Sets the ImGui cursor to `pos`, places an unplaced item there, and draws it.
    void DrawAtPos(ImVec2 pos, ImVec2 size);
    // Reads the drag of the last ImGui item into `dragging`.
    void MakeItemDraggable();

    game::UniqueId id;
    vesmo::modular::ModuleID module;
    std::string type;
    unsigned long long revision = 0;
    std::weak_ptr<InventoryUi> inventory;
    ImVec2 position{0.0f, 0.0f};
    ImVec2 targetPosition{0.0f, 0.0f};
    int32_t stack = 1;
    bool dragging = false;
    std::unordered_map<std::string, std::string> properties;
    ImTextureID texture = nullptr; // a module's picture of the item; null draws the type as text
};

// What a tool needs on the screen: its radial configuration menu. Tools themselves are modules' classes.
class InventoryUi::Tool {
public:
    virtual ~Tool();
    // Called by Game::InputUpdate_Play each input tick while the tool is active.
    virtual void InputUpdate(double deltaTime);

    // While the tool-configure action is held: a ring of `count` entries in the middle of the screen,
    // chosen by the direction of the look input (mouse or stick). Entry i stands for `first + i`, is drawn
    // by drawEntry(first + i) with the cursor at its place, and owns the sector half a step to each side
    // of its angle i * 2pi / count + (pi / 2) / count, angles from the look's yaw axis towards its pitch
    // axis. Returns whether `*value` changed this frame.
    static bool ConfigureWithRadialMenu(int* value, int first, int count, float size,
                                        std::function<void(int)> drawEntry);
    // The entry whose sector holds `angle` (radians, any turn); the step above.
    static int RadialSector(float angle, int count);
};

} // namespace game::graphics::ui
