// The guarded dialect: every step is followed by a completion wait and a
// look at the error queue, as these analyzers need when they print to disk.
#include "app/text.h"
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    const std::string ext(run.dialect().extension);
    int count = 0;  // one count for the first six waits
    run.write("HCOP:DEV:LANG " + app::ToUpperAscii(ext));
    run.opcWait(count, 5);
    run.write("MMEM:NAME 'C:\\HCOPY." + ext + "'");
    run.pause(1000);
    run.opcWait(count, 5);
    run.errorQuery();
    run.colourStep();
    run.opcWait(count, 5);
    run.errorQuery();
    run.write("HCOP:DEST 'MMEM'");
    run.opcWait(count, 5);
    run.errorQuery();
    run.write("SYST:DISP:UPD ON");
    run.opcWait(count, 5);
    run.errorQuery();
    run.write("HCOP");
    run.pause(1000);
    run.errorQuery();
    run.opcWait(count, 5);
    run.errorQuery();
    count = 0;
    run.opcWait(count, 5);
    run.write("SYST:DISP:UPD ON");
    run.opcWait(count, 5);
    run.errorQuery();
    run.readFile("MMEM:DATA? 'C:\\HCOPY." + ext + "'");
    run.opcWait(count, 5);
    run.errorQuery();
}

const Dialect kDialect{"guarded", "wmf", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"TKW", "KDP"});

}  // namespace

}  // namespace qv::hardcopy
