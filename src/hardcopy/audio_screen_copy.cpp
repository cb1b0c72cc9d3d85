// The audio screen copy dialect: the analyzer's screen copy mode is switched
// on for the print and set back to what it was afterwards.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    std::string before;
    run.ask("SYST:DISP:SCP?", before);
    run.write("SYST:DISP:SCP ON");
    run.pause(500);
    run.write("HCOP:DEST FILE");
    run.colourStep();
    run.write("HCOP:FILE:MOD OVER");
    run.write("HCOP:FILE 'c:\\HCOPY.bmp'");
    run.write("HCOP");
    int count = 0;
    run.opcWait(count, 50);
    run.readFile("MMEM:DATA? 'c:\\HCOPY.bmp'");
    run.write("SYST:DISP:SCP " + before);
}

const Dialect kDialect{"audio screen copy", "bmp", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"DOC"});

}  // namespace

}  // namespace qv::hardcopy
