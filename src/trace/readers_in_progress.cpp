// Placeholders while the analyzer readers are being written; each moves to
// its own file (analyzer.cpp, ascii_file.cpp, audio.cpp) and leaves here.
#include "trace/reader.h"

namespace qv::trace {

const Reader kAnalyzerReader{"readAnalyzerTrace", nullptr, true};
const Reader kPhaseNoiseReader{"readPhaseNoiseTrace", nullptr, true};
const Reader kDemodReader{"readDemodTrace", nullptr, false};
const Reader kAsciiReader{"readAsciiTrace", nullptr, false};
const Reader kAudioReader{"readAudioTrace", nullptr, false};

}  // namespace qv::trace
