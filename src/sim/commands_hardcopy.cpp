// HCOPy subsystem and the display settings around it: the instrument paints
// its screen in the chosen language and keeps it as a file, or answers the
// picture directly (HCOP:DATA?, DISP:PIXM?), each family in its own way.
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "screen.h"
#include "text.h"

namespace qv::sim {

namespace {

// The stream answer of the generator family that has one is read as a fixed
// number of bytes, its terminator included.
constexpr size_t kStreamAnswerBytes = 16100;

ScreenSettings screenOf(const CommandContext& c) {
    ScreenSettings s;
    s.color = c.state.hardcopy.color;
    s.displayUpdate = c.state.hardcopy.displayUpdate;
    s.screenCopyMark = c.state.hardcopy.screenCopy;
    s.mode = c.state.mode;
    return s;
}

void languageSet(CommandContext& c) {
    std::string w, lang;
    if (!c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (!knownHardcopyLanguage(w, lang)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.state.hardcopy.language = lang;
}

void languageQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.language);
}

void colorSet(CommandContext& c) {
    bool on = false;
    if (c.expectParams(1, 1) && c.boolParam(0, on)) c.state.hardcopy.color = on;
}

void colorQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.color ? "1" : "0");
}

void schemeSet(CommandContext& c) {
    std::string w;
    if (!c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (w == "COL" || w == "COLOR" || w == "COLOUR")
        c.state.hardcopy.color = true;
    else if (w == "GRAY" || w == "GRAYSCALE" || w == "GREY")
        c.state.hardcopy.color = false;
    else
        c.error(err::kIllegalParameterValue);
}

void schemeQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.color ? "COL" : "GRAY");
}

// Names are checked when given, resolved against the current folder when
// the picture is stored.
bool acceptName(CommandContext& c, const std::string& name) {
    std::string path;
    if (name.empty()) {
        c.error(err::kFileNameError);
        return false;
    }
    if (int e = c.sandbox.hostPath(name, path)) {
        c.error(e);
        return false;
    }
    return true;
}

void destinationSet(CommandContext& c) {
    if (!c.expectParams(1, 2)) return;
    const Parameter& p = c.unit.params[0];
    if (p.type != Parameter::Type::String && p.type != Parameter::Type::Character) {
        c.error(err::kDataType);
        return;
    }
    // 'MMEM' and 'SYST:COMM:MMEM' name the same place, as do the others.
    std::string w = upperText(p.text);
    if (w.rfind("SYST:COMM:", 0) == 0) w = w.substr(10);
    if (w == "MMEMORY") w = "MMEM";
    if (w == "PRINTER" || w == "PRN") w = "PRIN";
    if (w == "CLIPBOARD") w = "CLIP";
    if (w != "MMEM" && w != "FILE" && w != "PCXF" && w != "PRIN" && w != "CLIP") {
        c.error(err::kIllegalParameterValue);
        return;
    }
    std::string name;
    if (w == "PCXF") {
        // The picture goes as PCX to the named file.
        if (c.paramCount() != 2) {
            c.error(err::kMissingParameter);
            return;
        }
        if (!c.stringParam(1, name) || !acceptName(c, name)) return;
        c.state.hardcopy.language = "PCX";
        c.state.hardcopy.fileName = name;
    } else if (c.paramCount() != 1) {
        c.error(err::kParameterNotAllowed);
        return;
    }
    c.state.hardcopy.destination = w;
}

void destinationQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(quoted(c.state.hardcopy.destination));
}

void nameSet(CommandContext& c) {
    std::string name;
    if (c.expectParams(1, 1) && c.stringParam(0, name) && acceptName(c, name)) c.state.hardcopy.fileName = name;
}

void nameQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(quoted(c.state.hardcopy.fileName.empty() ? "HCOPY" : c.state.hardcopy.fileName));
}

void fileModeSet(CommandContext& c) {
    std::string w;
    if (!c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (w == "OVER" || w == "OVERWRITE")
        c.state.hardcopy.overwrite = true;
    else if (w == "NEW")
        c.state.hardcopy.overwrite = false;
    else
        c.error(err::kIllegalParameterValue);
}

void fileModeQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.overwrite ? "OVER" : "NEW");
}

void itemAll(CommandContext& c) {
    if (c.expectParams(0, 0)) c.state.hardcopy.allItems = true;
}

void updateSet(CommandContext& c) {
    bool on = false;
    if (c.expectParams(1, 1) && c.boolParam(0, on)) c.state.hardcopy.displayUpdate = on;
}

void updateQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.displayUpdate ? "1" : "0");
}

void screenCopySet(CommandContext& c) {
    bool on = false;
    if (c.expectParams(1, 1) && c.boolParam(0, on)) c.state.hardcopy.screenCopy = on;
}

void screenCopyQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.hardcopy.screenCopy ? "1" : "0");
}

// The file the next picture goes to: the name set, or HCOPY; a name without
// an extension gets the language's, in upper case.
std::string targetName(const Instrument::State::Hardcopy& h) {
    std::string name = h.fileName.empty() ? "HCOPY" : h.fileName;
    size_t leaf = name.find_last_of("/\\:");
    leaf = leaf == std::string::npos ? 0 : leaf + 1;
    if (name.find('.', leaf) == std::string::npos) name += "." + h.language;
    return name;
}

void immediate(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    const auto& h = c.state.hardcopy;
    if (h.destination == "PRIN" || h.destination == "CLIP") return;  // nothing stays on the instrument
    const std::string name = targetName(h);
    if (!h.overwrite) {
        std::shared_ptr<const OpenFile> existing;
        uint64_t size = 0;
        if (c.sandbox.readFile(name, existing, size) == 0) {
            c.error(err::kFileNameError, "File name error;file exists");
            return;
        }
    }
    std::vector<uint8_t> picture;
    if (!renderHardcopy(c.instrument.profile(), screenOf(c), h.language, picture)) {
        c.error(err::kExecution, "Execution error;hardcopy failed");
        return;
    }
    if (int e = c.sandbox.writeFile(name, std::string_view(reinterpret_cast<const char*>(picture.data()), picture.size())))
        c.error(e);
}

void dataQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    std::vector<uint8_t> picture;
    if (c.instrument.profile().tag == "GLEF") {
        // A raw stream, no block: a 16-colour bitmap padded with zeros (readers
        // stop at the bitmap's own size) so that bitmap, padding and the
        // terminator make exactly the size the reader asks for.
        if (!renderBmp(c.instrument.profile(), screenOf(c), 4, picture) || picture.size() >= kStreamAnswerBytes) {
            c.error(err::kExecution, "Execution error;screen does not fit");
            return;
        }
        picture.resize(kStreamAnswerBytes - 1, 0);
        c.out.append(std::string_view(reinterpret_cast<const char*>(picture.data()), picture.size()));
        return;
    }
    if (!renderHardcopy(c.instrument.profile(), screenOf(c), c.state.hardcopy.language, picture)) {
        c.error(err::kExecution, "Execution error;hardcopy failed");
        return;
    }
    c.out.appendBlockHeader(picture.size());
    c.out.append(std::string_view(reinterpret_cast<const char*>(picture.data()), picture.size()));
}

void pixmapQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    // The bitmap without its first ten bytes ("BM", file size, reserved
    // words); the offset of the pixels that follows them stays.
    std::vector<uint8_t> picture;
    if (!renderBmp(c.instrument.profile(), screenOf(c), 8, picture) || picture.size() < 14) {
        c.error(err::kExecution, "Execution error;hardcopy failed");
        return;
    }
    c.out.appendBlockHeader(picture.size() - 10);
    c.out.append(std::string_view(reinterpret_cast<const char*>(picture.data()) + 10, picture.size() - 10));
}

}  // namespace

std::vector<CommandDef> hardcopyCommands() {
    return {
        {"HCOPy[:IMMediate]", immediate, nullptr},
        {"HCOPy[:DEVice]:LANGuage", languageSet, languageQuery},
        {"HCOPy:DEVice:COLor", colorSet, colorQuery},
        {"HCOPy:COLor:SCHeme", schemeSet, schemeQuery},
        {"HCOPy:DESTination", destinationSet, destinationQuery},
        {"HCOPy:FILE[:NAME]", nameSet, nameQuery},
        {"HCOPy:FILE:MODe", fileModeSet, fileModeQuery},
        {"HCOPy:ITEM:ALL", itemAll, nullptr},
        {"HCOPy:DATA", nullptr, dataQuery},
        {"MMEMory:NAME", nameSet, nameQuery},
        {"SYSTem:DISPlay:UPDate", updateSet, updateQuery},
        {"SYSTem:DISPlay:SCP", screenCopySet, screenCopyQuery},
        {"DISPlay:PIXMap", nullptr, pixmapQuery},
    };
}

}  // namespace qv::sim
