// Correction tables: a generator's user correction (CORR:STAT, CORR:CSET)
// and an analyzer's transducer factor (CORR:TRAN). Tables are kept by name;
// the selected one takes the data and answers the queries. A family without
// the table refuses the commands as headers it does not know.
#include <cstdio>
#include <string>
#include <vector>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "text.h"

namespace qv::sim {

namespace {

// What an instrument keeps: points of one generator list, pairs of one
// transducer, and tables of either kind.
constexpr size_t kMaxCorrectionPoints = 10000;
constexpr size_t kMaxTransducerPairs = 625;
constexpr size_t kMaxTables = 64;

using CorrectionList = Instrument::State::CorrectionList;
using TransducerTable = Instrument::State::TransducerTable;

bool hasCorrection(CommandContext& c, Profile::Correction kind) {
    if (c.instrument.profile().correction == kind) return true;
    c.error(err::kUndefinedHeader);
    return false;
}
bool generator(CommandContext& c) { return hasCorrection(c, Profile::Correction::Generator); }
bool analyzer(CommandContext& c) { return hasCorrection(c, Profile::Correction::Transducer); }

std::string number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.12g", v);
    return text;
}

void answerList(CommandContext& c, const std::vector<double>& values) {
    std::string s;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) s += ',';
        s += number(values[i]);
    }
    if (s.empty()) c.emptyAnswer = true;
    c.out.append(s);
}

// Factor to hertz of a frequency suffix; false for anything else.
bool frequencyFactor(const std::string& unit, double& factor) {
    static const struct {
        const char* unit;
        double factor;
    } kUnits[] = {{"", 1}, {"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}};
    for (const auto& u : kUnits)
        if (unit == u.unit) {
            factor = u.factor;
            return true;
        }
    return false;
}

// The level suffixes of the dB family, with the micro sign as the byte 0xB5
// or spelt "U".
bool levelFactor(const std::string& unit, double& factor) {
    factor = 1;
    std::string u = unit;
    for (size_t at; (at = u.find('\xB5')) != std::string::npos;) u.replace(at, 1, "U");
    static const char* const kUnits[] = {"", "DB", "DBM", "DBUV", "DBUV/M", "DBUA", "DBUA/M", "DBPW", "DBPT"};
    for (const char* k : kUnits)
        if (u == k) return true;
    return false;
}

// Every parameter as a number with a suffix `scale` knows; false once an
// error is queued.
bool readValues(CommandContext& c, bool (*scale)(const std::string&, double&), std::vector<double>& out) {
    out.clear();
    out.reserve(c.paramCount());
    for (const auto& p : c.unit.params) {
        if (p.type != Parameter::Type::Number) {
            c.error(err::kDataType);
            return false;
        }
        double factor = 1;
        if (!scale(p.unit, factor)) {
            c.error(err::kInvalidSuffix);
            return false;
        }
        out.push_back(p.number * factor);
    }
    return true;
}

// Selects a table by name, making it when new.
template <typename Map>
void selectTable(CommandContext& c, Map& tables, std::string& selected) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (name.empty()) {
        c.error(err::kIllegalParameterValue, "Illegal parameter value;empty table name");
        return;
    }
    if (!tables.count(name) && tables.size() >= kMaxTables) {
        c.error(err::kMediaFull, "Media full;too many tables");
        return;
    }
    tables[name];
    selected = name;
}

// The selected table for a setting; nullptr (and the error) when none is.
template <typename Map>
typename Map::mapped_type* selectedTable(CommandContext& c, Map& tables, const std::string& selected) {
    auto it = tables.find(selected);
    if (it != tables.end()) return &it->second;
    c.error(err::kSettingsConflict, "Settings conflict;no table selected");
    return nullptr;
}

// What queries read when nothing is selected: an empty table.
template <typename Map>
const typename Map::mapped_type& shownTable(const Map& tables, const std::string& selected) {
    static const typename Map::mapped_type kEmpty{};
    auto it = tables.find(selected);
    return it != tables.end() ? it->second : kEmpty;
}

// --- generator user correction ---------------------------------------------

void stateSet(CommandContext& c) {
    bool on = false;
    if (!generator(c) || !c.expectParams(1, 1) || !c.boolParam(0, on)) return;
    auto& corr = c.state.correction;
    if (on) {
        const CorrectionList& list = shownTable(corr.lists, corr.selected);
        if (list.frequencies.size() != list.levels.size()) {
            corr.on = false;
            c.error(err::kSettingsConflict, "Settings conflict;list lengths differ");
            return;
        }
    }
    corr.on = on;
}

void stateQuery(CommandContext& c) {
    if (generator(c) && c.expectParams(0, 0)) c.out.append(c.state.correction.on ? "1" : "0");
}

void csetSelect(CommandContext& c) {
    if (generator(c)) selectTable(c, c.state.correction.lists, c.state.correction.selected);
}

void csetSelectQuery(CommandContext& c) {
    if (generator(c) && c.expectParams(0, 0)) c.out.append(quoted(c.state.correction.selected));
}

void setList(CommandContext& c, bool frequencies) {
    if (!generator(c) || !c.expectParams(1, SIZE_MAX)) return;
    if (c.paramCount() > kMaxCorrectionPoints) {
        c.error(err::kTooMuchData, "Too much data;more than " + std::to_string(kMaxCorrectionPoints) + " points");
        return;
    }
    std::vector<double> values;
    if (!readValues(c, frequencies ? frequencyFactor : levelFactor, values)) return;
    auto& corr = c.state.correction;
    CorrectionList* list = selectedTable(c, corr.lists, corr.selected);
    if (!list) return;
    (frequencies ? list->frequencies : list->levels) = std::move(values);
}

const std::vector<double>* queryList(CommandContext& c, bool frequencies) {
    if (!generator(c) || !c.expectParams(0, 0)) return nullptr;
    const CorrectionList& list = shownTable(c.state.correction.lists, c.state.correction.selected);
    return frequencies ? &list.frequencies : &list.levels;
}

void freqSet(CommandContext& c) { setList(c, true); }
void powSet(CommandContext& c) { setList(c, false); }
void freqQuery(CommandContext& c) {
    if (auto* v = queryList(c, true)) answerList(c, *v);
}
void powQuery(CommandContext& c) {
    if (auto* v = queryList(c, false)) answerList(c, *v);
}
void freqPoints(CommandContext& c) {
    if (auto* v = queryList(c, true)) c.out.append(std::to_string(v->size()));
}
void powPoints(CommandContext& c) {
    if (auto* v = queryList(c, false)) c.out.append(std::to_string(v->size()));
}

// --- analyzer transducer -----------------------------------------------------

TransducerTable* transducerToSet(CommandContext& c, size_t minParams, size_t maxParams) {
    if (!analyzer(c) || !c.expectParams(minParams, maxParams)) return nullptr;
    auto& t = c.state.transducers;
    return selectedTable(c, t.tables, t.selected);
}

const TransducerTable* transducerToShow(CommandContext& c) {
    if (!analyzer(c) || !c.expectParams(0, 0)) return nullptr;
    return &shownTable(c.state.transducers.tables, c.state.transducers.selected);
}

void tranSelect(CommandContext& c) {
    if (analyzer(c)) selectTable(c, c.state.transducers.tables, c.state.transducers.selected);
}

void tranSelectQuery(CommandContext& c) {
    if (analyzer(c) && c.expectParams(0, 0)) c.out.append(quoted(c.state.transducers.selected));
}

void tranUnit(CommandContext& c) {
    static const char* const kUnits[] = {"DB", "DBM", "DBUV", "DBUV/M", "DBUA", "DBUA/M", "DBPW", "DBPT"};
    TransducerTable* t = transducerToSet(c, 1, 1);
    std::string unit;
    if (!t || !c.stringParam(0, unit)) return;
    unit = upperText(unit);
    for (const char* k : kUnits)
        if (unit == k) {
            t->unit = unit;
            return;
        }
    c.error(err::kIllegalParameterValue, "Illegal parameter value;unknown unit");
}

void tranUnitQuery(CommandContext& c) {
    if (auto* t = transducerToShow(c)) c.out.append(quoted(t->unit));
}

void tranScale(CommandContext& c) {
    TransducerTable* t = transducerToSet(c, 1, 1);
    std::string w;
    if (!t || !c.wordParam(0, w)) return;
    if (w == "LIN" || w == "LINEAR") t->logScale = false;
    else if (w == "LOG" || w == "LOGARITHMIC") t->logScale = true;
    else c.error(err::kIllegalParameterValue);
}

void tranScaleQuery(CommandContext& c) {
    if (auto* t = transducerToShow(c)) c.out.append(t->logScale ? "LOG" : "LIN");
}

void tranComment(CommandContext& c) {
    TransducerTable* t = transducerToSet(c, 1, 1);
    std::string text;
    if (t && c.stringParam(0, text)) t->comment = text;
}

void tranCommentQuery(CommandContext& c) {
    if (auto* t = transducerToShow(c)) c.out.append(quoted(t->comment));
}

// Frequency and level pairs as plain numbers; no values clear the table.
void tranData(CommandContext& c) {
    TransducerTable* t = transducerToSet(c, 0, SIZE_MAX);
    if (!t) return;
    size_t n = c.paramCount();
    if (n % 2 != 0) {
        c.error(err::kMissingParameter, "Missing parameter;odd number of values");
        return;
    }
    if (n / 2 > kMaxTransducerPairs) {
        c.error(err::kTooMuchData, "Too much data;more than " + std::to_string(kMaxTransducerPairs) + " points");
        return;
    }
    std::vector<double> values;
    auto plain = [](const std::string& unit, double& factor) {
        factor = 1;
        return unit.empty();
    };
    if (readValues(c, plain, values)) t->values = std::move(values);
}

void tranDataQuery(CommandContext& c) {
    if (auto* t = transducerToShow(c)) answerList(c, t->values);
}

void tranPoints(CommandContext& c) {
    if (auto* t = transducerToShow(c)) c.out.append(std::to_string(t->values.size() / 2));
}

}  // namespace

std::vector<CommandDef> correctionCommands() {
    return {
        {"[SOURce]:CORRection[:STATe]", stateSet, stateQuery},
        {"[SOURce]:CORRection:CSET[:SELect]", csetSelect, csetSelectQuery},
        {"[SOURce]:CORRection:CSET:DATA:FREQuency", freqSet, freqQuery},
        {"[SOURce]:CORRection:CSET:DATA:FREQuency:POINts", nullptr, freqPoints},
        {"[SOURce]:CORRection:CSET:DATA:POWer", powSet, powQuery},
        {"[SOURce]:CORRection:CSET:DATA:POWer:POINts", nullptr, powPoints},
        {"[SENSe]:CORRection:TRANsducer[:SELect]", tranSelect, tranSelectQuery},
        {"[SENSe]:CORRection:TRANsducer:UNIT", tranUnit, tranUnitQuery},
        {"[SENSe]:CORRection:TRANsducer:SCALing", tranScale, tranScaleQuery},
        {"[SENSe]:CORRection:TRANsducer:COMMent", tranComment, tranCommentQuery},
        {"[SENSe]:CORRection:TRANsducer:DATA", tranData, tranDataQuery},
        {"[SENSe]:CORRection:TRANsducer:DATA:POINts", nullptr, tranPoints},
    };
}

}  // namespace qv::sim
