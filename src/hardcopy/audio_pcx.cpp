// The audio PCX dialect: the analyzer prints a PCX file, which only the
// desktop's own program shows.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    run.write("HCOP:DEST PCXF,'HCOPY.pcx'");
    run.colourStep();
    run.write("SYST:DISP:UPD ON");
    run.write("HCOP", Sync::Wai);
    run.write("SYST:DISP:UPD ON");
    run.readFile("MMEM:DATA? 'HCOPY.pcx'");
}

const Dialect kDialect{"audio PCX", "pcx", true, Route::Shell, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"DOF"});

}  // namespace

}  // namespace qv::hardcopy
