#pragma once
// The screen elements drawn outside ImGui: `Element`, and its classes `Box` and `Text` (and `Button`, in
// Button.hpp). Each element is one instanced draw of a tiny pipeline whose whole input is a 128-byte push
// constant block; the renderer draws them in its overlay pass, sorted by `order`, low first.
//
//     auto box = Element::Make<Box>(glm::vec4(0, 0, 0, 0.3f), glm::vec2(0, 0), glm::vec2(0.55f, 0.275f));
//     box->onClick = [](int pressed, int button) { ... };     // called by Click when the point is over it
//
// Coordinates. `position` is the centre in normalised device coordinates, -1 to 1 on both axes, y down
// (Vulkan's). `size` is in units of half the screen height on both axes, so that a square stays square at
// any aspect: in pixels an element is size * h / 2 wide and high on a w x h screen.
//
// The set is flat: every element made with Make sits in one global list of weak pointers,
// `_sharedObjects`, whatever owns it. An element released by all owners stays there as an expired pointer
// and is skipped; Game::Stop sweeps them out.
//
// Threads. Input arrives on the input thread (Click, Hover, Drag, Drop) and drawing happens on the render
// thread. Each element's recursive `mutex` guards its callbacks and position; `_sharedObjectsMutex` is
// shared for a walk of the list, exclusive for Make and Sort.
//
// GPU records (push constants, 128 bytes, read by game/graphics/ui/shaders/box and text):
//   Box   colour vec4 @0, position vec2 @16, size vec2 @24, style uint16 @32
//   Text  colour vec4 @0, position vec2 @16, size float @24, character count uint32 @28, characters @36..127
// A Text draws one glyph quad per character (instanceCount = characters), from the monospace atlas at
// texture index 0; its `size` is the glyph height in units of half the screen height, the glyph width is
// half of that, and the line is centred on `position`.

#include "game/graphics/ui/GraphicsPipelineWrapper.hpp"
#include "vesmo/core/SharedMutex.hpp"

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>
#include <vulkan/vulkan.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vesmo::vk {
class GraphicsPipeline;
}

namespace game::graphics::ui {

class Element {
public:
    static constexpr uint32_t DataSize = 128; // bytes of every push constant block

    Element(int vertexCount, int instanceCount, int order, bool visible);
    virtual ~Element();
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

    // Makes a T, holds it in a shared pointer and lists it in `_sharedObjects`. All elements are made so.
    template <class T, class... Args> static std::shared_ptr<T> Make(Args&&... args) {
        std::shared_ptr<T> element = std::make_shared<T>(std::forward<Args>(args)...);
        std::lock_guard guard(_sharedObjectsMutex);
        _sharedObjects.push_back(element);
        return element;
    }
    // Sorts `_sharedObjects` under the exclusive lock; the comparison gets each weak pointer locked (null
    // for an expired one).
    static void Sort(std::function<bool(std::shared_ptr<Element>&, std::shared_ptr<Element>&)>&& less);
    // The renderer's sort: by `order`, low first, expired pointers first, equal orders kept as made.
    static void SortByOrder();
    // Under the shared lock, Draw on every live element in list order: the overlay pass calls this.
    static void DrawAll(VkCommandBuffer commandBuffer);
    // Under the exclusive lock, drops the expired pointers and keeps the order of the rest.
    static void RemoveExpired();

    virtual vesmo::vk::GraphicsPipeline* GetPipeline() = 0; // null: nothing is drawn
    virtual const void* GetData() = 0;                      // the push constant block, DataSize bytes, or null
    // A visible element with onDrag or onDrop, for mouse button 0 over it.
    virtual bool IsDraggable(const glm::ivec2& position, const glm::ivec2& screen, int button);
    // onHover(false, false), when it exists.
    virtual void Reset();
    // Binds the pipeline with the renderer's descriptor set, pushes the block and draws `vertexCount`
    // vertices `instanceCount` times. Nothing when hidden or without a pipeline; asserts Game::renderer.
    virtual void Draw(VkCommandBuffer commandBuffer);
    virtual void Show();
    virtual void Hide();

    // The pixel `position` on a `screen` of w x h is strictly inside the element's rectangle, whose edges
    // are truncated to whole pixels. The width is scaled by the height too (see the header's units).
    bool IsOver(const glm::ivec2& position, const glm::ivec2& screen) const;
    // For a visible element with onClick, when the point is over it: onClick(a, b) and true.
    bool Click(const glm::ivec2& position, const glm::ivec2& screen, int a, int b);
    // For a visible element: onHover(IsOver, pressed).
    void Hover(const glm::ivec2& position, const glm::ivec2& screen, bool pressed);
    // onHover(true, pressed) without a test, visible or not.
    void Hover(bool pressed);
    void Drag(const glm::ivec2& position, const glm::ivec2& screen);
    void Drop(const glm::ivec2& position, const glm::ivec2& screen);

    std::recursive_mutex mutex;
    std::optional<std::function<void(int, int)>> onClick;
    std::optional<std::function<void(bool, bool)>> onHover; // (over, pressed)
    std::optional<std::function<void(const glm::ivec2&, const glm::ivec2&)>> onDrag;
    std::optional<std::function<void(const glm::ivec2&, const glm::ivec2&)>> onDrop;
    glm::vec2 position{0.0f};
    glm::vec2 size{0.0f};
    uint32_t vertexCount = 4;
    uint32_t instanceCount = 1;
    int32_t order = 0;
    bool visible = true;

    static std::vector<std::weak_ptr<Element>> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;
};

// A filled rectangle. `style` 0 is square; 1 rounds the corners by a quarter of the height.
class Box : public Element {
public:
    struct Data {
        glm::vec4 color{1.0f};
        glm::vec2 position{0.0f};
        glm::vec2 size{0.0f};
        uint16_t style = 0;
        uint8_t unused[DataSize - 34] = {};
    };
    static_assert(sizeof(Data) == DataSize);

    Box(const glm::vec4& color, const glm::vec2& position, const glm::vec2& size, unsigned short style = 0);

    vesmo::vk::GraphicsPipeline* GetPipeline() override;
    const void* GetData() override { return &data; }

    virtual void SetColor(const glm::vec4& color);
    virtual void SetPosition(const glm::vec2& position);
    virtual void SetSize(const glm::vec2& size);

    Data data;

    static GraphicsPipelineWrapper _shader; // "game/graphics/ui/shaders/box", triangle strip
};

// One line of ASCII text, at most MaxCharacters bytes.
class Text : public Element {
public:
    static constexpr uint32_t MaxCharacters = 92;
    struct Data {
        glm::vec4 color{1.0f};
        glm::vec2 position{0.0f};
        float size = 0.0f;
        uint32_t count = 0;
        uint32_t unused = 0;
        char text[MaxCharacters] = {};
    };
    static_assert(sizeof(Data) == DataSize);

    Text(const glm::vec4& color, const glm::vec2& position, float size, const char* text);

    vesmo::vk::GraphicsPipeline* GetPipeline() override;
    const void* GetData() override { return &data; }

    // Keeps the first MaxCharacters bytes; the count goes to the block and to `instanceCount`.
    virtual void SetText(const char* text);
    virtual std::string GetText() const;
    virtual void SetColor(const glm::vec4& color);
    virtual void SetPosition(const glm::vec2& position);
    virtual void SetSize(float size);

    Data data;

    static GraphicsPipelineWrapper _shader; // "game/graphics/ui/shaders/text", triangle strip
};

} // namespace game::graphics::ui
