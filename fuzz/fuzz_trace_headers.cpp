// The network analyzers' catalogues and the oscilloscopes' waveform headers
// and value texts come from instruments: any bytes must give bounded lists,
// a header that is either whole or refused with a reason, and a point count
// that never exceeds the values that came.
#include "trace/reader.h"
#include "trace/waveform_text.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace qv::trace;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    // The whole input as a catalogue answer.
    const std::vector<std::string> channels = channelCatalogueItems(text);
    if (channels.size() > kMaxCatalogueItems) std::abort();
    for (const std::string& c : channels)
        if (c.find('\'') != std::string::npos) std::abort();
    const std::vector<std::string> traces = traceCatalogueNames(text);
    if (traces.size() > kMaxCatalogueItems) std::abort();
    if (!traces.empty()) (void)catalogueHolds(text, traces.back());

    // The first line as a waveform header, the rest as the values.
    const size_t eol = text.find('\n');
    const std::string_view header = text.substr(0, eol);
    const std::string_view values = eol == std::string_view::npos ? std::string_view() : text.substr(eol + 1);
    for (size_t needed : {size_t(2), size_t(4)}) {
        WaveHeader h;
        std::string why;
        const bool ok = parseWaveHeader(header, needed, h, why);
        if (h.fields != fieldCount(header)) std::abort();
        if (ok != (h.fields >= needed) || ok == !why.empty()) std::abort();
    }
    WaveHeader h;
    std::string why;
    if (!parseWaveHeader(header, 4, h, why)) return 0;
    const size_t available = fieldCount(values);
    size_t n = 0;
    const bool counted = headerPointCount(h, available, n, why);
    if (counted != why.empty()) std::abort();
    if (!counted) return 0;
    if (n < 1 || n > available || n > kMaxWaveformPoints) std::abort();
    if (parseWaveValues(values, n).size() != n) std::abort();
    if (steppedAxis(h.first, (h.last - h.first) / double(n), n).size() != n) std::abort();
    return 0;
}
