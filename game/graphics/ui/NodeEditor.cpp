#include "game/graphics/ui/NodeEditor.hpp"

#include "game/graphics/ui/UiHost.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <algorithm>
#include <cmath>

namespace game::graphics::ui {

namespace {

// The window reports GLFW's key codes into ImGuiIO::KeysDown[] (ImGui 1.86 has no named keys).
using vesmo::input::KEY_C;
using vesmo::input::KEY_D;
using vesmo::input::KEY_DELETE;
using vesmo::input::KEY_LEFT_CONTROL;
using vesmo::input::KEY_LEFT_SHIFT;
using vesmo::input::KEY_V;

bool KeyDown(int key) { return ImGui::GetIO().KeysDown[key]; }

ImVec2 Add(ImVec2 a, ImVec2 b) { return ImVec2(a.x + b.x, a.y + b.y); }
ImVec2 Sub(ImVec2 a, ImVec2 b) { return ImVec2(a.x - b.x, a.y - b.y); }
ImVec2 Mul(ImVec2 a, float s) { return ImVec2(a.x * s, a.y * s); }
ImVec2 Div(ImVec2 a, float s) { return ImVec2(a.x / s, a.y / s); }

bool InRect(ImVec2 point, ImVec2 centre, float half) {
    return point.x >= centre.x - half && point.x <= centre.x + half && point.y >= centre.y - half &&
           point.y <= centre.y + half;
}

// Written key by key: an initializer list would first build each pair as an array of two values.
void WriteVec2(nlohmann::json& into, ImVec2 v) {
    into["x"] = v.x;
    into["y"] = v.y;
}
ImVec2 FromJson(const nlohmann::json& json) { return ImVec2(json.at("x").get<float>(), json.at("y").get<float>()); }

ImU32 Color(float r, float g, float b, float a) { return ImGui::ColorConvertFloat4ToU32(ImVec4(r, g, b, a)); }

} // namespace

nlohmann::json NodeEditor::clipboard;
NodeEditor* NodeEditor::clipboardFrom = nullptr;

// ---------------------------------------------------------------------------------------------------------
// Node

Node::Node(const std::string& title, ImVec2 pos, const std::vector<game::UniqueId>& inputs)
    : id(game::UniqueId::Generate("NODE")), title(title), pos(pos), inputs(inputs) {}

Node::Node(const nlohmann::json& json)
    : id(json.at("id").get<std::string>()), title(json.at("title").get<std::string>()), pos(FromJson(json.at("pos"))),
      size(FromJson(json.at("size"))) {
    for (const auto& input : json.at("inputs"))
        inputs.emplace_back(input.get<std::string>());
}

nlohmann::json Node::Serialize() {
    nlohmann::json result = nlohmann::json::object();
    result["id"] = id.ToString();
    result["title"] = title;
    WriteVec2(result["pos"], pos);
    WriteVec2(result["size"], size);
    nlohmann::json& ids = result["inputs"] = nlohmann::json::array();
    for (const auto& input : inputs)
        ids.push_back(input.ToString());
    return result;
}

float Node::GetMinimumHeight() const {
    const float extra = inputs.size() > 1 ? 20.0f * static_cast<float>(inputs.size() - 1) : 0.0f;
    return (resizable ? 55.0f : 45.0f) + extra;
}

void Node::DrawContent(ImDrawList*, ImVec2, float) {}

void Node::ContextMenuInput(int) {}

void Node::DrawInput(ImDrawList* drawList, ImVec2 centre, float radius, float scale, int index) {
    const bool hovered = CanConnectInput(index) && InRect(ImGui::GetIO().MousePos, centre, radius);
    drawList->AddCircle(centre, radius, GetInputColor(hovered, index), 0, 3.0f * scale);
}

void Node::DrawOutput(ImDrawList* drawList, ImVec2 centre, float radius, float) {
    const bool hovered = CanConnectOutput() && InRect(ImGui::GetIO().MousePos, centre, radius);
    drawList->AddCircleFilled(centre, radius, GetOutputColor(hovered));
}

ImU32 Node::GetInputColor(bool hovered, int) const {
    return hovered ? Color(0.5f, 1.0f, 0.6f, 1.0f) : Color(0.2f, 0.8f, 0.4f, 1.0f);
}

ImU32 Node::GetOutputColor(bool hovered) const {
    return hovered ? Color(1.0f, 0.5f, 0.6f, 1.0f) : Color(0.8f, 0.2f, 0.4f, 1.0f);
}

bool Node::CanConnectInputToOutput(int, const Node*) const { return true; }

bool Node::CanConnectInput(int) const { return true; }

// ---------------------------------------------------------------------------------------------------------
// NodeEditor: graph operations

NodeEditor::~NodeEditor() {
    for (Node* node : nodes)
        delete node;
    if (clipboardFrom == this)
        clipboardFrom = nullptr;
}

Node* NodeEditor::CreateNode(const std::string& title, ImVec2 pos, const std::vector<game::UniqueId>& inputs) {
    return new Node(title, pos, inputs);
}

void NodeEditor::DestroyNode(Node* node) {
    if (readOnly || node == nullptr)
        return;
    for (Node* other : nodes) {
        if (other == nullptr || other == node)
            continue;
        for (auto& input : other->inputs) {
            if (input == node->id) {
                input = game::UniqueId();
                other->changed = true;
            }
        }
    }
    if (draggingNode == node)
        draggingNode = nullptr;
    if (resizingNode == node)
        resizingNode = nullptr;
    inputPinPositions.erase(node->id);
    outputPinPositions.erase(node->id);
    delete node;
    changed = true;
}

void NodeEditor::ClearAllNodes() {
    if (readOnly)
        return;
    for (Node*& node : nodes) {
        DestroyNode(node);
        node = nullptr;
    }
    nodes.clear();
}

Node* NodeEditor::DeserializeNode(const nlohmann::json& json) { return new Node(json); }

bool NodeEditor::NodeDependsOn(const Node* node, const Node* other) const {
    if (node == nullptr || other == nullptr)
        return false;
    if (node == other)
        return true;
    for (const auto& input : node->inputs) {
        if (input.IsNull())
            continue;
        if (NodeDependsOn(GetNode<Node>(input), other))
            return true;
    }
    return false;
}

bool NodeEditor::CanConnectInputToOutput(Node* input, int inputIndex, Node* output) {
    if (input == nullptr || output == nullptr)
        return false;
    if (!input->CanConnectInputToOutput(inputIndex, output))
        return false;
    if (output == input)
        return false;
    // Three levels spelled out, the third recursing: the first two compare the node itself first.
    for (const auto& firstId : output->inputs) {
        Node* first = GetNode<Node>(firstId);
        if (first == nullptr)
            continue;
        if (first == input)
            return false;
        for (const auto& secondId : first->inputs) {
            Node* second = GetNode<Node>(secondId);
            if (second == nullptr)
                continue;
            if (second == input)
                return false;
            for (const auto& thirdId : second->inputs) {
                Node* third = GetNode<Node>(thirdId);
                if (third != nullptr && NodeDependsOn(third, input))
                    return false;
            }
        }
    }
    return true;
}

void NodeEditor::ContextMenu(ImVec2 pos) {
    if (!ImGui::MenuItem("Add Node"))
        return;
    nodes.push_back(CreateNode("New Node", pos, {game::UniqueId(), game::UniqueId()}));
    Node* node = nodes.back();
    if (node == nullptr) {
        nodes.pop_back();
        return;
    }
    node->size.x = std::max(node->size.x, node->GetMinimumWidth());
    node->size.y = std::max(node->size.y, node->GetMinimumHeight());
    node->pos = Sub(node->pos, Mul(node->size, 0.5f));
    changed = true;
}

void NodeEditor::ContextMenuNode(Node* node) { node->ContextMenu(); }

void NodeEditor::ContextMenuInput(Node* node, int index) {
    if (!node->inputs[index].IsNull() && ImGui::MenuItem("Disconnect")) {
        node->inputs[index] = game::UniqueId();
        node->changed = true;
        changed = true;
    }
    node->ContextMenuInput(index);
}

void NodeEditor::ContextMenuOutput(Node* node) {
    if (ImGui::MenuItem("Disconnect from all input nodes"))
        node->disconnectOutput = true;
    node->ContextMenuOutput();
}

void NodeEditor::Drag(ImVec2 delta, int button) {
    const float scale = host::GetUiScaling() * zoom;
    pan = Add(pan, Div(delta, scale));
    ImGui::ResetMouseDragDelta(button);
}

void NodeEditor::Zoom(ImVec2 mouse, float steps) {
    pan = Sub(pan, Div(mouse, host::GetUiScaling() * zoom));
    zoom = std::clamp((1.0f + steps * 0.125f) * zoom, 0.05f, 2.0f / host::GetUiScaling());
    if (std::fabs(zoom - 1.0f) < 0.1f)
        zoom = 1.0f;
    pan = Add(pan, Div(mouse, host::GetUiScaling() * zoom));
}

// ---------------------------------------------------------------------------------------------------------
// NodeEditor: one frame

bool NodeEditor::BandContains(ImVec2 point, ImVec2 windowPos, ImVec2 windowSize) const {
    const ImVec2 windowMax = Add(windowPos, windowSize);
    const float x0 = std::clamp(std::min(selectStart.x, selectEnd.x), windowPos.x, windowMax.x);
    const float x1 = std::clamp(std::max(selectStart.x, selectEnd.x), windowPos.x, windowMax.x);
    const float y0 = std::clamp(std::min(selectStart.y, selectEnd.y), windowPos.y, windowMax.y);
    const float y1 = std::clamp(std::max(selectStart.y, selectEnd.y), windowPos.y, windowMax.y);
    return point.x > x0 && point.x < x1 && point.y > y0 && point.y < y1;
}

bool NodeEditor::Render() {
    static ImVec2 hitPos;
    ImGuiIO& io = ImGui::GetIO();
    const float scale = host::GetUiScaling() * zoom;

    ImDrawList* windowList = ImGui::GetWindowDrawList();
    ImDrawList* foregroundList = ImGui::GetForegroundDrawList();
    ImGui::PushStyleVar(ImGuiStyleVar_ChildRounding, 4.0f * scale);
    ImGui::PushStyleVar(ImGuiStyleVar_FrameRounding, 4.0f * scale);
    ImGui::PushStyleVar(ImGuiStyleVar_Alpha, 1.0f);
    ImGui::PushStyleVar(ImGuiStyleVar_FramePadding, ImVec2(4.0f * scale, 4.0f * scale));
    ImGui::PushStyleColor(ImGuiCol_ChildBg, ImVec4(0.2f, 0.2f, 0.2f, 1.0f));
    ImGui::SetWindowFontScale(zoom);

    const ImVec2 windowPos = ImGui::GetWindowPos();
    const ImVec2 windowSize = ImGui::GetWindowSize();
    const bool focused = ImGui::IsWindowFocused(ImGuiFocusedFlags_RootAndChildWindows);

    // A click that moved nothing clears the selection, unless Ctrl adds to it.
    if (!rectSelecting && mouseWasDown && ImGui::IsMouseReleased(ImGuiMouseButton_Left)) {
        const bool still = dragDelta.x == 0.0f && dragDelta.y == 0.0f;
        if (still && !KeyDown(KEY_LEFT_CONTROL) && draggingNode == nullptr)
            for (Node* node : nodes)
                node->selected = false;
        dragDelta = ImVec2(0.0f, 0.0f);
    }

    // Rubber band; `interacting` still holds the previous frame's value here.
    if (!interacting && ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
        if (ImGui::IsWindowHovered() && !rectSelecting) {
            dragDelta = ImVec2(0.0f, 0.0f);
            rectSelecting = true;
            selectStart = io.MousePos;
        }
        if (rectSelecting) {
            selectEnd = io.MousePos;
            const ImVec2 windowMax = Add(windowPos, windowSize);
            const ImVec2 a(std::clamp(std::min(selectStart.x, selectEnd.x), windowPos.x, windowMax.x),
                           std::clamp(std::min(selectStart.y, selectEnd.y), windowPos.y, windowMax.y));
            const ImVec2 b(std::clamp(std::max(selectStart.x, selectEnd.x), windowPos.x, windowMax.x),
                           std::clamp(std::max(selectStart.y, selectEnd.y), windowPos.y, windowMax.y));
            foregroundList->AddRectFilled(a, b, Color(0.2f, 0.5f, 0.7f, 0.5f), 0.0f);
        }
    } else {
        rectSelecting = false;
    }
    interacting = false;

    std::vector<Wire> wires;
    for (size_t i = 0; i < nodes.size();) {
        if (nodes[i] == nullptr || !nodes[i]->visible || RenderNode(i, windowPos, windowSize, wires))
            ++i;
    }

    // One editor change per move or resize gesture, at its end.
    mouseWasDown = ImGui::IsMouseDown(ImGuiMouseButton_Left);
    if (!interacting && (draggingNode != nullptr || resizingNode != nullptr)) {
        changed = true;
        draggingNode = nullptr;
        resizingNode = nullptr;
    }

    ImGui::SetCursorPos(ImVec2(0.0f, 0.0f));
    if (focused) {
        if (!rectSelecting)
            for (Node* node : nodes)
                if (node->selected && node != draggingNode)
                    node->pos = Add(node->pos, dragDelta);

        // Keys typed into a node's own text field are the field's: no node copy, paste or delete then.
        const bool typing = io.WantTextInput;
        const bool ctrl = KeyDown(KEY_LEFT_CONTROL) && !typing;
        const bool copyKeys = ctrl && (KeyDown(KEY_C) || KeyDown(KEY_D));
        const bool pasteKeys = ctrl && (KeyDown(KEY_V) || KeyDown(KEY_D));
        if (copyKeys && copyArmed) {
            copyArmed = false;
            CopySelection();
        } else if (!copyKeys) {
            copyArmed = true;
        }
        if (!readOnly && pasteKeys && pasteArmed && !clipboard.empty() && host::GetClipboardText().empty()) {
            pasteArmed = false;
            PasteClipboard(windowPos);
        } else if (!pasteKeys) {
            pasteArmed = true;
        }
        if (!readOnly && !typing && KeyDown(KEY_DELETE))
            DeleteSelection();
    } else {
        copyArmed = false;
        pasteArmed = false;
    }

    for (Node* node : nodes) {
        for (const auto& input : node->inputs) {
            if (input.IsNull())
                continue;
            const auto source = outputPinPositions.find(input);
            const auto pins = inputPinPositions.find(node->id);
            if (source == outputPinPositions.end() || pins == inputPinPositions.end())
                continue;
            const size_t slot = static_cast<size_t>(&input - node->inputs.data());
            if (slot >= pins->second.size())
                continue;
            const Node* sourceNode = GetNode<Node>(input);
            const bool highlighted = node->hovered || (sourceNode != nullptr && sourceNode->hovered);
            wires.push_back({source->second, pins->second[slot], highlighted});
        }
    }
    DrawWires(wires, windowList, foregroundList, windowPos, windowSize, focused);

    ImGui::SetWindowFontScale(1.0f);
    ImGui::PopStyleColor();
    ImGui::PopStyleVar(4);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(8.0f * scale, 8.0f * scale));
    // `panning` is still last frame's here: the release that ends a pan must not open the menu.
    if (!readOnly && !panning && ImGui::BeginPopupContextWindow("canvas")) {
        if (ImGui::IsWindowAppearing())
            hitPos = Sub(Div(Sub(ImGui::GetMousePosOnOpeningCurrentPopup(), windowPos), scale), pan);
        ContextMenu(hitPos);
        ImGui::EndPopup();
    }
    panning = ImGui::IsMouseDragging(ImGuiMouseButton_Right) || ImGui::IsMouseDragging(ImGuiMouseButton_Middle);
    ImGui::PopStyleVar();

    if (ImGui::IsWindowHovered(ImGuiHoveredFlags_ChildWindows) || interacting) {
        if (panning) {
            const int button =
                ImGui::IsMouseDragging(ImGuiMouseButton_Right) ? ImGuiMouseButton_Right : ImGuiMouseButton_Middle;
            Drag(ImGui::GetMouseDragDelta(button), button);
            draggingNode = nullptr;
            resizingNode = nullptr;
        }
        if (io.MouseWheel != 0.0f) {
            Zoom(Sub(io.MousePos, windowPos), io.MouseWheel > 0.0f ? 1.0f : -1.0f);
            draggingNode = nullptr;
            resizingNode = nullptr;
        }
    }
    // Lopsided on purpose: the canvas grows to the right and down from where graphs start.
    pan.x = std::clamp(pan.x, -4000.0f, 40000.0f);
    pan.y = std::clamp(pan.y, -4000.0f, 40000.0f);
    return focused;
}

bool NodeEditor::RenderNode(size_t index, ImVec2 windowPos, ImVec2 windowSize, std::vector<Wire>& wires) {
    ImGuiIO& io = ImGui::GetIO();
    const float scale = host::GetUiScaling() * zoom;
    const float pad = 16.0f * scale;
    Node* node = nodes[index];

    ImGui::SetCursorPos(Mul(Add(pan, node->pos), scale));
    ImGui::PushID(node->id.ToString().c_str());
    node->size.x = std::clamp(node->size.x, node->GetMinimumWidth(), 1000.0f);
    node->size.y = std::clamp(node->size.y, node->GetMinimumHeight(), 1000.0f);
    const ImVec2 childSize = Mul(node->size, scale);
    ImGui::BeginChild("##", childSize, false, ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse);
    node->hovered = ImGui::IsWindowHovered();
    ImDrawList* drawList = ImGui::GetWindowDrawList();
    ImDrawListSplitter splitter;
    splitter.Split(drawList, 2);
    splitter.SetCurrentChannel(drawList, 0);
    const ImVec2 childPos = ImGui::GetWindowPos();
    const float fontSize = ImGui::GetFontSize();
    const float titleHeight = fontSize * 1.5f;

    // Content and pins go on channel 1, above the title bar button.
    splitter.SetCurrentChannel(drawList, 1);
    ImGui::SetCursorPos(ImVec2(pad, titleHeight));
    node->DrawContent(drawList, ImVec2(scale * node->size.x - 2.0f * pad, scale * node->size.y - titleHeight), scale);
    splitter.SetCurrentChannel(drawList, 0);

    if (rectSelecting) {
        const ImVec2 probe =
            Add(windowPos, Mul(Add(pan, Add(node->pos, ImVec2(node->size.x * 0.5f, node->size.y / 3.0f))), scale));
        if (BandContains(probe, windowPos, windowSize))
            node->selected = true;
        else if (!KeyDown(KEY_LEFT_CONTROL))
            node->selected = false;
    }
    if (node->selected) {
        splitter.SetCurrentChannel(drawList, 1);
        drawList->AddRect(childPos, Add(childPos, childSize), Color(0.2f, 0.8f, 1.0f, 1.0f), 4.0f * scale, 0,
                          std::max(2.0f, 3.0f * scale));
        splitter.SetCurrentChannel(drawList, 0);
    }

    // Title bar.
    const ImVec4 button = ImGui::GetStyle().Colors[ImGuiCol_Button];
    const ImVec4 lit(button.x + 0.07f, button.y + 0.07f, button.z + 0.07f, button.w + 0.07f);
    ImGui::SetCursorPos(ImVec2(0.0f, 0.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, lit);
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, lit);
    ImGui::PushStyleVar(ImGuiStyleVar_ButtonTextAlign, ImVec2(0.0f, 0.5f));
    ImGui::Button((node->title + "###title").c_str(), ImVec2(node->size.x * scale, titleHeight));
    ImGui::PopStyleVar();
    ImGui::PopStyleColor(2);
    if (ImGui::IsItemHovered() || ImGui::IsItemActive())
        ImGui::SetMouseCursor(ImGuiMouseCursor_ResizeAll);

    if (ImGui::IsItemActive()) {
        if (ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left)) {
            if (!readOnly)
                node->OnDoubleClick();
        } else if (KeyDown(KEY_LEFT_CONTROL) && ImGui::IsMouseDown(ImGuiMouseButton_Left)) {
            if (!mouseWasDown && !interacting)
                node->selected = !node->selected;
        } else if (node->movable && !readOnly) {
            if (ImGui::IsMouseDown(ImGuiMouseButton_Left)) {
                interacting = true;
                if (draggingNode == nullptr) {
                    draggingNode = node;
                    grabOffset = Sub(Sub(io.MousePos, windowPos), Mul(node->pos, scale));
                }
            }
            if (panning) {
                dragDelta = ImVec2(0.0f, 0.0f);
            } else if (draggingNode == node && ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
                const ImVec2 old = node->pos;
                ImVec2 moved = Add(old, Div(Sub(Sub(Sub(io.MousePos, windowPos), Mul(old, scale)), grabOffset), scale));
                if (KeyDown(KEY_LEFT_SHIFT)) {
                    moved.x = std::round(moved.x / 10.0f) * 10.0f;
                    moved.y = std::round(moved.y / 10.0f) * 10.0f;
                }
                moved.x = std::clamp(moved.x, -0.5f * node->size.x - pan.x,
                                     windowSize.x / scale - 0.5f * node->size.x - pan.x);
                moved.y = std::clamp(moved.y, -0.5f * node->size.y - pan.y,
                                     windowSize.y / scale - 0.5f * node->size.y - pan.y);
                node->pos = moved;
                dragDelta = Sub(moved, old);
            }
        }
    }

    if (!readOnly) {
        bool deleted = false;
        ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(8.0f, 8.0f));
        if (!panning && ImGui::BeginPopupContextItem()) {
            if (ImGui::MenuItem("Delete Node")) {
                DestroyNode(node);
                nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(index));
                deleted = true;
            } else {
                ContextMenuNode(node);
            }
            ImGui::EndPopup();
        }
        ImGui::PopStyleVar();
        if (deleted) {
            splitter.Merge(drawList);
            ImGui::EndChild();
            ImGui::PopID();
            return false;
        }
    }

    // Resize grip in the bottom-right corner.
    if (node->resizable && !readOnly) {
        ImGui::SetCursorPos(Sub(childSize, ImVec2(pad * 0.5f, pad * 0.5f)));
        ImGui::InvisibleButton("resize", ImVec2(pad * 0.5f, pad * 0.5f));
        const bool lit = ImGui::IsItemHovered() || ImGui::IsItemActive();
        if (lit)
            ImGui::SetMouseCursor(ImGuiMouseCursor_ResizeNWSE);
        if (ImGui::IsItemActive()) {
            if (ImGui::IsMouseDown(ImGuiMouseButton_Left)) {
                interacting = true;
                if (resizingNode == nullptr)
                    resizingNode = node;
            }
            if (resizingNode == node && ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
                const ImVec2 size = Sub(Sub(Div(Sub(io.MousePos, windowPos), scale), node->pos), pan);
                node->size.x = std::clamp(size.x, node->GetMinimumWidth(), 2000.0f);
                node->size.y = std::clamp(size.y, node->GetMinimumHeight(), 2000.0f);
            }
        }
        const ImVec2 a = ImGui::GetItemRectMin();
        const ImVec2 b = ImGui::GetItemRectMax();
        ImVec4 colour = ImGui::GetStyle().Colors[lit ? ImGuiCol_ButtonHovered : ImGuiCol_Button];
        colour.w *= 0.75f;
        drawList->AddTriangleFilled(ImVec2(b.x, a.y), b, ImVec2(a.x, b.y), ImGui::ColorConvertFloat4ToU32(colour));
    }

    // Input pins stack below the title bar, whatever the content and the grip did to the cursor.
    ImGui::SetCursorPos(ImVec2(0.0f, titleHeight));
    auto& pinPositions = inputPinPositions[node->id];
    pinPositions.resize(node->inputs.size());
    for (size_t i = 0; i < node->inputs.size(); ++i) {
        const int slot = static_cast<int>(i);
        const float y = std::max(ImGui::GetCursorPosY(), titleHeight + 2.0f * scale + 20.0f * scale * slot);
        ImGui::SetCursorPos(ImVec2(0.0f, y));
        ImGui::PushID(slot);
        ImGui::InvisibleButton("input", ImVec2(pad, pad));
        const ImVec2 centre = Add(ImGui::GetItemRectMin(), ImVec2(pad * 0.5f, pad * 0.5f));
        if (!readOnly) {
            ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(5.0f * scale, 5.0f * scale));
            if (ImGui::BeginPopupContextItem()) {
                ContextMenuInput(node, slot);
                ImGui::EndPopup();
            }
            ImGui::PopStyleVar();
        }
        pinPositions[i] = centre;
        static ImVec2 inputMousePos = centre; // shared by every pin of every editor

        if (!readOnly) {
            if (!ImGui::IsItemActive() && node->dragInput != slot) {
                inputMousePos = io.MousePos;
            } else {
                if (ImGui::IsMouseDown(ImGuiMouseButton_Left))
                    interacting = true;
                if (node->CanConnectInput(slot) && ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
                    node->dragInput = slot;
                    // Divided by the scale on this side only: the wire end trails the pointer off zoom 1.
                    inputMousePos = Add(inputMousePos, Div(ImGui::GetMouseDragDelta(ImGuiMouseButton_Left), scale));
                    ImGui::ResetMouseDragDelta(ImGuiMouseButton_Left);
                    wires.push_back({inputMousePos, centre, true});
                } else if (!ImGui::IsMouseDragging(ImGuiMouseButton_Left) &&
                           ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left)) {
                    node->inputs[i] = game::UniqueId();
                    node->changed = true;
                    changed = true;
                }
            }
            if (ImGui::IsMouseReleased(ImGuiMouseButton_Left) && node->dragInput == slot &&
                node->CanConnectInput(slot)) {
                node->dragInput = -1;
                for (Node* other : nodes) {
                    if (other == node || !other->hasOutput)
                        continue;
                    const auto pin = outputPinPositions.find(other->id);
                    if (pin == outputPinPositions.end() || !InRect(io.MousePos, pin->second, pad * 0.5f))
                        continue;
                    if (CanConnectInputToOutput(node, slot, other)) {
                        node->inputs[i] = other->id;
                        node->changed = true;
                        changed = true;
                    }
                    break;
                }
            }
        }
        splitter.SetCurrentChannel(drawList, 1);
        node->DrawInput(drawList, centre, pad * 0.5f, scale, slot);
        splitter.SetCurrentChannel(drawList, 0);
        ImGui::PopID();
    }

    if (node->hasOutput) {
        ImGui::SetCursorPos(ImVec2(scale * node->size.x - pad, titleHeight + 2.0f * scale));
        ImGui::InvisibleButton("output", ImVec2(pad, pad));
        const ImVec2 centre = Add(ImGui::GetItemRectMin(), ImVec2(pad * 0.5f, pad * 0.5f));
        if (!readOnly) {
            ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(5.0f * scale, 5.0f * scale));
            if (ImGui::BeginPopupContextItem()) {
                ContextMenuOutput(node);
                ImGui::EndPopup();
            }
            ImGui::PopStyleVar();
        }
        outputPinPositions[node->id] = centre;
        static ImVec2 outputMousePos = centre; // shared by every pin of every editor

        if (!readOnly) {
            if (!ImGui::IsItemActive() && !node->dragOutput) {
                outputMousePos = io.MousePos;
            } else {
                if (ImGui::IsMouseDown(ImGuiMouseButton_Left))
                    interacting = true;
                if (node->CanConnectOutput()) {
                    if (ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
                        outputMousePos = Add(outputMousePos, ImGui::GetMouseDragDelta(ImGuiMouseButton_Left));
                        ImGui::ResetMouseDragDelta(ImGuiMouseButton_Left);
                        wires.push_back({centre, outputMousePos, true});
                        node->dragOutput = true;
                    } else if (ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left)) {
                        node->disconnectOutput = true;
                    }
                }
            }
            if (node->disconnectOutput) {
                node->disconnectOutput = false;
                for (Node* other : nodes) {
                    if (other == node)
                        continue;
                    for (auto& input : other->inputs) {
                        if (input == node->id) {
                            input = game::UniqueId();
                            other->changed = true;
                            changed = true;
                        }
                    }
                }
            }
            // Left release drops the wire; a right click while still dragging connects one more input.
            const bool release = ImGui::IsMouseReleased(ImGuiMouseButton_Left);
            if (node->dragOutput && (release || ImGui::IsMouseClicked(ImGuiMouseButton_Right)) &&
                node->CanConnectOutput()) {
                ConnectOutputUnderMouse(node, pad);
            }
            if (release)
                node->dragOutput = false;
        }
        splitter.SetCurrentChannel(drawList, 1);
        node->DrawOutput(drawList, centre, pad * 0.5f, scale);
        splitter.SetCurrentChannel(drawList, 0);
    }

    ImGui::SetCursorPos(ImVec2(0.0f, 0.0f));
    ImGui::Dummy(childSize);
    splitter.Merge(drawList);
    ImGui::EndChild();
    ImGui::PopID();
    return true;
}

void NodeEditor::ConnectOutputUnderMouse(Node* node, float pad) {
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    for (Node* other : nodes) {
        if (other == node)
            continue;
        const auto pins = inputPinPositions.find(other->id);
        if (pins == inputPinPositions.end())
            continue;
        for (size_t i = 0; i < other->inputs.size() && i < pins->second.size(); ++i) {
            if (other->inputs[i] == node->id || !InRect(mouse, pins->second[i], pad * 0.5f))
                continue;
            if (CanConnectInputToOutput(other, static_cast<int>(i), node)) {
                other->inputs[i] = node->id;
                other->changed = true;
                changed = true;
            }
            return;
        }
    }
}

void NodeEditor::CopySelection() {
    clipboard = nlohmann::json::array();
    clipboardFrom = this;
    for (Node* node : nodes) {
        if (!node->selected)
            continue;
        node->selected = false;
        clipboard.push_back(node->Serialize());
    }
    // An empty system clipboard marks the node clipboard as the latest copy; see PasteClipboard.
    if (!clipboard.empty())
        host::SetClipboardText("");
}

void NodeEditor::PasteClipboard(ImVec2 windowPos) {
    const float scale = host::GetUiScaling() * zoom;
    // Pass one rewrites the ids in the clipboard itself, but not the input lists: a second paste of the
    // same clipboard finds none of the old ids and yields the nodes without their internal wires.
    std::unordered_map<game::UniqueId, game::UniqueId> renamed;
    ImVec2 centre(0.0f, 0.0f);
    for (auto& entry : clipboard) {
        const game::UniqueId fresh = game::UniqueId::Generate("NODE");
        renamed[game::UniqueId(entry.at("id").get<std::string>())] = fresh;
        entry["id"] = fresh.ToString();
        centre = Add(centre, FromJson(entry.at("pos")));
    }
    centre = Div(centre, static_cast<float>(clipboard.size()));
    const ImVec2 target = Sub(Div(Sub(ImGui::GetIO().MousePos, windowPos), scale), pan);

    for (const auto& entry : clipboard) {
        Node* node = DeserializeNode(entry);
        if (node == nullptr)
            continue;
        if (clipboardFrom == this && !node->CanClone()) {
            delete node;
            continue;
        }
        node->pos = Add(node->pos, Sub(target, centre));
        for (auto& input : node->inputs) {
            const auto it = renamed.find(input);
            input = it != renamed.end() ? it->second : game::UniqueId();
        }
        node->selected = true;
        nodes.push_back(node);
    }
    changed = true;
}

void NodeEditor::DeleteSelection() {
    for (size_t i = 0; i < nodes.size();) {
        if (nodes[i] != nullptr && nodes[i]->selected) {
            DestroyNode(nodes[i]);
            nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
}

void NodeEditor::DrawWires(const std::vector<Wire>& wires, ImDrawList* windowList, ImDrawList* foregroundList,
                           ImVec2 windowPos, ImVec2 windowSize, bool focused) const {
    const float scale = host::GetUiScaling() * zoom;
    const float pad = 16.0f * scale;
    const ImVec2 windowMax = Add(windowPos, windowSize);
    auto inside = [&](ImVec2 p) {
        return p.x > windowPos.x && p.x < windowMax.x && p.y > windowPos.y && p.y < windowMax.y;
    };
    const ImU32 white = Color(1.0f, 1.0f, 1.0f, 1.0f);
    for (const Wire& wire : wires) {
        const ImVec2 c1 = Add(wire.from, ImVec2(4.0f * pad, 0.0f));
        const ImVec2 c2 = Sub(wire.to, ImVec2(4.0f * pad, 0.0f));
        if (wire.highlighted)
            windowList->AddBezierCubic(wire.from, c1, c2, wire.to, white, 3.0f);
        else
            windowList->AddBezierCubic(wire.from, c1, c2, wire.to, Color(0.8f, 0.8f, 0.8f, 1.0f), 2.0f * scale);
        // Ends over a child window would be hidden on the window's list; lift them while the canvas has focus.
        for (const ImVec2 end : {wire.from, wire.to}) {
            ImDrawList* list = focused && inside(end) ? foregroundList : windowList;
            list->AddCircleFilled(end, 0.2f * pad, white);
        }
    }
}

} // namespace game::graphics::ui
