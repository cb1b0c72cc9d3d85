// Hardcopy: fetches the screen of an instrument into a local image file and
// hands it to the window that shows it. Every family speaks its own dialect
// (dialect.h); the shared frame around it is here: the session, the file
// name, the instrument's return to local control, the picture shown and the
// file kept or deleted.
#pragma once

#include "app/standard.h"

#include <functional>
#include <string>

namespace qv::io {
class VIF;
}

namespace qv::hardcopy {

// How the window turns the local file into a picture.
enum class Route {
    Loader,  // the picture loader, by the file's content
    Direct,  // decoded straight into a bitmap; the save dialog then offers "bmp"
    Shell,   // not shown here: the user may open it with the desktop's program
};

// The window as a hardcopy sees it. The window implements it; the command
// line has a plain one that only checks that a file arrived.
class View {
public:
    virtual ~View() = default;
    // Loads the file as a picture and shows it; false with a reason when it
    // cannot be read (the picture shown stays as it was).
    virtual bool showPicture(const std::string& file, Route route, std::string& why) = 0;
    // The picture box sizes itself to the picture, the window to the box.
    virtual void fitToPicture() {}
    // The stream dialect fixes the window's size (twips, as the instrument's
    // screen is described).
    virtual void setSizeTwips(int width, int height) {}
    virtual void clearClipboard() {}
    // The progress splash of the long dialects: percent 0 shows it, 100
    // closes it. Returns false when the user cancelled.
    virtual bool progress(int percent) { return true; }
    // True once the window has been closed: the run stops touching it.
    virtual bool gone() const { return false; }
};

struct Request {
    std::string resource;    // MyVISARsc
    std::string devType;     // MyDevType: picks the dialect
    std::string mappedName;  // the selected record's mapped name (CurrentMappedName)
    std::string listText;    // the main list's text: the file name's instrument part
    std::string saveFolder;
    // The local file without extension; empty: SaveFolder/name@date_time.
    std::string stem;
    bool color = true;
    bool saveImage = false;
    bool copyImage = false;
    // False: no window; the file is only checked to have arrived (the
    // command line).
    bool show = true;
    // Called on the session before it opens (a log, for instance).
    std::function<void(io::VIF&)> prepare;
    // The time the scope's completion poll may take before it gives up.
    int completionLimitMs = 180000;
    // The time now, for the file name; left at zero: the clock's.
    app::TimeRecord when;
};

struct Outcome {
    std::string file;       // the local file shown (it may be gone again by the SaveImage rule)
    bool arrived = false;   // the file was on disk after the transfer
    bool shown = false;     // the view took the picture
    // The extension the save dialog proposes next; unchanged when the
    // dialect leaves it.
    std::string extension;
    // Why the run was given up before the transfer (the instrument could not
    // be opened or stopped answering); empty when it ran to the end.
    std::string failure;
    bool cancelled = false;  // by the user: nothing to report
    // The pauses the dialect prescribes and the session's wait before it
    // closes, in ms: the benchmark leaves them out.
    double pausedMs = 0;
};

// The whole operation: prologue, the family's dialect, epilogue. extension:
// the current HardcopyExtension, which the outcome carries on.
Outcome GetHardcopy(const Request& request, View& view, const std::string& extension);

// Shows the local file in the view by the dialect's route, or says why it
// cannot. Returns whether a picture is now shown (always false for Shell).
bool displayPicture(const std::string& file, Route route, View& view, bool copyImage, std::string& extension);

// The message when the file never reached the PC.
std::string missingFileText(const std::string& file);

}  // namespace qv::hardcopy
