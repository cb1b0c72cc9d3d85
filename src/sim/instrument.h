// One simulated instrument: its profile, registers, error queue, settings,
// file system and log, and the SCPI engine that executes program messages
// against them. Connections share the instrument; each has a Session.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command_table.h"
#include "faults.h"
#include "message_log.h"
#include "message_splitter.h"
#include "network_data.h"
#include "profiles.h"
#include "response.h"
#include "sandbox.h"
#include "scope_data.h"
#include "scpi_parser.h"
#include "trace_data.h"

namespace qv::sim {

struct InstrumentOptions {
    std::string profile;  // family tag, any case
    std::string root;     // empty: a fresh temporary folder, removed with the instrument
    std::string logFile;  // empty: no log
    std::vector<std::string> faults;
    uint32_t points = 1001;
    // A new instrument's files on its empty drives (seed_files.h).
    bool seedFiles = true;
    // They are written by seedNow() or before the first message, not by
    // create(): a simulator starting several instruments returns at once
    // and draws their pictures in the background.
    bool seedLater = false;
    // Block payloads above this go to a spool file (tests lower it).
    uint64_t spillThreshold = uint64_t(64) << 10;
    // How long *RST and INIT keep the instrument busy (*OPC?, *WAI wait).
    uint32_t opcDelayMs = 0;
    // Error numbers with a sign: +0,"No error".
    bool signedErrors = false;
};

struct QueuedError {
    int code = 0;
    std::string text;
};

// What a program message produced, with the faults that shape its delivery.
struct ResponseMessage {
    Response data;
    uint32_t delayMs = 0;
    std::optional<uint64_t> dropAfter;  // close the connection after this many bytes
    bool silent = false;                // never deliver
};

class Instrument {
public:
    static constexpr size_t kErrorQueueSize = 10;
    static constexpr uint32_t kMaxPoints = 50'000'000;
    static constexpr uint32_t kMaxOpcDelayMs = 600'000;

    static std::unique_ptr<Instrument> create(const InstrumentOptions& options, std::string& error);
    ~Instrument();
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    const Profile& profile() const { return *profile_; }
    const std::string& rootPath() const { return root_; }
    const std::string& spoolPath() const { return spool_; }
    uint64_t spillThreshold() const { return spillThreshold_; }
    MessageLog& log() { return log_; }

    // Logs and executes one program message. outputPending: the connection
    // still holds unread output (it counts for MAV).
    void execute(const ProgramMessage& msg, bool outputPending, ResponseMessage& out);

    // Writes the files seedLater put off, unless done already.
    void seedNow();

    // Thread-safe access for transports and tests.
    void pushError(int code, std::string_view text = {});
    bool addFault(std::string_view text, std::string& error);
    void clearFaults();
    uint8_t statusByte(bool outputPending);
    std::vector<QueuedError> errorQueue();
    void setRemote(bool remote);
    bool remote();
    // VXI-11 device locks, by link id (0: nobody).
    bool tryLock(int32_t link);
    bool unlock(int32_t link);
    int32_t lockOwner();

    // Settings and registers; handlers reach them with the mutex held.
    static constexpr int64_t kDefaultCenterHz = 1'500'000'000;
    static constexpr int64_t kDefaultSpanHz = 3'000'000'000;
    static constexpr int64_t kMaxFrequencyHz = 100'000'000'000;
    static constexpr double kDefaultSweepTimeS = 0.02;
    static constexpr double kDefaultAudioStartHz = 20;
    static constexpr double kDefaultAudioStopHz = 20000;
    struct State {
        std::deque<QueuedError> errors;
        uint8_t esr = 0x80;  // power on
        uint8_t ese = 0;
        uint8_t sre = 0;
        std::string mode;
        bool asciiFormat = true;
        uint32_t points = 1001;
        // The sweep's frequency window, whole hertz. Kept as start and stop
        // so that centre, span, start and stop read back as they were set.
        int64_t startHz = kDefaultCenterHz - kDefaultSpanHz / 2;
        int64_t stopHz = kDefaultCenterHz + kDefaultSpanHz / 2;
        int64_t centerHz() const { return startHz + spanHz() / 2; }
        int64_t spanHz() const { return stopHz - startHz; }
        // How an analyzer shows its traces: level unit, x axis spacing
        // ("LIN", "LOG", "AUTO"), sweep time, which of its six traces are on.
        LevelUnit levelUnit = LevelUnit::Dbm;
        std::string xSpacing = "LIN";
        double sweepTimeS = kDefaultSweepTimeS;
        std::array<bool, 6> traceOn{true, true, false, false, false, false};
        // An audio analyzer's unit word and the frequency window of its
        // spectrum; equal start and stop make a time trace.
        std::string audioUnit = "V";
        double audioStartHz = kDefaultAudioStartHz;
        double audioStopHz = kDefaultAudioStopHz;
        // A network analyzer's channels and traces (also a signal analyzer's
        // in its NWA mode), an oscilloscope's time base, channels and math.
        NetworkSetup network;
        ScopeSetup scope;
        std::vector<Fault> faults;
        bool remote = false;
        int32_t lockOwner = 0;
        bool signedErrors = false;
        // Operations that take time: *RST and INIT run until busyUntil;
        // *WAI and *OPC? hold the answers of their message until then.
        uint32_t opcDelayMs = 0;
        std::chrono::steady_clock::time_point busyUntil{};
        std::chrono::steady_clock::time_point holdUntil{};
        bool opcArmed = false;  // *OPC sent while busy: ESR bit 0 when done
        bool selfTestRan = false;
        // The instrument's clock: host local time plus this many seconds.
        int64_t clockOffsetSeconds = 0;
        // A generator's user correction: named lists of frequencies (Hz)
        // and levels (dB), and whether the selected one applies.
        struct CorrectionList {
            std::vector<double> frequencies;
            std::vector<double> levels;
        };
        struct Correction {
            bool on = false;
            std::string selected;  // empty: none selected yet
            std::map<std::string, CorrectionList> lists;
        } correction;
        // An analyzer's transducer factors, by name.
        struct TransducerTable {
            std::string unit = "DB";
            bool logScale = false;
            std::string comment;
            std::vector<double> values;  // frequency, level, frequency, level, ...
        };
        struct Transducers {
            std::string selected;
            std::map<std::string, TransducerTable> tables;
        } transducers;
        // Digital demodulation (DDEM mode): the modulation and how many
        // values the result summary answers (a test switch; 53 is right).
        std::string demodulationFormat = "QPSK";
        uint32_t summaryValues = 53;
        // Hardcopy and display settings.
        struct Hardcopy {
            std::string language;              // WMF, EMF, BMP, PNG, JPG, PCX
            bool color = true;
            std::string destination = "MMEM";  // MMEM, FILE, PCXF, PRIN, CLIP
            std::string fileName;              // empty: HCOPY in the current folder
            bool overwrite = true;
            bool allItems = true;
            bool displayUpdate = true;
            bool screenCopy = false;
        } hardcopy;
    };
    State& stateLocked() { return state_; }
    Sandbox& sandboxLocked() { return sandbox_; }
    void pushErrorLocked(int code, std::string text = {});
    uint8_t statusByteLocked(bool mav) const;
    void resetLocked();  // *RST
    // Starts an operation that keeps the instrument busy for opcDelayMs.
    void startOperationLocked();
    // Sets the operation complete bit once an operation *OPC waited for ends.
    void settleLocked();
    // "code,"text"" as SYST:ERR? answers it.
    std::string errorEntryLocked(const QueuedError& e) const;

private:
    Instrument() = default;
    void seedPendingLocked();

    const Profile* profile_ = nullptr;
    std::string tempDir_;  // ours to remove
    std::string root_;
    std::string spool_;
    uint64_t spillThreshold_ = 0;
    bool seedPending_ = false;
    MessageLog log_;
    std::mutex mutex_;
    State state_;
    Sandbox sandbox_;
};

// What a command handler sees: its unit, the instrument, and where its
// answer goes. Parameter helpers queue the right SCPI error and return false.
class CommandContext {
public:
    CommandContext(Instrument& inst, const ProgramUnit& unit, const HeaderMatch& match, Response& out,
                   bool outputPending)
        : instrument(inst), state(inst.stateLocked()), sandbox(inst.sandboxLocked()), unit(unit), match(match),
          out(out), outputPending(outputPending) {}

    Instrument& instrument;
    Instrument::State& state;
    Sandbox& sandbox;
    const ProgramUnit& unit;
    const HeaderMatch& match;
    Response& out;
    bool outputPending;

    void error(int code, std::string text = {});
    bool commandError() const { return commandError_; }
    // The whole response message is never delivered.
    bool silent = false;
    // Answer with the terminator alone even when the answer is empty.
    bool emptyAnswer = false;
    int suffix(size_t i) const { return i < match.suffixes.size() ? match.suffixes[i] : 1; }
    size_t paramCount() const { return unit.params.size(); }

    bool expectParams(size_t min, size_t max);
    // Integer (rounded), also MINimum / MAXimum / DEFault.
    bool integerParam(size_t i, int64_t& v, int64_t min, int64_t max, int64_t def);
    // A real number, also MINimum / MAXimum / DEFault; a suffix must be one
    // of `units` (its factor scales the number). Out of range: -222.
    struct UnitFactor {
        const char* unit;  // upper case
        double factor;
    };
    bool realParam(size_t i, double& v, double min, double max, double def,
                   std::initializer_list<UnitFactor> units = {});
    bool stringParam(size_t i, std::string& s);
    bool wordParam(size_t i, std::string& upperWord);
    // ON / OFF or a number (0 is off).
    bool boolParam(size_t i, bool& v);
    bool blockParam(size_t i, const BlockData*& block);

private:
    // Parameter i, or the missing-parameter error.
    const Parameter* param(size_t i);
    // Parameter i when it has the type, else the matching error.
    const Parameter* typedParam(size_t i, Parameter::Type type);
    bool numberParam(const Parameter& p, double& rounded);
    // MINimum / MAXimum / DEFault as the choice among the three values;
    // any other word is the data-type error.
    template <class T>
    bool namedValue(const Parameter& p, T& v, T min, T max, T def);

    bool commandError_ = false;
};

// Quotes text as a SCPI string response ("...", inner quotes doubled).
std::string quoted(std::string_view text);

}  // namespace qv::sim
