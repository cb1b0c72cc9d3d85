// Running a script: one session for the whole run, each `scpi` line followed
// by a read of the instrument's error queue, each `dwnl` line a block answer
// into a file. The engine adds string work only; every wait is the session's.
#include "automation/script.h"

#include "app/host.h"
#include "app/numeric.h"
#include "app/text.h"
#include "instrument_io/vif.h"
#include "instrument_io/visa/status_text.h"

namespace qv::automation {

namespace {

constexpr const char* kCrLf = "\r\n";
// Answers are read into a buffer of this size, the error queue's too.
constexpr long kAnswerBytes = 2048;
// An error queue that never reports "no error" is given up after this many reads.
constexpr int kMaxErrorReads = 256;
// The rest of a cut answer is read and dropped in pieces, at most this many.
constexpr int kMaxDrainReads = 1024;

std::string openFailureText(const std::string& resource, const io::VIF& v) {
    return "ERROR: " + resource + " could not be opened: " + io::OpenFailureReason(v) + kCrLf;
}

class Run {
public:
    Run(const std::vector<ScriptParm>& parms, const ScriptRunHooks& hooks, ScriptRunResult& out)
        : parms_(parms), hooks_(hooks), out_(out) {}

    void append(const std::string& piece) {
        out_.results += piece;
        if (hooks_.results) hooks_.results(piece);
    }

    bool open(const std::string& resource, int timeoutMs) {
        if (hooks_.prepare) hooks_.prepare(v_);
        if (!v_.OpenDevice(resource, true, false, 1000, true)) {
            append(openFailureText(resource, v_));
            return false;
        }
        v_.TimeOut(timeoutMs);
        return true;
    }

    void lines(const std::string& text) {
        bool failed = false;
        int number = 0;
        for (const std::string& raw : SplitLines(text)) {
            ++number;
            ScriptLine l = PrepareLine(raw);
            if (l.empty) continue;
            if (!l.hasColon) {
                app::host().message("Parse Error", "Expecting a valid command in line " + std::to_string(number) + "!",
                                    app::Icon::Warning);
            } else if (l.keyword == "scpi") {
                if (!scpi(l.value)) failed = true;
            } else if (l.keyword == "dwnl") {
                if (failed)
                    append("Download: Skipped due to previous errors!");
                else if (!download(l.value))
                    failed = true;
            } else if (l.keyword != "name" && l.keyword != "desc" && l.keyword != "parm" && l.keyword != "instr") {
                app::host().message("Illegal Command",
                                    "Illegal command: " + l.keyword + " in line " + std::to_string(number) + "!",
                                    app::Icon::Warning);
            }
            app::host().processEvents();
        }
        out_.errors = failed;
        append(failed ? "Script terminated with errors!\r\n" : "Success!\r\n");
    }

private:
    bool scpi(const std::string& value) {
        const std::string line = Substitute(value, parms_);
        bool ok = true;
        if (line.find('?') != std::string::npos) {
            if (v_.ReadString(line, answer_, kAnswerBytes, true)) {
                append(answer_ + kCrLf);
                if (answer_.size() >= size_t(kAnswerBytes)) dropRest();
            } else {
                append("ERROR: no answer to " + line + kCrLf);
                ok = false;
            }
        } else {
            v_.ClearLastVisaStatus();
            v_.WriteString(line, 0);
            if (v_.LastVisaStatus() < 0) {
                append("ERROR: " + line + " could not be sent: " + visa::statusName(v_.LastVisaStatus()) + kCrLf);
                ok = false;
            }
        }
        return errorQueue() && ok;
    }

    // A cut answer's rest would otherwise be read as the error queue's answer,
    // and every answer after it would belong to the command before.
    void dropRest() {
        std::string rest;
        for (int i = 0; i < kMaxDrainReads; ++i)
            if (!v_.ReadString("", rest, kAnswerBytes, false) || rest.size() < size_t(kAnswerBytes)) break;
    }

    // Reads the error queue until it is empty; false when it held errors or
    // could not be read to its end.
    bool errorQueue() {
        bool ok = true;
        for (int round = 0; round < kMaxErrorReads; ++round) {
            if (!v_.ReadString("SYST:ERR?", answer_, kAnswerBytes, true)) {
                append(std::string("ERROR: no answer to SYST:ERR?") + kCrLf);
                return false;
            }
            if (app::ErrorCodeIsZero(answer_)) return ok;
            append("ERROR: " + answer_ + kCrLf);
            ok = false;
        }
        append("ERROR: the error queue was not empty after " + std::to_string(kMaxErrorReads) + " reads of SYST:ERR?" +
               kCrLf);
        return false;
    }

    bool download(const std::string& value) {
        const std::string line = Substitute(value, parms_);
        const size_t arrow = line.find("->");
        if (arrow == std::string::npos) {
            append("ERROR: Download line \"" + line + "\" names no target file (query -> file)!" + kCrLf);
            return false;
        }
        const std::string query = app::TrimBlanks(std::string_view(line).substr(0, arrow));
        const std::string target = app::TrimBlanks(std::string_view(line).substr(arrow + 2));
        // The block's size sets the wait, as everywhere a file is fetched.
        if (target.empty() || !v_.ReadFileFromInstrument(query, target)) {
            append("ERROR: Download of file " + target + " failed!" + kCrLf);
            return false;
        }
        return true;
    }

    const std::vector<ScriptParm>& parms_;
    const ScriptRunHooks& hooks_;
    ScriptRunResult& out_;
    io::VIF v_;
    std::string answer_;
};

}  // namespace

int FirstEmptyParm(const std::vector<ScriptParm>& parms) {
    for (size_t i = 0; i < parms.size(); ++i)
        if (app::TrimBlanks(parms[i].value).empty()) return static_cast<int>(i);
    return -1;
}

void ReportEmptyParm(const ScriptParm& parm) {
    app::host().message("Scripts", "Parameter " + parm.name + " is empty!", app::Icon::Warning);
}

ScriptRunResult RunScript(const std::string& file, const std::vector<ScriptParm>& parms, const std::string& resource,
                          const ScriptRunHooks& hooks, int timeoutMs) {
    ScriptRunResult out;
    if (const int empty = FirstEmptyParm(parms); empty >= 0) {
        ReportEmptyParm(parms[static_cast<size_t>(empty)]);
        return out;
    }
    std::string text;
    if (!ReadScriptText(file, text)) {
        app::host().message("Script Error", "Error during script execution", app::Icon::Critical);
        out.errors = true;
        return out;
    }
    Run run(parms, hooks, out);
    if (!run.open(resource, timeoutMs)) {
        out.errors = true;
        run.append("Script terminated with errors!\r\n");
        return out;
    }
    out.ran = true;
    run.lines(text);
    return out;
}

}  // namespace qv::automation
