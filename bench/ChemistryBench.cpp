// What a formula text costs the callers that build a Molecule on the spot (tanks, atmospheres, modules):
// construction from a start-up key, a bare symbol, a formula remembered earlier and a formula met for the
// first time (parsed), and the molar mass and liquid density read from the result.

#include "AllocationCounter.hpp"

#include "game/chemistry/Chemistry.hpp"

#include <benchmark/benchmark.h>

#include <regex>
#include <string>
#include <vector>

using game::Molecule;

namespace {

void ReportAllocations(benchmark::State& state) {
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}

// Formulas that no other benchmark asks for. The batch is removed from the table again, untimed, whenever
// it has been used up, so every timed construction parses.
class NewFormulas {
public:
    NewFormulas() {
        for (int i = 0; i < kBatch; ++i)
            _formulas.push_back("C" + std::to_string(i % 97 + 2) + "H" + std::to_string(i / 97 + 2) + "O2");
    }
    const std::string& Next(benchmark::State& state) {
        if (_next == _formulas.size()) {
            state.PauseTiming();
            for (const std::string& formula : _formulas)
                Molecule::molecules.erase(formula);
            _next = 0;
            state.ResumeTiming();
        }
        return _formulas[_next++];
    }

private:
    static constexpr int kBatch = 4096;
    std::vector<std::string> _formulas;
    size_t _next = 0;
};

} // namespace

static void BM_MoleculeStartupKey(benchmark::State& state) {
    const std::string formula = "C5H12";
    AllocationCounter::Reset();
    for (auto _ : state) {
        Molecule molecule(formula);
        benchmark::DoNotOptimize(molecule.atoms.data());
    }
    ReportAllocations(state);
}
BENCHMARK(BM_MoleculeStartupKey);

static void BM_MoleculeBareSymbol(benchmark::State& state) {
    const std::string formula = "Fe";
    AllocationCounter::Reset();
    for (auto _ : state) {
        Molecule molecule(formula);
        benchmark::DoNotOptimize(molecule.atoms.data());
    }
    ReportAllocations(state);
}
BENCHMARK(BM_MoleculeBareSymbol);

static void BM_MoleculeRememberedFormula(benchmark::State& state) {
    const std::string formula = "C8H18";
    Molecule first(formula); // parsed and stored once
    AllocationCounter::Reset();
    for (auto _ : state) {
        Molecule molecule(formula);
        benchmark::DoNotOptimize(molecule.atoms.data());
    }
    ReportAllocations(state);
}
BENCHMARK(BM_MoleculeRememberedFormula);

static void BM_MoleculeNewFormula(benchmark::State& state) {
    NewFormulas formulas;
    AllocationCounter::Reset();
    for (auto _ : state) {
        Molecule molecule(formulas.Next(state));
        benchmark::DoNotOptimize(molecule.atoms.data());
    }
    ReportAllocations(state);
}
BENCHMARK(BM_MoleculeNewFormula);

// The share of a first parse that is compiling the formula expression, which the parser does on each call.
static void BM_FormulaExpressionCompile(benchmark::State& state) {
    for (auto _ : state) {
        std::regex pattern("^([A-Z][a-z]{0,2})([0-9]*)([A-Z].*$|$)", std::regex::ECMAScript);
        benchmark::DoNotOptimize(&pattern);
    }
}
BENCHMARK(BM_FormulaExpressionCompile);

// How a pressurized volume uses it: Molecule(formula).GetMolarMass() for each entry of its composition.
static void BM_MolarMassOfStartupKey(benchmark::State& state) {
    const std::string formula = "C5H12";
    for (auto _ : state)
        benchmark::DoNotOptimize(Molecule(formula).GetMolarMass());
}
BENCHMARK(BM_MolarMassOfStartupKey);

static void BM_MolarMassOfNewFormula(benchmark::State& state) {
    NewFormulas formulas;
    for (auto _ : state)
        benchmark::DoNotOptimize(Molecule(formulas.Next(state)).GetMolarMass());
}
BENCHMARK(BM_MolarMassOfNewFormula);

// GetMolarMass alone, on a molecule already built: the sum over its entries.
static void BM_GetMolarMass(benchmark::State& state) {
    const Molecule molecule("C5H12");
    for (auto _ : state)
        benchmark::DoNotOptimize(molecule.GetMolarMass());
}
BENCHMARK(BM_GetMolarMass);

// Liquid density read from the table: the cost is building the formula text as the key.
static void BM_LiquidDensityFromTable(benchmark::State& state) {
    const Molecule molecule("CO2");
    for (auto _ : state)
        benchmark::DoNotOptimize(molecule.GetMaximumLiquidDensity());
}
BENCHMARK(BM_LiquidDensityFromTable);
