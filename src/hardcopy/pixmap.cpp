// The pixmap dialect: the instrument sends a bitmap without the first ten
// bytes of its file header; they are put back in front.
#include "families/registry.h"
#include "hardcopy/dialect.h"
#include "hardcopy/image_convert.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    if (run.readFile("DISP:PIXM?")) completePixmap(run.localFile());
}

const Dialect kDialect{"pixmap", "bmp", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"HUV"});

}  // namespace

}  // namespace qv::hardcopy
