// Where the analyzers' own commands hand over to the network analyzer:
// mode words, the sweep of a channel and TRAC? CH<n>DATA.
#pragma once

#include <string>

namespace qv::sim {

class CommandContext;

// A network analyzer, or a signal analyzer in its NWA mode.
bool networkServed(const CommandContext& c);
// INST:SEL CHANNEL<n>: true when the word names a channel (handled, maybe
// with an error); false leaves the word to the mode list.
bool networkChannelWord(CommandContext& c, const std::string& upperWord);
// INST:SEL? of the older analyzer: "CHANNEL<n>". False for the others.
bool networkModeQuery(CommandContext& c);

enum class SweepItem { Start, Stop, Center, Span, Points };
// SENS<ch>:FREQ:STAR ... and SENS<ch>:SWE:POIN of a network analyzer's channel.
void networkSweep(CommandContext& c, SweepItem item, bool query);
// TRAC? CH<n>DATA: true when the parameter is such a word (handled).
bool networkTraceQuery(CommandContext& c);

}  // namespace qv::sim
