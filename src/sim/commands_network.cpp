// Network analyzers: channels and their named traces, trace formats, the
// formatted and complex data and the stimulus of a channel. The older
// analyzer has four fixed channels and knows no catalogues or names.
#include <algorithm>
#include <cstdio>
#include <string>

#include "command_table.h"
#include "commands_network.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "text.h"

namespace qv::sim {

namespace {

// Every command here is unknown to other families and to a signal
// analyzer outside its NWA mode.
bool served(CommandContext& c) {
    if (networkServed(c)) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

// Catalogues, names and trace creation: the older analyzer has none.
bool catalogues(CommandContext& c) {
    if (!served(c)) return false;
    if (!c.instrument.profile().fixedNetworkChannels) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

// The channel a CALC<ch> or SENS<ch> header means: its suffix, or the
// active channel when the suffix was left out.
int channelNumber(const CommandContext& c, size_t suffix = 0) {
    bool given = suffix < c.match.suffixGiven.size() && c.match.suffixGiven[suffix];
    return given ? c.suffix(suffix) : c.state.network.activeChannel;
}

// The channel, or the suffix error (the query then has no answer).
NetworkChannel* existingChannel(CommandContext& c, int number) {
    NetworkChannel* ch = c.state.network.channel(number);
    if (!ch) c.error(err::kSuffixOutOfRange);
    return ch;
}

std::string quotedList(const std::vector<std::string>& items) {
    std::string s = "'";
    for (size_t i = 0; i < items.size(); ++i) s += (i ? "," : "") + items[i];
    return s + "'";
}

// A name that can stand in a catalogue: printable, no quotes or commas.
bool usableName(const std::string& name) {
    if (name.empty() || name.size() > NetworkSetup::kMaxName) return false;
    for (char ch : name)
        if (ch < ' ' || ch > '~' || ch == '\'' || ch == '"' || ch == ',') return false;
    return true;
}

// A string or a bare word ('S21' or S21).
bool textParam(CommandContext& c, size_t i, std::string& out) {
    if (i < c.paramCount() && c.unit.params[i].type == Parameter::Type::Character) return c.wordParam(i, out);
    return c.stringParam(i, out);
}

// "CH<n>DATA" as trace queries name a channel; 0 when the word is another.
int channelDataWord(const std::string& upperWord) {
    if (upperWord.size() < 7 || upperWord.compare(0, 2, "CH") != 0 ||
        upperWord.compare(upperWord.size() - 4, 4, "DATA") != 0)
        return 0;
    std::string digits = upperWord.substr(2, upperWord.size() - 6);
    if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != std::string::npos) return 0;
    return std::stoi(digits);
}

// ---- channels --------------------------------------------------------------

void channelCatalogue(CommandContext& c) {
    if (!catalogues(c) || !c.expectParams(0, 0)) return;
    std::vector<std::string> items;
    for (const auto& [number, ch] : c.state.network.channels) {
        items.push_back(std::to_string(number));
        items.push_back(ch.name);
    }
    c.out.append(quotedList(items));
}

void channelStateSet(CommandContext& c) {
    bool on = false;
    if (!catalogues(c) || !c.expectParams(1, 1) || !c.boolParam(0, on)) return;
    auto& net = c.state.network;
    int number = c.suffix(0);
    if (on) {
        if (net.channel(number)) return;
        NetworkChannel ch;
        ch.name = "Ch" + std::to_string(number);
        ch.points = net.points;
        net.channels[number] = ch;
        return;
    }
    if (!net.channel(number)) return;
    // The analyzer always keeps one channel.
    if (net.channels.size() == 1) {
        c.error(err::kSettingsConflict, "Settings conflict;the last channel cannot be deleted");
        return;
    }
    std::vector<std::string> doomed;
    for (const auto& t : net.traces)
        if (t.channel == number) doomed.push_back(t.name);
    for (const auto& name : doomed) net.removeTrace(name);
    net.channels.erase(number);
    if (net.activeChannel == number) net.activeChannel = net.channels.begin()->first;
}

void channelStateQuery(CommandContext& c) {
    if (catalogues(c) && c.expectParams(0, 0)) c.out.append(c.state.network.channel(c.suffix(0)) ? "1" : "0");
}

void channelNameSet(CommandContext& c) {
    std::string name;
    if (!catalogues(c) || !c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    NetworkChannel* ch = existingChannel(c, c.suffix(0));
    if (!ch) return;
    for (const auto& [number, other] : c.state.network.channels)
        if (&other != ch && other.name == name) name.clear();
    if (!usableName(name)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    ch->name = name;
}

void channelNameQuery(CommandContext& c) {
    if (!catalogues(c) || !c.expectParams(0, 0)) return;
    if (NetworkChannel* ch = existingChannel(c, c.suffix(0))) c.out.append("'" + ch->name + "'");
}

// ---- traces ----------------------------------------------------------------

void traceCatalogue(CommandContext& c) {
    if (!catalogues(c) || !c.expectParams(0, 0)) return;
    int number = channelNumber(c);
    if (!existingChannel(c, number)) return;
    std::vector<std::string> items;
    for (const auto& t : c.state.network.traces)
        if (t.channel == number) {
            items.push_back(t.name);
            items.push_back(sParameterText(t.parameter));
        }
    c.out.append(quotedList(items));
}

void traceDefine(CommandContext& c) {
    std::string name, parameter;
    if (!catalogues(c) || !c.expectParams(2, 2) || !c.stringParam(0, name) || !textParam(c, 1, parameter)) return;
    auto& net = c.state.network;
    int number = channelNumber(c);
    NetworkChannel* ch = existingChannel(c, number);
    if (!ch) return;
    SParameter p;
    if (!usableName(name) || net.trace(name) || !sParameterFromText(upperText(parameter), p)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    if (net.traces.size() >= NetworkSetup::kMaxTraces) {
        c.error(err::kSettingsConflict, "Settings conflict;too many traces");
        return;
    }
    net.traces.push_back({name, number, p, NetworkFormat::Mlog});
    if (ch->active.empty()) ch->active = name;
}

void traceDelete(CommandContext& c) {
    std::string name;
    if (!catalogues(c) || !c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    int number = channelNumber(c);
    if (!existingChannel(c, number)) return;
    NetworkTrace* t = c.state.network.trace(name);
    if (!t || t->channel != number) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.state.network.removeTrace(name);
}

void traceSelect(CommandContext& c) {
    std::string name;
    if (!catalogues(c) || !c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    int number = channelNumber(c);
    NetworkChannel* ch = existingChannel(c, number);
    if (!ch) return;
    NetworkTrace* t = c.state.network.trace(name);
    if (!t || t->channel != number) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    ch->active = name;
}

void traceSelectQuery(CommandContext& c) {
    if (!catalogues(c) || !c.expectParams(0, 0)) return;
    int number = channelNumber(c);
    if (!existingChannel(c, number)) return;
    NetworkTrace* t = c.state.network.activeTrace(number);
    c.out.append("'" + (t ? t->name : std::string()) + "'");
}

// CONF:TRAC<n>: the n-th trace in creation order.
NetworkTrace* numberedTrace(CommandContext& c) {
    auto& traces = c.state.network.traces;
    size_t n = size_t(c.suffix(0));
    if (n >= 1 && n <= traces.size()) return &traces[n - 1];
    c.error(err::kSuffixOutOfRange);
    return nullptr;
}

void traceNameSet(CommandContext& c) {
    std::string name;
    if (!catalogues(c) || !c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    NetworkTrace* t = numberedTrace(c);
    if (!t) return;
    if (name == t->name) return;
    if (!usableName(name) || c.state.network.trace(name)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    NetworkChannel* ch = c.state.network.channel(t->channel);
    if (ch && ch->active == t->name) ch->active = name;
    t->name = name;
}

void traceNameQuery(CommandContext& c) {
    if (!catalogues(c) || !c.expectParams(0, 0)) return;
    if (NetworkTrace* t = numberedTrace(c)) c.out.append("'" + t->name + "'");
}

// ---- formats and data ------------------------------------------------------

// The active trace of the header's channel; errors when there is none.
NetworkTrace* activeTraceOf(CommandContext& c, int number) {
    if (!existingChannel(c, number)) return nullptr;
    NetworkTrace* t = c.state.network.activeTrace(number);
    if (!t) c.error(err::kSettingsConflict, "Settings conflict;no trace in this channel");
    return t;
}

void formatSet(CommandContext& c) {
    std::string w;
    if (!served(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    NetworkFormat f;
    if (!networkFormatFromWord(w, f)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    if (NetworkTrace* t = activeTraceOf(c, channelNumber(c))) t->format = f;
}

void formatQuery(CommandContext& c) {
    if (!served(c) || !c.expectParams(0, 0)) return;
    if (NetworkTrace* t = activeTraceOf(c, channelNumber(c))) c.out.append(networkFormatWord(t->format));
}

void answerTrace(CommandContext& c, int number, bool complexPairs) {
    NetworkTrace* t = activeTraceOf(c, number);
    if (!t) return;
    answerValues(c, networkValues(*c.state.network.channel(number), *t, complexPairs), c.state.asciiFormat);
}

void dataQuery(CommandContext& c) {
    std::string w;
    if (!served(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (w != "FDATA" && w != "SDATA") {
        c.error(err::kIllegalParameterValue);
        return;
    }
    answerTrace(c, channelNumber(c), w == "SDATA");
}

void stimulusQuery(CommandContext& c) {
    std::string w;
    if (!served(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    int number = channelDataWord(w);
    NetworkChannel* ch = c.state.network.channel(number);
    if (!ch) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    answerValues(c, stimulusValues(*ch), c.state.asciiFormat);
}

void queryHz(CommandContext& c, double hz) {
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", hz);
    c.out.append(text);
}

}  // namespace

bool networkServed(const CommandContext& c) {
    return c.instrument.profile().networkAnalyzer || c.state.mode == "NWA";
}

bool networkChannelWord(CommandContext& c, const std::string& upperWord) {
    if (!networkServed(c) || upperWord.rfind("CHANNEL", 0) != 0 || upperWord.size() == 7) return false;
    std::string digits = upperWord.substr(7);
    int number = 0;
    if (digits.size() <= 3 && digits.find_first_not_of("0123456789") == std::string::npos) number = std::stoi(digits);
    if (!c.state.network.channel(number)) {
        c.error(err::kIllegalParameterValue);
        return true;
    }
    c.state.network.activeChannel = number;
    return true;
}

bool networkModeQuery(CommandContext& c) {
    if (!c.instrument.profile().fixedNetworkChannels) return false;
    if (c.expectParams(0, 0)) c.out.append("CHANNEL" + std::to_string(c.state.network.activeChannel));
    return true;
}

void networkSweep(CommandContext& c, SweepItem item, bool query) {
    if (!c.expectParams(query ? 0 : 1, query ? 0 : 1)) return;
    NetworkChannel* ch = existingChannel(c, channelNumber(c));
    if (!ch) return;
    if (item == SweepItem::Points) {
        int64_t n = 0;
        if (query) c.out.append(std::to_string(ch->points));
        else if (c.integerParam(0, n, 1, NetworkSetup::kMaxPoints, NetworkSetup::kDefaultPoints)) ch->points = uint32_t(n);
        return;
    }
    double center = (ch->startHz + ch->stopHz) / 2, span = ch->stopHz - ch->startHz;
    if (query) {
        switch (item) {
        case SweepItem::Start: queryHz(c, ch->startHz); break;
        case SweepItem::Stop: queryHz(c, ch->stopHz); break;
        case SweepItem::Center: queryHz(c, center); break;
        case SweepItem::Span: queryHz(c, span); break;
        case SweepItem::Points: break;
        }
        return;
    }
    const NetworkChannel defaults;
    double def = 0;
    switch (item) {
    case SweepItem::Start: def = defaults.startHz; break;
    case SweepItem::Stop: def = defaults.stopHz; break;
    case SweepItem::Center: def = (defaults.startHz + defaults.stopHz) / 2; break;
    case SweepItem::Span: def = defaults.stopHz - defaults.startHz; break;
    case SweepItem::Points: break;
    }
    double v = 0;
    if (!c.realParam(0, v, 0, double(Instrument::kMaxFrequencyHz), def,
                     {{"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}}))
        return;
    // As on the analyzers: the centre keeps the span and the reverse; an
    // edge keeps the other edge, pushed along when crossed. No sweep
    // reaches below 0 Hz: the span gives way.
    switch (item) {
    case SweepItem::Start:
        ch->startHz = v;
        ch->stopHz = std::max(ch->stopHz, v);
        break;
    case SweepItem::Stop:
        ch->stopHz = v;
        ch->startHz = std::min(ch->startHz, v);
        break;
    case SweepItem::Center:
        span = std::min(span, 2 * v);
        ch->startHz = v - span / 2;
        ch->stopHz = v + span / 2;
        break;
    case SweepItem::Span:
        span = std::min(v, 2 * center);
        ch->startHz = center - span / 2;
        ch->stopHz = center + span / 2;
        break;
    case SweepItem::Points: break;
    }
}

bool networkTraceQuery(CommandContext& c) {
    if (!networkServed(c) || c.paramCount() != 1 || c.unit.params[0].type != Parameter::Type::Character) return false;
    int number = channelDataWord(upperText(c.unit.params[0].text));
    if (number == 0) return false;
    if (!c.state.network.channel(number)) {
        c.error(err::kIllegalParameterValue);
        return true;
    }
    answerTrace(c, number, false);
    return true;
}

std::vector<CommandDef> networkCommands() {
    return {
        {"CONFigure:CHANnel#32:CATalog", nullptr, channelCatalogue},
        {"CONFigure:CHANnel#32:NAME", channelNameSet, channelNameQuery},
        {"CONFigure:CHANnel#32[:STATe]", channelStateSet, channelStateQuery},
        {"CONFigure:TRACe#64:NAME", traceNameSet, traceNameQuery},
        {"CALCulate#32:PARameter:CATalog", nullptr, traceCatalogue},
        {"CALCulate#32:PARameter:SDEFine", traceDefine, nullptr},
        {"CALCulate#32:PARameter:DELete", traceDelete, nullptr},
        {"CALCulate#32:PARameter:SELect", traceSelect, traceSelectQuery},
        {"CALCulate#32:FORMat", formatSet, formatQuery},
        {"CALCulate#32:DATA", nullptr, dataQuery},
        {"TRACe:STIMulus[:DATA]", nullptr, stimulusQuery},
    };
}

}  // namespace qv::sim
