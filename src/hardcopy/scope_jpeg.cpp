// The scope JPEG dialect: the oscilloscope prints a JPEG to its disk.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    run.write("HCOP:DEST 'MMEM'");
    run.write("HCOP:DEV:LANG JPG");
    run.write("MMEM:NAME 'C:\\HCOPY.jpg'");
    run.colourStep();
    run.write("HCOP:IMM;*WAI");
    run.readFile("MMEM:DATA? 'C:\\HCOPY.jpg'");
}

const Dialect kDialect{"scope JPEG", "jpg", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"MYI"});

}  // namespace

}  // namespace qv::hardcopy
