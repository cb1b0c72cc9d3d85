// The stream dialect: the generator sends its screen as a bare byte stream
// of fixed length, without a block header.
#include "families/registry.h"
#include "hardcopy/dialect.h"

namespace qv::hardcopy {

namespace {

void steps(Run& run) {
    run.readStream("HCOP:DATA?", 16100);
    run.view().setSizeTwips(9432, 5000);
}

const Dialect kDialect{"stream", "bmp", true, Route::Loader, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"GLEF"});

}  // namespace

}  // namespace qv::hardcopy
