#include "game/chemistry/Chemistry.hpp"

#include "game/Assert.hpp"
#include "game/chemistry/PeriodicTable.hpp"

#include <cmath>
#include <cstdlib>
#include <regex>

namespace game {

namespace {

constexpr double kAtomicMassUnit = 1.6605402e-27; // kilograms
// Every entry of a formula stands for one sphere of radius count * kAtomRadius when it is packed as a
// liquid. The count sits inside the cube on purpose: the estimate is meant to come out that way.
constexpr double kAtomRadius = 9.2e-11;              // metres
constexpr double kFourThirdsPi = 4.1887902047863905; // volume of a sphere over r^3

using Atoms = std::vector<std::tuple<uint8_t, uint8_t>>;

// The whole formula, or nothing: one unknown symbol or stray character anywhere drops what was read
// before it. The expression is compiled on each call; a formula is parsed only the first time it is met.
Atoms GetElementsFromFormula(const std::string& text) {
    const std::regex pattern("^([A-Z][a-z]{0,2})([0-9]*)([A-Z].*$|$)", std::regex::ECMAScript);
    Atoms result;
    std::string rest = text;
    for (;;) {
        std::smatch match;
        if (!std::regex_match(rest, match, pattern))
            return {};
        const auto element = Element::elementsBySymbol.find(match[1].str());
        if (element == Element::elementsBySymbol.end())
            return {};
        const std::string digits = match[2].length() == 0 ? std::string("1") : match[2].str();
        // Counts live in 8 bits: 256 wraps to 0, 300 to 44.
        const auto count = static_cast<uint8_t>(std::strtol(digits.c_str(), nullptr, 10));
        result.emplace_back(element->second->number, count);
        std::string next = match[3].str(); // `match` points into `rest`: copy before reassigning it
        rest = std::move(next);
        if (rest.empty())
            break;
    }
    return result;
}

// The element of an entry, or null for an atomic number outside the table (atoms is public and a
// module may fill it by hand).
const Element* ElementOf(uint8_t number) {
    return number < Element::elements.size() ? &Element::elements[number] : nullptr;
}

} // namespace

// The order of these definitions is the order of initialisation: `molecules` is parsed through the
// element tables and so comes last.

std::unordered_map<std::string, double> Molecule::gasMoleculesIndexOfRefraction = {
    {"H", 1.000132},   {"He", 1.000035},  {"Ne", 1.000067},  {"F", 1.000195},   {"O", 1.000271},     {"Ar", 1.000281},
    {"N", 1.000298},   {"Kr", 1.000427},  {"Xe", 1.000702},  {"Cl", 1.000773},  {"Se", 1.000895},    {"Hg", 1.000933},
    {"Te", 1.000991},  {"S", 1.001111},   {"Br", 1.001132},  {"P", 1.001212},   {"As", 1.001552},    {"Zn", 1.002},
    {"CO", 1.000338},  {"H2O", 1.000261}, {"CO2", 1.000449}, {"CH4", 1.000444}, {"NH3", 1.000376},   {"C6H6", 1.001762},
    {"CS2", 1.001481}, {"HCl", 1.000447}, {"NO", 1.000297},  {"N2O", 1.000516}, {"C5H12", 1.000686}, {"SO2", 1.000686},
};

std::unordered_map<std::string, double> Molecule::liquidMoleculesMaxDensity = {
    {"H2", 100.0}, {"CH4", 400.0}, {"H2O", 1000.0}, {"O2", 1600.0}, {"CO2", 1600.0},
};

std::vector<Element> Element::elements = detail::PeriodicTable();

std::unordered_map<std::string, const Element*> Element::elementsBySymbol = [] {
    std::unordered_map<std::string, const Element*> bySymbol;
    for (size_t number = 1; number < elements.size(); ++number)
        bySymbol.emplace(elements[number].symbol, &elements[number]);
    return bySymbol;
}();

std::unordered_map<std::string, Molecule> Molecule::molecules = Molecule::_StartupMolecules();

std::unordered_map<std::string, Molecule> Molecule::_StartupMolecules() {
    // Nitrogen, fluorine, chlorine and selenium stand as single atoms while hydrogen and oxygen stand as
    // pairs: modules and saved tanks use these exact keys.
    static const char* const kKeys[] = {"H2",  "N",   "He",   "Ne",  "F",   "Ar", "Xe",   "Cl",    "Se", "O2", "CO2",
                                        "H2O", "Si",  "Al",   "Fe",  "Ca",  "Na", "NaCl", "K",     "Mg", "Ti", "CO",
                                        "CH4", "NH3", "C6H6", "CS2", "HCl", "NO", "N2O",  "C5H12", "SO2"};
    std::unordered_map<std::string, Molecule> table;
    for (const char* key : kKeys) {
        Molecule molecule;
        molecule.atoms = GetElementsFromFormula(key);
        table.emplace(key, std::move(molecule));
    }
    return table;
}

Molecule::Molecule(const std::string& formula) {
    if (const auto known = molecules.find(formula); known != molecules.end()) {
        atoms = known->second.atoms;
        return;
    }
    // A bare symbol needs no parse and is not remembered, so that looking up elements never grows the table.
    if (formula.size() <= 2) {
        if (const auto element = Element::elementsBySymbol.find(formula); element != Element::elementsBySymbol.end()) {
            atoms.emplace_back(element->second->number, uint8_t{1});
            return;
        }
    }
    atoms = GetElementsFromFormula(formula);
    molecules.emplace(formula, *this); // failures too: a bad formula is not parsed again
}

double Molecule::Mass() const {
    double mass = 0.0;
    for (const auto& [number, count] : atoms)
        if (const Element* element = ElementOf(number))
            mass += kAtomicMassUnit * element->atomicMass * count;
    return mass;
}

double Molecule::GetMolarMass() const {
    double grams = 0.0;
    for (const auto& [number, count] : atoms)
        if (const Element* element = ElementOf(number))
            grams += count * element->atomicMass;
    return grams / 1000.0;
}

std::string Molecule::Formula() const {
    std::string formula;
    for (const auto& [number, count] : atoms) {
        const Element* element = ElementOf(number);
        if (!element)
            continue;
        formula += element->symbol;
        if (count > 1)
            formula += std::to_string(count);
    }
    return formula;
}

double Molecule::GaseousIndexOfRefraction() const {
    if (const auto row = gasMoleculesIndexOfRefraction.find(Formula()); row != gasMoleculesIndexOfRefraction.end())
        return row->second;
    // A diatomic or triatomic gas of one element refracts like the element's own row ("O2", "O3" as "O").
    if (atoms.size() == 1) {
        const auto& [number, count] = atoms.front();
        const Element* element = ElementOf(number);
        if (element && (count == 2 || count == 3)) {
            if (const auto row = gasMoleculesIndexOfRefraction.find(element->symbol);
                row != gasMoleculesIndexOfRefraction.end())
                return row->second;
        }
    }
    return 1.001;
}

double Molecule::GetMaximumLiquidDensity() const {
    const std::string formula = Formula();
    if (const auto row = liquidMoleculesMaxDensity.find(formula); row != liquidMoleculesMaxDensity.end())
        return row->second;
    double atomicVolume = 0.0;
    for (const auto& [number, count] : atoms)
        if (ElementOf(number))
            atomicVolume += std::pow(count * kAtomRadius, 3.0) * kFourThirdsPi;
    GAME_ASSERT(atomicVolume > 0);
    const double density = Mass() / atomicVolume;
    liquidMoleculesMaxDensity[formula] = density;
    return density;
}

} // namespace game
