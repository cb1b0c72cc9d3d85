// The scope PNG dialect: the oscilloscope renders a PNG, which can take a
// while; its completion is polled under the progress splash.
#include "app/host.h"
#include "families/registry.h"
#include "hardcopy/dialect.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace qv::hardcopy {

namespace {

// Between two polls that found the picture unfinished.
constexpr int kPollGapMs = 50;

void steps(Run& run) {
    View& view = run.view();
    view.progress(0);
    run.write("MMEM:CDIR '/INT/DATA'");
    run.write("HCOP:DEST 'MMEM'");
    run.write("HCOP:LANG PNG");
    run.write("MMEM:NAME 'HCOPY'");
    run.write(run.request().color ? "HCOP:COLOR:SCH COL" : "HCOP:COLOR:SCH GRAY");
    run.write("HCOP:IMM");
    // Polled until done, but not for ever: an instrument that stays busy
    // is given up after the time its transfer may take, and the user may
    // cancel at any time.
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(run.request().completionLimitMs);
    for (;;) {
        app::host().processEvents();
        if (!run.going()) break;
        if (!view.progress(0)) {
            run.cancel();
            break;
        }
        std::string answer;
        if (!run.ask("*OPC?", answer) || answer == "1") break;
        if (clock::now() >= deadline) {
            run.stop("The instrument did not finish its picture within " +
                     std::to_string(run.request().completionLimitMs / 1000) + " s.");
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollGapMs));
    }
    view.progress(50);
    if (!run.readFile("MMEM:DATA? '/INT/DATA/HCOPY.PNG'", 180000)) std::remove(run.localFile().c_str());
    view.progress(100);
}

const Dialect kDialect{"scope PNG", "PNG", true, Route::Direct, true, steps};
const family::Attach<Dialect> kAttach(&family::Family::hardcopy, kDialect, {"MYE"});

}  // namespace

}  // namespace qv::hardcopy
