#pragma once
// A closed tank or cabin: a volume with a mix of gases and liquids in it, whose density and pressure follow
// from what it holds.
//
// Modules own the volumes and decide what leaks where; the library supplies the gas model (Update), the
// exchange between two volumes or between a volume and the outside (Transfer), and the lookup of the volume
// around a point of a vehicle (Find).
//
// The model. `composition` maps a molecule formula ("N2", "H2O") to kilograms. Update sums the masses, works
// out how much room the content would take as a liquid (mass over Molecule::GetMaximumLiquidDensity), sheds
// the excess of an overfull volume, and takes the pressure from the ideal gas law with the mean molar mass:
// p = R / (totalMass / moles) * density * temperature, R = 8.31446261815324. The liquid share is only
// reported (`liquidFraction`); it does not change the pressure. Between two Updates, `totalMass`, `density`
// and `pressure` are stale: Push and Transfer change `composition` only.
//
// Leaks. `airtightness` runs from 0 (open) to 1 (sealed). Every Transfer against the outside and every Leak()
// sets it to 0, a Transfer between two volumes lowers both to the smaller of the two, and each Update closes
// it by `dt`: a leak heals in one second unless something opens it again.
//
// Ownership and registry. Modules hold their volumes by shared pointer; the library keeps weak pointers in
// `_sharedObjects` only, so a volume that its module drops leaves the list by itself (Find skips it, Create
// sweeps it out). ServerSideEntity::UnloadAllEntities empties the list.
//
// Threads. `_sharedObjectsMutex` guards the list, not the volumes: a volume's fields take no lock, and all
// calls that change them come from the server thread in the entity update phases. Find holds the shared side
// of the list while it calls back, and takes ServerSideEntity::_sharedObjectsMutex (shared) inside it: the
// volumes' lock always comes before the entities' lock. A callback of Find must therefore not call Create,
// and no code may ask for the volumes' lock while it holds the entities' lock.
//
// Failures. Update asserts "!isnan(density)", "!isinf(density)", "!isnan(totalMass)", "!isinf(totalMass)";
// Transfer between two volumes asserts "a->totalMass > 0" or "b->totalMass > 0" on the giving side. A formula
// that Molecule cannot read is an empty molecule, whose liquid density fails its own assertion
// ("atomicVolume > 0" of game/Chemistry): a module must only put real formulas into a volume.

#include "game/entity/common.hpp"
#include "game/physics/Environment.hpp"
#include "vesmo/core/SharedMutex.hpp"

#include <glm/vec3.hpp>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace game::entity {

class PressurizedVolume {
public:
    static constexpr double GasConstant = 8.31446261815324; // J / (mol K)
    // Pressures closer than this (Pa) do not flow.
    static constexpr double MinimumPressureDifference = 100.0;
    // Against an environment, a flow below this (kg) is closed at once: the volume takes the outside's mix.
    static constexpr double InstantEqualisationFlow = 10.0;
    // A composition entry that drops below this (kg) in a Transfer is erased, with what was left in it.
    static constexpr double MinimumEntryMass = 0.001;

    // A sealed, empty volume of `volume` cubic metres at `temperature` kelvin, not in the registry. Use
    // Create for a volume that Find should see.
    PressurizedVolume(Id vehicleId, Id entityId, double volume, double temperature);
    PressurizedVolume() = default;

    // Makes a volume and adds it to `_sharedObjects` (exclusive side of the lock), sweeping expired entries
    // out of the list on the way. The caller (a module) holds the only strong reference.
    static std::shared_ptr<PressurizedVolume> Create(Id vehicleId, Id entityId, double volume, double temperature);

    // Recomputes totalMass, density, liquidFraction and pressure from `composition`, sheds what does not fit,
    // and closes a leak by `dt` seconds' worth. A volume of size 0 is inert: nothing changes.
    void Update(double dt);
    void Airtight() { airtightness = 1.0; }
    void Leak() { airtightness = 0.0; }
    bool IsAirtight() const { return airtightness >= 1.0; }
    // Adds as much of `mass` kilograms of `formula` as the room left (counted as liquid) takes. What does not
    // fit is dropped silently; a full tank takes nothing (the entry is still created, with 0 kg).
    void Push(const std::string& formula, double mass);

    // Moves gas from the volume of higher pressure to the other through an opening of `area` square metres
    // for `dt` seconds, and returns the mass moved (kg). Both airtightness values drop to the smaller one.
    // Returns 0 when a pointer is null, `area` is not positive, a volume has size 0, or the pressures are
    // closer than MinimumPressureDifference. The flow is Bernoulli's speed times area times dt, taken as a
    // mass as it stands. Each entry of the giving side gives up its share of the flow, m * flow / totalMass,
    // so a flow above the giver's totalMass empties it and hands the other side more than it had. The two
    // positions are part of the signature and not read.
    static double Transfer(PressurizedVolume* a, PressurizedVolume* b, const glm::dvec3& positionA,
                           const glm::dvec3& positionB, double area, double dt);
    // The same against an environment (its pressure, density and composition, where composition holds mole
    // fractions). Opens `a` (Leak) unless it is null or of size 0. A small flow equalises at once: the
    // environment's gases are set to what the volume would hold at the environment's density; gases the
    // environment lacks stay. Otherwise the volume vents (higher pressure and denser than the outside) or
    // the outside streams in up to the same limit. Returns the flow, or 0 when nothing streamed (also after
    // an instant equalisation).
    static double Transfer(PressurizedVolume* a, const game::physics::EnvironmentInfo& env, const glm::dvec3& positionA,
                           const glm::dvec3& positionB, double area, double dt);

    // Calls `fn` with the first registered volume of `vehicle` whose entity (`entityId`) says that
    // `position` is inside it (Interface::IsInsideVolume, only if the module overrides it), and returns
    // whether one was found. Volumes of size 0, expired volumes and volumes without a live entity or
    // interface are skipped. `fn` runs under the shared side of `_sharedObjectsMutex`.
    static bool Find(Id vehicle, const glm::dvec3& position,
                     std::function<void(std::shared_ptr<PressurizedVolume>&)>&& fn);

    double airtightness = 1.0;                           // 0 open .. 1 sealed
    std::unordered_map<std::string, double> composition; // formula to kilograms
    double temperature = 0.0;                            // K
    Id vehicleId;                                        // the vehicle the volume belongs to
    Id entityId;                                         // the entity that tells whether a point is inside
    double userValues[4] = {0.0, 0.0, 0.0, 0.0};         // for the owning module; the model never reads them
    double volume = 0.0;                                 // m³
    double totalMass = 0.0;                              // kg, as of the last Update
    double density = 0.0;                                // kg/m³, as of the last Update
    double liquidFraction = 0.0;                         // 0..1: room the content would take as a liquid
    double pressure = 0.0;                               // Pa, as of the last Update

    static std::vector<std::weak_ptr<PressurizedVolume>> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;
};

} // namespace game::entity
