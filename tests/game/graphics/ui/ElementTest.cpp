// The screen elements without a device: hit tests, press and release, the GPU records, the list, and the
// main menu's layout.
#include "game/graphics/ui/Element.hpp"
#include "game/graphics/ui/Button.hpp"
#include "game/graphics/ui/MainMenu.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

using game::graphics::ui::Box;
using game::graphics::ui::Button;
using game::graphics::ui::Element;
using game::graphics::ui::Text;

const glm::ivec2 Screen(1280, 720);

// A 0.5 x 0.1 element in the middle of 1280 x 720 spans x 550..730 and y 342..378 in pixels (the width
// scales by the height: 0.25 * 0.5 * 720 = 90 to each side); the test is strict at those edges.
TEST(Element, HitTestIsStrictAtItsPixelBorder) {
    auto box = Element::Make<Box>(glm::vec4(1.0f), glm::vec2(0.0f, 0.0f), glm::vec2(0.5f, 0.1f));
    const struct {
        glm::ivec2 point;
        bool over;
    } cases[] = {{{640, 360}, true},  {{551, 360}, true}, {{550, 360}, false}, {{729, 360}, true},
                 {{730, 360}, false}, {{640, 343}, true}, {{640, 342}, false}, {{640, 377}, true},
                 {{640, 378}, false}, {{549, 341}, false}};
    for (const auto& c : cases)
        EXPECT_EQ(box->IsOver(c.point, Screen), c.over) << c.point.x << ", " << c.point.y;
}

TEST(Button, ActsOnReleaseOverItAfterAPress) {
    auto button = Element::Make<Button>(glm::vec2(0.0f, 0.0f), glm::vec2(0.5f, 0.1f), "GO");
    int actions = 0;
    button->action = [&] { ++actions; };
    const glm::ivec2 inside(640, 360), outside(640, 500);

    // Pressed over it, released outside: the release never reaches the button.
    EXPECT_TRUE(button->Click(inside, Screen, 1, 0));
    EXPECT_TRUE(button->pressed);
    EXPECT_EQ(button->data.color, button->backgroundPressed);
    EXPECT_FALSE(button->Click(outside, Screen, 0, 0));
    EXPECT_EQ(actions, 0);

    // Another button than the left one is ignored; a press and a release over it act once.
    button->Reset();
    EXPECT_FALSE(button->pressed);
    button->Click(inside, Screen, 1, 1);
    button->Click(inside, Screen, 0, 1);
    EXPECT_EQ(actions, 0);
    button->Click(inside, Screen, 1, 0);
    button->Click(inside, Screen, 0, 0);
    EXPECT_EQ(actions, 1);

    // A release without a press, and anything while hidden, does nothing.
    button->Reset();
    button->Click(inside, Screen, 0, 0);
    button->Hide();
    EXPECT_FALSE(button->label->visible);
    EXPECT_FALSE(button->Click(inside, Screen, 1, 0));
    EXPECT_EQ(actions, 1);

    // Hover colours the label.
    button->Show();
    button->Hover(inside, Screen, false);
    EXPECT_EQ(button->label->data.color, button->textHover);
    button->Hover(outside, Screen, false);
    EXPECT_EQ(button->label->data.color, button->textNormal);
    button->Hover(inside, Screen, true);
    EXPECT_EQ(button->label->data.color, button->textPressed);
}

TEST(Element, RecordsHaveTheirLayoutAndTextKeeps92Bytes) {
    EXPECT_EQ(offsetof(Box::Data, position), 16u);
    EXPECT_EQ(offsetof(Box::Data, size), 24u);
    EXPECT_EQ(offsetof(Box::Data, style), 32u);
    EXPECT_EQ(std::tuple(offsetof(Text::Data, size), offsetof(Text::Data, count), offsetof(Text::Data, text)),
              std::tuple(24u, 28u, 36u));

    const std::string hundred(100, 'x');
    auto text = Element::Make<Text>(glm::vec4(1.0f), glm::vec2(0.0f), 0.05f, hundred.c_str());
    EXPECT_EQ(text->GetText(), std::string(92, 'x'));
    EXPECT_EQ(std::tuple(text->data.count, text->instanceCount, text->vertexCount), std::tuple(92u, 92u, 4u));
    text->SetText("PLAY");
    EXPECT_EQ(text->instanceCount, 4u);
    EXPECT_EQ(std::string(text->data.text), "PLAY");
}

TEST(Element, ListSortsByOrderAndSkipsReleasedElements) {
    Element::RemoveExpired();
    const size_t before = Element::_sharedObjects.size();
    auto high = Element::Make<Box>(glm::vec4(1.0f), glm::vec2(0.0f), glm::vec2(0.1f));
    high->order = 5;
    auto low = Element::Make<Box>(glm::vec4(1.0f), glm::vec2(0.0f), glm::vec2(0.1f));
    low->order = -5;
    Element::Make<Box>(glm::vec4(1.0f), glm::vec2(0.0f), glm::vec2(0.1f)); // released at once
    EXPECT_EQ(Element::_sharedObjects.size(), before + 3);

    Element::SortByOrder();
    int lastOrder = -1000;
    size_t expired = 0;
    for (const auto& weak : Element::_sharedObjects) {
        auto element = weak.lock();
        if (!element) {
            EXPECT_EQ(lastOrder, -1000) << "expired pointers sort first";
            ++expired;
            continue;
        }
        EXPECT_LE(lastOrder, element->order);
        lastOrder = element->order;
    }
    EXPECT_EQ(expired, 1u);
    Element::RemoveExpired();
    EXPECT_EQ(Element::_sharedObjects.size(), before + 2);
}

TEST(MainMenu, PanelAndButtonsStandWhereTheMenuPutsThem) {
    game::MainMenu menu;
    menu.Init();
    EXPECT_EQ(menu.background->data.color, glm::vec4(0.0f, 0.0f, 0.0f, 0.3f));
    EXPECT_EQ(menu.background->size, glm::vec2(0.55f, 0.275f));
    EXPECT_EQ(std::tuple(menu.play->label->GetText(), menu.quit->label->GetText()), std::tuple("PLAY", "QUIT"));
    EXPECT_EQ(std::tuple(menu.play->order, menu.play->label->order), std::tuple(10, 11));
    EXPECT_FLOAT_EQ(menu.play->label->data.size, 0.05f);
    // The buttons don't overlap: 0.12 between centres, 0.1 high each (in device units too: the height unit
    // is half the screen, which spans 1 of the 2 device units).
    EXPECT_FLOAT_EQ(menu.quit->position.y - menu.play->position.y, 0.12f);
    for (int y = 0; y < 720; ++y)
        EXPECT_FALSE(menu.play->IsOver({640, y}, Screen) && menu.quit->IsOver({640, y}, Screen));

    menu.play->Click({640, 338}, Screen, 1, 0); // held when the menu goes
    menu.Hide();
    EXPECT_FALSE(menu.play->pressed);
    EXPECT_FALSE(menu.background->visible);
    EXPECT_FALSE(menu.quit->label->visible);
    menu.Show();
    EXPECT_TRUE(menu.play->label->visible);
}

} // namespace
