#pragma once
// Uniform random numbers in [min, max] from a std::mt19937_64 seeded once from std::random_device
// (token "default"). One generator per object; callers that share one across threads lock it themselves.

#include <random>
#include <type_traits>

namespace vesmo {

template <class T, T min, T max> class RandomGenerator {
    static_assert(std::is_arithmetic_v<T>, "RandomGenerator draws numbers");
    static_assert(min <= max, "RandomGenerator needs min <= max");

public:
    RandomGenerator() : _engine(Seed()), _distribution(min, max) {}

    T operator()() { return _distribution(_engine); }
    T Next() { return _distribution(_engine); }

private:
    static std::mt19937_64::result_type Seed() {
        std::random_device device("default");
        return (static_cast<std::mt19937_64::result_type>(device()) << 32) ^ device();
    }

    using Distribution =
        std::conditional_t<std::is_integral_v<T>, std::uniform_int_distribution<T>, std::uniform_real_distribution<T>>;
    std::mt19937_64 _engine;
    Distribution _distribution;
};

} // namespace vesmo
