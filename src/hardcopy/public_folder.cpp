// The public folder dialect: the handheld stores a PNG in its public screen
// shot folder; the picture shown is a JPEG made from it here.
#include "families/registry.h"
#include "hardcopy/dialect.h"
#include "hardcopy/image_convert.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    run.write("MMEM:NAME '\\Public\\Screen Shots\\HCOPY.png'");
    run.write("HCOP", Sync::Wai);
    if (!run.readFile("MMEM:DATA? '\\Public\\Screen Shots\\HCOPY.png'")) return;
    // The PNG stays in the folder; the JPEG is what is shown and kept or not.
    const std::string jpeg = run.stem() + ".jpg";
    convertPngToJpeg(run.localFile(), jpeg);
    run.setLocalFile(jpeg);
}

const Dialect kDialect{"public folder", "png", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"TKG"});

}  // namespace

}  // namespace qv::hardcopy
