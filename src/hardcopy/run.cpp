#include "hardcopy/dialect.h"

#include "app/host.h"
#include "app/numeric.h"
#include "instrument_io/vif.h"
#include "instrument_io/visa/status_text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

namespace qv::hardcopy {

Run::Run(io::VIF& vif, const Request& request, const Dialect& dialect, View& view, Outcome& outcome,
         std::string stem)
    : vif_(vif), request_(request), dialect_(dialect), view_(view), outcome_(outcome), stem_(std::move(stem)) {
    outcome_.file = stem_ + "." + std::string(dialect_.extension);
}

void Run::check(const std::string& command) {
    ViStatus s = vif_.LastVisaStatus();
    if (s >= 0) return;
    vif_.ClearLastVisaStatus();
    const bool timedOut = s == VI_ERROR_TMO;
    stop(std::string("The instrument stopped answering: ") +
         (timedOut ? "no answer to \"" + command + "\" within " + std::to_string(vif_.TimeOut()) + " ms"
                   : "\"" + command + "\" failed with " + visa::statusName(s) + " (" + visa::statusText(s) + ")") +
         ".");
}

void Run::stop(const std::string& why) {
    if (failure_.empty()) failure_ = why;
}

void Run::cancel() {
    if (!failure_.empty()) return;
    failure_ = "The hardcopy was cancelled.";
    cancelled_ = true;
}

void Run::write(const std::string& command, Sync sync) {
    if (!going()) return;
    vif_.WriteString(command, int(sync));
    check(command);
}

bool Run::ask(const std::string& command, std::string& answer) {
    answer.clear();
    if (!going()) return false;
    bool ok = vif_.ReadString(command, answer, 2048, true);
    check(command);
    return ok && going();
}

void Run::errorQuery() {
    std::string answer;
    ask("SYST:ERR?", answer);
}

void Run::opcWait(int& count, int limit, int pauseMs) {
    // ">=": with a count shared between waits an "until count = limit" rule
    // would never end once the count has passed the limit.
    do {
        if (pauseMs > 0) pause(pauseMs);
        std::string answer;
        if (!ask("*OPC?", answer)) return;
        ++count;
        if (app::NumericValue(answer) == 1) return;
    } while (count < limit);
}

void Run::colourStep() { write(request_.color ? "HCOP:DEV:COL ON" : "HCOP:DEV:COL OFF"); }

void Run::pause(int ms) {
    if (!going()) return;
    outcome_.pausedMs += ms;
    // Events run in short slices so that the window stays alive; a window
    // closed meanwhile ends the pause and the run.
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::milliseconds(ms);
    while (!view_.gone()) {
        app::host().processEvents();
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
        if (left <= 0) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, 20)));
    }
}

bool Run::readFile(const std::string& query, long timeoutMs) {
    if (!going()) return false;
    bool ok = vif_.ReadFileFromInstrument(query, outcome_.file, timeoutMs);
    // A failed transfer is reported by the missing file, not as a dead
    // instrument: the instrument may simply not have the file.
    vif_.ClearLastVisaStatus();
    return ok;
}

bool Run::readStream(const std::string& query, long size) {
    if (!going()) return false;
    bool ok = vif_.ReadStreamFromInstrumentIntoFile(query, outcome_.file, size, -1);
    vif_.ClearLastVisaStatus();
    // A stream cut short by a time-out must not look like a picture.
    if (!ok) std::remove(outcome_.file.c_str());
    return ok;
}

}  // namespace qv::hardcopy
