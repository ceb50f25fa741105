#pragma once
// A headless ImGui context for tests: a display, a built font atlas and one canvas window, with frames
// driven the way a user drives them, by mouse position, buttons, wheel and keys in ImGuiIO.
//
// The global font scale is 0.5, so the UI scale (twice that) is 1 and canvas units equal pixels at zoom 1.
// Keys are GLFW key codes in ImGuiIO::KeysDown[], as the window reports them.

#include <imgui.h>

#include <functional>
#include <utility>

namespace test {

namespace key {
constexpr int A = 65;
constexpr int C = 67;
constexpr int D = 68;
constexpr int V = 86;
constexpr int Y = 89;
constexpr int Z = 90;
constexpr int Enter = 257;
constexpr int Delete = 261;
constexpr int LeftShift = 340;
constexpr int LeftControl = 341;
} // namespace key

class ImGuiHarness {
public:
    explicit ImGuiHarness(ImVec2 windowPos = ImVec2(100.0f, 50.0f), ImVec2 windowSize = ImVec2(800.0f, 600.0f))
        : windowPos(windowPos), windowSize(windowSize) {
        _context = ImGui::CreateContext();
        ImGuiIO& io = ImGui::GetIO();
        io.IniFilename = nullptr;
        io.LogFilename = nullptr;
        io.DisplaySize = ImVec2(1280.0f, 800.0f);
        io.DeltaTime = 1.0f / 60.0f;
        io.FontGlobalScale = 0.5f;
        unsigned char* pixels = nullptr;
        int width = 0;
        int height = 0;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
        io.Fonts->SetTexID(reinterpret_cast<ImTextureID>(static_cast<intptr_t>(1)));
        io.MousePos = ImVec2(-1.0f, -1.0f);
        // ImGui's own widgets find their keys through KeyMap, filled with GLFW codes as a launcher does.
        const std::pair<ImGuiKey, int> keyMap[] = {{ImGuiKey_Tab, 258},        {ImGuiKey_LeftArrow, 263},
                                                   {ImGuiKey_RightArrow, 262}, {ImGuiKey_UpArrow, 265},
                                                   {ImGuiKey_DownArrow, 264},  {ImGuiKey_PageUp, 266},
                                                   {ImGuiKey_PageDown, 267},   {ImGuiKey_Home, 268},
                                                   {ImGuiKey_End, 269},        {ImGuiKey_Insert, 260},
                                                   {ImGuiKey_Delete, 261},     {ImGuiKey_Backspace, 259},
                                                   {ImGuiKey_Space, 32},       {ImGuiKey_Enter, 257},
                                                   {ImGuiKey_Escape, 256},     {ImGuiKey_KeyPadEnter, 335},
                                                   {ImGuiKey_A, 65},           {ImGuiKey_C, 67},
                                                   {ImGuiKey_V, 86},           {ImGuiKey_X, 88},
                                                   {ImGuiKey_Y, 89},           {ImGuiKey_Z, 90}};
        for (const auto& [imguiKey, glfwKey] : keyMap)
            io.KeyMap[imguiKey] = glfwKey;
    }
    ~ImGuiHarness() { ImGui::DestroyContext(_context); }
    ImGuiHarness(const ImGuiHarness&) = delete;
    ImGuiHarness& operator=(const ImGuiHarness&) = delete;

    // Runs one frame with `body` inside the canvas window ("canvas", no title bar, no scrolling).
    void Frame(const std::function<void()>& body) {
        ImGui::NewFrame();
        ImGui::SetNextWindowPos(windowPos);
        ImGui::SetNextWindowSize(windowSize);
        ImGui::Begin("canvas", nullptr,
                     ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                         ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
                         ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoCollapse);
        body();
        ImGui::End();
        ImGui::Render();
        ImGui::GetIO().MouseWheel = 0.0f;
    }

    // The body that every gesture below runs each frame.
    void SetBody(std::function<void()> body) { _body = std::move(body); }
    void Step(int frames = 1) {
        for (int i = 0; i < frames; ++i)
            Frame(_body);
    }

    void MoveTo(ImVec2 p) {
        ImGui::GetIO().MousePos = p;
        Step();
    }
    void Press(int button = 0) {
        ImGui::GetIO().MouseDown[button] = true;
        Step();
    }
    void Release(int button = 0) {
        ImGui::GetIO().MouseDown[button] = false;
        Step();
    }
    void Click(ImVec2 p, int button = 0) {
        MoveTo(p);
        Press(button);
        Release(button);
    }
    void DoubleClick(ImVec2 p) {
        Click(p);
        Press();
        Release();
    }
    // Press at `from`, move to `to` in `steps` frames, release there.
    void Drag(ImVec2 from, ImVec2 to, int button = 0, int steps = 8) {
        MoveTo(from);
        Press(button);
        DragTo(from, to, steps);
        Release(button);
    }
    // Moves with the buttons as they are, in `steps` frames.
    void DragTo(ImVec2 from, ImVec2 to, int steps = 8) {
        for (int i = 1; i <= steps; ++i) {
            const float t = static_cast<float>(i) / static_cast<float>(steps);
            MoveTo(ImVec2(from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t));
        }
    }
    void Wheel(ImVec2 p, float amount) {
        ImGui::GetIO().MousePos = p;
        ImGui::GetIO().MouseWheel = amount;
        Step();
    }
    void Key(int key, bool down) { ImGui::GetIO().KeysDown[key] = down; }
    // Types text into whatever has the keyboard, one frame.
    void Type(const char* text) {
        ImGui::GetIO().AddInputCharactersUTF8(text);
        Step();
    }
    // Ctrl with `key`, pressed for one frame and released for one.
    void Shortcut(int key) {
        Key(key::LeftControl, true);
        Key(key, true);
        Step();
        Key(key, false);
        Key(key::LeftControl, false);
        Step();
    }

    ImVec2 windowPos;
    ImVec2 windowSize;

private:
    ImGuiContext* _context = nullptr;
    std::function<void()> _body = [] {};
};

} // namespace test
