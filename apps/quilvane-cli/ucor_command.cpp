// quilvane-cli ucor: imports a transducer file by the settings' rules and
// uploads it as the user correction window does, in the dialect of the
// identified instrument's family.
#include "cli.h"

#include "app/context.h"
#include "app/main_window.h"
#include "app/settings.h"
#include "app/text.h"
#include "families/registry.h"
#include "instrument_directory/visa_scan.h"
#include "tables/transducer_import.h"
#include "tables/ucor.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace qv::cli {

namespace {

int usageError(const std::string& text) {
    std::fprintf(stderr, "error: ucor: %s\n", text.c_str());
    return 2;
}

// A unit as typed: lower case, and "µ" (micro sign or Greek mu) as "u", so
// that "dBuV", "DBUV" and "dBµV" are one unit.
std::string unitKey(std::string_view text) {
    std::string out = app::ToLowerAscii(text);
    for (const char* mu : {"\xC2\xB5", "\xCE\xBC"})
        for (size_t at = out.find(mu); at != std::string::npos; at = out.find(mu)) out.replace(at, 2, "u");
    return out;
}

int levelUnitIndex(std::string_view text) {
    const std::string key = unitKey(text);
    for (int i = 0; i < tables::kLevelUnitCount; ++i)
        if (unitKey(tables::LevelUnits()[size_t(i)].text) == key) return i;
    return -1;
}

int freqUnitIndex(std::string_view text) {
    for (int i = 0; i < int(tables::FreqUnits().size()); ++i)
        if (app::EqualsNoCase(tables::FreqUnits()[size_t(i)], text)) return i;
    return -1;
}

struct UCorArgs {
    tables::UCorSettings settings;  // the window's defaults
    bool negate = false;
    std::string refLevel;
};

bool parseArgs(const Options& o, UCorArgs& a, std::string& why) {
    for (size_t i = 3; i < o.args.size(); ++i) {
        const std::string& opt = o.args[i];
        if (opt == "--negate") {
            a.negate = true;
            continue;
        }
        if (i + 1 >= o.args.size()) {
            why = "\"" + opt + "\" is no option of ucor, or it lacks its value";
            return false;
        }
        const std::string& value = o.args[++i];
        if (opt == "--name") {
            a.settings.name = value;
        } else if (opt == "--comment") {
            a.settings.comment = value;
        } else if (opt == "--ref-level") {
            a.refLevel = value;
        } else if (opt == "--unit") {
            a.settings.levelUnit = levelUnitIndex(value);
            if (a.settings.levelUnit < 0) {
                why = "--unit takes dB, dBm, dBuV, dBuV/m, dBuA, dBuA/m, dBpW or dBpt";
                return false;
            }
        } else if (opt == "--freq-unit") {
            a.settings.freqUnit = freqUnitIndex(value);
            if (a.settings.freqUnit < 0) {
                why = "--freq-unit takes Hz, kHz, MHz or GHz";
                return false;
            }
        } else if (opt == "--scale") {
            if (value != "lin" && value != "log" && value != "linear") {
                why = "--scale takes lin or log";
                return false;
            }
            a.settings.logScale = value == "log";
        } else {
            why = "\"" + opt + "\" is no option of ucor";
            return false;
        }
    }
    return true;
}

// The [UCor] rules of the settings file the program uses (or --ini FILE);
// a missing file gives the defaults.
app::AppContext importSettings(const Options& o) {
    app::AppContext ctx;
    ctx.IniFilePath = o.iniFile.empty() ? userIniFile() : o.iniFile;
    if (!ctx.IniFilePath.empty()) app::SetLoadSave(1, ctx);
    return ctx;
}

}  // namespace

int cmdUcor(const Options& o) {
    UCorArgs a;
    std::string why;
    if (!parseArgs(o, a, why)) return usageError(why);
    const std::string& file = o.args[2];

    dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    const std::string tag = last < 0 ? std::string() : scan.DeviceTyp(last);
    if (!family::find(tag)) {
        std::fprintf(stderr, "error: %s did not answer as an instrument this program knows; check the address\n",
                     o.args[1].c_str());
        return 1;
    }
    const std::string firmware = app::FirmwareOf(app::DeviceListText(scan.DeviceInfo(last)));
    const family::UCorGroup group = tables::UCorGroupOf(tag);
    if (!tables::UCorNameAccepted(a.settings.name, group)) return usageError(tables::kUCorNameMessage);

    const app::AppContext ctx = importSettings(o);
    const tables::ImportRules rules = tables::RulesFromSettings(ctx, a.negate, a.refLevel);
    tables::UCorTable table;
    // The boxes of the import (reduction, lost rows) reach standard error.
    if (!tables::LoadTransducerFile(file, rules, tables::TransducerMax(tag, firmware), table, a.settings.name))
        return 1;

    auto prepare = [&o](io::VIF& v) {
        if (!o.logFile.empty()) v.ConfigDebugMode(o.logLevel, true, o.logFile, 256);
        v.TimeOut(int32_t(std::min<uint32_t>(o.timeoutMs, 0x7FFFFFFF)));
    };
    const tables::UploadResult r = tables::UploadUCor(o.args[1], group, table, a.settings, prepare);
    if (!r.sent || !r.errors.empty()) return 1;  // the reason went to standard error
    std::printf("%zu points uploaded to the %s as %s (%s dialect)\n", table.size(), tag.c_str(),
                a.settings.name.c_str(), group == family::UCorGroup::Generator ? "generator" : "analyzer");
    return 0;
}

}  // namespace qv::cli
