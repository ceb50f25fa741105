#pragma once
// The tank's gas: a game::entity::PressurizedVolume once the library has one.
//
// GAP: while game/entity/PressurizedVolume.hpp is not in the tree, TankVolume is a stand-in with the same
// fields and the same rules for the three operations the tank uses (Update, Push, Transfer against an
// environment), so the tank's code and saved bytes do not change when the real class arrives. This file is
// the only place that knows the difference; delete the #else branch then.

#if __has_include("game/entity/PressurizedVolume.hpp")
#include "game/entity/PressurizedVolume.hpp"

namespace planet {
using TankVolume = game::entity::PressurizedVolume;
} // namespace planet

#else
#include "game/Chemistry.hpp"
#include "game/physics/Environment.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>

namespace planet {

struct TankVolume {
    static constexpr double kGasConstant = 8.31446261815324;

    double airtightness = 1.0;
    std::unordered_map<std::string, double> composition; // formula to kg
    double temperature = 293.15;
    double volume = 0.0; // m³
    double totalMass = 0.0;
    double density = 0.0;
    double liquidFraction = 0.0;
    double pressure = 0.0;

    void Leak() { airtightness = 0.0; }

    void Update(double dt) {
        if (volume == 0.0)
            return;
        totalMass = 0.0;
        double condensed = 0.0;
        for (const auto& [formula, mass] : composition) {
            totalMass += mass;
            condensed += mass / game::Molecule(formula).GetMaximumLiquidDensity();
        }
        liquidFraction = std::clamp(condensed / volume, 0.0, 1.0);
        if (condensed > volume) {
            const double k = 1.0 - (condensed - volume) / volume;
            for (auto& entry : composition)
                entry.second *= k;
            totalMass *= k;
        }
        if (!(totalMass > 0.0)) {
            totalMass = density = liquidFraction = pressure = 0.0;
            composition.clear();
        } else {
            density = totalMass / volume;
            double moles = 0.0;
            for (const auto& [formula, mass] : composition)
                moles += mass / game::Molecule(formula).GetMolarMass();
            pressure = kGasConstant / (totalMass / moles) * density * temperature;
        }
        airtightness = std::clamp(airtightness + dt, 0.0, 1.0);
    }

    void Push(const std::string& formula, double mass) {
        const double rho = game::Molecule(formula).GetMaximumLiquidDensity();
        double used = 0.0;
        for (const auto& [name, m] : composition)
            used += m / game::Molecule(name).GetMaximumLiquidDensity();
        composition[formula] += std::min(std::max(volume - used, 0.0), mass / rho) * rho;
    }

    static double Transfer(TankVolume* a, const game::physics::EnvironmentInfo& env, const glm::dvec3&,
                           const glm::dvec3&, double area, double dt) {
        if (a->volume == 0.0)
            return 0.0;
        a->Leak();
        if (area <= 0.0)
            return 0.0;
        const double dp = a->pressure - env.pressure;
        if (std::abs(dp) < 100.0)
            return 0.0;
        const double flow = area * std::sqrt(2.0 * std::abs(dp) / ((env.density + a->density) / 2.0)) * dt;
        double mixMolarMass = 0.0;
        for (const auto& [gas, fraction] : env.composition)
            mixMolarMass += game::Molecule(gas).GetMolarMass() * fraction;
        auto limit = [&](const std::string& gas, double fraction) {
            return env.density * a->volume * fraction * game::Molecule(gas).GetMolarMass() / mixMolarMass;
        };
        if (flow < 10.0) {
            for (const auto& [gas, fraction] : env.composition)
                a->composition[gas] = limit(gas, fraction);
            return 0.0;
        }
        if (dp > 0.0 && a->density > env.density) {
            if (a->totalMass == 0.0 || a->density == 0.0)
                return 0.0;
            for (auto entry = a->composition.begin(); entry != a->composition.end();) {
                entry->second -= entry->second * flow / a->totalMass;
                entry = entry->second < 0.001 ? a->composition.erase(entry) : std::next(entry);
            }
            return flow;
        }
        if (env.density == 0.0)
            return 0.0;
        for (const auto& [gas, fraction] : env.composition)
            a->composition[gas] = std::min(flow * fraction + a->composition[gas], limit(gas, fraction));
        return flow;
    }
};

} // namespace planet
#endif
