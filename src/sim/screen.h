// The simulated instrument's screen, drawn for its hardcopies: a title bar
// with the model, readouts, a graticule with traces that suit the kind of
// instrument, softkey labels. One drawing serves every format: it goes to
// a raster for bitmaps and to the metafile writers for vector pictures.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/raster.h"
#include "profiles.h"

namespace qv::sim {

struct ScreenSettings {
    bool color = true;           // off: grey levels only
    bool displayUpdate = true;   // off: the instrument shows no measurement in remote
    bool screenCopyMark = false; // the status line's screen copy note
    std::string mode;            // the measurement mode word
};

void paintScreen(imaging::Painter& painter, const Profile& profile, const ScreenSettings& settings);

// The screen as a file in a hardcopy language: WMF, EMF (vector drawings),
// BMP, PNG, JPG, PCX. False for a language we do not know.
bool renderHardcopy(const Profile& profile, const ScreenSettings& settings, std::string_view language,
                    std::vector<uint8_t>& out);
// A bitmap of the screen at 4, 8 or 24 bits per pixel.
bool renderBmp(const Profile& profile, const ScreenSettings& settings, int bitsPerPixel, std::vector<uint8_t>& out);

// The languages renderHardcopy knows, by their parameter words.
bool knownHardcopyLanguage(std::string_view upperWord, std::string& canonical);

}  // namespace qv::sim
