// Which reader reads a trace: by family first, then by the instrument's mode
// word. The families' trace traits are one table here.
#include "app/text.h"
#include "families/registry.h"
#include "instrument_io/vif.h"
#include "trace/reader.h"

namespace qv::trace {

namespace {

const Dialect kPlain{};
const Dialect kSpectrum3{.activeTraces = 3, .realTraceNumbers = true};
const Dialect kSignalAnalyzer{.activeTraces = 6, .modeAtLoad = true, .realTraceNumbers = true};
const Dialect kHandheld{.activeTraces = 1, .handheld = true};
const Dialect kReceiverSan{.logOnlyInSan = true};
const Dialect kAsciiFile{.fixed = &kAsciiReader};
const Dialect kNetwork{.otherModes = &kNetworkReader, .networkAtLoad = true, .networkChannels = true};
const Dialect kNetworkModeWord{.networkAtLoad = true, .networkChannels = true};
const Dialect kOldNetwork{
    .fixed = &kOldNetworkReader, .networkChannels = true, .pairsInDb = true, .fixedChannels = true};
const Dialect kAudio{.fixed = &kAudioReader};
const Dialect kMyi{.fixed = &kMyiReader, .mathChannels = true};
const Dialect kMye{.fixed = &kMyeReader, .mathChannels = true};

using family::Attach;
using family::Family;
const Attach<Dialect> kAttachPlain(&Family::trace, kPlain, {"TKM", "TKB", "TKN", "TKAH", "TKA", "TKR", "VHY"});
const Attach<Dialect> kAttachSpectrum3(&Family::trace, kSpectrum3, {"TKD"});
const Attach<Dialect> kAttachSignal(&Family::trace, kSignalAnalyzer, {"TKW"});
const Attach<Dialect> kAttachHandheld(&Family::trace, kHandheld, {"TKG"});
const Attach<Dialect> kAttachReceiver(&Family::trace, kReceiverSan, {"VHJO"});
const Attach<Dialect> kAttachAscii(&Family::trace, kAsciiFile, {"VHK"});
const Attach<Dialect> kAttachNetwork(&Family::trace, kNetwork, {"KDC", "KDE", "KDH"});
// This one answers NWA like the others but has no fallback for other words.
const Attach<Dialect> kAttachNetworkModeWord(&Family::trace, kNetworkModeWord, {"KDP"});
const Attach<Dialect> kAttachOldNetwork(&Family::trace, kOldNetwork, {"KDM"});
const Attach<Dialect> kAttachAudio(&Family::trace, kAudio, {"DOF", "DOC"});
const Attach<Dialect> kAttachMyi(&Family::trace, kMyi, {"MYI"});
const Attach<Dialect> kAttachMye(&Family::trace, kMye, {"MYE"});

}  // namespace

const Dialect& dialectFor(std::string_view family) {
    const Family* f = family::find(family);
    return f && f->trace ? *f->trace : kPlain;
}

const Reader* readerForMode(std::string_view mode) {
    if (mode == "SAN" || mode == "REC" || mode == "CATV") return &kAnalyzerReader;
    if (mode == "PNO") return &kPhaseNoiseReader;
    if (mode == "ADEM") return &kDemodReader;
    if (mode == "NWA") return &kNetworkReader;
    return nullptr;
}

Choice chooseReaderFor(std::string_view family, std::string_view mode, std::string_view mappedName) {
    Choice c;
    const Dialect& d = dialectFor(family);
    if (d.fixed) {
        c.reader = d.fixed;
        return c;
    }
    c.modeAsked = true;
    c.mode = std::string(mode);
    c.reader = readerForMode(mode);
    if (c.reader == &kAnalyzerReader && mappedName.find("KD") != std::string_view::npos) c.switchToTkw = true;
    if (!c.reader) c.reader = d.otherModes;
    return c;
}

Choice chooseReader(io::VIF& vif, std::string_view family, std::string_view mappedName) {
    if (dialectFor(family).fixed) return chooseReaderFor(family, "", mappedName);
    std::string answer;
    vif.ReadString("INST:SEL?", answer, 2048);
    return chooseReaderFor(family, app::TrimLineEnds(answer), mappedName);
}

std::string modeNotSupportedText(std::string_view mode) {
    return "Instrument mode " + std::string(mode) + " is not supported!";
}

std::vector<int> activeTraces(io::VIF& vif, int count) {
    std::vector<int> out;
    for (int i = 1; i <= count; ++i) {
        std::string answer;
        vif.ReadString("DISPlay:TRACe" + std::to_string(i) + ":STATe?", answer, 2048);
        if (answer == "1") out.push_back(i);
    }
    return out;
}

}  // namespace qv::trace
