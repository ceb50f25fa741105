#pragma once
// The web view: a browser surface in a process of its own. Game holds one as a value; the class grows with
// the web view work (its pipes, threads and texture).

namespace game {

class ElectronWebview {
public:
    ElectronWebview() = default;
    ElectronWebview(const ElectronWebview&) = delete;
    ElectronWebview& operator=(const ElectronWebview&) = delete;
};

} // namespace game
