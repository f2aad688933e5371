#include "conformance/run_conformance.hpp"

#include <exception>
#include <string_view>

namespace Velmora::Conformance {

namespace {

constexpr std::string_view summary_line =
    "workspace selector=NONE lowering=INHIBITORY-TOPOLOGY symmetry=BREAKS-UNBIASED bias=AMPLIFIED "
    "winner=TAKE-MOST reversals=SPONTANEOUS ignition=MEASURED broadcast/feedback=SEPARABLE "
    "availability=BY-PERTURBATION\n";

} // namespace

int runConformance(std::span<const CheckGroup> groups, std::ostream& out, std::ostream& err) {
    try {
        for (const CheckGroup run_group : groups) {
            run_group();
        }
        out << summary_line;
        return 0;
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace Velmora::Conformance
