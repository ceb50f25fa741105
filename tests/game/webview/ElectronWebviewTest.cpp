#include "game/webview/ElectronWebview.hpp"

#include "PngEncoder.hpp"
#include "game/webview/PipeServer.hpp"
#include "game/webview/PipeTestSupport.hpp"
#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>

using game::ElectronWebview;
using testing_support::PipeFolder;
using testing_support::PipePeer;
using vesmo::graphics::DynamicAsyncTexture;
using Pixel = std::array<unsigned char, 4>;

namespace {

// The game's side and a peer in the browser's place. Each Next() is one turn of the write loop.
class WebviewWire : public ::testing::Test {
protected:
    WebviewWire() : pipe("view"), peer(folder.Data("view.s2c"), folder.Data("view.c2s")) {}

    std::string Next() {
        webview.WriteToPipe(pipe);
        return peer.Take();
    }

    static std::string Record(const std::string& id, const std::string& image) {
        const std::uint32_t sizes[2] = {static_cast<std::uint32_t>(id.size()),
                                        static_cast<std::uint32_t>(image.size())};
        return std::string(reinterpret_cast<const char*>(sizes), sizeof(sizes)) + id + image;
    }

    PipeFolder folder;
    PipeServer pipe;
    PipePeer peer;
    ElectronWebview webview;
};

} // namespace

TEST_F(WebviewWire, IdleTurnsSendPing) {
    ASSERT_TRUE(peer.Ok());
    EXPECT_EQ(Next(), "ping ");
    EXPECT_EQ(Next(), "ping ");
    EXPECT_FALSE(webview.ViewAsked()); // a launcher starts no browser for this
}

TEST_F(WebviewWire, OpenTextureAndCloseSendTheirCommandsInOrder) {
    webview.Open("menu", "file:///tmp/menu.html", 640, 480, 1.5);
    EXPECT_TRUE(webview.ViewAsked());
    ElectronWebview other;
    other.Texture(std::make_shared<DynamicAsyncTexture>(1, 1), "screen", "about:blank", 1.0);
    EXPECT_TRUE(other.ViewAsked());
    webview.Texture(std::make_shared<DynamicAsyncTexture>(256, 128), "screen", "http://127.0.0.1:8000/", 2.0);
    webview.Close("menu");
    EXPECT_EQ(Next(), "open menu file:///tmp/menu.html 640 480 1.500000");
    EXPECT_EQ(Next(), "open screen http://127.0.0.1:8000/ 256 128 2.000000");
    EXPECT_EQ(Next(), "close menu");
    EXPECT_EQ(Next(), "ping ");
}

TEST_F(WebviewWire, MouseMovesCoalesceToTheLastPositionAfterTheCommands) {
    webview.MouseMove("a", 1, 2);
    webview.Open("b", "about:blank", 10, 10, 1);
    webview.MouseMove("a", 3, 4);
    webview.MouseMove("a", 5.25, 6.5);
    EXPECT_EQ(Next(), "open b about:blank 10 10 1.000000");
    EXPECT_EQ(Next(), R"(input a {"type":"mouseMove","x":5.250000,"y":6.500000})");
    EXPECT_EQ(Next(), "ping ");

    // An empty id leaves the target and the waiting position alone.
    webview.MouseMove("", 9, 9);
    EXPECT_EQ(Next(), "ping ");
    webview.MouseWheel(0, 1);
    EXPECT_EQ(Next(), R"(input a {"type":"mouseWheel","x":0,"y":0,"deltaX":0.000000,"deltaY":40.000000})");
}

TEST_F(WebviewWire, MouseButtonsSendDownAndUpAndIgnoreOtherButtons) {
    webview.MouseButton("a", 0, 1, 10, 20);
    webview.MouseButton("a", 0, 0, 10.5, 20);
    webview.MouseButton("a", 1, 1, 3, 4);
    webview.MouseButton("a", 2, 1, 3, 4); // middle button
    webview.MouseButton("a", 0, 2, 3, 4); // repeat
    EXPECT_EQ(Next(), R"(input a {"type":"mouseDown","x":10.000000,"y":20.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input a {"type":"mouseUp","x":10.500000,"y":20.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input a {"type":"mouseDown","x":3.000000,"y":4.000000,"button":"right","clickCount":1})");
    EXPECT_EQ(Next(), "ping ");
}

TEST_F(WebviewWire, APressNeverCrossesViews) {
    // Moving to another view while the button is held releases it on the first view, where the mouse was.
    webview.MouseMove("a", 5, 6);
    webview.MouseButton("a", 0, 1, 5, 6);
    webview.MouseMove("b", 7, 8);
    EXPECT_EQ(Next(), R"(input a {"type":"mouseDown","x":5.000000,"y":6.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input a {"type":"mouseUp","x":5.000000,"y":6.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input b {"type":"mouseMove","x":7.000000,"y":8.000000})");

    // A button on another view while held does the same before its own message.
    webview.MouseButton("b", 0, 1, 7, 8);
    webview.MouseButton("c", 0, 1, 1, 1);
    EXPECT_EQ(Next(), R"(input b {"type":"mouseDown","x":7.000000,"y":8.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input b {"type":"mouseUp","x":7.000000,"y":8.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), R"(input c {"type":"mouseDown","x":1.000000,"y":1.000000,"button":"left","clickCount":1})");

    // Leaving to no view at all releases too; MouseUp itself releases at the last position.
    webview.MouseMove("", 0, 0);
    EXPECT_EQ(Next(), R"(input b {"type":"mouseUp","x":7.000000,"y":8.000000,"button":"left","clickCount":1})");
    webview.MouseUp();
    EXPECT_EQ(Next(), R"(input b {"type":"mouseUp","x":7.000000,"y":8.000000,"button":"left","clickCount":1})");
    EXPECT_EQ(Next(), "ping ");
}

TEST_F(WebviewWire, KeyboardInputNeedsAViewUnderTheMouse) {
    webview.InputKey(65, 1);
    webview.InputChar('a');
    webview.MouseWheel(1, 1);
    webview.MouseUp();
    EXPECT_EQ(Next(), "ping ");

    webview.MouseMove("v", 0, 0);
    Next();
    webview.InputKey(65, 1);
    webview.InputKey(65, 0);
    webview.InputKey(65, 2); // repeats are not sent
    EXPECT_EQ(Next(), R"(input v {"type":"keyDown","keyCode":"A"})");
    EXPECT_EQ(Next(), R"(input v {"type":"keyUp","keyCode":"A"})");
    EXPECT_EQ(Next(), "ping ");
}

TEST_F(WebviewWire, KeyCodesMapToTheBrowsersNames) {
    webview.MouseMove("v", 0, 0);
    Next();
    const std::pair<int, std::string> keys[] = {
        {48, "0"},         {57, "9"},       {90, "Z"},          {32, "Space"},  {39, "'"},       {92, R"(\\)"},
        {96, "`"},         {257, "Enter"},  {259, "Backspace"}, {262, "Right"}, {265, "Up"},     {269, "End"},
        {280, "Capslock"}, {284, "Pause"},  {320, "num0"},      {329, "num9"},  {330, "numdec"}, {331, "numdiv"},
        {332, "nummult"},  {333, "numsub"}, {334, "numadd"},    {335, "Enter"}, {340, "Shift"},  {345, "Ctrl"},
        {346, "Alt"},      {343, "Super"},  {347, "Super"},     {348, "Menu"},  {59, ";"},       {61, "="}};
    for (const auto& [code, name] : keys) {
        webview.InputKey(code, 1);
        EXPECT_EQ(Next(), "input v {\"type\":\"keyDown\",\"keyCode\":\"" + name + "\"}") << "key " << code;
    }
    for (int unknown : {0, 33, 58, 64, 97, 256, 270, 290, 336, 349})
        webview.InputKey(unknown, 1);
    EXPECT_EQ(Next(), "ping ");
}

TEST_F(WebviewWire, CharactersKeepTheJsonReadableExceptTheQuote) {
    webview.MouseMove("v", 0, 0);
    Next();
    webview.InputChar('x');
    webview.InputChar('\\');
    webview.InputChar('"');
    EXPECT_EQ(Next(), R"(input v {"type":"char","keyCode":"x"})");
    EXPECT_EQ(Next(), R"(input v {"type":"char","keyCode":"\\"})");
    EXPECT_EQ(Next(), R"(input v {"type":"char","keyCode":"""})");
}

TEST_F(WebviewWire, WheelDeltasAreFortyPerStep) {
    webview.MouseMove("v", 0, 0);
    Next();
    webview.MouseWheel(1, 2);
    webview.MouseWheel(-0.5, 0);
    EXPECT_EQ(Next(), R"(input v {"type":"mouseWheel","x":0,"y":0,"deltaX":40.000000,"deltaY":80.000000})");
    EXPECT_EQ(Next(), R"(input v {"type":"mouseWheel","x":0,"y":0,"deltaX":-20.000000,"deltaY":0.000000})");
}

TEST(ElectronWebview, AFailedWriteIsReportedAndItsCommandLost) {
    PipeFolder folder(/*withDataFolder=*/false);
    PipeServer pipe("view");
    ElectronWebview webview;
    webview.Close("a");
    EXPECT_EQ(testing_support::StderrOf([&] { webview.WriteToPipe(pipe); }),
              "Broken pipe with ELECTRON_WEBVIEW in Write Thread\n");
}

TEST_F(WebviewWire, ImagesReachTheirViewsTexture) {
    auto texture = std::make_shared<DynamicAsyncTexture>(2, 2);
    webview.Texture(texture, "screen", "about:blank", 1);
    webview.Open("dropped", "about:blank", 2, 2, 1);

    // Two records in one write, then one split into pieces, as a pipe may deliver them.
    const std::string red = Record("screen", testing_support::SolidPng(2, 2, 255, 0, 0));
    const std::string blue = Record("screen", testing_support::SolidPng(2, 2, 0, 0, 255));
    peer.Send(Record("dropped", testing_support::SolidPng(2, 2, 1, 2, 3)) + red);
    webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 0u);
    webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 1u);
    EXPECT_EQ(texture->Pixel(1, 1), (Pixel{255, 0, 0, 255}));

    std::thread writer([&] {
        for (std::size_t at = 0; at < blue.size(); at += 7) {
            peer.Send(blue.substr(at, 7));
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    webview.ReadFromPipe(pipe);
    writer.join();
    EXPECT_EQ(texture->Generation(), 2u);
    EXPECT_EQ(texture->Pixel(0, 0), (Pixel{0, 0, 255, 255}));
}

TEST_F(WebviewWire, ImagesForClosedUnknownOrDroppedViewsGoNowhere) {
    auto texture = std::make_shared<DynamicAsyncTexture>(1, 1);
    const std::string green = testing_support::SolidPng(1, 1, 0, 255, 0);

    webview.Texture(texture, "closed", "about:blank", 1);
    webview.Close("closed");
    peer.Send(Record("closed", green) + Record("unknown", green) + Record("", ""));
    for (int i = 0; i < 3; ++i)
        webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 0u);

    webview.Texture(texture, "cleared", "about:blank", 1);
    webview.ClearCallbacks();
    peer.Send(Record("cleared", green));
    webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 0u);

    // A texture whose last owner let it go just ends the updates; the view itself stays open.
    webview.Texture(std::make_shared<DynamicAsyncTexture>(1, 1), "gone", "about:blank", 1);
    peer.Send(Record("gone", green));
    webview.ReadFromPipe(pipe);

    // Opening an id again replaces its callback.
    auto second = std::make_shared<DynamicAsyncTexture>(1, 1);
    webview.Texture(texture, "again", "about:blank", 1);
    webview.Texture(second, "again", "about:blank", 1);
    peer.Send(Record("again", green));
    webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 0u);
    EXPECT_EQ(second->Generation(), 1u);
}

TEST_F(WebviewWire, ReadReturnsAtOnceWhenTheBrowserIsGone) {
    auto texture = std::make_shared<DynamicAsyncTexture>(1, 1);
    webview.Texture(texture, "v", "about:blank", 1);
    const std::string record = Record("v", testing_support::SolidPng(1, 1, 9, 9, 9));
    peer.Send(record);
    webview.ReadFromPipe(pipe);
    ASSERT_EQ(texture->Generation(), 1u);

    // The browser dies in the middle of a record: the piece is dropped, then every read ends at once.
    peer.Send(record.substr(0, 20));
    peer.CloseOut();
    webview.ReadFromPipe(pipe);
    webview.ReadFromPipe(pipe);
    EXPECT_EQ(texture->Generation(), 1u);
}

TEST_F(WebviewWire, AnImageOverOneMebibyteIsABrokenInvariant) {
    const std::uint32_t sizes[2] = {1, 0x100001};
    peer.Send(std::string(reinterpret_cast<const char*>(sizes), sizeof(sizes)) + "v");
    EXPECT_DEATH(webview.ReadFromPipe(pipe),
                 "Assertion failed: imageSize <= readBuffer.size\\(\\), file game/ElectronWebview");
}

TEST_F(WebviewWire, AnImageOfExactlyOneMebibyteIsReadAndTheNextRecordStaysInStep) {
    auto texture = std::make_shared<DynamicAsyncTexture>(1, 1);
    webview.Open("big", "about:blank", 1, 1, 1);
    webview.Texture(texture, "small", "about:blank", 1);
    const std::string image(0x100000, '\x5a'); // far larger than the pipe's own buffer
    std::thread writer(
        [&] { peer.Send(Record("big", image) + Record("small", testing_support::SolidPng(1, 1, 0, 9, 0))); });
    webview.ReadFromPipe(pipe);
    webview.ReadFromPipe(pipe);
    writer.join();
    EXPECT_EQ(texture->Generation(), 1u);
    EXPECT_EQ(texture->Pixel(0, 0), (Pixel{0, 9, 0, 255}));
}
