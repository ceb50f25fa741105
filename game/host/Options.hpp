#pragma once
// Named tuning values of any type, shared by the library and the modules.
//
// Modules write `_options` under `_mu` (or with Set); the library reads through Get. An absent key reads
// as the caller's default and is not stored. Only one option is read by the library itself:
// "world_origin_reset_distance_threshold" (default 1000).

#include <any>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace game {

class Options {
public:
    static std::unordered_map<std::string, std::any> _options;
    static std::mutex _mu;

    // The stored value if it holds a T (for T = double a stored float is widened too), the default if the
    // key is absent; a value of another type throws std::bad_any_cast.
    template <class T> static T Get(const std::string& key, const T& defaultValue) {
        std::lock_guard guard(_mu);
        auto found = _options.find(key);
        if (found == _options.end())
            return defaultValue;
        if constexpr (std::is_same_v<T, double>) {
            if (const float* narrow = std::any_cast<float>(&found->second))
                return static_cast<double>(*narrow);
        }
        return std::any_cast<T>(found->second);
    }

    template <class T> static void Set(const std::string& key, T value) {
        std::lock_guard guard(_mu);
        _options[key] = std::move(value);
    }

    static void Clear() {
        std::lock_guard guard(_mu);
        _options.clear();
    }
};

} // namespace game
