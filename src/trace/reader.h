// Trace readers and the choice between them. A reader turns one
// instrument dialect into the arrays of a Reading and plots it through the
// Display; readTrace picks the reader by family and by the instrument's
// mode word and runs it once, or again and again while continuous reading
// is on. Families attach their trace traits to the registry (one file per
// reader group).
#pragma once

#include "trace/trace.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::io {
class VIF;
}
namespace qv::app {
struct AppContext;
}

namespace qv::trace {

// Where a step opens a VIF of its own on the instrument being read: the
// list fillers, the selector events, the renames.
struct VifTarget {
    std::string resource;
    std::function<void(io::VIF&)> prepareVif;  // the command line's log and time-out, a test's
    uint32_t openTimeoutMs = 1000;
};

// One of the window's two selectors (cmbChannelName, cmbTraceName) as the
// readers and the list fillers see it.
class Selector {
public:
    virtual ~Selector() = default;
    virtual void clear() = 0;
    virtual void add(const std::string& item) = 0;
    virtual int count() const = 0;
    virtual std::string item(int index) const = 0;  // "" out of range
    // Selects an item; an index out of range leaves no selection and gives false.
    virtual bool select(int index) = 0;
    virtual int selected() const = 0;  // -1: none
    // The text the selector shows: the selected item, or what the user typed
    // into it (the network analyzers' names are edited in place).
    virtual std::string text() const = 0;
};

// A selector without a control: the command line's and the tests' windows.
class ListSelector : public Selector {
public:
    std::vector<std::string> items;
    int index = -1;
    std::string edited;  // typed text; empty: the selected item's
    void clear() override;
    void add(const std::string& item) override;
    int count() const override;
    std::string item(int i) const override;
    bool select(int i) override;
    int selected() const override { return index; }
    std::string text() const override;
};

// Where a reader plots: the trace window, or the command line's recorder.
class Display {
public:
    virtual ~Display() = default;
    virtual void DisplayTrace(const Plot& plot) = 0;
    virtual void DisplayComplexTrace(const Plot& plot) = 0;
    // The trace selector beside the channel selector.
    virtual void showTraceSelector(bool visible) {}
    // The channel selector with its caption (cmbChannelName, lblTraceNo).
    virtual void showChannelSelector(bool visible) {}
    // The caption that names the channel (lbltraceNumberVal).
    virtual void setChannelCaption(const std::string& text) {}
    virtual std::string channelCaption() const { return {}; }
    // The selectors; a display without controls keeps plain lists.
    virtual Selector& channelList() { return channels_; }
    virtual Selector& traceList() { return traces_; }

private:
    ListSelector channels_, traces_;
};

struct ReadContext {
    io::VIF& vif;
    std::string family;  // the local family text
    Reading& reading;
    Display& display;
    int selectedTrace = 0;    // SelectedTrace: the instrument's trace number is this + 1
    int selectedChannel = 0;  // SelectedChannel
    // Where readAsciiTrace keeps TRACE.ASC (the program's current folder).
    std::string localFolder = ".";
    char decimalMark = '.';  // the system's, for ConvertDBL
    // A failure that ends the whole reading (and a continuous run) with this
    // description in an information box: arithmetic a reading cannot do.
    std::string failure;
    // Where the list fillers open a VIF of their own: the reading's
    // instrument, prepared and timed as the reading's own VIF.
    VifTarget own;
};

using ReadFn = bool (*)(ReadContext& ctx);

struct Reader {
    std::string_view name;  // "readAnalyzerTrace"
    ReadFn read = nullptr;
    // The dispatch shows the trace selector before it runs the reader.
    bool traceSelector = false;
};

extern const Reader kAnalyzerReader;    // modes SAN, REC, CATV
extern const Reader kPhaseNoiseReader;  // mode PNO
extern const Reader kDemodReader;       // mode ADEM
extern const Reader kAsciiReader;       // VHK: the trace as a stored file
extern const Reader kAudioReader;       // DOF, DOC
extern const Reader kNetworkReader;     // mode NWA and the network analyzers
extern const Reader kOldNetworkReader;  // KDM
extern const Reader kMyiReader;         // MYI
extern const Reader kMyeReader;         // MYE

// A family's trace traits, attached to the registry's trace slot.
struct Dialect {
    // Chosen by the family before any mode word is asked (KDM, DOF, DOC,
    // MYI, MYE, VHK).
    const Reader* fixed = nullptr;
    // Mode words no reader takes go here instead of being refused (KDC,
    // KDE, KDH).
    const Reader* otherModes = nullptr;
    // fillActiveTraces at load and on a channel change: how many
    // DISPlay:TRACe<i>:STATe? to ask; 0: none.
    int activeTraces = 0;
    // Asks INST:SEL? at load (TKW) and on a channel change.
    bool modeAtLoad = false;
    // The window's mode is "NWA" from load (KDC, KDP, KDE, KDH).
    bool networkAtLoad = false;
    // A channel change selects the channel on the instrument
    // (INST:SEL CHANNEL<n>) and fills the trace list (KDM, KDP, KDC, KDE, KDH).
    bool networkChannels = false;
    // The trace list holds the instrument's trace numbers (TKW, TKD).
    bool realTraceNumbers = false;
    // Channels are followed by "Math 1" to "Math 4" (MYI, MYE).
    bool mathChannels = false;
    // The handheld's commands: UNIT:POW?, TRAC:DATA?, the last point dropped (TKG).
    bool handheld = false;
    // Logarithmic spacing only in mode "SAN" (VHJO).
    bool logOnlyInSan = false;
    // A pair array plotted as a real trace shows as magnitude in dB (KDM).
    bool pairsInDb = false;
    // Four fixed channels without catalogues, trace names or renames (KDM).
    bool fixedChannels = false;
};
// The dialect of a family; a plain one (mode word, nothing special) for
// tags without one.
const Dialect& dialectFor(std::string_view family);

// The reader a mode word selects ("SAN", "REC", "CATV", "PNO", "ADEM",
// "NWA"); nullptr for any other word.
const Reader* readerForMode(std::string_view mode);

// One choice of step 5.1 of readTrace.
struct Choice {
    const Reader* reader = nullptr;  // nullptr: the mode has no reader
    bool modeAsked = false;          // INST:SEL? was asked
    std::string mode;                // its cleaned answer
    bool switchToTkw = false;        // the mapped name holds "KD" and the mode is an analyzer mode
};
// Asks INST:SEL? (at most 2048 characters) where the family leaves the
// choice to the mode word. mappedName: CurrentInstrumentField().
Choice chooseReader(io::VIF& vif, std::string_view family, std::string_view mappedName);
// The same choice for a known mode answer, without the instrument.
Choice chooseReaderFor(std::string_view family, std::string_view mode, std::string_view mappedName);

// The message for a mode no reader takes.
std::string modeNotSupportedText(std::string_view mode);  // "Instrument mode <mode> is not supported!"

// fillActiveTraces: asks DISPlay:TRACe<i>:STATe? for i = 1..count and
// returns the numbers whose answer is exactly "1".
std::vector<int> activeTraces(io::VIF& vif, int count);

// The network analyzers' catalogues. CONF:CHAN:CAT? answers
// 'number,name,number,name': the numbers, quotes removed. CALC<ch>:PAR:CAT?
// answers 'trace,parameter,trace,parameter': the trace names (a last field
// without a partner is a name too). Bounded: at most kMaxCatalogueItems.
inline constexpr size_t kMaxCatalogueItems = 4096;
std::vector<std::string> channelCatalogueItems(std::string_view answer);
std::vector<std::string> traceCatalogueNames(std::string_view answer);
// Whether a catalogue answer lists `item`: the item followed by "," or by
// the closing "'".
bool catalogueHolds(std::string_view answer, std::string_view item);
// fillChannelList: the channel catalogue into `channels`, index 0 selected,
// SelectedChannel 0 (the reading goes on with what the list shows).
void fillChannelList(io::VIF& vif, Selector& channels);
// fillTraceList: the selected channel's trace catalogue into `traces`; an
// empty answer fills the channel list anew and asks again. Index 0
// selected, SelectedTrace 0.
void fillTraceList(io::VIF& vif, Selector& channels, Selector& traces);
// The older network analyzer's four fixed channels, "CHANNEL1" to
// "CHANNEL4", as its reader lists them (nothing selected).
void listFixedChannels(Selector& channels);

// Opens a VIF of its own on the target, as the list fillers and the
// selector events do.
bool openOwnVif(io::VIF& vif, const VifTarget& target);

// The trace window as readTrace sees it.
class Window : public Display {
public:
    // The window was closed: a continuous run ends after its pass.
    virtual bool gone() const { return false; }
    // Step 2: the channel and trace selectors and their caption hidden.
    virtual void hideSelectors() {}
    // The stored-data entry and the simulated pulse: later parts of the
    // trace subsystem. Until then the window says they are not there.
    virtual void simulatePulseData() {}
    virtual void openStoredData() {}
    // A finished reading with the pulse frame shown.
    virtual void evaluatePulse() {}
    // The mapped name of the selected record (CurrentInstrumentField).
    virtual std::string mappedName() const { return {}; }
};

// The trace window's members that readTrace reads and writes.
struct WindowState {
    std::string MyVISARsc;  // "<FILE>": the stored-data entry
    std::string MyDevType;  // readTrace may switch it to "TKW"
    std::string instrumentMode;
    bool simulateOn = false;
    bool continuousOn = false;
    bool pulseShown = false;
    Reading reading;
    // Re-entrancy: a readTrace asked for while one runs (from an event let
    // through by the loop) becomes one more pass of the running one.
    bool running = false;
    bool again = false;
    uint64_t readings = 0;  // finished passes with data, for tests and the benchmark
    // Runs on the reading's VIF before it opens: the command line's I/O log
    // and time-out, a test's short time-out. Empty: the VIF's defaults.
    std::function<void(io::VIF&)> prepareVif;
    // Where readAsciiTrace keeps TRACE.ASC.
    std::string localFolder = ".";
};

// readTrace: the busy pointer, the reader chosen and run, SetRENState(6),
// storeTraceData, pending events; again while continuous reading is on,
// until the window is gone or a failure ends it. Messages go through the
// host. openTimeoutMs: OpenDevice's time-out.
void readTrace(app::AppContext& ctx, WindowState& state, Window& window, uint32_t openTimeoutMs = 1000);

// storeTraceData: the reading into the shared TraceData, or "No trace
// available for display" when ok is false.
void storeTraceData(WindowState& state, Window& window, bool ok);

// The texts readTrace shows.
inline constexpr const char* kNoTraceText = "No trace available for display";

}  // namespace qv::trace
