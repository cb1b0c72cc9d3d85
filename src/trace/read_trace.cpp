// readTrace: one reading, or one after another while continuous reading is
// on, each handed to the shared store. Everything runs on the window thread;
// the events let through between passes may click, close or ask for another
// reading, and each of those is answered at the next test of the loop.
#include "app/context.h"
#include "app/host.h"
#include "app/version.h"
#include "instrument_io/vif.h"
#include "trace/reader.h"

namespace qv::trace {

namespace {

constexpr const char* kStoredData = "<FILE>";

void inform(const std::string& text) { app::host().message(QV_PRODUCT_NAME, text, app::Icon::Information); }

// One pass of the loop: choose, read, hand back the instrument, store.
// False: a failure ended the reading.
bool readOnce(app::AppContext& ctx, WindowState& state, Window& window, io::VIF& vif, std::string& family,
              char decimalMark, uint32_t openTimeoutMs) {
    const Choice choice = chooseReader(vif, family, window.mappedName());
    if (choice.switchToTkw) {
        // An analyzer mode on a network analyzer's model: read it the way
        // the signal analyzers are read, for the rest of this window's life.
        state.MyDevType = "TKW";
        family = "TKW";
    }
    bool ok = false;
    if (!choice.reader) {
        inform(modeNotSupportedText(choice.mode));
    } else {
        if (choice.reader->traceSelector) window.showTraceSelector(true);
        ReadContext rc{vif,
                       family,
                       state.reading,
                       window,
                       ctx.SelectedTrace,
                       shared().SelectedChannel,
                       state.localFolder,
                       decimalMark,
                       {},
                       {state.MyVISARsc, state.prepareVif, openTimeoutMs}};
        ok = choice.reader->read(rc);
        if (!rc.failure.empty()) {
            app::host().busy(false);
            app::host().processEvents();
            inform(rc.failure);
            return false;
        }
    }
    vif.SetRENState(6);
    storeTraceData(state, window, ok);
    if (ok) ++state.readings;
    return true;
}

}  // namespace

void readTrace(app::AppContext& ctx, WindowState& state, Window& window, uint32_t openTimeoutMs) {
    // Asked for from an event the running loop let through: one more pass
    // of that loop, never a second reading on the same arrays.
    if (state.running) {
        state.again = true;
        return;
    }
    state.running = true;
    state.again = false;
    app::Host& host = app::host();
    host.busy(true);
    host.processEvents();
    std::string family = state.MyDevType;
    window.hideSelectors();
    if (state.simulateOn) {
        window.simulatePulseData();
    } else if (state.MyVISARsc == kStoredData) {
        window.openStoredData();
    } else if (!window.gone()) {
        io::VIF vif;
        if (state.prepareVif) state.prepareVif(vif);
        // A failed open shows through the readers' flags: every call on a
        // closed VIF fails at once, so the pass still ends quickly.
        vif.OpenDevice(state.MyVISARsc, true, false, openTimeoutMs, true);
        const char mark = SystemDecimalMark();
        for (;;) {
            state.again = false;
            if (!readOnce(ctx, state, window, vif, family, mark, openTimeoutMs)) break;
            host.processEvents();
            if (!(state.continuousOn || state.again) || window.gone()) break;
        }
    }
    host.busy(false);
    host.processEvents();
    state.running = false;
    state.again = false;
}

void storeTraceData(WindowState& state, Window& window, bool ok) {
    if (!ok) {
        inform(kNoTraceText);
    } else {
        shared().traceData.set(state.reading.traceX, state.reading.traceY);
        if (state.pulseShown) window.evaluatePulse();
    }
    app::host().busy(false);
    app::host().processEvents();
}

}  // namespace qv::trace
