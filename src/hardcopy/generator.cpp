// The generator dialect: the screen comes back as a bitmap block at once.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    run.write("HCOP:DEV:LANG BMP");
    std::string answer;
    run.ask("*OPC?", answer);
    run.pause(500);
    run.readFile("HCOPY:DATA?");
}

// The save dialog keeps proposing what the last other hardcopy had.
const Dialect kDialect{"generator", "bmp", false, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"GLN", "GLY"});

}  // namespace

}  // namespace qv::hardcopy
