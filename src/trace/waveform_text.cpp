#include "trace/waveform_text.h"

#include "app/numeric.h"

#include <algorithm>
#include <cmath>

namespace qv::trace {

namespace {

// What the user reads of an answer: its start, without line ends.
std::string quoted(std::string_view text) {
    constexpr size_t kShown = 60;
    std::string s;
    for (char c : text.substr(0, kShown)) s += (c == '\r' || c == '\n') ? ' ' : c;
    if (text.size() > kShown) s += "...";
    return "\"" + s + "\"";
}

std::string countText(double n) {
    return std::isfinite(n) ? app::TrimmedText(n) : std::string("an impossible number of");
}

}  // namespace

size_t fieldCount(std::string_view text) { return size_t(std::count(text.begin(), text.end(), ',')) + 1; }

bool parseWaveHeader(std::string_view text, size_t needed, WaveHeader& header, std::string& failure) {
    header = WaveHeader{};
    double values[4] = {0, 0, 0, 0};
    size_t n = 0;
    std::string_view rest = text;
    for (;;) {
        const size_t comma = rest.find(',');
        if (n < 4) values[n] = app::LeadingNumber(rest.substr(0, comma));
        ++n;
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    header.fields = n;
    if (n < needed) {
        if (text.find_first_not_of(" \t\r\n") == std::string_view::npos)
            failure = "The oscilloscope sent no waveform header, so the waveform has no time or frequency axis";
        else
            failure = "The oscilloscope's waveform header " + quoted(text) + " has " + std::to_string(n) +
                      (n == 1 ? " field" : " fields") + " where " + std::to_string(needed) +
                      " are needed, so the waveform has no axis";
        return false;
    }
    header.first = values[0];
    header.last = values[1];
    header.samples = values[2];
    header.perSample = values[3];
    return true;
}

bool headerPointCount(const WaveHeader& h, size_t available, size_t& points, std::string& failure) {
    const double n = h.samples * h.perSample;
    if (!(n >= 1) || n != std::floor(n) || n > double(kMaxWaveformPoints)) {
        failure = "The oscilloscope's waveform header announces " + countText(n) +
                  " points, which no waveform can have";
        return false;
    }
    if (n > double(available)) {
        failure = "The oscilloscope's waveform header announces " + countText(n) + " points, but " +
                  (available == 0 ? std::string("no values came")
                                  : "only " + std::to_string(available) + (available == 1 ? " value" : " values") +
                                        " came; the waveform is incomplete");
        return false;
    }
    points = size_t(n);
    return true;
}

std::vector<double> parseWaveValues(std::string_view text, size_t points) {
    std::vector<double> y;
    y.reserve(points);
    while (y.size() < points) {
        const size_t comma = text.find(',');
        y.push_back(app::LeadingNumber(text.substr(0, comma)));
        if (comma == std::string_view::npos) break;
        text.remove_prefix(comma + 1);
    }
    y.resize(points, 0.0);  // never shorter than asked, whatever the caller checked
    return y;
}

std::vector<double> steppedAxis(double first, double step, size_t points) {
    std::vector<double> x(points);
    for (size_t i = 0; i < points; ++i) x[i] = double(i) * step + first;
    return x;
}

}  // namespace qv::trace
