#include "instrument.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cctype>
#include <cmath>
#include <filesystem>

#include "scpi_errors.h"
#include "seed_files.h"
#include "text.h"

namespace qv::sim {

namespace {

bool makeTempDir(std::string& out) {
    std::error_code ec;
    std::filesystem::path base = std::filesystem::temp_directory_path(ec);
    if (ec) base = "/tmp";
    std::string tmpl = (base / "quilvane-sim.XXXXXX").string();
    if (!::mkdtemp(tmpl.data())) return false;
    out = tmpl;
    return true;
}

}  // namespace

std::string quoted(std::string_view text) {
    std::string s = "\"";
    for (char c : text) {
        s += c;
        if (c == '"') s += '"';
    }
    s += '"';
    return s;
}

std::unique_ptr<Instrument> Instrument::create(const InstrumentOptions& options, std::string& error) {
    const Profile* profile = findProfile(options.profile);
    if (!profile) {
        error = "unknown profile '" + options.profile + "'; known profiles: " + knownProfileTags();
        return nullptr;
    }
    if (options.points < 1 || options.points > kMaxPoints) {
        error = "points must be 1.." + std::to_string(kMaxPoints);
        return nullptr;
    }
    if (options.opcDelayMs > kMaxOpcDelayMs) {
        error = "the operation delay must be 0.." + std::to_string(kMaxOpcDelayMs) + " ms";
        return nullptr;
    }
    std::unique_ptr<Instrument> inst(new Instrument());
    inst->profile_ = profile;
    inst->spillThreshold_ = options.spillThreshold;
    if (!makeTempDir(inst->tempDir_)) {
        error = "cannot create a temporary folder";
        return nullptr;
    }
    inst->spool_ = inst->tempDir_ + "/spool";
    std::error_code ec;
    std::filesystem::create_directory(inst->spool_, ec);
    if (options.root.empty()) {
        inst->root_ = inst->tempDir_ + "/root";
        std::filesystem::create_directory(inst->root_, ec);
    } else {
        inst->root_ = options.root;
        std::filesystem::create_directories(inst->root_, ec);
    }
    if (ec) {
        error = "cannot create instrument root " + inst->root_ + ": " + ec.message();
        return nullptr;
    }
    if (!inst->sandbox_.open(inst->root_, *profile, error)) return nullptr;
    if (options.seedFiles && !options.seedLater && !seedFiles(inst->sandbox_, *profile, error)) return nullptr;
    inst->seedPending_ = options.seedFiles && options.seedLater;
    if (!options.logFile.empty() && !inst->log_.open(options.logFile, error)) return nullptr;
    inst->state_.points = options.points;
    inst->state_.opcDelayMs = options.opcDelayMs;
    inst->state_.signedErrors = options.signedErrors;
    inst->state_.mode = profile->modes.empty() ? "SAN" : profile->modes.front();
    inst->state_.hardcopy.language = profile->hardcopyFormat;
    inst->state_.network.reset(profile->fixedNetworkChannels);
    for (const auto& text : options.faults) {
        Fault f;
        if (!parseFault(text, f, error)) return nullptr;
        inst->state_.faults.push_back(std::move(f));
    }
    return inst;
}

Instrument::~Instrument() {
    if (!tempDir_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(tempDir_, ec);
    }
}

void Instrument::pushErrorLocked(int code, std::string text) {
    if (code == 0) return;
    state_.esr |= esrBitForError(code);
    if (text.empty()) text = scpiErrorTextOrGeneric(code);
    auto& q = state_.errors;
    if (q.size() < kErrorQueueSize) {
        q.push_back({code, std::move(text)});
    } else if (q.back().code != err::kQueueOverflow) {
        // A full queue keeps its oldest entries; the newest slot says so.
        q.back() = {err::kQueueOverflow, scpiErrorText(err::kQueueOverflow)};
    }
}

uint8_t Instrument::statusByteLocked(bool mav) const {
    uint8_t stb = 0;
    if (!state_.errors.empty()) stb |= 0x04;
    if (mav) stb |= 0x10;
    if (state_.esr & state_.ese) stb |= 0x20;
    if (stb & state_.sre & ~0x40) stb |= 0x40;
    return stb;
}

void Instrument::resetLocked() {
    state_.mode = profile_->modes.empty() ? "SAN" : profile_->modes.front();
    state_.asciiFormat = true;
    state_.startHz = State{}.startHz;
    state_.stopHz = State{}.stopHz;
    state_.levelUnit = LevelUnit::Dbm;
    state_.xSpacing = "LIN";
    state_.sweepTimeS = kDefaultSweepTimeS;
    state_.traceOn = State{}.traceOn;
    state_.audioUnit = "V";
    state_.audioStartHz = kDefaultAudioStartHz;
    state_.audioStopHz = kDefaultAudioStopHz;
    state_.hardcopy = State::Hardcopy{};
    state_.hardcopy.language = profile_->hardcopyFormat;
    // Correction tables are stored data and survive; applying one is a setting.
    state_.correction.on = false;
    state_.demodulationFormat = "QPSK";
    // Channels, traces and math as after power-on; lengths are the simulator's.
    state_.network.reset(profile_->fixedNetworkChannels);
    state_.scope.reset();
    sandbox_.reset();
}

void Instrument::startOperationLocked() {
    auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(state_.opcDelayMs);
    state_.busyUntil = std::max(state_.busyUntil, until);
}

void Instrument::settleLocked() {
    if (state_.opcArmed && std::chrono::steady_clock::now() >= state_.busyUntil) {
        state_.opcArmed = false;
        state_.esr |= esr::kOperationComplete;
    }
}

std::string Instrument::errorEntryLocked(const QueuedError& e) const {
    std::string code = std::to_string(e.code);
    if (state_.signedErrors && e.code >= 0) code.insert(0, 1, '+');
    return code + "," + qv::sim::quoted(e.text);
}

void Instrument::seedPendingLocked() {
    if (!seedPending_) return;
    seedPending_ = false;
    std::string why;
    // The instrument works without them; its queue says what went wrong.
    if (!seedFiles(sandbox_, *profile_, why)) pushErrorLocked(err::kMassStorage, "Mass storage error;" + why);
}

void Instrument::seedNow() {
    std::lock_guard<std::mutex> lock(mutex_);
    seedPendingLocked();
}

void Instrument::pushError(int code, std::string_view text) {
    std::lock_guard<std::mutex> lock(mutex_);
    pushErrorLocked(code, std::string(text));
}

bool Instrument::addFault(std::string_view text, std::string& error) {
    Fault f;
    if (!parseFault(text, f, error)) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    state_.faults.push_back(std::move(f));
    return true;
}

void Instrument::clearFaults() {
    std::lock_guard<std::mutex> lock(mutex_);
    state_.faults.clear();
}

uint8_t Instrument::statusByte(bool outputPending) {
    std::lock_guard<std::mutex> lock(mutex_);
    settleLocked();
    return statusByteLocked(outputPending);
}

std::vector<QueuedError> Instrument::errorQueue() {
    std::lock_guard<std::mutex> lock(mutex_);
    return {state_.errors.begin(), state_.errors.end()};
}

void Instrument::setRemote(bool remote) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_.remote = remote;
}

bool Instrument::remote() {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_.remote;
}

bool Instrument::tryLock(int32_t link) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (state_.lockOwner != 0 && state_.lockOwner != link) return false;
    state_.lockOwner = link;
    return true;
}

bool Instrument::unlock(int32_t link) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (state_.lockOwner != link) return false;
    state_.lockOwner = 0;
    return true;
}

int32_t Instrument::lockOwner() {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_.lockOwner;
}

void Instrument::execute(const ProgramMessage& msg, bool outputPending, ResponseMessage& out) {
    std::lock_guard<std::mutex> lock(mutex_);
    seedPendingLocked();
    settleLocked();
    log_.message(msg);
    out = ResponseMessage{};
    bool answered = false;  // a query gave an answer, maybe an empty one
    if (msg.overflowBytes > 0) {
        pushErrorLocked(err::kTooMuchData);
        return;
    }
    Response& resp = out.data;
    MessageParser parser(msg);
    std::vector<std::string> path;  // nodes of the previous compound header minus its last
    for (;;) {
        ProgramUnit unit;
        int code = 0;
        auto r = parser.next(unit, code);
        if (r == MessageParser::Result::End) break;
        if (r == MessageParser::Result::Error) {
            pushErrorLocked(code);
            break;
        }
        const ProgramHeader& h = unit.header;
        std::vector<std::string> full;
        if (h.common || h.absolute) {
            full = h.nodes;
        } else {
            full = path;
            full.insert(full.end(), h.nodes.begin(), h.nodes.end());
        }
        HeaderMatch match;
        if (!commandTable().find(h.common, full, match, code)) {
            pushErrorLocked(code);
            break;
        }
        Handler handler = h.query ? match.command->query : match.command->set;
        if (!handler) {
            pushErrorLocked(err::kUndefinedHeader);
            break;
        }
        if (!h.common) path.assign(full.begin(), full.end() - 1);
        Response unitOut;
        CommandContext ctx(*this, unit, match, unitOut, outputPending || !resp.empty());
        handler(ctx);
        out.silent = out.silent || ctx.silent;
        for (const auto& f : state_.faults) {
            if (!f.appliesTo(match, h.query)) continue;
            switch (f.kind) {
            case Fault::Kind::Error:
                pushErrorLocked(int(f.value));
                break;
            case Fault::Kind::Delay:
                if (h.query) out.delayMs = std::max<uint32_t>(out.delayMs, uint32_t(f.value));
                break;
            case Fault::Kind::Drop:
                if (h.query) {
                    // Counted from the start of this query's answer.
                    uint64_t at = resp.size() + (resp.empty() ? 0 : 1) + uint64_t(f.value);
                    out.dropAfter = std::min(out.dropAfter.value_or(UINT64_MAX), at);
                }
                break;
            case Fault::Kind::Silent:
                if (h.query) out.silent = true;
                break;
            case Fault::Kind::CorruptBlock:
                if (h.query) unitOut.corruptBlockHeader();
                break;
            case Fault::Kind::Busy:
                break;  // *OPC? itself asks for it
            }
        }
        if (h.query && (!unitOut.empty() || ctx.emptyAnswer)) {
            if (answered) resp.append(';');
            resp.appendResponse(std::move(unitOut));
            answered = true;
        }
        // A command error ends the program message: what follows it cannot
        // be trusted to mean what the sender intended.
        if (ctx.commandError()) break;
    }
    if (!answered) return;
    resp.append('\n');
    // *WAI or *OPC? in this message: the answer waits for the operation.
    auto now = std::chrono::steady_clock::now();
    if (state_.holdUntil > now) {
        auto left = std::chrono::ceil<std::chrono::milliseconds>(state_.holdUntil - now).count();
        out.delayMs = std::max(out.delayMs, uint32_t(left));
    }
}

// ---------------------------------------------------------------------------

void CommandContext::error(int code, std::string text) {
    if (code <= -100 && code > -200) commandError_ = true;
    instrument.pushErrorLocked(code, std::move(text));
}

bool CommandContext::expectParams(size_t min, size_t max) {
    if (unit.params.size() < min) {
        error(err::kMissingParameter);
        return false;
    }
    if (unit.params.size() > max) {
        error(err::kParameterNotAllowed);
        return false;
    }
    return true;
}

const Parameter* CommandContext::param(size_t i) {
    if (i < unit.params.size()) return &unit.params[i];
    error(err::kMissingParameter);
    return nullptr;
}

const Parameter* CommandContext::typedParam(size_t i, Parameter::Type type) {
    const Parameter* p = param(i);
    if (p && p->type != type) {
        error(err::kDataType);
        return nullptr;
    }
    return p;
}

// A plain number: decimal or non-decimal, without a unit.
bool CommandContext::numberParam(const Parameter& p, double& v) {
    if (p.type != Parameter::Type::Number && p.type != Parameter::Type::NonDecimal) {
        error(err::kDataType);
        return false;
    }
    if (!p.unit.empty()) {
        error(err::kInvalidSuffix);
        return false;
    }
    v = std::nearbyint(p.number);
    return true;
}

template <class T>
bool CommandContext::namedValue(const Parameter& p, T& v, T min, T max, T def) {
    const std::string w = upperText(p.text);
    if (w == "MIN" || w == "MINIMUM") v = min;
    else if (w == "MAX" || w == "MAXIMUM") v = max;
    else if (w == "DEF" || w == "DEFAULT") v = def;
    else {
        error(err::kDataType);
        return false;
    }
    return true;
}

bool CommandContext::integerParam(size_t i, int64_t& v, int64_t min, int64_t max, int64_t def) {
    const Parameter* p = param(i);
    if (!p) return false;
    if (p->type == Parameter::Type::Character) return namedValue(*p, v, min, max, def);
    double r = 0;
    if (!numberParam(*p, r)) return false;
    if (!(r >= double(min) && r <= double(max))) {
        error(err::kDataOutOfRange);
        return false;
    }
    v = int64_t(r);
    return true;
}

bool CommandContext::realParam(size_t i, double& v, double min, double max, double def,
                               std::initializer_list<UnitFactor> units) {
    const Parameter* p = param(i);
    if (!p) return false;
    if (p->type == Parameter::Type::Character) return namedValue(*p, v, min, max, def);
    if (p->type != Parameter::Type::Number) {
        error(err::kDataType);
        return false;
    }
    double factor = 1;
    if (!p->unit.empty()) {
        bool known = false;
        for (const auto& u : units)
            if (p->unit == u.unit) {
                factor = u.factor;
                known = true;
            }
        if (!known) {
            error(err::kInvalidSuffix);
            return false;
        }
    }
    double r = p->number * factor;
    if (!std::isfinite(r) || r < min || r > max) {
        error(err::kDataOutOfRange);
        return false;
    }
    v = r;
    return true;
}

bool CommandContext::stringParam(size_t i, std::string& s) {
    const Parameter* p = typedParam(i, Parameter::Type::String);
    if (p) s = p->text;
    return p != nullptr;
}

bool CommandContext::wordParam(size_t i, std::string& upperWord) {
    const Parameter* p = typedParam(i, Parameter::Type::Character);
    if (p) upperWord = upperText(p->text);
    return p != nullptr;
}

bool CommandContext::boolParam(size_t i, bool& v) {
    const Parameter* p = param(i);
    if (!p) return false;
    if (p->type == Parameter::Type::Character) {
        const std::string w = upperText(p->text);
        if (w != "ON" && w != "OFF") {
            error(err::kIllegalParameterValue);
            return false;
        }
        v = w == "ON";
        return true;
    }
    double r = 0;
    if (!numberParam(*p, r)) return false;
    v = r != 0;
    return true;
}

bool CommandContext::blockParam(size_t i, const BlockData*& block) {
    const Parameter* p = typedParam(i, Parameter::Type::Block);
    if (p) block = &p->block;
    return p != nullptr;
}

}  // namespace qv::sim
