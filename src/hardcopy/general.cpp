// The general dialect: most families print to their own disk as a metafile
// and hand the file over through MMEM:DATA?.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    const std::string ext(run.dialect().extension);
    run.write("HCOP:DEV:LANG " + ext);
    std::string answer;
    run.ask("*OPC?", answer);
    run.pause(500);
    run.write("HCOP:DEST 'MMEM'");
    if (run.dialect().colourStep) run.colourStep();
    run.write("MMEM:NAME 'C:\\HCOPY." + ext + "'");
    run.write("HCOP:ITEM:ALL");
    run.write("SYST:DISP:UPD ON");
    run.write("HCOP");
    if (run.request().mappedName == "KDM") {
        // That model is polled five times whatever it answers.
        for (int i = 0; i < 5; ++i) run.ask("*OPC?", answer);
    } else {
        int count = 0;
        run.opcWait(count, 5, 500);
    }
    run.write("SYST:DISP:UPD ON");
    run.readFile("MMEM:DATA? 'C:\\HCOPY." + ext + "'");
}

const Dialect kWmf{"general", "WMF", true, Route::Loader, true, steps};
const Dialect kEmf{"general EMF", "EMF", true, Route::Loader, true, steps};
const Dialect kEmfNoColour{"general EMF, no colour", "EMF", true, Route::Loader, false, steps};

const family::Attach<Dialect> kAttachWmf(&family::Family::hardcopy, kWmf,
                                         {"TKD", "TKM", "TKB", "TKN", "TKAH", "TKA", "TKR", "VHJO", "VHK", "VHY",
                                          "KDH", "KDM", "GLT", "GXB", "BJX", "BQS", "PZB", "PWEF", "PWE"});
const family::Attach<Dialect> kAttachEmf(&family::Family::hardcopy, kEmf, {"KDE"});
const family::Attach<Dialect> kAttachEmfNoColour(&family::Family::hardcopy, kEmfNoColour, {"KDC"});

}  // namespace

const Dialect& generalDialect() { return kWmf; }

}  // namespace qv::hardcopy
