// Channels between modules (short texts by name) and the monitors' names.

#include "game/Game.hpp"

#include "vesmo/core/String.hpp"

#include <cstdlib>
#include <cstring>
#include <shared_mutex>

std::unordered_map<unsigned int, std::string> Game::_monitors = {{0u, std::string()}};
std::mutex Game::_monitorsMutex;
uint32_t Game::currentMonitorID = 0;
double Game::currentMonitorX = 0.0;
double Game::currentMonitorY = 0.0;
double Game::currentMonitorDistance = 0.0;
std::unordered_map<std::string, std::array<char, 4096>> Game::_imcData;
vesmo::SharedMutex Game::_imcMutex;

namespace {

constexpr size_t kImcCapacity = 4096;
constexpr int kImcDigits = 9;

} // namespace

std::string Game::GetIMC(const std::string& key, const std::string& defaultValue) {
    std::shared_lock lock(_imcMutex);
    auto found = _imcData.find(key);
    return found != _imcData.end() ? std::string(found->second.data()) : defaultValue;
}

double Game::GetNumericIMC(const std::string& key, double defaultValue) {
    std::shared_lock lock(_imcMutex);
    auto found = _imcData.find(key);
    return found != _imcData.end() ? std::strtod(found->second.data(), nullptr) : defaultValue;
}

void Game::SetIMC(const std::string& key, const std::string& value) {
    {
        std::shared_lock lock(_imcMutex);
        auto found = _imcData.find(key);
        if (found != _imcData.end()) {
            // strncpy pads with zeros up to the limit, so no old text shows through; the last byte is
            // never written and stays the terminator.
            std::strncpy(found->second.data(), value.c_str(), kImcCapacity - 1);
            return;
        }
    }
    std::unique_lock lock(_imcMutex);
    std::array<char, kImcCapacity>& text = _imcData[key];
    text.fill('\0');
    std::strncpy(text.data(), value.c_str(), kImcCapacity - 1);
}

void Game::SetIMC(const std::string& key, double value) { SetIMC(key, vesmo::String::FromDouble(value, kImcDigits)); }

void Game::AssignMonitor(unsigned int id, const std::string& name) {
    std::lock_guard guard(_monitorsMutex);
    _monitors[id] = name;
}

std::string Game::GetMonitor() {
    std::lock_guard guard(_monitorsMutex);
    auto found = _monitors.find(currentMonitorID);
    return found != _monitors.end() ? found->second : std::string();
}
