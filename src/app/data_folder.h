// Where the files shipped with the program (VisaDevices.ini, skins, scripts)
// are found. Looked for, in this order:
//   1. the context's ProgramFolder, when set (tests, portable set-ups);
//   2. <executable folder>/../share/quilvane  (build tree and installed tree:
//      the build copies data/ to build/share/quilvane, an install puts the
//      program in <prefix>/bin and the data in <prefix>/share/quilvane);
//   3. <executable folder>/data               (an unpacked folder);
//   4. the source tree's data/, for development runs only.
// A folder counts when it holds VisaDevices.ini.
#pragma once

#include <string>

namespace qv::app {

std::string dataFolder();

}  // namespace qv::app
