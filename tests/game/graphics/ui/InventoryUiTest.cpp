// The inventory as a user meets it: gestures through a headless ImGui (mouse and keys, one frame at a
// time), and the records and moves a module drives.
#include "game/graphics/ui/InventoryUi.hpp"

#include "game/input/Controller.hpp"

#include "support/ImGuiHarness.hpp"

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <string>
#include <vector>

namespace {

using game::UniqueId;
using game::graphics::ui::InventoryUi;
using Item = InventoryUi::Item;

const vesmo::modular::ModuleID Tools("ACME_tools");

game::Item Record(uint64_t n, const char* type, int stack) {
    return game::Item{UniqueId(0x49544D0000000000ull, n), Tools, type, stack, {}};
}

// What the move callbacks reported, one line each.
std::vector<std::string> reports;
std::string Short(UniqueId id) { return std::to_string(id.Second()); }

class InventoryUiTest : public ::testing::Test {
protected:
    // The harness's own canvas window is kept out of the way in a corner.
    InventoryUiTest() : ui(ImVec2(1240.0f, 760.0f), ImVec2(40.0f, 40.0f)) {}

    void SetUp() override {
        reports.clear();
        InventoryUi::ItemCreatorFunctions[Tools.String()]["bolt"] = [](const game::Item& r, unsigned long long rev) {
            return std::make_shared<Item>(r, rev);
        };
        InventoryUi::ItemCreatorFunctions[Tools.String()]["wrench"] =
            InventoryUi::ItemCreatorFunctions[Tools.String()]["bolt"];
        InventoryUi::OnMoveItem = [](UniqueId from, UniqueId item, UniqueId to, const std::string& slot, bool) {
            reports.push_back("move " + Short(from) + " " + Short(item) + " " + Short(to) + " " + slot);
        };
        InventoryUi::OnSplitItem = [](UniqueId from, UniqueId item, UniqueId to, const std::string& slot, int amount) {
            reports.push_back("split " + Short(from) + " " + Short(item) + " " + Short(to) + " " + slot + " " +
                              std::to_string(amount));
            return true;
        };
        InventoryUi::OnSwapItems = [](UniqueId from, UniqueId item, UniqueId to, UniqueId other) {
            reports.push_back("swap " + Short(from) + " " + Short(item) + " " + Short(to) + " " + Short(other));
        };
        InventoryUi::searchText[0] = '\0';
        a = Open(1, "A", ImVec2(40.0f, 40.0f));
        b = Open(2, "B", ImVec2(600.0f, 40.0f));
        game::Inventory record{6, {{"0", Record(100, "bolt", 6)}, {"1", Record(101, "wrench", 1)}}};
        a->UpdateInventory(record);
        ui.SetBody([] { InventoryUi::UpdateUi(); });
        ui.Step(2);
    }
    void TearDown() override {
        InventoryUi::OnMoveItem = nullptr;
        InventoryUi::OnSplitItem = nullptr;
        InventoryUi::OnSwapItems = nullptr;
        InventoryUi::draggingItem = nullptr;
        ui.Key(test::key::LeftShift, false);
        ImGui::GetIO().KeyShift = false;
    }

    std::shared_ptr<InventoryUi> Open(uint64_t n, const char* name, ImVec2 pos, bool search = false) {
        auto inventory = InventoryUi::Make<InventoryUi>(UniqueId(0x494E560000000000ull, n), name, 6, false, search);
        inventory->windowPos = pos;
        inventory->windowSize = ImVec2(400.0f, 300.0f);
        inventory->Show();
        return inventory;
    }
    // The centre of slot i on the screen. The harness's UI scale is 1.
    static ImVec2 SlotCentre(const InventoryUi& inventory, size_t i) {
        const ImVec2 slot = inventory.GetSlotPos(i);
        return ImVec2(inventory.windowPos.x + slot.x + inventory.slotWidth * 0.5f,
                      inventory.windowPos.y + slot.y + inventory.slotHeight * 0.5f);
    }
    void Shift(bool down) {
        ui.Key(test::key::LeftShift, down);
        ImGui::GetIO().KeyShift = down;
    }

    test::ImGuiHarness ui;
    std::shared_ptr<InventoryUi> a, b;
};

TEST_F(InventoryUiTest, DragMovesAnItemToAnotherInventoryAndSwapsWithinOne) {
    std::shared_ptr<Item> bolt = a->slots[0];
    ui.Drag(SlotCentre(*a, 0), SlotCentre(*b, 2));
    EXPECT_FALSE(a->slots[0]);
    ASSERT_GE(b->slots.size(), 3u);
    EXPECT_EQ(b->slots[2], bolt);
    EXPECT_EQ(bolt->GetInventory(), b);
    EXPECT_FALSE(bolt->dragging);
    EXPECT_EQ(InventoryUi::draggingItem, nullptr);
    EXPECT_EQ(reports, std::vector<std::string>{"move 1 100 2 2"});

    // Dropped on the wrench in A, the bolt trades places with it.
    std::shared_ptr<Item> wrench = a->slots[1];
    reports.clear();
    ui.Step(20); // the bolt settles into its slot
    ui.Drag(SlotCentre(*b, 2), SlotCentre(*a, 1));
    EXPECT_EQ(a->slots[1], bolt);
    EXPECT_EQ(b->slots[2], wrench);
    EXPECT_EQ(reports, std::vector<std::string>{"swap 2 100 1 101"});

    // Released on its own slot: nothing happens, nothing is reported.
    reports.clear();
    ui.Step(20);
    ui.Drag(SlotCentre(*a, 1), ImVec2(SlotCentre(*a, 1).x + 20.0f, SlotCentre(*a, 1).y + 20.0f));
    EXPECT_EQ(a->slots[1], bolt);
    EXPECT_TRUE(reports.empty());
}

TEST_F(InventoryUiTest, RightClickWhileDraggingSplitsHalfTheStackWithShift) {
    std::shared_ptr<Item> bolt = a->slots[0];
    const ImVec2 from = SlotCentre(*a, 0), to = SlotCentre(*b, 3);
    ui.MoveTo(from);
    ui.Press(0);
    ui.DragTo(from, to);
    Shift(true);
    ui.Press(1); // the split gesture
    ui.Release(1);
    Shift(false);
    EXPECT_EQ(bolt->stack, 3);
    EXPECT_EQ(reports, std::vector<std::string>{"split 1 100 2 3 3"});
    EXPECT_TRUE(bolt->dragging) << "the rest stays in the hand";
    // Back home with the rest: its own slot, so nothing more.
    ui.DragTo(to, from);
    ui.Release(0);
    EXPECT_EQ(a->slots[0], bolt);
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(InventoryUiTest, SplitAmountsAndPlacesFromAPoint) {
    // Amount: 1, or half the stack with left Shift (which makes 1 of 3 and of 2). A split into an empty slot
    // takes the amount off and gives it to nobody: the module's update makes the new item.
    const struct {
        int stack;
        bool shift;
        int left;
    } cases[] = {{6, false, 5}, {6, true, 3}, {3, true, 2}, {2, true, 1}};
    for (const auto& c : cases) {
        std::shared_ptr<Item> item = std::make_shared<Item>(Record(7, "bolt", c.stack), 0);
        item->Assign(a);
        ui.Key(test::key::LeftShift, c.shift);
        const ImVec2 slot4 = a->GetSlotPos(4);
        EXPECT_EQ(a->MoveOrSwapItem(item, ImVec2(slot4.x + 10.0f, slot4.y + 10.0f), true), "4");
        EXPECT_EQ(item->stack, c.left) << c.stack << (c.shift ? " with Shift" : "");
        EXPECT_FALSE(a->GetItem(4));
    }
    ui.Key(test::key::LeftShift, false);

    // Half a margin around a slot still counts for it, strictly.
    std::shared_ptr<Item> loose = std::make_shared<Item>(Record(8, "bolt", 1), 0);
    loose->Assign(a);
    const ImVec2 slot2 = a->GetSlotPos(2), slot3 = a->GetSlotPos(3);
    ASSERT_EQ(slot3.x - slot2.x, a->slotWidth + a->slotMargin);
    EXPECT_EQ(a->MoveOrSwapItem(loose, ImVec2(slot2.x - 3.9f, slot2.y + 1.0f), false), "2");
    EXPECT_FALSE(loose);
    loose = a->slots[2];
    EXPECT_EQ(a->MoveOrSwapItem(loose, ImVec2(slot2.x + 10.0f, slot2.y + 10.0f), false), "") << "its own slot";
    EXPECT_EQ(a->MoveOrSwapItem(loose, ImVec2(slot3.x - 4.0f, slot3.y + 1.0f), false), "") << "between two margins";
    EXPECT_EQ(a->MoveOrSwapItem(loose, ImVec2(5000.0f, 5.0f), false), "") << "outside every slot";

    // MoveItem into a full inventory finds no place.
    for (uint64_t n = 10; a->HasSpace(); ++n) {
        std::shared_ptr<Item> filler = std::make_shared<Item>(Record(n, "wrench", 1), 0);
        filler->Assign(b);
        EXPECT_NE(a->MoveItem(filler, false), "");
    }
    std::shared_ptr<Item> extra = std::make_shared<Item>(Record(99, "wrench", 1), 0);
    extra->Assign(b);
    EXPECT_EQ(a->MoveItem(extra, false), "");
}

TEST_F(InventoryUiTest, SearchHidesWhatDoesNotMatch) {
    auto chest = Open(3, "Chest", ImVec2(40.0f, 400.0f), true);
    InventoryUi::ItemCreatorFunctions[Tools.String()]["Bolt"] =
        InventoryUi::ItemCreatorFunctions[Tools.String()]["bolt"];
    chest->UpdateInventory({6, {{"0", Record(200, "Bolt", 4)}, {"2", Record(201, "wrench", 1)}}});
    ui.Step(2);
    auto drawn = [](const char* window) { return ImGui::FindWindowByName(window)->DrawList->VtxBuffer.Size > 0; };
    EXPECT_TRUE(drawn("Chest_inventory_item_0"));
    EXPECT_TRUE(drawn("Chest_inventory_item_2"));

    // The search line: the first widget line under the title bar, its box after the " Search: " label.
    const float titleBar = ImGui::GetFontSize() + ImGui::GetStyle().FramePadding.y * 2.0f;
    const ImVec2 box(chest->windowPos.x + 100.0f,
                     chest->windowPos.y + titleBar + ImGui::GetStyle().WindowPadding.y + 3.0f);
    ui.Click(box);
    ui.Type("BOL");
    ui.Step();
    EXPECT_STREQ(InventoryUi::searchText, "BOL");
    EXPECT_TRUE(drawn("Chest_inventory_item_0")) << "compared in lower case";
    EXPECT_FALSE(drawn("Chest_inventory_item_2"));
    // The search is one text for every inventory.
    EXPECT_FALSE(drawn("A_inventory_item_1"));
}

TEST_F(InventoryUiTest, RecordsRefreshInPlaceAndSum) {
    std::shared_ptr<Item> bolt = a->slots[0];
    bolt->dragging = true; // in the user's hand
    a->UpdateInventory({6, {{"0", Record(100, "bolt", 9)}, {"3", Record(102, "bolt", 2)}}});
    EXPECT_EQ(a->slots[0], bolt);
    EXPECT_EQ(bolt->stack, 9);
    EXPECT_TRUE(bolt->dragging);
    EXPECT_FALSE(a->GetItem(1)) << "the wrench is gone";
    EXPECT_EQ(a->GetSlot("3a"), a->slots[3]);
    EXPECT_FALSE(a->GetSlot("x3"));
    EXPECT_EQ(a->Count(), 2u);
    EXPECT_EQ(a->GetSummary(), (std::map<std::string, int64_t>{{"ACME_tools.bolt", 11}}));
    a->slots[3]->properties["mass"] = "0.5";
    EXPECT_EQ(a->GetPropertySummary("mass", 2.0), (std::map<std::string, double>{{"ACME_tools.bolt", 19.0}}));
    EXPECT_THROW(a->UpdateInventory({6, {{"0", Record(5, "unknown", 1)}}}), std::out_of_range);
}

// The radial menu from the look input (the mouse): 4 entries from 10, each owning a quarter turn around
// its angle (i + 1/4) * pi / 2, the first from -pi / 8 to 3 pi / 8.
TEST_F(InventoryUiTest, RadialMenuPicksTheSectorTheMouseMovesTo) {
    using game::input::Controller;
    const struct {
        double yaw, pitch;
        int value;
    } cases[] = {{1.0, 0.0, 10}, {0.0, 1.0, 11}, {-1.0, 0.0, 12}, {0.0, -1.0, 13}, {1.0, -1.0, 13}, {-1.0, 1.0, 11}};
    for (const auto& c : cases) {
        int value = -1;
        int drawn = 0;
        Controller::previousState.AvatarToolConfigure = false; // a fresh press
        Controller::state.AvatarToolConfigure = true;
        Controller::state.AvatarYaw = c.yaw;
        Controller::state.AvatarPitch = c.pitch;
        ImGui::NewFrame();
        ImGui::SetWindowFocus(nullptr); // the menu stays away while a window has focus
        const bool changed = InventoryUi::Tool::ConfigureWithRadialMenu(&value, 10, 4, 32.0f, [&](int) { ++drawn; });
        ImGui::Render();
        EXPECT_TRUE(changed);
        EXPECT_EQ(value, c.value) << "yaw " << c.yaw << ", pitch " << c.pitch;
        EXPECT_EQ(drawn, 4);
    }
    // Not held: nothing.
    Controller::state = Controller::State();
    Controller::previousState = Controller::State();
    int value = 3;
    ImGui::NewFrame();
    ImGui::SetWindowFocus(nullptr);
    EXPECT_FALSE(InventoryUi::Tool::ConfigureWithRadialMenu(&value, 10, 4, 32.0f, [](int) {}));
    ImGui::Render();
    EXPECT_EQ(value, 3);
}

} // namespace
