#include "network_data.h"

#include <algorithm>
#include <cmath>

namespace qv::sim {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = 180.0 / kPi;

// A Chebyshev band-pass of five poles, 0.1 dB ripple, centred on 1.5 GHz
// with 180 MHz of bandwidth; 1 dB of loss, -60 dB of leakage past it, and
// cables that turn the phase with frequency.
constexpr int kOrder = 5;
constexpr double kCentreHz = 1.5e9;
constexpr double kFractionalBandwidth = 0.12;
constexpr double kRippleDb = 0.1;
constexpr double kThroughLoss = 0.891;  // -1 dB
constexpr double kReflectionLoss = 0.95;
constexpr double kLeakage = 1e-3;
constexpr double kThroughDelayS = 3.0e-9;
constexpr double kPort1DelayS = 0.8e-9;
constexpr double kPort2DelayS = 1.1e-9;
constexpr double kNoise = 4e-4;

struct Prototype {
    std::complex<double> poles[kOrder];
    double zeros[kOrder];  // reflection zeros on the imaginary axis
    double gain = 1;       // product of -pole: unity through the pass band
};

const Prototype& prototype() {
    static const Prototype p = [] {
        Prototype q;
        double eps = std::sqrt(std::pow(10.0, kRippleDb / 10) - 1);
        double v = std::asinh(1 / eps) / kOrder;
        std::complex<double> k = 1;
        for (int i = 0; i < kOrder; ++i) {
            double theta = (2 * i + 1) * kPi / (2 * kOrder);
            q.poles[i] = {-std::sinh(v) * std::sin(theta), std::cosh(v) * std::cos(theta)};
            q.zeros[i] = std::cos(theta);
            k *= -q.poles[i];
        }
        q.gain = k.real();
        return q;
    }();
    return p;
}

// The low-pass prototype's frequency for a band-pass at hz.
double prototypeOmega(double hz) {
    double f = std::max(hz, 1.0) / kCentreHz;
    return (f - 1 / f) / kFractionalBandwidth;
}

std::complex<double> turn(double radians) { return {std::cos(radians), std::sin(radians)}; }

double delayFor(SParameter p) {
    switch (p) {
    case SParameter::S11: return 2 * kPort1DelayS;
    case SParameter::S22: return 2 * kPort2DelayS;
    case SParameter::S12:
    case SParameter::S21: return kThroughDelayS;
    }
    return 0;
}

bool through(SParameter p) { return p == SParameter::S21 || p == SParameter::S12; }

// The phase without noise and leakage, continuous over frequency: what the
// unwrapped phase follows.
double smoothPhase(SParameter p, double hz) {
    const Prototype& q = prototype();
    double omega = prototypeOmega(hz);
    double phase = -2 * kPi * std::max(hz, 1.0) * delayFor(p);
    for (int i = 0; i < kOrder; ++i) {
        phase -= std::arg(std::complex<double>(0, omega) - q.poles[i]);
        if (!through(p)) phase += std::arg(std::complex<double>(1e-12, omega - q.zeros[i]));
    }
    return phase;
}

class NetworkValues final : public ValueSource {
public:
    NetworkValues(const NetworkChannel& ch, const NetworkTrace& t, bool complexPairs)
        : channel_(ch), parameter_(t.parameter), format_(t.format),
          perPoint_(complexPairs || pairFormat(t.format) ? 2 : 1), complex_(complexPairs) {}
    uint64_t count() const override { return uint64_t(channel_.points) * perPoint_; }
    void values(uint64_t first, size_t n, float* out) const override {
        uint64_t cached = UINT64_MAX;
        std::complex<double> s;
        double hz = 0;
        for (size_t i = 0; i < n; ++i) {
            uint64_t point = (first + i) / perPoint_;
            int part = int((first + i) % perPoint_);
            if (point != cached) {
                hz = stimulusHz(channel_, point);
                s = sParameterAt(parameter_, hz, point);
                cached = point;
            }
            double v = complex_ ? (part ? s.imag() : s.real()) : formattedValue(parameter_, format_, hz, s, part);
            out[i] = float(v);
        }
    }

private:
    NetworkChannel channel_;
    SParameter parameter_;
    NetworkFormat format_;
    uint32_t perPoint_;
    bool complex_;
};

class StimulusValues final : public ValueSource {
public:
    explicit StimulusValues(const NetworkChannel& ch) : channel_(ch) {}
    uint64_t count() const override { return channel_.points; }
    void values(uint64_t first, size_t n, float* out) const override {
        for (size_t i = 0; i < n; ++i) out[i] = float(stimulusHz(channel_, first + i));
    }

private:
    NetworkChannel channel_;
};

struct FormatName {
    NetworkFormat format;
    const char* shortForm;
    const char* longForm;
};
constexpr FormatName kFormats[] = {
    {NetworkFormat::Mlog, "MLOG", "MLOGARITHMIC"}, {NetworkFormat::Phase, "PHAS", "PHASE"},
    {NetworkFormat::Smith, "SMIT", "SMITH"},       {NetworkFormat::Polar, "POL", "POLAR"},
    {NetworkFormat::Real, "REAL", "REAL"},         {NetworkFormat::Imaginary, "IMAG", "IMAGINARY"},
    {NetworkFormat::Mlin, "MLIN", "MLINEAR"},      {NetworkFormat::Swr, "SWR", "SWR"},
    {NetworkFormat::UnwrappedPhase, "UPH", "UPHASE"},
};

}  // namespace

bool sParameterFromText(std::string_view upper, SParameter& out) {
    static constexpr SParameter kAll[] = {SParameter::S11, SParameter::S12, SParameter::S21, SParameter::S22};
    for (SParameter p : kAll)
        if (upper == sParameterText(p)) {
            out = p;
            return true;
        }
    return false;
}

const char* sParameterText(SParameter p) {
    switch (p) {
    case SParameter::S11: return "S11";
    case SParameter::S12: return "S12";
    case SParameter::S21: return "S21";
    case SParameter::S22: return "S22";
    }
    return "S21";
}

bool networkFormatFromWord(std::string_view upper, NetworkFormat& out) {
    for (const auto& f : kFormats)
        if (upper == f.shortForm || upper == f.longForm) {
            out = f.format;
            return true;
        }
    return false;
}

const char* networkFormatWord(NetworkFormat f) {
    for (const auto& n : kFormats)
        if (n.format == f) return n.shortForm;
    return "MLOG";
}

void NetworkSetup::reset(bool fixedChannels) {
    channels.clear();
    traces.clear();
    activeChannel = 1;
    auto add = [&](int number, const char* name, SParameter p, NetworkFormat f) {
        NetworkChannel& ch = channels[number];
        if (ch.name.empty()) {
            ch.name = std::string("Ch") + std::to_string(number);
            ch.points = points;
            ch.active = name;
        }
        traces.push_back({name, number, p, f});
    };
    if (fixedChannels) {
        add(1, "Trc1", SParameter::S21, NetworkFormat::Mlog);
        add(2, "Trc2", SParameter::S11, NetworkFormat::Smith);
        add(3, "Trc3", SParameter::S21, NetworkFormat::Phase);
        add(4, "Trc4", SParameter::S22, NetworkFormat::Mlog);
        return;
    }
    add(1, "Trc1", SParameter::S21, NetworkFormat::Mlog);
    add(1, "Trc2", SParameter::S11, NetworkFormat::Smith);
    add(2, "Trc3", SParameter::S22, NetworkFormat::Mlog);
}

void NetworkSetup::setAllPoints(uint32_t n) {
    points = std::clamp<uint32_t>(n, 1, kMaxPoints);
    for (auto& [number, ch] : channels) ch.points = points;
}

NetworkChannel* NetworkSetup::channel(int number) {
    auto it = channels.find(number);
    return it == channels.end() ? nullptr : &it->second;
}

NetworkTrace* NetworkSetup::trace(std::string_view name) {
    for (auto& t : traces)
        if (t.name == name) return &t;
    return nullptr;
}

NetworkTrace* NetworkSetup::activeTrace(int number) {
    NetworkChannel* ch = channel(number);
    if (!ch || ch->active.empty()) return nullptr;
    NetworkTrace* t = trace(ch->active);
    return t && t->channel == number ? t : nullptr;
}

void NetworkSetup::removeTrace(std::string_view name) {
    auto it = std::find_if(traces.begin(), traces.end(), [&](const NetworkTrace& t) { return t.name == name; });
    if (it == traces.end()) return;
    int number = it->channel;
    traces.erase(it);
    NetworkChannel* ch = channel(number);
    if (!ch || ch->active != name) return;
    ch->active.clear();
    for (const auto& t : traces)
        if (t.channel == number) {
            ch->active = t.name;
            break;
        }
}

std::complex<double> sParameterAt(SParameter p, double hz, uint64_t index) {
    const Prototype& q = prototype();
    std::complex<double> s(0, prototypeOmega(hz));
    std::complex<double> denominator = 1, numerator = 1;
    for (int i = 0; i < kOrder; ++i) {
        denominator *= s - q.poles[i];
        numerator *= s - std::complex<double>(0, q.zeros[i]);
    }
    double f = std::max(hz, 1.0);
    std::complex<double> v;
    if (through(p)) {
        v = kThroughLoss * q.gain / denominator * turn(-2 * kPi * f * kThroughDelayS);
        v += kLeakage * turn(-2 * kPi * f * 0.4e-9);
    } else {
        // The two ports differ a little, as real filters do.
        double trim = p == SParameter::S11 ? 1.0 : 0.93;
        v = kReflectionLoss * trim * numerator / denominator * turn(-2 * kPi * f * delayFor(p));
    }
    uint64_t key = uint64_t(p) + 1;
    v += kNoise * std::complex<double>(indexNoise(key, index), indexNoise(key + 8, index));
    return v;
}

double formattedValue(SParameter p, NetworkFormat f, double hz, std::complex<double> s, int part) {
    double magnitude = std::abs(s);
    switch (f) {
    case NetworkFormat::Mlog: return 20 * std::log10(std::max(magnitude, 1e-15));
    case NetworkFormat::Phase: return std::arg(s) * kDeg;
    case NetworkFormat::Smith:
    case NetworkFormat::Polar: return part ? s.imag() : s.real();
    case NetworkFormat::Real: return s.real();
    case NetworkFormat::Imaginary: return s.imag();
    case NetworkFormat::Mlin: return magnitude;
    case NetworkFormat::Swr: {
        double m = std::min(magnitude, 0.999);
        return (1 + m) / (1 - m);
    }
    case NetworkFormat::UnwrappedPhase: {
        double smooth = smoothPhase(p, hz);
        return (smooth + std::remainder(std::arg(s) - smooth, 2 * kPi)) * kDeg;
    }
    }
    return 0;
}

double stimulusHz(const NetworkChannel& ch, uint64_t point) {
    if (ch.points < 2) return ch.startHz;
    return ch.startHz + (ch.stopHz - ch.startHz) * double(point) / double(ch.points - 1);
}

std::shared_ptr<const ValueSource> networkValues(const NetworkChannel& ch, const NetworkTrace& trace, bool complexPairs) {
    return std::make_shared<NetworkValues>(ch, trace, complexPairs);
}

std::shared_ptr<const ValueSource> stimulusValues(const NetworkChannel& ch) {
    return std::make_shared<StimulusValues>(ch);
}

}  // namespace qv::sim
