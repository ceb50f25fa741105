#pragma once
// The periodic table and what a chemical formula is worth to the simulation.
//
// A substance is named everywhere by its formula text ("H2O", "CO2"); tanks, atmospheres and modules pass
// the text and build a Molecule on the spot. A Molecule is the list of (atomic number, count) pairs of its
// formula, in formula order and never merged ("HOH" keeps three entries).
//
// Formula grammar: a run of element symbols, each an upper-case letter and up to two lower-case letters
// taken greedily, then an optional decimal count. Letter case tells elements apart ("CO" is carbon and
// oxygen, "Co" is cobalt). A count is kept in 8 bits and wraps at 256 ("H256" holds 0 atoms, "H300" 44).
// Brackets, charges, lower-case starts and unknown symbols make the whole formula fail; a failed formula
// is an empty molecule, silently: its Formula() is "", its masses are 0. A first parse is slow (the
// expression is compiled on each parse, tens of microseconds) and grows with the square of the length;
// formulas are short and each is parsed once per process.
//
// Tables. Every table below is public and is filled by the static initialiser of game/Chemistry when the
// library is loaded. Static initialisers of other files must not build molecules: their order against this
// one is not fixed. Two of the tables grow afterwards, and only by growing:
//   - `molecules`: a formula that is neither a start-up key nor a bare element symbol is parsed once and
//     remembered under the text it was asked for, failures included, so a bad formula is not parsed again.
//   - `liquidMoleculesMaxDensity`: a density that is not in the table is computed once and remembered.
//
// Threads. Nothing here takes a lock. Lookups of start-up keys, of bare element symbols and of formulas
// that have already been met only read the tables, and so does a liquid density already in its table; any
// number of threads may do these at once. The first construction of a new formula, and the first liquid
// density asked of it, write an unguarded map: a caller that uses Molecule on several threads has to make
// sure that these do not happen concurrently with any other use (for example by meeting its formulas once
// on one thread before it fans out).

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace game {

struct Element {
    uint8_t number;     // the atomic number, also the row of `elements`
    std::string symbol; // one to three letters; the unnamed elements keep their placeholder symbols
    std::string name;   // the English name
    double atomicMass;  // atomic mass units; the placeholder elements carry 0
    // The common oxidation states, positive ones first. The library never reads them; they are for modules.
    std::vector<signed char> oxidationStates;

    // 119 rows: the index is the atomic number. Row 0 is a placeholder: symbol "_", no name, mass 0.
    static std::vector<Element> elements;
    // Rows 1 to 118 by symbol, pointing into `elements` ("_" is not a key).
    static std::unordered_map<std::string, const Element*> elementsBySymbol;
};

class Molecule {
public:
    // (atomic number, count) in the order of the formula.
    std::vector<std::tuple<uint8_t, uint8_t>> atoms;

    // A start-up key or a formula met before is copied from `molecules`. A bare element symbol of one or
    // two letters is that one atom and is not stored. Anything else is parsed and stored under `formula`,
    // also when it fails to parse and gives an empty molecule.
    Molecule(const std::string& formula);

    // Kilograms per molecule: 1.6605402e-27 kg per atomic mass unit.
    double Mass() const;
    // Kilograms per mole ("H2O" gives 0.018015).
    double GetMolarMass() const;
    double HeatCapacity() const { return 1.0; }
    double LiquidIndexOfRefraction() const { return 1.33; }
    double SolidIndexOfRefraction() const { return 1.45; }
    // From `gasMoleculesIndexOfRefraction` by Formula(); a molecule of two or three atoms of one element
    // answers with that element's row ("O2" and "O3" with "O"); anything else is 1.001.
    double GaseousIndexOfRefraction() const;
    // Kilograms per cubic metre, from `liquidMoleculesMaxDensity` by Formula(). A formula that is not in the
    // table is estimated and stored there: each entry counts as one sphere of radius count * 9.2e-11 m, and
    // the density is Mass() over the volume of those spheres. An empty molecule, or one whose counts are
    // all 0, has no volume and fails the assertion "atomicVolume > 0".
    double GetMaximumLiquidDensity() const;
    // Each entry's symbol, then its count when the count is above 1 ("H2O"; "H0" writes "H").
    std::string Formula() const;

    // Molecules by the formula they were asked for: 31 start-up keys, then every formula met since.
    static std::unordered_map<std::string, Molecule> molecules;
    // Refractive index of gases by formula; rows of pure elements are keyed by the bare symbol.
    static std::unordered_map<std::string, double> gasMoleculesIndexOfRefraction;
    // Density of the liquid in kilograms per cubic metre by formula: five rows at start, then every
    // formula whose density was asked for.
    static std::unordered_map<std::string, double> liquidMoleculesMaxDensity;

private:
    Molecule() = default;
    // The 31 start-up keys, each parsed; used once, to initialise `molecules`.
    static std::unordered_map<std::string, Molecule> _StartupMolecules();
};

} // namespace game
