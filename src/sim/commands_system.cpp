// SYSTem subsystem, including the simulator's own control commands.
#include <time.h>

#include <algorithm>
#include <memory>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

const QueuedError kNoError{0, "No error"};

void errorNext(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    auto& q = c.state.errors;
    if (q.empty()) {
        c.out.append(c.instrument.errorEntryLocked(kNoError));
        return;
    }
    c.out.append(c.instrument.errorEntryLocked(q.front()));
    q.pop_front();
}

void errorAll(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    auto& q = c.state.errors;
    if (q.empty()) {
        c.out.append(c.instrument.errorEntryLocked(kNoError));
        return;
    }
    std::string s;
    for (const auto& e : q) {
        if (!s.empty()) s += ',';
        s += c.instrument.errorEntryLocked(e);
    }
    q.clear();
    c.out.append(s);
}

void errorCount(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.errors.size()));
}

void version(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append("1999.0");
}

void faultAdd(CommandContext& c) {
    std::string faultText, why;
    if (!c.expectParams(1, 1) || !c.stringParam(0, faultText)) return;
    Fault f;
    if (!parseFault(faultText, f, why)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.state.faults.push_back(std::move(f));
}

void faultQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    std::string s;
    for (const auto& f : c.state.faults) {
        if (!s.empty()) s += ',';
        s += quoted(f.text);
    }
    c.out.append(s.empty() ? "\"\"" : s);
}

void faultClear(CommandContext& c) {
    if (c.expectParams(0, 0)) c.state.faults.clear();
}

void simError(CommandContext& c) {
    int64_t code = 0;
    if (!c.expectParams(1, 2) || !c.integerParam(0, code, -32768, 32767, 0)) return;
    std::string text;
    if (c.paramCount() == 2 && !c.stringParam(1, text)) return;
    if (code == 0) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.instrument.pushErrorLocked(int(code), text);
}

// The analyzers' trace length; network analyzer channels and scope records
// follow it as far as they reach.
void pointsSet(CommandContext& c) {
    int64_t v = 0;
    if (!c.expectParams(1, 1) || !c.integerParam(0, v, 1, Instrument::kMaxPoints, 1001)) return;
    c.state.points = uint32_t(v);
    c.state.network.setAllPoints(uint32_t(std::min<int64_t>(v, NetworkSetup::kMaxPoints)));
    c.state.scope.points = uint32_t(std::min<int64_t>(v, ScopeSetup::kMaxPoints));
}

void pointsQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.points));
}

// ---- the clock --------------------------------------------------------

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct Civil {
    int64_t year, month, day, hour, minute, second;
};

Civil civilFromSeconds(int64_t t) {
    int64_t days = t / 86400, secs = t % 86400;
    if (secs < 0) {
        secs += 86400;
        --days;
    }
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t doe = days - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int64_t d = doy - (153 * mp + 2) / 5 + 1;
    const int64_t m = mp + (mp < 10 ? 3 : -9);
    return {era * 400 + yoe + (m <= 2), m, d, secs / 3600, secs / 60 % 60, secs % 60};
}

// The host's local wall clock as seconds of a civil calendar without zones,
// so that setting hours never meets a daylight saving jump.
int64_t hostCivilSeconds() {
    time_t now = ::time(nullptr);
    struct tm tm {};
    if (!::localtime_r(&now, &tm)) return int64_t(now);
    return daysFromCivil(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday) * 86400 + tm.tm_hour * 3600 +
           tm.tm_min * 60 + tm.tm_sec;
}

Civil instrumentNow(const Instrument::State& s) { return civilFromSeconds(hostCivilSeconds() + s.clockOffsetSeconds); }

void setInstrumentTime(Instrument::State& s, int64_t civilSeconds) {
    s.clockOffsetSeconds = civilSeconds - hostCivilSeconds();
}

// Three integers in their ranges; a wrong count or a value outside its
// range is -222 and changes nothing.
bool threeNumbers(CommandContext& c, const int64_t (&min)[3], const int64_t (&max)[3], int64_t (&v)[3]) {
    if (c.paramCount() != 3) {
        c.error(err::kDataOutOfRange);
        return false;
    }
    for (size_t i = 0; i < 3; ++i)
        if (!c.integerParam(i, v[i], min[i], max[i], min[i])) return false;
    return true;
}

bool leapYear(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

void timeSet(CommandContext& c) {
    int64_t v[3] = {};
    if (!threeNumbers(c, {0, 0, 0}, {23, 59, 59}, v)) return;
    Civil now = instrumentNow(c.state);
    setInstrumentTime(c.state, daysFromCivil(now.year, now.month, now.day) * 86400 + v[0] * 3600 + v[1] * 60 + v[2]);
}

void timeQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    Civil now = instrumentNow(c.state);
    c.out.append(std::to_string(now.hour) + "," + std::to_string(now.minute) + "," + std::to_string(now.second));
}

void dateSet(CommandContext& c) {
    int64_t v[3] = {};
    if (!threeNumbers(c, {1980, 1, 1}, {2099, 12, 31}, v)) return;
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int64_t last = kDays[v[1] - 1] + (v[1] == 2 && leapYear(v[0]) ? 1 : 0);
    if (v[2] > last) {
        c.error(err::kDataOutOfRange);
        return;
    }
    Civil now = instrumentNow(c.state);
    setInstrumentTime(c.state, daysFromCivil(v[0], v[1], v[2]) * 86400 + now.hour * 3600 + now.minute * 60 + now.second);
}

void dateQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    Civil now = instrumentNow(c.state);
    c.out.append(std::to_string(now.year) + "," + std::to_string(now.month) + "," + std::to_string(now.day));
}

// ---- the simulator's own controls ----------------------------------------

void opcDelaySet(CommandContext& c) {
    int64_t v = 0;
    if (c.expectParams(1, 1) && c.integerParam(0, v, 0, Instrument::kMaxOpcDelayMs, 0)) c.state.opcDelayMs = uint32_t(v);
}

void opcDelayQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.opcDelayMs));
}

void signedSet(CommandContext& c) {
    bool v = false;
    if (c.expectParams(1, 1) && c.boolParam(0, v)) c.state.signedErrors = v;
}

void signedQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.signedErrors ? "1" : "0");
}

constexpr int64_t kMaxPatternBytes = 2'000'000;

// Every byte value in turn, so a reader that stops at a terminator, a NUL
// or a high byte shows it: byte i is (i*7+3) & 0xFF.
class BinaryPattern final : public Generator {
public:
    explicit BinaryPattern(uint64_t n) : n_(n) {}
    uint64_t size() const override { return n_; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        for (size_t k = 0; k < n; ++k) dst[k] = uint8_t(((offset + k) * 7 + 3) & 0xFF);
    }

private:
    uint64_t n_;
};

// Printable text without the terminator: character i is 'A' + i % 26.
class TextPattern final : public Generator {
public:
    explicit TextPattern(uint64_t n) : n_(n) {}
    uint64_t size() const override { return n_; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        for (size_t k = 0; k < n; ++k) dst[k] = uint8_t('A' + (offset + k) % 26);
    }

private:
    uint64_t n_;
};

void dataQuery(CommandContext& c) {
    int64_t n = 0;
    if (!c.expectParams(1, 1) || !c.integerParam(0, n, 0, kMaxPatternBytes, 0)) return;
    c.emptyAnswer = true;
    if (n > 0) c.out.appendGenerated(std::make_shared<BinaryPattern>(uint64_t(n)));
}

void textQuery(CommandContext& c) {
    int64_t n = 0;
    if (!c.expectParams(1, 1) || !c.integerParam(0, n, 0, kMaxPatternBytes, 0)) return;
    c.emptyAnswer = true;
    if (n > 0) c.out.appendGenerated(std::make_shared<TextPattern>(uint64_t(n)));
}

// Taken without complaint and never answered: a client's read times out.
// The answer exists but is held back for ever, like a silent fault's, so
// that a VXI-11 read waits for it instead of reporting -420.
void hangQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.silent = true;
    c.out.append("0");
}

}  // namespace

std::vector<CommandDef> systemCommands() {
    return {
        {"SYSTem:ERRor[:NEXT]", nullptr, errorNext},
        {"SYSTem:ERRor:ALL", nullptr, errorAll},
        {"SYSTem:ERRor:COUNt", nullptr, errorCount},
        {"SYSTem:VERSion", nullptr, version},
        {"SYSTem:SIMulator:FAULt", faultAdd, faultQuery},
        {"SYSTem:SIMulator:FAULt:CLEar", faultClear, nullptr},
        {"SYSTem:SIMulator:ERRor", simError, nullptr},
        {"SYSTem:SIMulator:POINts", pointsSet, pointsQuery},
        {"SYSTem:SIMulator:OPCDelay", opcDelaySet, opcDelayQuery},
        {"SYSTem:SIMulator:SIGNed", signedSet, signedQuery},
        {"SYSTem:SIMulator:DATA", nullptr, dataQuery},
        {"SYSTem:SIMulator:TEXT", nullptr, textQuery},
        {"SYSTem:SIMulator:HANG", nullptr, hangQuery},
        {"SYSTem:TIME", timeSet, timeQuery},
        {"SYSTem:DATE", dateSet, dateQuery},
    };
}

}  // namespace qv::sim
