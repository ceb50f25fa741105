#include "game/graphics/ui/Element.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include "vesmo/vk/GraphicsPipeline.hpp"

#include <algorithm>
#include <cstring>
#include <shared_mutex>

namespace game::graphics::ui {

std::vector<std::weak_ptr<Element>> Element::_sharedObjects;
vesmo::SharedMutex Element::_sharedObjectsMutex;

GraphicsPipelineWrapper Box::_shader("game/graphics/ui/shaders/box", VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP);
GraphicsPipelineWrapper Text::_shader("game/graphics/ui/shaders/text", VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP);

Element::Element(int vertexCount, int instanceCount, int order, bool visible)
    : vertexCount(static_cast<uint32_t>(vertexCount)), instanceCount(static_cast<uint32_t>(instanceCount)),
      order(order), visible(visible) {}

Element::~Element() = default;

void Element::Sort(std::function<bool(std::shared_ptr<Element>&, std::shared_ptr<Element>&)>&& less) {
    std::lock_guard guard(_sharedObjectsMutex);
    // An insertion sort: stable, in place (no buffer to allocate), and one pass over a list that was sorted
    // the frame before, which is the renderer's case.
    for (size_t i = 1; i < _sharedObjects.size(); ++i) {
        std::shared_ptr<Element> moving = _sharedObjects[i].lock();
        size_t j = i;
        for (; j > 0; --j) {
            std::shared_ptr<Element> before = _sharedObjects[j - 1].lock();
            if (!less(moving, before))
                break;
        }
        if (j == i)
            continue;
        std::weak_ptr<Element> held = std::move(_sharedObjects[i]);
        std::move_backward(_sharedObjects.begin() + static_cast<std::ptrdiff_t>(j),
                           _sharedObjects.begin() + static_cast<std::ptrdiff_t>(i),
                           _sharedObjects.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        _sharedObjects[j] = std::move(held);
    }
}

void Element::SortByOrder() {
    Sort([](std::shared_ptr<Element>& a, std::shared_ptr<Element>& b) {
        if (!a || !b)
            return !a && b;
        return a->order < b->order;
    });
}

void Element::DrawAll(VkCommandBuffer commandBuffer) {
    std::shared_lock guard(_sharedObjectsMutex);
    for (const std::weak_ptr<Element>& weak : _sharedObjects)
        if (std::shared_ptr<Element> element = weak.lock())
            element->Draw(commandBuffer);
}

void Element::RemoveExpired() {
    std::lock_guard guard(_sharedObjectsMutex);
    std::erase_if(_sharedObjects, [](const std::weak_ptr<Element>& weak) { return weak.expired(); });
}

bool Element::IsDraggable(const glm::ivec2& point, const glm::ivec2& screen, int button) {
    if (!visible)
        return false;
    std::lock_guard guard(mutex);
    if (!onDrag && !onDrop)
        return false;
    if (button != 0)
        return false;
    return IsOver(point, screen);
}

void Element::Reset() {
    std::lock_guard guard(mutex);
    if (onHover)
        (*onHover)(false, false);
}

void Element::Draw(VkCommandBuffer commandBuffer) {
    if (!visible)
        return;
    GAME_ASSERT(Game::renderer);
    vesmo::vk::GraphicsPipeline* pipeline = GetPipeline();
    if (!pipeline)
        return;
    pipeline->Bind(commandBuffer, Game::renderer->GetDescriptorSet());
    if (const void* data = GetData())
        Game::renderer->overlayPipelineLayout.Push(commandBuffer, data, DataSize, 0);
    pipeline->Draw(commandBuffer, vertexCount, instanceCount);
}

void Element::Show() { visible = true; }
void Element::Hide() { visible = false; }

bool Element::IsOver(const glm::ivec2& point, const glm::ivec2& screen) const {
    const float w = static_cast<float>(screen.x);
    const float h = static_cast<float>(screen.y);
    const float centerX = (1.0f + position.x) * 0.5f * w;
    const float centerY = (1.0f + position.y) * 0.5f * h;
    const float halfWidth = 0.25f * size.x * h;
    const float halfHeight = 0.25f * size.y * h;
    const int left = static_cast<int>(centerX - halfWidth);
    const int right = static_cast<int>(centerX + halfWidth);
    const int top = static_cast<int>(centerY - halfHeight);
    const int bottom = static_cast<int>(centerY + halfHeight);
    return point.x > left && point.x < right && point.y > top && point.y < bottom;
}

bool Element::Click(const glm::ivec2& point, const glm::ivec2& screen, int a, int b) {
    if (!visible)
        return false;
    std::lock_guard guard(mutex);
    if (onClick && IsOver(point, screen)) {
        (*onClick)(a, b);
        return true;
    }
    return false;
}

void Element::Hover(const glm::ivec2& point, const glm::ivec2& screen, bool pressed) {
    if (!visible)
        return;
    std::lock_guard guard(mutex);
    if (onHover)
        (*onHover)(IsOver(point, screen), pressed);
}

void Element::Hover(bool pressed) {
    std::lock_guard guard(mutex);
    if (onHover)
        (*onHover)(true, pressed);
}

void Element::Drag(const glm::ivec2& point, const glm::ivec2& screen) {
    std::lock_guard guard(mutex);
    if (onDrag)
        (*onDrag)(point, screen);
}

void Element::Drop(const glm::ivec2& point, const glm::ivec2& screen) {
    std::lock_guard guard(mutex);
    if (onDrop)
        (*onDrop)(point, screen);
}

// ---- Box

Box::Box(const glm::vec4& color, const glm::vec2& position_, const glm::vec2& size_, unsigned short style)
    : Element(4, 1, 0, true) {
    position = position_;
    size = size_;
    data.color = color;
    data.position = position_;
    data.size = size_;
    data.style = style;
}

vesmo::vk::GraphicsPipeline* Box::GetPipeline() { return _shader.pipeline.get(); }

void Box::SetColor(const glm::vec4& color) { data.color = color; }

void Box::SetPosition(const glm::vec2& position_) {
    std::lock_guard guard(mutex);
    position = position_;
    data.position = position_;
}

void Box::SetSize(const glm::vec2& size_) {
    std::lock_guard guard(mutex);
    size = size_;
    data.size = size_;
}

// ---- Text

Text::Text(const glm::vec4& color, const glm::vec2& position_, float size_, const char* text) : Element(4, 1, 0, true) {
    data.color = color;
    SetPosition(position_);
    SetSize(size_);
    SetText(text);
}

vesmo::vk::GraphicsPipeline* Text::GetPipeline() { return _shader.pipeline.get(); }

void Text::SetText(const char* text) {
    const size_t length = text ? std::min<size_t>(std::strlen(text), MaxCharacters) : 0;
    std::memset(data.text, 0, MaxCharacters);
    if (length > 0)
        std::memcpy(data.text, text, length);
    data.count = static_cast<uint32_t>(length);
    instanceCount = data.count;
}

std::string Text::GetText() const { return std::string(data.text, data.count); }

void Text::SetColor(const glm::vec4& color) { data.color = color; }

void Text::SetPosition(const glm::vec2& position_) {
    std::lock_guard guard(mutex);
    position = position_;
    data.position = position_;
}

void Text::SetSize(float size_) {
    std::lock_guard guard(mutex);
    size = glm::vec2(size_);
    data.size = size_;
}

} // namespace game::graphics::ui
