// What the trace window's channel and trace selectors do with the
// instrument: the lists at load, a channel or trace chosen, and the names
// edited in place on the network analyzers. The window and the command
// line run these same steps on their own selectors, so a reading chosen on
// the command line is the one the window would read.
#pragma once

#include "trace/reader.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qv::trace {

// Every step that talks to the instrument opens a VIF of its own on the
// target, as the window's events do.

// The window's load: the channel list "1".."masterTraces" (then "Math 1" to
// "Math 4" for the scopes), the trace list "1".."4", then the family's
// instrument steps: the displayed traces, the mode word, and in mode "NWA"
// the instrument's channel and trace catalogues. instrumentMode is set
// where the family has one ("NWA" for the network analyzers). The channel
// list ends with its first item selected, SelectedChannel 0, and the
// caption showing it.
void loadSelectors(const VifTarget& target, const std::string& family, int masterTraces, Display& display,
                   std::string& instrumentMode);

// A channel chosen (a click, or the command line's --channel): SelectedChannel,
// the caption, and the family's instrument side. Returns whether an update
// (a reading) follows; in mode "NWA" it does not, the trace is chosen next.
bool channelChosen(const VifTarget& target, const std::string& family, int index, Display& display);

// A trace chosen: SelectedTrace from the list (the instrument's trace
// number less one where the list holds trace numbers).
void traceChosen(const std::string& family, int index, Selector& traces);

// fillActiveTraces: the numbers of the displayed traces into `traces`.
void fillActiveTraces(const VifTarget& target, int count, Selector& traces);

// The names are edited in place on the network analyzers with named
// channels and traces: a mapped name that begins with "KD", any family but KDM.
bool renamesInPlace(std::string_view mappedName, std::string_view family);

enum class RenameWhat { Channel, Trace };
// "CONF:CHAN<caption>:NAME '<text>'" or "CONF:TRAC<caption>:NAME '<text>'".
std::string renameCommand(RenameWhat what, const std::string& caption, const std::string& text);
// Enter in one of the selectors: the rename sent with the selector's text
// and the caption; false where the rule does not apply or the instrument
// could not be reached.
bool renameOnEnter(const VifTarget& target, std::string_view mappedName, const std::string& family,
                   RenameWhat what, Display& display);

}  // namespace qv::trace
