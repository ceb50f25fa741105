#include "game/chemistry/Chemistry.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

using game::Element;
using game::Molecule;

namespace {

using Atoms = std::vector<std::tuple<uint8_t, uint8_t>>;

bool Remembered(const std::string& formula) { return Molecule::molecules.count(formula) == 1; }

} // namespace

// ---------------------------------------------------------------------------------------------------------
// The periodic table

TEST(ChemistryElements, RowsAreIndexedByAtomicNumberAndFoundBySymbol) {
    ASSERT_EQ(Element::elements.size(), 119u);
    EXPECT_EQ(Element::elements[0].symbol, "_");
    EXPECT_EQ(Element::elements[0].name, "");
    EXPECT_EQ(Element::elements[0].atomicMass, 0.0);

    // 118 distinct symbols, each pointing at its own row (symbols are checked by the parser tests).
    EXPECT_EQ(Element::elementsBySymbol.size(), 118u);
    EXPECT_EQ(Element::elementsBySymbol.count("_"), 0u);
    for (size_t number = 1; number < Element::elements.size(); ++number) {
        const Element& element = Element::elements[number];
        EXPECT_EQ(element.number, number);
        EXPECT_FALSE(element.name.empty()) << number;
        EXPECT_EQ(Element::elementsBySymbol.at(element.symbol), &element);
    }
}

TEST(ChemistryElements, NamesSpellingsAndMassesAsTheSimulationUsesThem) {
    const auto& e = Element::elements;
    const std::pair<int, const char*> spellings[] = {
        {4, "Berylium"}, {13, "Aluminium"}, {16, "Sulfur"}, {55, "Cesium"}};
    for (const auto& [number, name] : spellings)
        EXPECT_EQ(e[number].name, name);
    const std::tuple<int, const char*, const char*> placeholders[] = {{113, "Uut", "Ununtrium"},
                                                                      {115, "Uup", "Ununpentium"},
                                                                      {117, "Uus", "Ununseptium"},
                                                                      {118, "Uuo", "Ununoctium"}};
    for (const auto& [number, symbol, name] : placeholders) {
        EXPECT_EQ(e[number].symbol, symbol);
        EXPECT_EQ(e[number].name, name);
        EXPECT_EQ(e[number].atomicMass, 0.0) << symbol;
    }

    // Kept as the simulation has them, not as today's textbooks do.
    const std::pair<const char*, double> masses[] = {{"Kr", 84.798}, {"Rb", 84.468}, {"Es", 254.0}};
    for (const auto& [symbol, mass] : masses)
        EXPECT_EQ(Element::elementsBySymbol.at(symbol)->atomicMass, mass);

    // Plain and number-weighted sums of the whole mass column: any mistyped or swapped mass shows here.
    double sum = 0.0, weighted = 0.0;
    for (const Element& element : e) {
        sum += element.atomicMass;
        weighted += element.number * element.atomicMass;
    }
    EXPECT_NEAR(sum, 16066.194, 1e-6);
    EXPECT_NEAR(weighted, 1246299.130, 1e-4);
}

TEST(ChemistryElements, OxidationStates) {
    const auto states = [](const char* symbol) { return Element::elementsBySymbol.at(symbol)->oxidationStates; };
    using States = std::vector<signed char>;
    const std::pair<const char*, States> cases[] = {{"H", {1}},     {"O", {-2}},     {"F", {-1}},
                                                    {"N", {5, -3}}, {"Se", {4, -2}}, {"Tl", {3, 1}}};
    for (const auto& [symbol, expected] : cases)
        EXPECT_EQ(states(symbol), expected) << symbol;
    for (const char* noble : {"He", "Ne", "Ar", "Kr", "Xe", "Rn"})
        EXPECT_TRUE(states(noble).empty()) << noble;
    for (int number = 105; number <= 118; ++number)
        EXPECT_EQ(Element::elements[number].oxidationStates, States{0}) << number;
    // Every other element has at least one common state.
    const std::set<int> noble = {2, 10, 18, 36, 54, 86};
    for (int number = 1; number <= 104; ++number)
        EXPECT_NE(Element::elements[number].oxidationStates.empty(), noble.count(number) == 0) << number;
}

// ---------------------------------------------------------------------------------------------------------
// Masses and the derived tables

TEST(ChemistryMolecules, StartupKeysAreParsedAndStored) {
    const char* keys[] = {"H2",  "N",   "He",   "Ne",  "F",   "Ar", "Xe",   "Cl",    "Se", "O2", "CO2",
                          "H2O", "Si",  "Al",   "Fe",  "Ca",  "Na", "NaCl", "K",     "Mg", "Ti", "CO",
                          "CH4", "NH3", "C6H6", "CS2", "HCl", "NO", "N2O",  "C5H12", "SO2"};
    for (const char* key : keys) {
        ASSERT_TRUE(Remembered(key)) << key;
        EXPECT_FALSE(Molecule::molecules.at(key).atoms.empty()) << key;
        EXPECT_EQ(Molecule(key).Formula(), key);
    }
    EXPECT_FALSE(Remembered("O")); // oxygen is only there as a pair
    EXPECT_EQ(Molecule("C5H12").atoms, (Atoms{{6, 5}, {1, 12}}));
    EXPECT_EQ(Molecule::gasMoleculesIndexOfRefraction.size(), 30u);
}

TEST(ChemistryMolecules, MassesPerMoleculeAndPerMole) {
    EXPECT_NEAR(Molecule("H2O").GetMolarMass(), 0.018015, 1e-12);
    EXPECT_NEAR(Molecule("H2O").Mass(), 0.018015 * 1.6605402e-24, 1e-32);
    EXPECT_NEAR(Molecule("CO2").GetMolarMass(), 0.044009, 1e-12);
    // Atoms of one element may be written apart: the mass is the same, the formula stays as written.
    const Molecule hoh("HOH");
    EXPECT_EQ(hoh.atoms.size(), 3u);
    EXPECT_EQ(hoh.Formula(), "HOH");
    EXPECT_DOUBLE_EQ(hoh.Mass(), Molecule("H2O").Mass());
    // The unnamed elements weigh nothing.
    EXPECT_EQ(Molecule("Uut").Mass(), 0.0);
    EXPECT_EQ(Molecule("Uuo2").GetMolarMass(), 0.0);
}

TEST(ChemistryMolecules, DryAirAtSeaLevelGivesTheStandardPressure) {
    // 1 m^3 of dry air by mass fraction at the standard sea-level density and temperature, put through the
    // ideal gas law with the mean molar mass, the way a pressurized volume does.
    const double gasConstant = 8.31446261815324, density = 1.225, temperature = 288.15;
    const std::pair<const char*, double> air[] = {{"N2", 0.78}, {"O2", 0.21}, {"Ar", 0.01}};
    double totalMass = 0.0, moles = 0.0;
    for (const auto& [formula, fraction] : air) {
        const double mass = density * fraction;
        totalMass += mass;
        moles += mass / Molecule(formula).GetMolarMass();
    }
    const double pressure = gasConstant / (totalMass / moles) * density * temperature;
    EXPECT_NEAR(pressure, 101325.0, 0.01 * 101325.0);
}

TEST(ChemistryMolecules, GaseousIndexOfRefraction) {
    // Pairs and triples of one element answer with the element's row; larger clusters, unknown gases, atoms
    // written apart and empty molecules fall back.
    const std::pair<const char*, double> cases[] = {
        {"H2O", 1.000261}, {"CO", 1.000338}, {"Ar", 1.000281}, {"N2", 1.000298}, {"O2", 1.000271},
        {"O3", 1.000271},  {"S8", 1.001},    {"OO", 1.001},    {"C2H6", 1.001},  {"Xx", 1.001}};
    for (const auto& [formula, index] : cases)
        EXPECT_EQ(Molecule(formula).GaseousIndexOfRefraction(), index) << formula;
}

TEST(ChemistryMolecules, LiquidDensityFromTheTableOrEstimatedAndRemembered) {
    const std::pair<const char*, double> tabled[] = {
        {"H2", 100.0}, {"CH4", 400.0}, {"H2O", 1000.0}, {"O2", 1600.0}, {"CO2", 1600.0}};
    for (const auto& [formula, density] : tabled)
        EXPECT_EQ(Molecule(formula).GetMaximumLiquidDensity(), density) << formula;

    const std::pair<const char*, double> estimated[] = {{"He", 2037.90},  {"N", 7130.87},     {"N2", 1782.72},
                                                        {"Fe", 28430.31}, {"NaCl", 14876.47}, {"CO", 7129.85}};
    for (const auto& [formula, density] : estimated) {
        const double first = Molecule(formula).GetMaximumLiquidDensity();
        EXPECT_NEAR(first, density, 0.005) << formula;
        ASSERT_EQ(Molecule::liquidMoleculesMaxDensity.count(formula), 1u) << formula;
        EXPECT_EQ(Molecule::liquidMoleculesMaxDensity.at(formula), first);
        EXPECT_EQ(Molecule(formula).GetMaximumLiquidDensity(), first); // answered from the table
    }

    // "HOH" is no key of the table: it is estimated (three single atoms), not water's 1000.
    const double hoh = Molecule("HOH").GetMaximumLiquidDensity();
    EXPECT_NE(hoh, 1000.0);
    EXPECT_NEAR(hoh, Molecule("H2O").Mass() / (3 * 4.1887902047863905 * 9.2e-11 * 9.2e-11 * 9.2e-11), 1e-9);
    // A massless element has a volume but no mass: 0, and remembered as 0.
    EXPECT_EQ(Molecule("Uus").GetMaximumLiquidDensity(), 0.0);
    EXPECT_EQ(Molecule::liquidMoleculesMaxDensity.at("Uus"), 0.0);
    // The table is read by the canonical formula, so a count written as 1 finds water's row.
    EXPECT_EQ(Molecule("H2O1").GetMaximumLiquidDensity(), 1000.0);
}

TEST(ChemistryMoleculesDeathTest, NoVolumeMeansNoLiquidDensity) {
    EXPECT_DEATH(Molecule("").GetMaximumLiquidDensity(), "Assertion failed: atomicVolume > 0, file game/Chemistry");
    EXPECT_DEATH(Molecule("H0").GetMaximumLiquidDensity(), "atomicVolume > 0");
    EXPECT_DEATH(Molecule("H256").GetMaximumLiquidDensity(), "atomicVolume > 0");
}

TEST(ChemistryMolecules, EntriesOutsideTheTableAreSkipped) {
    // `atoms` is public; an atomic number past the table counts for nothing instead of reading out of bounds.
    Molecule molecule("H2");
    molecule.atoms.emplace_back(200, 3);
    const Molecule h2("H2");
    EXPECT_EQ(
        std::tuple(molecule.Mass(), molecule.GetMolarMass(), molecule.Formula(), molecule.GetMaximumLiquidDensity()),
        std::tuple(h2.Mass(), h2.GetMolarMass(), "H2", 100.0));
}

// ---------------------------------------------------------------------------------------------------------
// Parsing formulas

TEST(ChemistryParser, SymbolsAreTakenGreedilyAndCaseTellsThemApart) {
    // Lower-case letters belong to the symbol before them, up to two: "Cab" is no symbol and there is
    // no second reading as "Ca" and "b". Counts are eight bits and wrap.
    const std::pair<const char*, Atoms> cases[] = {
        {"CO", {{6, 1}, {8, 1}}},      {"Co", {{27, 1}}},
        {"CoO", {{27, 1}, {8, 1}}},    {"C6H12O6", {{6, 6}, {1, 12}, {8, 6}}},
        {"UutH3", {{113, 1}, {1, 3}}}, {"Cab", {}},
        {"H255", {{1, 255}}},          {"H256", {{1, 0}}},
        {"H300", {{1, 44}}},           {"H0", {{1, 0}}}};
    for (const auto& [formula, atoms] : cases)
        EXPECT_EQ(Molecule(formula).atoms, atoms) << formula;
    EXPECT_EQ(Molecule("H300").Formula(), "H44");
    EXPECT_EQ(Molecule("H0").Mass(), 0.0);
    EXPECT_EQ(Molecule("H0").Formula(), "H");
    // Every symbol of the table reads back as itself.
    for (size_t number = 1; number < Element::elements.size(); ++number) {
        const std::string& symbol = Element::elements[number].symbol;
        EXPECT_EQ(Molecule(symbol).atoms, (Atoms{{static_cast<uint8_t>(number), 1}})) << symbol;
        EXPECT_EQ(Molecule(symbol + "2").Formula(), symbol + "2");
    }
}

TEST(ChemistryParser, AnythingUnreadableGivesAnEmptyMolecule) {
    const char* bad[] = {"H2o", "h2o", "Ca(OH)2", "Xx", "H2Xx", "NaCl+", "H2O ", " H2O", "2H2O", "H-2", "Na Cl"};
    for (const char* formula : bad) {
        const Molecule molecule(formula);
        EXPECT_TRUE(molecule.atoms.empty()) << formula; // what was read before the fault is dropped too
        EXPECT_EQ(molecule.Formula(), "") << formula;
        EXPECT_EQ(molecule.Mass(), 0.0) << formula;
        EXPECT_EQ(molecule.GetMolarMass(), 0.0) << formula;
        EXPECT_TRUE(Remembered(formula)) << formula;
    }
    EXPECT_TRUE(Molecule("").atoms.empty());
    EXPECT_TRUE(Remembered(""));
}

TEST(ChemistryParser, WhatIsRememberedAndWhatIsNot) {
    // Bare symbols of one or two letters are answered without touching the table.
    const size_t before = Molecule::molecules.size();
    EXPECT_EQ(Molecule("C").Formula(), "C");
    EXPECT_EQ(Molecule("Pb").atoms, (Atoms{{82, 1}}));
    EXPECT_EQ(Molecule::molecules.size(), before);
    EXPECT_FALSE(Remembered("C"));

    // New formulas are stored under the text they were asked for.
    EXPECT_FALSE(Remembered("N2H4"));
    EXPECT_EQ(Molecule("N2H4").atoms, (Atoms{{7, 2}, {1, 4}}));
    EXPECT_TRUE(Remembered("N2H4"));
    Molecule again("N2H4");
    EXPECT_EQ(Molecule::molecules.size(), before + 1);

    // A failure is stored too and the text is not parsed again: what the table says is what one gets.
    EXPECT_TRUE(Molecule("Qz3").atoms.empty());
    ASSERT_TRUE(Remembered("Qz3"));
    Molecule::molecules.at("Qz3").atoms = {{1, 3}};
    EXPECT_EQ(Molecule("Qz3").atoms, (Atoms{{1, 3}}));
    Molecule::molecules.at("Qz3").atoms.clear();
}

// ---------------------------------------------------------------------------------------------------------
// Threads

TEST(ChemistryThreads, KnownFormulasAreReadConcurrentlyWithoutGrowingTheTables) {
    // Formulas met once on this thread; afterwards every thread only reads the tables.
    const std::vector<std::string> warmed = {"C2H6", "C3H8", "NaOH", "Ne2", "Qq"};
    for (const std::string& formula : warmed) {
        Molecule molecule(formula);
        if (!molecule.atoms.empty())
            molecule.GetMaximumLiquidDensity();
    }
    std::vector<std::string> formulas = {"H2O", "CO2", "N", "NaCl", "C5H12", "He", "Fe", "C", "Pb", "Uuo", "O"};
    formulas.insert(formulas.end(), warmed.begin(), warmed.end());
    struct Expected {
        Atoms atoms;
        double molarMass, refraction, density;
    };
    std::vector<Expected> expected;
    for (const std::string& formula : formulas) {
        const Molecule molecule(formula);
        expected.push_back({molecule.atoms, molecule.GetMolarMass(), molecule.GaseousIndexOfRefraction(),
                            molecule.atoms.empty() ? 0.0 : molecule.GetMaximumLiquidDensity()});
    }
    const size_t molecules = Molecule::molecules.size();
    const size_t densities = Molecule::liquidMoleculesMaxDensity.size();

    constexpr int kThreads = 4, kRounds = 2000;
    std::atomic<int> mismatches{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load())
                std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                const size_t i = (round + t) % formulas.size();
                const Molecule molecule(formulas[i]);
                const Expected& want = expected[i];
                const bool same = molecule.atoms == want.atoms && molecule.GetMolarMass() == want.molarMass &&
                                  molecule.GaseousIndexOfRefraction() == want.refraction &&
                                  (molecule.atoms.empty() || molecule.GetMaximumLiquidDensity() == want.density);
                if (!same)
                    mismatches.fetch_add(1);
            }
        });
    }
    go.store(true);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(Molecule::molecules.size(), molecules);
    EXPECT_EQ(Molecule::liquidMoleculesMaxDensity.size(), densities);
}
