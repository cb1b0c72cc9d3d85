// The network analyzer and oscilloscope readers are not part of this build
// yet: readTrace tells the user so instead of reading.
#include "trace/reader.h"

namespace qv::trace {

const Reader kNetworkReader{"readNetworkTrace", nullptr, false, "network analyzer traces"};
const Reader kOldNetworkReader{"readNetworkTrace", nullptr, false, "network analyzer traces"};
const Reader kMyiReader{"readMyiTrace", nullptr, false, "oscilloscope waveforms"};
const Reader kMyeReader{"readMyeTrace", nullptr, false, "oscilloscope waveforms"};

}  // namespace qv::trace
