#include "hardcopy/hardcopy.h"

#include "app/host.h"
#include "app/main_window.h"
#include "families/registry.h"
#include "hardcopy/dialect.h"
#include "instrument_io/vif.h"
#include "instrument_io/visa/status_text.h"

#include <sys/stat.h>

#include <cstdio>

namespace qv::hardcopy {

namespace {

bool fileExists(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string stemOf(const Request& r) {
    if (!r.stem.empty()) return r.stem;
    app::TimeRecord when = r.when.Year ? r.when : app::CurrentTimeRecord();
    return app::OutputFileName(r.saveFolder, r.listText, when, "");
}

void tell(const std::string& why, const Request& r) {
    app::host().message("Hardcopy FAILED", why + "\r\nNo picture was taken from " + r.resource +
                                               ". Check that the instrument is switched on and connected, then try again.",
                        app::Icon::Warning);
}

}  // namespace

const Dialect& dialectFor(std::string_view devType) {
    const family::Family* f = family::find(devType);
    return f && f->hardcopy ? *f->hardcopy : generalDialect();
}

std::string missingFileText(const std::string& file) {
    return "Hardcopy FAILED (file " + file + " does not exist on PC)\r" +
           "Please make sure that this directory is writable and that you have the latest firmware installed on "
           "your device.";
}

bool displayPicture(const std::string& file, Route route, View& view, bool copyImage, std::string& extension) {
    app::Host& h = app::host();
    if (!fileExists(file)) {
        h.message("ERROR", missingFileText(file), app::Icon::Warning);
        return false;
    }
    bool shown = false;
    if (route == Route::Shell) {
        // The desktop knows a program for this format; we cannot show it.
        if (h.message("DISPLAY FILE?", "File stored in " + file + "\r\nDisplay it?", app::Icon::Question,
                      app::Buttons::YesNo) == app::Answer::Yes)
            h.openWithShell(file);
    } else {
        std::string why;
        shown = view.showPicture(file, route, why);
        if (route == Route::Direct) extension = "bmp";
        if (!shown && route == Route::Loader)
            h.message("ERROR", "Hardcopy FAILED (file " + file + " cannot be shown: " + why + ")", app::Icon::Warning);
        view.fitToPicture();
    }
    if (copyImage) view.clearClipboard();
    return shown;
}

Outcome GetHardcopy(const Request& request, View& view, const std::string& extension) {
    Outcome out;
    out.extension = extension;
    app::host().processEvents();
    if (view.gone()) return out;

    io::VIF vif;
    if (request.prepare) request.prepare(vif);
    if (!vif.OpenDevice(request.resource, true, false, 1000, true)) {
        ViStatus s = vif.LastVisaStatus();
        out.failure = "The instrument " + request.resource + " could not be opened" +
                      (s < 0 ? ": " + visa::statusName(s) + " (" + visa::statusText(s) + ")" : std::string()) + ".";
        tell(out.failure, request);
        return out;
    }
    vif.TimeOut(2000);

    const Dialect& dialect = dialectFor(request.devType);
    if (dialect.setsExtension) out.extension = std::string(dialect.extension);
    Run run(vif, request, dialect, view, out, stemOf(request));
    // A second hardcopy within the same second meets the first one's file.
    std::remove(out.file.c_str());
    dialect.steps(run);
    out.failure = run.failure();
    out.cancelled = run.cancelled();

    if (!out.failure.empty()) {
        // What arrived before the instrument went silent is no picture.
        std::remove(out.file.c_str());
        if (!view.gone() && !out.cancelled) tell(out.failure, request);
        return out;
    }
    vif.SetRENState(6);
    out.pausedMs += io::VIF::kCloseWaitMs;  // spent when vif goes, below
    out.arrived = fileExists(out.file);
    if (view.gone()) return out;
    if (!request.show) return out;
    out.shown = displayPicture(out.file, dialect.route, view, request.copyImage, out.extension);
    if (!request.saveImage) std::remove(out.file.c_str());
    return out;
}

}  // namespace qv::hardcopy
