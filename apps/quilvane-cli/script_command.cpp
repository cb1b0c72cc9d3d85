// quilvane-cli script: runs a script file headless with the engine the
// scripts window uses, and prints its Results as they arrive.
#include "cli.h"

#include "automation/script.h"
#include "instrument_directory/dev_ident.h"
#include "instrument_directory/visa_scan.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace qv::cli {

namespace {

int usageError(const std::string& text) {
    std::fprintf(stderr, "error: script: %s\n", text.c_str());
    return 2;
}

// Refuses a script whose families do not include the instrument's. An
// instrument that cannot be identified is not refused: the user may know
// better than the identity tables, and the script's own lines will tell.
bool servedFamily(const Options& o, const automation::ScriptEntry& e, int& rc) {
    dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    const std::string tag = last >= 0 ? scan.DeviceTyp(last) : std::string();
    if (tag.empty() || tag == dir::kNoDevice || tag == dir::kDeviceUnknown) {
        std::fprintf(stderr, "warning: %s was not identified; the script runs without the family check\n",
                     o.args[1].c_str());
        return true;
    }
    if (automation::ScriptSupports(e, tag, automation::FamilyAliases(tag))) return true;
    std::string tags = e.Instr;
    if (!tags.empty() && tags.back() == ',') tags.pop_back();
    rc = usageError("the script serves " + (tags.empty() ? std::string("no family") : tags) + ", not the " + tag +
                    " at " + o.args[1]);
    return false;
}

}  // namespace

int cmdScript(const Options& o) {
    const std::string& file = o.args[2];
    std::string text;
    if (!automation::ReadScriptText(file, text)) return usageError("cannot read " + file);
    automation::ScriptEntry entry;
    automation::ReadScriptHeader(text, entry);
    entry.File = file;
    // A FILE default without a folder lands in the current folder.
    std::vector<automation::ScriptParm> parms = automation::ScriptParms(entry, ".");
    for (size_t i = 3; i < o.args.size(); ++i) {
        const std::string& a = o.args[i];
        const size_t eq = a.find('=');
        if (eq == std::string::npos) return usageError("\"" + a + "\" is no NAME=VALUE");
        const std::string name = a.substr(0, eq), value = a.substr(eq + 1);
        automation::ScriptParm* p = nullptr;
        for (automation::ScriptParm& q : parms)
            if (q.name == name) p = &q;
        if (!p) return usageError("the script has no parameter \"" + name + "\"");
        std::string why;
        if (!automation::CheckParmValue(p->type, value, why)) return usageError(name + ": " + why);
        p->value = value;
    }
    for (const automation::ScriptParm& p : parms)
        if (p.value.find_first_not_of(' ') == std::string::npos)
            return usageError("parameter \"" + p.name + "\" is empty: give " + p.name + "=VALUE");
    int rc = 0;
    if (!servedFamily(o, entry, rc)) return rc;

    automation::ScriptRunHooks hooks;
    // Results is CR LF text; a terminal wants LF.
    hooks.results = [](const std::string& piece) {
        std::string out = piece;
        for (size_t at = out.find("\r\n"); at != std::string::npos; at = out.find("\r\n", at)) out.erase(at, 1);
        std::fputs(out.c_str(), stdout);
        std::fflush(stdout);
    };
    if (!o.logFile.empty())
        hooks.prepare = [&o](io::VIF& v) { v.ConfigDebugMode(o.logLevel, true, o.logFile, 256); };
    const int timeoutMs = o.timeoutGiven ? int(std::min<uint32_t>(o.timeoutMs, 0x7FFFFFFF)) : 20000;
    automation::ScriptRunResult r = automation::RunScript(file, parms, o.args[1], hooks, timeoutMs);
    return r.errors || !r.ran ? 1 : 0;
}

}  // namespace qv::cli
