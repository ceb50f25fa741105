// Chemical formulas: any text is a molecule, empty when it does not parse. The table of parsed formulas is
// trimmed after each input, or the run would measure the table instead of the parser.

#include "FuzzSupport.hpp"

#include "game/chemistry/Chemistry.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string formula = fuzz::Text(data, size);
    const bool known = game::Molecule::molecules.count(formula) != 0;
    FUZZ_BODY({
        game::Molecule molecule(formula);
        (void)molecule.Mass();
        (void)molecule.GetMolarMass();
    });
    if (!known)
        game::Molecule::molecules.erase(formula);
    return 0;
}
