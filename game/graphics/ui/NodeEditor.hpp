#pragma once
// A canvas of boxes and wires, drawn with ImGui inside whatever window is current when Render runs.
//
// The editor knows nothing of what a node means. It owns the nodes, draws them, and lets the user move,
// resize, select, connect, copy, paste and delete them; meaning lives in subclasses of Node and
// NodeEditor, reached through the virtual operations below.
//
// Connections are stored on the consuming side only: each input slot holds the id of the node that feeds
// it, or the null id. A node has at most one output pin, which may feed any number of inputs. The editor
// refuses any wire that would close a cycle, so readers of the graph may walk it recursively.
//
// Coordinates: node positions and sizes and `pan` are canvas units; `scale` is the host's UI scaling
// times `zoom`, read afresh where used. Canvas point P shows at window-relative pixel (P + pan) * scale.
// Pin positions and wire ends are absolute screen pixels.
//
// Keys are read from ImGuiIO::KeysDown[] with GLFW key codes (ImGui 1.86 predates named keys): left Ctrl
// with C copies the selection, with V pastes it at the mouse, with D duplicates it; Delete deletes it. None
// of them act while a text field of a node has the keyboard (ImGuiIO::WantTextInput).
//
// Connection changes set `changed` on the consuming node and on the editor alike, so that an owner that
// watches only the editor regenerates too.
//
// Everything runs on the ImGui thread. The clipboard statics and Render's function-local statics are
// shared by all editors of the process: two editors can't be drawn at once.

#include "game/host/UniqueId.hpp"

#include <imgui.h>
#include <nlohmann/json.hpp>

#include <string>
#include <unordered_map>
#include <vector>

namespace game::graphics::ui {

class Node {
public:
    // A new node with a generated "NODE" id; `size` is raised to the minimum by whoever adds it.
    Node(const std::string& title, ImVec2 pos, const std::vector<game::UniqueId>& inputs);
    // Reads the keys of Serialize(). A missing key or a wrong type raises nlohmann::json's exceptions; an
    // id of a length other than 0 or 28 raises std::runtime_error.
    explicit Node(const nlohmann::json& json);

    virtual ~Node() = default;
    // {"id", "title", "pos": {"x", "y"}, "size": {"x", "y"}, "inputs": [id or ""]}; subclasses add keys.
    virtual nlohmann::json Serialize();
    // False for nodes that may exist only once in an editor: they can be pasted into another one only.
    virtual bool CanClone() const { return true; }
    virtual float GetMinimumWidth() const { return 35.0f; }
    // 55 when resizable, else 45, plus 20 per input pin beyond the first.
    virtual float GetMinimumHeight() const;
    // Draws the body below the title bar; the ImGui cursor stands at the body's top-left.
    virtual void DrawContent(ImDrawList* drawList, ImVec2 contentSize, float scale);
    virtual void ContextMenu() {}
    virtual void DrawInput(ImDrawList* drawList, ImVec2 centre, float radius, float scale, int index);
    virtual void DrawOutput(ImDrawList* drawList, ImVec2 centre, float radius, float scale);
    virtual void ContextMenuInput(int index);
    virtual void ContextMenuOutput() {}
    virtual ImU32 GetInputColor(bool hovered, int index) const;
    virtual ImU32 GetOutputColor(bool hovered) const;
    virtual bool CanConnectInputToOutput(int index, const Node* output) const;
    virtual bool CanConnectInput(int index) const;
    virtual bool CanConnectOutput() const { return true; }
    virtual bool operator==(const Node& other) const { return id == other.id; }
    virtual void OnDoubleClick() {}

    game::UniqueId id;
    std::string title;
    ImVec2 pos;
    ImVec2 size{0.0f, 0.0f};
    std::vector<game::UniqueId> inputs;
    bool resizable = true;
    bool movable = true;
    bool hasOutput = true;
    bool visible = true;
    bool changed = false; // a connection of this node changed; the editor's owner clears it
    bool selected = false;
    bool hovered = false;          // the node's child window is hovered this frame
    int32_t dragInput = -1;        // input pin from which a wire is being dragged
    bool dragOutput = false;       // a wire is being dragged from the output pin
    bool disconnectOutput = false; // request: clear every input that this node feeds
};

class NodeEditor {
public:
    NodeEditor() = default;
    NodeEditor(const NodeEditor&) = delete;
    NodeEditor& operator=(const NodeEditor&) = delete;

    // Deletes every node.
    virtual ~NodeEditor();
    // A new node with a generated id; not added to `nodes`.
    virtual Node* CreateNode(const std::string& title, ImVec2 pos, const std::vector<game::UniqueId>& inputs);
    // Clears every input that refers to `node` (setting those nodes' `changed`), deletes it and sets
    // `changed`. The pointer stays in `nodes`: the caller removes it. Does nothing when `readOnly`.
    virtual void DestroyNode(Node* node);
    // Destroys every node and empties `nodes`. Does nothing when `readOnly`, like every other edit.
    virtual void ClearAllNodes();
    // A new node built from its JSON, or null to refuse it.
    virtual Node* DeserializeNode(const nlohmann::json& json);
    // Draws and handles one frame. True when the enclosing window or one of its children has the focus.
    virtual bool Render();
    // Pans by a pixel delta and resets ImGui's drag delta of `button`.
    virtual void Drag(ImVec2 delta, int button);
    // One zoom step of +1 or -1 about `mouse` (pixels relative to the window): the point under it stays.
    virtual void Zoom(ImVec2 mouse, float steps);
    // False when the wire would close a cycle or either side refuses it.
    virtual bool CanConnectInputToOutput(Node* input, int inputIndex, Node* output);
    // The canvas menu; `pos` is the click in canvas units.
    virtual void ContextMenu(ImVec2 pos);
    virtual void ContextMenuNode(Node* node);
    virtual void ContextMenuInput(Node* node, int index);
    virtual void ContextMenuOutput(Node* node);

    // True when `node` is `other` or reaches it through its inputs.
    bool NodeDependsOn(const Node* node, const Node* other) const;

    // Null for the null id or an unknown id, else the node as T (null when it isn't a T).
    template <class T> T* GetNode(const game::UniqueId& id) const {
        if (id.IsNull())
            return nullptr;
        for (Node* node : nodes)
            if (node != nullptr && node->id == id)
                return dynamic_cast<T*>(node);
        return nullptr;
    }

    std::unordered_map<game::UniqueId, std::vector<ImVec2>> inputPinPositions;
    std::unordered_map<game::UniqueId, ImVec2> outputPinPositions;
    bool rectSelecting = false;
    ImVec2 selectStart{0.0f, 0.0f};
    ImVec2 selectEnd{0.0f, 0.0f};
    ImVec2 dragDelta{0.0f, 0.0f};
    ImVec2 grabOffset{0.0f, 0.0f};
    Node* draggingNode = nullptr;
    Node* resizingNode = nullptr;
    bool interacting = false;
    bool mouseWasDown = false;
    bool panning = false;
    bool copyArmed = false;
    bool pasteArmed = false;
    // Off: connecting, deleting, moving, resizing, pasting and context menus. Pan, zoom, select, copy stay.
    bool readOnly = false;
    ImVec2 pan{0.0f, 0.0f};
    float zoom = 1.0f;
    std::vector<Node*> nodes; // owned, in creation order
    bool changed = false;     // any structural change; the owner clears it

    // The node clipboard of the process, and the editor that filled it.
    static nlohmann::json clipboard;
    static NodeEditor* clipboardFrom;

private:
    struct Wire {
        ImVec2 from;
        ImVec2 to;
        bool highlighted;
    };

    // One node's child window and gestures; false when the node was deleted from its menu.
    bool RenderNode(size_t index, ImVec2 windowPos, ImVec2 windowSize, std::vector<Wire>& wires);
    // Drop of an output wire: the first free input pin of another node under the mouse takes it.
    void ConnectOutputUnderMouse(Node* node, float pad);
    void CopySelection();
    void PasteClipboard(ImVec2 windowPos);
    void DeleteSelection();
    void DrawWires(const std::vector<Wire>& wires, ImDrawList* windowList, ImDrawList* foregroundList, ImVec2 windowPos,
                   ImVec2 windowSize, bool focused) const;
    bool BandContains(ImVec2 point, ImVec2 windowPos, ImVec2 windowSize) const;
};

} // namespace game::graphics::ui
