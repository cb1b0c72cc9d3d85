// The receiver's TRACE.ASC and the number texts of the readers come from
// instruments: any bytes must parse to equal x and y arrays or to nothing,
// and every conversion must give a number without reading past its text.
#include "app/numeric.h"
#include "trace/ascii_trace.h"
#include "trace/trace.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>

using namespace qv::trace;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (char mark : {'.', ','}) {
        std::istringstream in(text);
        const AsciiTraceParse p = parseAsciiTrace(in, mark);
        if (p.x.size() != p.y.size()) std::abort();
        if (p.found != !p.x.empty()) std::abort();
        if (p.found && !p.failure.empty()) std::abort();
        // Each value needs a line of its own after the "Values" line.
        size_t lines = 1;
        for (char c : text) lines += c == '\n';
        if (p.x.size() >= lines) std::abort();

        (void)ConvertDBL(text, mark);
    }
    (void)ParseDouble(text);
    if (unitWord(text).empty() != text.empty()) std::abort();

    // A number written in either mark reads back as the same number.
    if (size >= 8) {
        double v;
        std::memcpy(&v, data, 8);
        if (std::isfinite(v)) {
            const double want = qv::app::LeadingNumber(qv::app::TrimmedText(v));
            for (char mark : {'.', ','})
                if (ConvertDBL(DoubleText(v, mark), mark) != want) std::abort();
            TraceData d;
            d.set(makeValues({v, -v}), makeValues({want, 0}));
            const std::string lines = TraceDataText(d, ',');
            if (lines != DoubleText(v, ',') + "; " + DoubleText(want, ',') + "\r\n" + DoubleText(-v, ',') + "; 0\r\n")
                std::abort();
        }
    }
    return 0;
}
