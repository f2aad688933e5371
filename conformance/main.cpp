#include "conformance/check_groups.hpp"
#include "conformance/run_conformance.hpp"

#include <array>
#include <iostream>

int main() {
    using namespace Velmora::Conformance;
    constexpr std::array<CheckGroup, 6> groups{
        runLoweringChecks,       runSymmetryChecks, runBiasChecks,
        runWinnerTakeMostChecks, runIgnitionChecks, runInterventionChecks,
    };
    return runConformance(groups, std::cout, std::cerr);
}
