// The shared trace store and the complex pair helpers.
#include "trace/trace.h"

#include <algorithm>
#include <cmath>

namespace qv::trace {

Values makeValues(std::vector<double> v) { return std::make_shared<const std::vector<double>>(std::move(v)); }

void TraceData::set(Values x, Values y) {
    x_ = std::move(x);
    y_ = std::move(y);
    size_t nx = x_ ? x_->size() : 0, ny = y_ ? y_->size() : 0;
    complex_ = nx != ny;
    // A complex reading has one point per pair; an odd y or a short x
    // limits it to the points both arrays can give.
    size_ = complex_ ? std::min(nx, ny / 2) : nx;
}

void TraceData::clear() { set(nullptr, nullptr); }

TracePoint TraceData::operator[](size_t k) const {
    TracePoint p;
    if (k >= size_) return p;
    p.X = (*x_)[k];
    if (complex_) {
        p.IsComplex = true;
        p.Re = (*y_)[2 * k];
        p.Im = (*y_)[2 * k + 1];
    } else {
        p.Y = (*y_)[k];
    }
    return p;
}

Shared& shared() {
    static Shared s;
    return s;
}

std::vector<double> complexToDb(const std::vector<double>& pairs) {
    std::vector<double> out(pairs.size() / 2);
    for (size_t k = 0; k < out.size(); ++k)
        out[k] = 20.0 * std::log10(std::sqrt(pairs[2 * k] * pairs[2 * k] + pairs[2 * k + 1] * pairs[2 * k + 1]));
    return out;
}

std::vector<double> realParts(const std::vector<double>& pairs) {
    std::vector<double> out(pairs.size() / 2);
    for (size_t k = 0; k < out.size(); ++k) out[k] = pairs[2 * k];
    return out;
}

std::vector<double> imagParts(const std::vector<double>& pairs) {
    std::vector<double> out(pairs.size() / 2);
    for (size_t k = 0; k < out.size(); ++k) out[k] = pairs[2 * k + 1];
    return out;
}

}  // namespace qv::trace
