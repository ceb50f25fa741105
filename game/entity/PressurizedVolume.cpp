#include "game/entity/PressurizedVolume.hpp"

#include "game/Assert.hpp"
#include "game/chemistry/Chemistry.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace game::entity {

using std::isinf;
using std::isnan;

std::vector<std::weak_ptr<PressurizedVolume>> PressurizedVolume::_sharedObjects;
vesmo::SharedMutex PressurizedVolume::_sharedObjectsMutex;

namespace {

// Room that `mass` kilograms of `formula` take as a liquid, in cubic metres.
double CondensedVolume(const std::string& formula, double mass) {
    return mass / Molecule(formula).GetMaximumLiquidDensity();
}

// Takes `flow * m / totalMass` from every entry of `from`, hands it to `to` when there is one, and erases
// entries that fall below the smallest mass worth keeping (what was left in them is lost).
void Drain(std::unordered_map<std::string, double>& from, double totalMass, double flow,
           std::unordered_map<std::string, double>* to) {
    for (auto entry = from.begin(); entry != from.end();) {
        const double given = entry->second * flow / totalMass;
        if (to)
            (*to)[entry->first] += given;
        entry->second -= given;
        if (entry->second < PressurizedVolume::MinimumEntryMass)
            entry = from.erase(entry);
        else
            ++entry;
    }
}

} // namespace

PressurizedVolume::PressurizedVolume(Id vehicle, Id entity, double size, double kelvin)
    : temperature(kelvin), vehicleId(vehicle), entityId(entity), volume(size) {}

std::shared_ptr<PressurizedVolume> PressurizedVolume::Create(Id vehicle, Id entity, double size, double kelvin) {
    auto created = std::make_shared<PressurizedVolume>(vehicle, entity, size, kelvin);
    std::unique_lock lock(_sharedObjectsMutex);
    std::erase_if(_sharedObjects, [](const std::weak_ptr<PressurizedVolume>& entry) { return entry.expired(); });
    _sharedObjects.push_back(created);
    return created;
}

namespace {

// What the tick needs of a substance. A Molecule is a copy of its cached atom list, a heap block each time it
// is made; a volume asks for the same few formulas every tick, so their two figures are kept here, per
// thread (the tick runs on the server loop, tests on their own threads).
struct Substance {
    double molarMass;
    double liquidDensity;
};

const Substance& SubstanceOf(const std::string& formula) {
    thread_local std::unordered_map<std::string, Substance> known;
    if (const auto found = known.find(formula); found != known.end())
        return found->second;
    const Molecule molecule(formula);
    return known.emplace(formula, Substance{molecule.GetMolarMass(), molecule.GetMaximumLiquidDensity()}).first->second;
}

} // namespace

void PressurizedVolume::Update(double dt) {
    if (volume == 0.0)
        return;

    totalMass = 0.0;
    double condensed = 0.0;
    double moles = 0.0;
    for (const auto& [formula, mass] : composition) {
        const Substance& substance = SubstanceOf(formula);
        totalMass += mass;
        condensed += mass / substance.liquidDensity;
        moles += mass / substance.molarMass;
    }
    liquidFraction = std::clamp(condensed / volume, 0.0, 1.0);

    if (condensed > volume) {
        // Overfull: scale everything down by the share that does not fit. Moles scale with the masses.
        const double k = 1.0 - (condensed - volume) / volume;
        for (auto& entry : composition)
            entry.second *= k;
        totalMass *= k;
        moles *= k;
    }

    if (!(totalMass > 0.0)) {
        totalMass = 0.0;
        density = 0.0;
        liquidFraction = 0.0;
        pressure = 0.0;
        composition.clear();
    } else {
        density = totalMass / volume;
        pressure = GasConstant / (totalMass / moles) * density * temperature;
    }

    GAME_ASSERT(!isnan(density));
    GAME_ASSERT(!isinf(density));
    GAME_ASSERT(!isnan(totalMass));
    GAME_ASSERT(!isinf(totalMass));

    airtightness = std::clamp(airtightness + dt, 0.0, 1.0);
}

void PressurizedVolume::Push(const std::string& formula, double mass) {
    const double rho = Molecule(formula).GetMaximumLiquidDensity();
    double room = volume;
    for (const auto& [held, heldMass] : composition)
        room -= CondensedVolume(held, heldMass);
    const double added = std::min(std::max(room, 0.0), mass / rho) * rho;
    composition[formula] += added;
}

double PressurizedVolume::Transfer(PressurizedVolume* a, PressurizedVolume* b, const glm::dvec3&, const glm::dvec3&,
                                   double area, double dt) {
    if (!a || !b || area <= 0.0 || a->volume == 0.0 || b->volume == 0.0)
        return 0.0;
    const double dp = a->pressure - b->pressure;
    const double airtightness = std::min(a->airtightness, b->airtightness);
    a->airtightness = airtightness;
    b->airtightness = airtightness;
    if (std::abs(dp) < MinimumPressureDifference)
        return 0.0;

    const double speed = std::sqrt(2.0 * std::abs(dp) / ((a->density + b->density) / 2.0));
    const double flow = area * speed * dt;
    if (dp > 0.0) {
        GAME_ASSERT(a->totalMass > 0);
        Drain(a->composition, a->totalMass, flow, &b->composition);
    } else {
        GAME_ASSERT(b->totalMass > 0);
        Drain(b->composition, b->totalMass, flow, &a->composition);
    }
    return flow;
}

double PressurizedVolume::Transfer(PressurizedVolume* a, const game::physics::EnvironmentInfo& env, const glm::dvec3&,
                                   const glm::dvec3&, double area, double dt) {
    if (!a || a->volume == 0.0)
        return 0.0;
    a->Leak();
    if (area <= 0.0)
        return 0.0;
    const double dp = a->pressure - env.pressure;
    if (std::abs(dp) < MinimumPressureDifference)
        return 0.0;

    const double speed = std::sqrt(2.0 * std::abs(dp) / ((env.density + a->density) / 2.0));
    const double flow = area * speed * dt;

    double mixMolarMass = 0.0;
    for (const auto& [gas, fraction] : env.composition)
        mixMolarMass += Molecule(gas).GetMolarMass() * fraction;
    // What the volume holds of `gas` at the environment's density: its mass share of the mix.
    const auto limitOf = [&](const std::string& gas, double fraction) {
        return env.density * a->volume * fraction * Molecule(gas).GetMolarMass() / mixMolarMass;
    };

    if (flow < InstantEqualisationFlow) {
        for (const auto& [gas, fraction] : env.composition)
            a->composition[gas] = limitOf(gas, fraction);
        return 0.0;
    }

    if (dp > 0.0 && a->density > env.density) {
        if (a->totalMass == 0.0 || a->density == 0.0)
            return 0.0;
        Drain(a->composition, a->totalMass, flow, nullptr);
        return flow;
    }

    if (env.density == 0.0)
        return 0.0;
    for (const auto& [gas, fraction] : env.composition) {
        double& held = a->composition[gas];
        held = std::min(flow * fraction + held, limitOf(gas, fraction));
    }
    return flow;
}

bool PressurizedVolume::Find(Id vehicle, const glm::dvec3& position,
                             std::function<void(std::shared_ptr<PressurizedVolume>&)>&& fn) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (const std::weak_ptr<PressurizedVolume>& entry : _sharedObjects) {
        std::shared_ptr<PressurizedVolume> candidate = entry.lock();
        if (!candidate || !(candidate->volume > 0.0) || !(candidate->vehicleId == vehicle))
            continue;
        // Get takes the entities' lock (shared) for the lookup, inside ours: volumes before entities.
        const ServerSideEntity::Ptr entity = ServerSideEntity::Get(candidate->entityId);
        if (!entity)
            continue;
        const std::shared_ptr<ServerSideEntity::Interface> behaviour = entity->GetInterface();
        if (!behaviour || !behaviour->Overrides(ServerSideEntity::Interface::Hook::IsInsideVolume))
            continue;
        if (behaviour->IsInsideVolume(position)) {
            fn(candidate);
            return true;
        }
    }
    return false;
}

} // namespace game::entity
