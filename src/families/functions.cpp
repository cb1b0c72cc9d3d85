// Which dialect serves which bit of a family's FUNCTIONS mask.
#include "families/registry.h"

#include "app/functions_mask.h"

namespace qv::family {

// Only hardcopy, trace and the file browser differ by family; the analyzer
// utilities, user correction and instrument tables send the same commands
// to every family that has them.

std::vector<std::string> unservedFunctions(const Family& f, int16_t mask) {
    std::vector<std::string> out;
    // A family that hands its pictures over as files is served by the browser.
    if ((mask & app::kCapHardcopy) && slotInUse(&Family::hardcopy) && !f.hardcopy &&
        !(f.picturesAsFiles && (mask & app::kCapFiles)))
        out.emplace_back("hardcopy");
    if ((mask & app::kCapTrace) && slotInUse(&Family::trace) && !f.trace) out.emplace_back("trace");
    if ((mask & app::kCapFiles) && (f.drives.empty() || (slotInUse(&Family::listing) && !f.listing)))
        out.emplace_back("file browser");
    return out;
}

}  // namespace qv::family
