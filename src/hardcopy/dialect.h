// A family's hardcopy dialect: the extension its picture arrives with and
// the steps that bring it home. One file per dialect attaches it to its
// families in the registry; a family without one takes the general dialect.
#pragma once

#include "hardcopy/hardcopy.h"

#include <string>
#include <string_view>

namespace qv::io {
class VIF;
}

namespace qv::hardcopy {

class Run;

struct Dialect {
    std::string_view name;       // "general", for the benchmark and the log
    std::string_view extension;  // as the local file ends: "bmp", "WMF"
    // False: the extension is not the save dialog's next proposal.
    bool setsExtension = true;
    Route route = Route::Loader;
    // The general dialect's families that get no colour command.
    bool colourStep = true;
    void (*steps)(Run& run) = nullptr;
};

// The dialect of a family tag; the general dialect (WMF) for tags that have
// none and for unknown tags.
const Dialect& dialectFor(std::string_view devType);
const Dialect& generalDialect();

// Write modes of the steps.
enum class Sync { None = 0, Wai = 1 };

// One hardcopy in progress, as the dialect's steps see it. Every step is a
// no-op once the instrument has stopped answering, so that a dead
// instrument costs one time-out, not one per step.
class Run {
public:
    // stem: the local file's path without its extension.
    Run(io::VIF& vif, const Request& request, const Dialect& dialect, View& view, Outcome& outcome,
        std::string stem);

    const Request& request() const { return request_; }
    const Dialect& dialect() const { return dialect_; }
    View& view() { return view_; }
    // The local file the dialect writes (stem + "." + extension until a step
    // changes it).
    const std::string& localFile() const { return outcome_.file; }
    void setLocalFile(const std::string& file) { outcome_.file = file; }
    const std::string& stem() const { return stem_; }

    void write(const std::string& command, Sync sync = Sync::None);
    // A query; false when no answer came (the run is then stopped).
    bool ask(const std::string& command, std::string& answer);
    // "SYST:ERR?" read with ReadString, the answer unused.
    void errorQuery();
    // Asks "*OPC?" until it answers 1 or count reaches limit; each ask adds
    // one to count. pauseMs: the pause before each ask. A count shared by
    // several waits never makes a wait ask more than once past the limit.
    void opcWait(int& count, int limit, int pauseMs = 0);
    // "HCOP:DEV:COL ON" or "OFF" by the colour setting.
    void colourStep();
    // A pause the dialect prescribes; events run meanwhile.
    void pause(int ms);
    bool readFile(const std::string& query, long timeoutMs = -1);
    bool readStream(const std::string& query, long size);
    // False once the instrument stopped answering or the window went away.
    bool going() const { return failure_.empty() && !view_.gone(); }
    // Gives the run up with the reason the user will read.
    void stop(const std::string& why);
    // The user gave the run up: nothing more to tell.
    void cancel();
    const std::string& failure() const { return failure_; }
    bool cancelled() const { return cancelled_; }

    // The engine for the dialects with their own loops.
    io::VIF& vif() { return vif_; }

private:
    // After a command: a VISA failure means the instrument is gone.
    void check(const std::string& command);

    io::VIF& vif_;
    const Request& request_;
    const Dialect& dialect_;
    View& view_;
    Outcome& outcome_;
    std::string stem_;
    std::string failure_;
    bool cancelled_ = false;
};

}  // namespace qv::hardcopy
