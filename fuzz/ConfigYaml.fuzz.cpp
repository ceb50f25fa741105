// The config tree: any text either parses into a tree that every accessor can walk, or ends the process the
// documented way (bad YAML, a conversion of what is not a number).

#include "FuzzSupport.hpp"

#include "game/host/Config.hpp"

#include <vector>

namespace {

void Walk(const game::Config::Node& node, size_t& visited) {
    ++visited;
    (void)node.Key();
    (void)node.AsString();
    (void)node.Index();
    if (node.IsInt()) {
        (void)node.AsInt64();
    }
    if (node.IsFloat())
        (void)node.AsDouble();
    (void)node["key"];
    for (game::Config::Node child : node)
        Walk(child, visited);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    FUZZ_BODY({
        game::Config config;
        config.Parse(text.data());
        size_t visited = 0;
        if (!config.Empty())
            Walk(config.Root(), visited);
        GAME_ASSERT(visited == config.Root().Size());
    });
    return 0;
}
