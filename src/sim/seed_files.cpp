#include "seed_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "scpi_errors.h"
#include "screen.h"
#include "text.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

// 2026-03-02 09:14:00 UTC, when the instruments left the factory; each
// item is a few minutes younger than the one before it.
constexpr int64_t kFactoryTime = 1772442840;
constexpr int64_t kStep = 437;

constexpr double kPi = 3.14159265358979323846;

bool kindHas(const Profile& p, const char* word) { return p.kind.find(word) != std::string::npos; }

// Small, repeatable noise in [-0.5, 0.5).
double noise(uint32_t i, uint32_t salt) {
    uint32_t x = i * 2654435761u ^ (salt * 40503u + 0x9E37u);
    x ^= x >> 15;
    x *= 0x2C1B3C6Du;
    x ^= x >> 12;
    return double(x & 0xFFFF) / 65536.0 - 0.5;
}

std::vector<uint8_t> bytes(const std::string& s) { return {s.begin(), s.end()}; }

void line(std::string& out, const char* format, double a, double b) {
    char buf[96];
    int n = std::snprintf(buf, sizeof buf, format, a, b);
    if (n > 0) out.append(buf, size_t(std::min(n, int(sizeof buf) - 1)));
}

// The identity's fields: maker, model, serial, firmware.
std::vector<std::string> identityFields(const Profile& p) {
    std::vector<std::string> f(4);
    size_t k = 0;
    for (char c : p.identity) {
        if (c == ',' && k + 1 < f.size()) ++k;
        else f[k] += c;
    }
    return f;
}

std::string settingsText(const Profile& p) {
    auto id = identityFields(p);
    std::string s = "; Instrument settings, saved on the instrument\r\n[Instrument]\r\n";
    s += "Model=" + id[1] + "\r\nSerial=" + id[2] + "\r\nFirmware=" + id[3] + "\r\n";
    s += "Options=" + p.options + "\r\n[Measurement]\r\n";
    s += "Mode=" + (p.modes.empty() ? std::string("SAN") : p.modes.front()) + "\r\n";
    if (kindHas(p, "network")) {
        s += "StartFrequency=300 kHz\r\nStopFrequency=8 GHz\r\nPoints=201\r\nParameter=S21\r\n"
             "IFBandwidth=10 kHz\r\nPower=-10 dBm\r\n";
    } else if (kindHas(p, "receiver")) {
        s += "StartFrequency=150 kHz\r\nStopFrequency=30 MHz\r\nDetector=Quasi-peak\r\n"
             "MeasurementTime=1 s\r\nTransducer=LISN\r\n";
    } else if (kindHas(p, "spectrum")) {
        s += "CenterFrequency=1.505 GHz\r\nSpan=2.99 GHz\r\nRBW=1 MHz\r\nVBW=3 MHz\r\n"
             "ReferenceLevel=-10 dBm\r\nDetector=Auto peak\r\n";
    } else if (kindHas(p, "generator")) {
        s += "Frequency=1 GHz\r\nLevel=-30 dBm\r\nRFOutput=OFF\r\nModulation=OFF\r\nUserCorrection=UCOR1\r\n";
    } else if (kindHas(p, "oscilloscope")) {
        s += "Timebase=200 us/div\r\nCH1=500 mV/div, DC 1 MOhm\r\nCH2=1 V/div, DC 1 MOhm\r\n"
             "Trigger=CH1, rising, 0 V\r\nAcquisition=Sample\r\n";
    } else if (kindHas(p, "audio")) {
        s += "Generator=Sine, 1 kHz, 1 Vrms\r\nAnalyzer=THD+N\r\nBandwidth=22 kHz\r\nInput=Balanced\r\n";
    } else if (kindHas(p, "power")) {
        s += "Frequency=1 GHz\r\nOffset=0 dB\r\nAveraging=Auto\r\nUnit=dBm\r\n";
    } else {
        s += "RFFrequency=1.8 GHz\r\nRFLevel=-60 dBm\r\nExpectedPower=10 dBm\r\nStandard=GSM\r\n";
    }
    return s;
}

// The first trace of the simulated measurement, 10 MHz to 3 GHz.
std::string spectrumCsv() {
    constexpr uint32_t kPoints = 501;
    std::string s = "Frequency [Hz],Level [dBm]\r\n";
    for (uint32_t i = 0; i < kPoints; ++i)
        line(s, "%.0f,%.2f\r\n", 10e6 + (3e9 - 10e6) * i / (kPoints - 1), double(traceValue(1, i, kPoints)));
    return s;
}

// 1 ms of a 2 kHz signal: a sine on one channel, a square wave with some
// ringing on the other.
std::string waveformCsv(int channel) {
    constexpr uint32_t kPoints = 500;
    std::string s = channel == 1 ? "Time [s],CH1 [V]\r\n" : "Time [s],CH2 [V]\r\n";
    for (uint32_t i = 0; i < kPoints; ++i) {
        double t = 1e-3 * i / kPoints;
        double phase = std::fmod(t * 2000.0, 1.0);
        double v;
        if (channel == 1) {
            v = 0.8 * std::sin(2 * kPi * phase);
        } else {
            double since = std::fmod(phase, 0.5) / 2000.0;  // seconds since the last edge
            v = (phase < 0.5 ? 1.5 : -1.5) * (1.0 - 0.3 * std::exp(-since / 2e-5) * std::cos(2 * kPi * 2e5 * since));
        }
        line(s, "%.7f,%.4f\r\n", t, v + 0.01 * noise(i, uint32_t(channel)));
    }
    return s;
}

// Baseband samples: a linear chirp, or a pulse with raised-cosine edges.
std::string iqCsv(bool chirp) {
    constexpr uint32_t kPoints = 800;
    std::string s = "I,Q\r\n";
    for (uint32_t i = 0; i < kPoints; ++i) {
        double x = double(i) / kPoints;
        double amp = 0.9, phase = 0;
        if (chirp) {
            phase = 2 * kPi * (10 * x + 40 * x * x);
        } else {
            double edge = 0.05;
            amp = x < 0.2 || x > 0.7 ? 0.0
                  : x < 0.2 + edge  ? 0.45 * (1 - std::cos(kPi * (x - 0.2) / edge))
                  : x > 0.7 - edge  ? 0.45 * (1 - std::cos(kPi * (0.7 - x) / edge))
                                    : 0.9;
            phase = 2 * kPi * 25 * x;
        }
        line(s, "%.5f,%.5f\r\n", amp * std::cos(phase), amp * std::sin(phase));
    }
    return s;
}

// A user correction list: frequency and level offset.
std::string correctionCsv() {
    std::string s = "Frequency [Hz],Offset [dB]\r\n";
    for (int i = 0; i <= 20; ++i) line(s, "%.0f,%.2f\r\n", 100e6 + 295e6 * i, 0.4 + 0.12 * i + 0.3 * noise(uint32_t(i), 7));
    return s;
}

std::vector<uint8_t> screenPng(const Profile& p, bool color, const std::string& mode) {
    ScreenSettings s;
    s.color = color;
    s.mode = mode.empty() ? (p.modes.empty() ? std::string("SAN") : p.modes.front()) : mode;
    std::vector<uint8_t> png;
    if (!renderHardcopy(p, s, "PNG", png)) png.clear();
    return png;
}

// The drive a new instrument starts on: "D:", "INT:", "/hdd", or "" for
// the handheld whose drive is the root itself.
std::string startDrive(const Profile& p) {
    std::string best;
    for (const auto& d : p.drives) {
        std::string_view start = p.startDirectory;
        if (start.size() >= d.size() && equalsIgnoreCase(start.substr(0, d.size()), d) && d.size() > best.size())
            best = d;
    }
    return best == "/" ? std::string() : best;
}

}  // namespace

std::vector<SeedItem> seedPlan(const Profile& p) {
    std::vector<SeedItem> plan;
    if (p.drives.empty()) return plan;
    auto folder = [&](std::string name) { plan.push_back({std::move(name), true, {}, 0}); };
    auto file = [&](std::string name, std::vector<uint8_t> data) {
        plan.push_back({std::move(name), false, std::move(data), 0});
    };
    const std::string d = startDrive(p);
    const bool scope = kindHas(p, "oscilloscope");
    if (p.tag == "BJY") {
        // Where its hardcopies go, and what a user would have printed.
        folder(d + "/USERDATA");
        folder(d + "/USERDATA/PRINT");
        file(d + "/USERDATA/PRINT/SCREEN01.PNG", screenPng(p, true, ""));
        file(d + "/USERDATA/PRINT/SCREEN02.PNG", screenPng(p, false, ""));
        folder(d + "/USERDATA/SETUP");
        file(d + "/USERDATA/SETUP/settings.txt", bytes(settingsText(p)));
        folder(d + "/USERDATA/LOGS");
    } else if (p.tag == "MYE") {
        folder(d + "/DATA");
        file(d + "/DATA/WFM01.CSV", bytes(waveformCsv(1)));
        file(d + "/DATA/WFM02.CSV", bytes(waveformCsv(2)));
        file(d + "/DATA/SCREEN01.PNG", screenPng(p, true, ""));
        folder(d + "/SETUPS");
        file(d + "/SETUPS/settings.txt", bytes(settingsText(p)));
        folder(d + "/REF");
    } else if (p.tag == "GLN" || p.tag == "GLQ") {
        folder("/hdd/waveforms");
        file("/hdd/waveforms/chirp_iq.csv", bytes(iqCsv(true)));
        file("/hdd/waveforms/pulse_iq.csv", bytes(iqCsv(false)));
        file("/hdd/screen.png", screenPng(p, true, ""));
        file("/var/user/settings.txt", bytes(settingsText(p)));
        file("/var/user/ucor1.csv", bytes(correctionCsv()));
        folder("/var/user/lists");
    } else {
        folder(d + "/USER");
        file(d + "/USER/settings.txt", bytes(settingsText(p)));
        file(d + (scope ? "/USER/waveform1.csv" : "/USER/trace1.csv"),
             bytes(scope ? waveformCsv(1) : spectrumCsv()));
        if (p.tag == "TKG") {
            folder("/Public");
            folder("/Public/Screen Shots");
            file("/Public/Screen Shots/Screenshot_001.png", screenPng(p, true, ""));
        } else {
            file(d + "/USER/screen.png", screenPng(p, true, ""));
        }
        folder(d + "/USER/LIMITS");
    }
    for (size_t i = 0; i < plan.size(); ++i) plan[i].modified = kFactoryTime + int64_t(i) * kStep;
    return plan;
}

bool seedFiles(Sandbox& sandbox, const Profile& profile, std::string& error) {
    const auto plan = seedPlan(profile);
    std::vector<const SeedItem*> written;
    auto exists = [&](const std::string& name) {
        std::shared_ptr<const OpenFile> file;
        uint64_t size = 0;
        return sandbox.readFile(name, file, size) == 0;
    };
    for (const auto& item : plan) {
        if (!sandbox.driveWasEmpty(item.name)) continue;
        int e = 0;
        if (item.folder) {
            // The start folder and the firmware's folders exist already.
            Listing existing;
            if (sandbox.list(item.name, existing) != 0) e = sandbox.makeDirectory(item.name);
        } else if (item.data.empty()) {
            e = err::kDeviceSpecific;  // a picture that could not be drawn
        } else if (exists(item.name)) {
            continue;  // put there meanwhile: whoever did keeps it
        } else {
            e = sandbox.writeFile(item.name,
                                  std::string_view(reinterpret_cast<const char*>(item.data.data()), item.data.size()));
        }
        if (e) {
            error = "cannot write " + item.name + " (" + std::to_string(e) + ")";
            return false;
        }
        written.push_back(&item);
    }
    // Dates last: writing into a folder would move its own.
    for (const SeedItem* item : written) sandbox.setModified(item->name, item->modified);
    return true;
}

}  // namespace qv::sim
