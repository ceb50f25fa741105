#include "game/webview/ElectronWebview.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/webview/PipeServer.hpp"
#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <utility>

namespace game {

bool ElectronWebview::GameIsActive() { return Game::isActive.load(); }

namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    char text[128];
    const int length = std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    std::string result;
    if (length < 0) {
        result.clear();
    } else if (static_cast<std::size_t>(length) < sizeof(text)) {
        result.assign(text, static_cast<std::size_t>(length));
    } else { // only for absurd coordinates: "%f" of 1e300 has 300 digits
        result.resize(static_cast<std::size_t>(length));
        std::vsnprintf(result.data(), result.size() + 1, format, again);
    }
    va_end(again);
    return result;
}

std::string InputCommand(const std::string& id, const std::string& json) { return "input " + id + " " + json; }

std::string MouseUpJson(double x, double y) {
    return Format("{\"type\":\"mouseUp\",\"x\":%f,\"y\":%f,\"button\":\"left\",\"clickCount\":1}", x, y);
}

// The browser's name of a GLFW key code, or nullptr for a key the browser isn't told about.
const char* KeyName(int key) {
    static const char* const digitsAndLetters[] = {
        "0",     "1",     "2", "3", "4", "5", "6", "7", "8", "9", nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, "A", "B", "C", "D", "E", "F", "G", "H", "I",     "J",     "K",     "L",     "M",
        "N",     "O",     "P", "Q", "R", "S", "T", "U", "V", "W", "X",     "Y",     "Z"};
    static const char* const keypad[] = {"num0", "num1", "num2",   "num3",   "num4",    "num5",   "num6",   "num7",
                                         "num8", "num9", "numdec", "numdiv", "nummult", "numsub", "numadd", "Enter"};
    // ';' (59) and '=' (61) sit between the digits and the letters: their gaps in the table fall through.
    if (key >= 48 && key <= 90 && digitsAndLetters[key - 48])
        return digitsAndLetters[key - 48];
    if (key >= 320 && key <= 335)
        return keypad[key - 320];
    switch (key) {
    case 32: return "Space";
    case 39: return "'";
    case 44: return ",";
    case 45: return "-";
    case 46: return ".";
    case 47: return "/";
    case 59: return ";";
    case 61: return "=";
    case 91: return "[";
    case 92: return "\\\\"; // a JSON string holding one backslash
    case 93: return "]";
    case 96: return "`";
    case 257: return "Enter";
    case 258: return "Tab";
    case 259: return "Backspace";
    case 260: return "Insert";
    case 261: return "Delete";
    case 262: return "Right";
    case 263: return "Left";
    case 264: return "Down";
    case 265: return "Up";
    case 266: return "PageUp";
    case 267: return "PageDown";
    case 268: return "Home";
    case 269: return "End";
    case 280: return "Capslock";
    case 281: return "Scrolllock";
    case 282: return "Numlock";
    case 283: return "PrintScreen";
    case 284: return "Pause";
    case 340:
    case 344: return "Shift";
    case 341:
    case 345: return "Ctrl";
    case 342:
    case 346: return "Alt";
    case 343:
    case 347: return "Super";
    case 348: return "Menu";
    default: return nullptr;
    }
}

// Reads until `size` bytes have come. False when the pipe ends (or the read is interrupted) first.
bool ReadFully(PipeServer& pipe, char* buffer, unsigned long size) {
    unsigned long received = 0;
    while (received < size) {
        const unsigned long count = pipe.Read(buffer + received, size - received);
        if (count == 0)
            return false;
        received += count;
    }
    return true;
}

} // namespace

void ElectronWebview::RunElectron(const std::string& command) {
    {
        std::lock_guard guard(mutex);
        running = true;
    }
    [[maybe_unused]] const int status = std::system(command.c_str());
    while (GameIsActive()) {
        timespec remaining{0, 10'000'000};
        while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
        }
    }
    std::lock_guard guard(mutex);
    running = false;
}

bool ElectronWebview::IsRunning() {
    std::lock_guard guard(mutex);
    return running;
}

void ElectronWebview::ReadFromPipe(PipeServer& pipe) {
    // One buffer for every image: one thread reads, and a frame costs no allocation.
    static std::array<char, MaxImageSize> readBuffer;

    // Every field is read until complete, so a record split across reads stays in step; a pipe that ends
    // in the middle of a record drops that record.
    std::uint32_t nameSize = 0;
    if (!ReadFully(pipe, reinterpret_cast<char*>(&nameSize), sizeof(nameSize)))
        return;
    std::uint32_t imageSize = 0;
    if (!ReadFully(pipe, reinterpret_cast<char*>(&imageSize), sizeof(imageSize)))
        return;
    GAME_ASSERT(imageSize <= readBuffer.size());
    // The id is zero-terminated in the same buffer, so it must leave room for the terminator.
    GAME_ASSERT(nameSize < readBuffer.size());

    unsigned long received = 0;
    while (received < nameSize) {
        const unsigned long count = pipe.Read(readBuffer.data() + received, nameSize - received);
        if (count == 0)
            return;
        received += count;
    }
    readBuffer[received] = '\0';
    const std::string id(readBuffer.data());

    if (!ReadFully(pipe, readBuffer.data(), imageSize))
        return;

    std::lock_guard guard(mutex);
    auto found = callbacks.find(id);
    if (found != callbacks.end() && found->second)
        found->second(readBuffer.data(), imageSize);
}

void ElectronWebview::WriteToPipe(PipeServer& pipe) {
    // The message is chosen under the mutex but written after it is released: the first Write blocks until
    // the browser has opened its end, and a full pipe blocks too, and neither may stall the threads that
    // send input. Only this thread writes, so the order on the wire is the order chosen here.
    std::string message;
    {
        std::lock_guard guard(mutex);
        if (!commands.empty()) {
            message = std::move(commands.front());
            commands.pop_front();
        } else if (!mouseTarget.empty() && mouseMoved) {
            message = InputCommand(mouseTarget, Format("{\"type\":\"mouseMove\",\"x\":%f,\"y\":%f}", mouseX, mouseY));
            mouseMoved = false;
        } else {
            message = "ping ";
        }
    }
    if (!pipe.Write(message.data(), message.size()))
        std::cerr << "Broken pipe with ELECTRON_WEBVIEW in Write Thread" << std::endl;
}

void ElectronWebview::SetCallbackLocked(const std::string& id, ImageCallback callback, ImageCallback& previous) {
    ImageCallback& slot = callbacks[id];
    previous = std::move(slot);
    slot = std::move(callback);
}

void ElectronWebview::Open(const std::string& id, const std::string& url, unsigned int width, unsigned int height,
                           double scale) {
    // The replaced callback may own a texture's last reference: it dies after the mutex is released.
    ImageCallback previous;
    std::lock_guard guard(mutex);
    commands.push_back("open " + id + " " + url + " " + std::to_string(width) + " " + std::to_string(height) + " " +
                       Format("%f", scale));
    SetCallbackLocked(
        id, [](const char*, unsigned long) {}, previous);
    viewAsked = true;
}

void ElectronWebview::Texture(const std::shared_ptr<vesmo::graphics::DynamicAsyncTexture>& texture,
                              const std::string& id, const std::string& url, double scale) {
    std::weak_ptr<vesmo::graphics::DynamicAsyncTexture> weak = texture;
    ImageCallback callback = [weak](const char* data, unsigned long size) {
        if (auto alive = weak.lock())
            alive->Load(reinterpret_cast<const unsigned char*>(data), size);
    };
    ImageCallback previous;
    std::lock_guard guard(mutex);
    commands.push_back("open " + id + " " + url + " " + std::to_string(texture->Width()) + " " +
                       std::to_string(texture->Height()) + " " + Format("%f", scale));
    SetCallbackLocked(id, std::move(callback), previous);
    viewAsked = true;
}

void ElectronWebview::Close(const std::string& id) {
    ImageCallback previous;
    std::lock_guard guard(mutex);
    commands.push_back("close " + id);
    auto found = callbacks.find(id);
    if (found != callbacks.end()) {
        previous = std::move(found->second);
        callbacks.erase(found);
    }
}

void ElectronWebview::ClearCallbacks() {
    std::unordered_map<std::string, ImageCallback> previous;
    std::lock_guard guard(mutex);
    previous.swap(callbacks);
}

void ElectronWebview::InputKey(int key, int action) {
    std::lock_guard guard(mutex);
    if (mouseTarget.empty())
        return;
    const char* type = action == 1 ? "keyDown" : action == 0 ? "keyUp" : nullptr;
    const char* name = KeyName(key);
    if (!type || !name)
        return;
    commands.push_back(InputCommand(mouseTarget, Format("{\"type\":\"%s\",\"keyCode\":\"%s\"}", type, name)));
}

void ElectronWebview::InputChar(char c) {
    std::lock_guard guard(mutex);
    if (mouseTarget.empty())
        return;
    // Only the backslash is escaped; a double quote goes out as it is, and the reader knows the shape.
    const std::string json = c == '\\' ? Format("{\"type\":\"char\",\"keyCode\":\"%s\"}", "\\\\")
                                       : Format("{\"type\":\"char\",\"keyCode\":\"%c\"}", c);
    commands.push_back(InputCommand(mouseTarget, json));
}

void ElectronWebview::MouseMove(const std::string& id, double x, double y) {
    std::lock_guard guard(mutex);
    if (mouseDown && id != mouseTarget)
        MouseUpLocked(); // a drag can't cross views
    if (id.empty())
        return;
    mouseTarget = id;
    mouseX = x;
    mouseY = y;
    mouseMoved = true;
}

void ElectronWebview::MouseButton(const std::string& id, int button, int action, double x, double y) {
    if ((button != 0 && button != 1) || (action != 0 && action != 1))
        return;
    std::lock_guard guard(mutex);
    if (mouseDown && id != mouseTarget)
        MouseUpLocked();
    commands.push_back(
        InputCommand(id, Format("{\"type\":\"%s\",\"x\":%f,\"y\":%f,\"button\":\"%s\",\"clickCount\":1}",
                                action == 1 ? "mouseDown" : "mouseUp", x, y, button == 0 ? "left" : "right")));
    mouseDown = action == 1;
}

void ElectronWebview::MouseUp() {
    std::lock_guard guard(mutex);
    MouseUpLocked();
}

void ElectronWebview::MouseUpLocked() {
    if (mouseTarget.empty())
        return;
    commands.push_back(InputCommand(mouseTarget, MouseUpJson(mouseX, mouseY)));
    mouseDown = false;
}

void ElectronWebview::MouseWheel(double x, double y) {
    std::lock_guard guard(mutex);
    if (mouseTarget.empty())
        return;
    commands.push_back(InputCommand(
        mouseTarget, Format("{\"type\":\"mouseWheel\",\"x\":0,\"y\":0,\"deltaX\":%f,\"deltaY\":%f}", x * 40, y * 40)));
}

} // namespace game
