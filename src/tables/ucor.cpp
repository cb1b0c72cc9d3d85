#include "tables/ucor.h"

#include "app/host.h"
#include "app/text.h"
#include "instrument_io/vif.h"

#include <algorithm>

namespace qv::tables {

namespace {

constexpr const char* kTitle = "User Correction";
constexpr const char* kTooFewRows = "Please enter at least two frequencies and values for User Correction";

unsigned char lowerByte(char c) {
    const auto b = static_cast<unsigned char>(c);
    return (b >= 'A' && b <= 'Z') ? static_cast<unsigned char>(b - 'A' + 'a') : b;
}

// Text order of the list view: byte by byte, letters without case.
bool textBefore(const std::string& a, const std::string& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return lowerByte(x) < lowerByte(y); });
}

// The first character that cannot go to the instrument: outside Latin-1, a
// control character (a line end would cut the command), or a malformed
// UTF-8 byte. Empty when the whole text can go.
std::string badCharacter(std::string_view text) {
    size_t i = 0;
    while (i < text.size()) {
        size_t len = 0;
        const uint32_t cp = app::Utf8First(text.substr(i), &len);
        const bool malformed = len == 1 && cp >= 0x80;
        if (malformed) return "a byte that is no UTF-8 character";
        if (cp < 0x20 || cp == 0x7F) return "a control character";
        if (cp > 0xFF) return "\"" + std::string(text.substr(i, len)) + "\", which the instrument cannot receive";
        i += len;
    }
    return {};
}

// UTF-8 to the instrument's Latin-1; what UploadRefusal lets through
// converts exactly, anything else becomes "?".
std::string toLatin1(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        size_t len = 0;
        const uint32_t cp = app::Utf8First(text.substr(i), &len);
        if (len == 0) break;
        const bool malformed = len == 1 && cp >= 0x80;
        out += (malformed || cp > 0xFF) ? '?' : static_cast<char>(static_cast<unsigned char>(cp));
        i += len;
    }
    return out;
}

const LevelUnit& levelUnitOf(int index) {
    const auto& units = LevelUnits();
    return units[static_cast<size_t>(std::clamp(index, 0, kLevelUnitCount - 1))];
}

const char* freqUnitOf(int index) {
    const auto& units = FreqUnits();
    return units[static_cast<size_t>(std::clamp(index, 0, static_cast<int>(units.size()) - 1))];
}

}  // namespace

const std::array<LevelUnit, kLevelUnitCount>& LevelUnits() {
    static const std::array<LevelUnit, kLevelUnitCount> units{{
        {"dB", "DB"},
        {"dBm", "DBM"},
        {"dB\xC2\xB5V", "DBUV"},
        {"dB\xC2\xB5V/m", "DBUV/M"},
        {"dB\xC2\xB5"
         "A",
         "DBUA"},
        {"dB\xC2\xB5"
         "A/m",
         "DBUA/M"},
        {"dBpW", "DBPW"},
        {"dBpt", "DBPT"},
    }};
    return units;
}

const std::array<const char*, 4>& FreqUnits() {
    static const std::array<const char*, 4> units{"Hz", "kHz", "MHz", "GHz"};
    return units;
}

family::UCorGroup UCorGroupOf(std::string_view devType) {
    const family::Family* f = family::find(devType);
    return f ? f->ucorGroup : family::UCorGroup::Analyzer;
}

void SortUCor(UCorTable& table) {
    std::stable_sort(table.begin(), table.end(),
                     [](const UCorRow& a, const UCorRow& b) { return textBefore(a.freq, b.freq); });
}

std::string FreqColumnHeader(std::string_view freqUnit) {
    return "Frequency/" + std::string(freqUnit);
}
std::string LevelColumnHeader(std::string_view levelUnit) {
    return "Offset/" + std::string(levelUnit);
}

void InsertUCorRow(UCorTable& table, int selected, const std::string& freq) {
    if (freq.empty()) return;
    const bool valid = selected >= 0 && static_cast<size_t>(selected) < table.size();
    table.insert(table.begin() + (valid ? selected : 0), UCorRow{freq, {}});
    SortUCor(table);
}

std::string BuildUCorList(const UCorTable& table, family::UCorGroup group, bool isFreq, std::string_view freqUnit,
                          std::string_view levelUnit) {
    std::string out;
    size_t need = 0;
    for (const UCorRow& r : table) need += r.freq.size() + r.level.size() + freqUnit.size() + levelUnit.size() + 2;
    out.reserve(need);
    bool first = true;
    for (const UCorRow& r : table) {
        if (!first) out += ',';
        first = false;
        if (group == family::UCorGroup::Analyzer) {
            out += r.freq;
            out += ',';
            out += r.level;
        } else if (isFreq) {
            out += r.freq;
            out += freqUnit;
        } else {
            out += r.level;
            out += levelUnit;
        }
    }
    return out;
}

bool UCorNameAccepted(std::string_view name, family::UCorGroup group) {
    if (group != family::UCorGroup::Generator) return true;
    return name.size() >= 4 && app::ToUpperAscii(name.substr(0, 4)) == "UCOR";
}

std::vector<std::string> UploadCommands(const UCorTable& table, family::UCorGroup group, const UCorSettings& s) {
    const LevelUnit& unit = levelUnitOf(s.levelUnit);
    std::vector<std::string> cmds;
    if (group == family::UCorGroup::Generator) {
        cmds = {"CORR:STAT OFF", "CORR:CSET:SEL '" + s.name + "'",
                "CORR:CSET:DATA:FREQ " + BuildUCorList(table, group, true, freqUnitOf(s.freqUnit), unit.text),
                "CORR:CSET:DATA:POW " + BuildUCorList(table, group, false, freqUnitOf(s.freqUnit), unit.text),
                "CORR:STAT ON"};
    } else {
        cmds = {"CORR:TRAN:SEL '" + s.name + "'", "CORR:TRAN:UNIT '" + std::string(unit.word) + "'",
                std::string("CORR:TRAN:SCAL ") + (s.logScale ? "LOG" : "LIN"), "CORR:TRAN:COMM '" + s.comment + "'",
                "CORR:TRAN:DATA " + BuildUCorList(table, group, false, "", "")};
    }
    for (std::string& c : cmds) c = toLatin1(c);
    return cmds;
}

std::string UploadRefusal(const UCorTable& table, family::UCorGroup group, const UCorSettings& s) {
    const bool generator = group == family::UCorGroup::Generator;
    if (generator && table.size() < 2) return kTooFewRows;
    // The name and the comment travel inside '...': a quote of their own
    // would end the string early and the instrument would read the rest as
    // a new header.
    auto quoted = [](const std::string& text, const char* field) -> std::string {
        if (text.find('\'') != std::string::npos)
            return std::string("The ") + field +
                   " must not hold a single quote ('): the instrument would cut it there.";
        const std::string bad = badCharacter(text);
        if (!bad.empty()) return std::string("The ") + field + " holds " + bad + ".";
        return {};
    };
    if (std::string why = quoted(s.name, "name"); !why.empty()) return why;
    if (!generator)
        if (std::string why = quoted(s.comment, "comment"); !why.empty()) return why;
    for (size_t i = 0; i < table.size(); ++i) {
        const std::string row = " in row " + std::to_string(i + 1);
        if (std::string bad = badCharacter(table[i].freq); !bad.empty())
            return "The frequency" + row + " holds " + bad + ".";
        if (std::string bad = badCharacter(table[i].level); !bad.empty())
            return "The level" + row + " holds " + bad + ".";
    }
    return {};
}

UploadResult UploadUCor(const std::string& resource, family::UCorGroup group, const UCorTable& table,
                        const UCorSettings& s, const std::function<void(io::VIF&)>& prepare) {
    UploadResult r;
    app::Host& h = app::host();
    if (std::string why = UploadRefusal(table, group, s); !why.empty()) {
        h.message(kTitle, why, app::Icon::Warning);
        r.message = why;
        return r;
    }
    const std::vector<std::string> cmds = UploadCommands(table, group, s);

    h.busy(true);
    h.processEvents();
    io::VIF v;
    if (prepare) prepare(v);
    std::string failure;
    if (!v.OpenDevice(resource, true, false, 1000, true)) {
        failure = "The instrument " + resource + " could not be opened (" + io::OpenFailureReason(v) + "); nothing was sent.";
    } else {
        for (const std::string& c : cmds) {
            v.ClearLastVisaStatus();
            v.WriteString(c, 0);
            if (v.LastVisaStatus() < 0) {
                // The link refused: what follows would not reach the instrument either.
                // Named by its header: the values may hold bytes of the instrument's character set.
                failure =
                    c.substr(0, c.find(' ')) + " could not be sent (" + io::OpenFailureReason(v) + "); the upload stopped there.";
                break;
            }
        }
    }
    h.busy(false);
    h.processEvents();
    if (!failure.empty()) {
        h.message(kTitle, failure, app::Icon::Critical);
        r.message = failure;
        return r;
    }
    r.sent = true;

    std::string errors;
    if (v.PollErrors(errors, "SYST:ERR?", true)) {
        // An unreadable queue is no proof of success either.
        r.errors = errors.empty() ? "the error queue could not be read" : errors;
        r.message = "LOADING FAILED:\r\n" + r.errors;
        h.message("FAILED", r.message, app::Icon::Critical);
    }
    return r;
}

}  // namespace qv::tables
