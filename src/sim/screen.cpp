#include "screen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "imaging/image_files.h"
#include "imaging/metafile.h"
#include "text.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

using imaging::Color;
using imaging::Painter;
using imaging::Point;

enum class Kind { Spectrum, Receiver, Network, Generator, Scope, Audio, Power, Radio };

Kind kindOf(const Profile& p) {
    const std::string& k = p.kind;
    auto has = [&](const char* w) { return k.find(w) != std::string::npos; };
    if (has("network")) return Kind::Network;
    if (has("receiver")) return Kind::Receiver;
    if (has("spectrum")) return Kind::Spectrum;
    if (has("generator")) return Kind::Generator;
    if (has("oscilloscope")) return Kind::Scope;
    if (has("audio")) return Kind::Audio;
    if (has("power")) return Kind::Power;
    return Kind::Radio;
}

// Few colours on purpose: the smallest screens go out as 16-colour bitmaps.
struct Palette {
    Color background, grid, title, titleText, text, dim, key, keyEdge, marker;
    Color trace[4];
    Color limit;
};

Palette paletteFor(bool color) {
    Palette p{{12, 16, 40},   {72, 80, 112},   {30, 60, 140},  {255, 255, 255}, {235, 235, 235},
              {150, 160, 180}, {44, 50, 78},   {110, 120, 160}, {255, 255, 255},
              {{250, 220, 30}, {40, 210, 250}, {250, 90, 200}, {90, 240, 90}},
              {250, 60, 60}};
    if (color) return p;
    for (Color* c : {&p.background, &p.grid, &p.title, &p.titleText, &p.text, &p.dim, &p.key, &p.keyEdge, &p.marker,
                     &p.trace[0], &p.trace[1], &p.trace[2], &p.trace[3], &p.limit})
        *c = c->toGrey();
    return p;
}

struct Box {
    int left, top, right, bottom;
    int width() const { return right - left; }
    int height() const { return bottom - top; }
};

void fill(Painter& p, Box b, Color c) {
    p.setPen(c, 0);
    p.setBrush(c);
    p.rectangle(b.left, b.top, b.right + 1, b.bottom + 1);
}

void frame(Painter& p, Box b, Color fillColor, Color edge) {
    p.setPen(edge, 1);
    p.setBrush(fillColor);
    p.rectangle(b.left, b.top, b.right, b.bottom);
}

void lines(Painter& p, const std::vector<Point>& pts, Color c, int width) {
    p.setPen(c, width);
    p.polyline(pts);
}

std::string fmt(const char* f, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, f, v);
    return buf;
}

// A curve over the graticule: value(x in 0..1) in divisions from the top.
template <class F>
std::vector<Point> curve(Box g, F divisionsFromTop, int divisions = 8) {
    std::vector<Point> pts;
    const int n = std::max(2, g.width());
    pts.reserve(size_t(n) + 1);
    for (int i = 0; i <= n; ++i) {
        double x = double(i) / n;
        double d = std::clamp(divisionsFromTop(x), 0.0, double(divisions));
        pts.push_back({g.left + i * g.width() / n, g.top + int(std::lround(d * g.height() / divisions))});
    }
    return pts;
}

struct Layout {
    int u;  // text scale
    Box title, readouts, graph, bottom, keys;
};

Layout layoutFor(const Profile& prof, int w, int h) {
    Layout l;
    l.u = std::max(1, h / 240);
    const int u = l.u, line = imaging::textHeight(u) + 2 * u;
    const bool keys = w >= 300;
    const int keyWidth = keys ? std::max(w / 7, imaging::textWidth("SOFTKEY 1", u) + 4 * u) : 0;
    l.title = {0, 0, w - 1, line};
    l.keys = {w - keyWidth, line + 1, w - 1, h - 1};
    l.readouts = {2 * u, line + u, w - keyWidth - 2 * u, 2 * line + u};
    const int labelWidth = imaging::textWidth("-100", u) + 4 * u;
    l.bottom = {labelWidth, h - 2 * line, w - keyWidth - 4 * u, h - 1};
    l.graph = {labelWidth, 2 * line + 3 * u, w - keyWidth - 4 * u, h - 2 * line - 2 * u};
    return l;
}

void graticule(Painter& p, Box g, const Palette& c, int vertical = 10, int horizontal = 8) {
    fill(p, g, c.background);
    for (int i = 1; i < vertical; ++i) {
        int x = g.left + i * g.width() / vertical;
        lines(p, {{x, g.top}, {x, g.bottom}}, c.grid, 1);
    }
    for (int i = 1; i < horizontal; ++i) {
        int y = g.top + i * g.height() / horizontal;
        lines(p, {{g.left, y}, {g.right, y}}, c.grid, 1);
    }
    p.setPen(c.dim, 1);
    p.setHollowBrush();
    p.rectangle(g.left, g.top, g.right + 1, g.bottom + 1);
}

void yLabels(Painter& p, const Layout& l, const Palette& c, double top, double step) {
    for (int i = 0; i <= 8; i += 2) {
        int y = l.graph.top + i * l.graph.height() / 8 - imaging::textHeight(l.u) / 2;
        std::string s = fmt("%.0f", top - step * i);
        p.text(l.graph.left - imaging::textWidth(s, l.u) - 2 * l.u, std::max(y, l.graph.top), s, c.dim, l.u);
    }
}

void markerAt(Painter& p, Point at, const Palette& c, int u) {
    int s = 3 * u;
    lines(p, {{at.x - s, at.y - 2 * s}, {at.x + s, at.y - 2 * s}, {at.x, at.y - s / 2}, {at.x - s, at.y - 2 * s}},
          c.marker, 1);
    p.text(at.x + s, at.y - 4 * s, "M1", c.marker, u);
}

// Level of a spectrum analyzer's trace in dBm at x of the span.
double spectrumLevel(int trace, double x, int points) {
    return traceValue(trace, uint32_t(std::lround(x * (points - 1))), uint32_t(points));
}

struct Labels {
    std::string readouts, left, right, marker;
    std::vector<const char*> keys;
};

Labels paintMeasurement(Painter& p, const Layout& l, const Palette& c, Kind kind, const ScreenSettings& s) {
    const Box g = l.graph;
    Labels out;
    switch (kind) {
    case Kind::Spectrum:
    case Kind::Receiver:
    case Kind::Radio: {
        const bool radio = kind == Kind::Radio;
        const double ref = radio ? 0.0 : -20.0;
        graticule(p, g, c);
        yLabels(p, l, c, ref, 10);
        const int n = std::max(2, g.width());
        auto level = [&](int trace, double x) {
            if (!radio) return spectrumLevel(trace, x, n);
            // A modulated carrier in the middle of a narrow span.
            double d = (x - 0.5) / 0.035, noise = spectrumLevel(trace, x, n) + 5;
            return std::max(noise, -12.0 - 6.0 * d * d / (1 + 0.05 * d * d * d * d));
        };
        auto toDiv = [&](double dbm) { return (ref - dbm) / 10.0; };
        if (kind == Kind::Receiver) {
            // Limit line: steps of a radiated emission class.
            lines(p, curve(g, [&](double x) { return toDiv(x < 0.3 ? -40 : x < 0.7 ? -47 : -43); }), c.limit, 1);
        }
        lines(p, curve(g, [&](double x) { return toDiv(level(2, x)); }), c.trace[1], 1);
        lines(p, curve(g, [&](double x) { return toDiv(level(1, x)); }), c.trace[0], std::max(1, l.u / 2));
        // Marker on the highest point of trace 1.
        int best = 0;
        double bestLevel = -1e9;
        for (int i = 0; i <= n; ++i)
            if (double v = level(1, double(i) / n); v > bestLevel) bestLevel = v, best = i;
        double bx = double(best) / n;
        markerAt(p, {g.left + best * g.width() / n, g.top + int(toDiv(bestLevel) * g.height() / 8)}, c, l.u);
        if (radio) {
            out.readouts = "RF 900.000 MHZ  REF " + fmt("%.1f", ref) + " DBM  RBW 3 KHZ  " + s.mode;
            out.left = "CENTER 900 MHZ";
            out.right = "SPAN 200 KHZ";
            out.marker = "M1 " + fmt("%.3f", 899.9 + 0.2 * bx) + " MHZ  " + fmt("%.1f", bestLevel) + " DBM";
            out.keys = {"RF ANALYZ", "GENERATOR", "MODULAT", "AUDIO", "SPECTRUM", "POWER", "MENU"};
        } else {
            out.readouts = "REF -20.0 DBM  ATT 10 DB  RBW 100 KHZ  VBW 300 KHZ  SWT 20 MS  " + s.mode;
            out.left = "START 0 HZ";
            out.right = "STOP 3 GHZ";
            out.marker = "M1 " + fmt("%.1f", 3000 * bx) + " MHZ  " + fmt("%.1f", bestLevel) + " DBM";
            out.keys = kind == Kind::Receiver
                           ? std::vector<const char*>{"FREQ", "SPAN", "DETECTOR", "LIMITS", "SCAN", "FINAL", "MARKER"}
                           : std::vector<const char*>{"FREQ", "SPAN", "AMPT", "BW", "TRACE", "MARKER", "PEAK"};
        }
        break;
    }
    case Kind::Network: {
        graticule(p, g, c);
        yLabels(p, l, c, 10, 10);
        auto s21 = [](double x) {
            double d = (x - 0.5) / 0.16;
            return -1.5 - 60 * (1 - std::exp(-d * d * d * d)) + 0.4 * std::sin(60 * x);
        };
        auto s11 = [](double x) {
            double d = (x - 0.5) / 0.13;
            return -0.5 - 24 * std::exp(-d * d) * (0.8 + 0.2 * std::cos(40 * x));
        };
        lines(p, curve(g, [&](double x) { return (10 - s11(x)) / 10; }), c.trace[1], std::max(1, l.u / 2));
        lines(p, curve(g, [&](double x) { return (10 - s21(x)) / 10; }), c.trace[0], std::max(1, l.u / 2));
        markerAt(p, {g.left + g.width() / 2, g.top + int((10 - s21(0.5)) / 10 * g.height() / 8)}, c, l.u);
        out.readouts = "CH1 S21 DB MAG 10 DB/  REF 10 DB    CH2 S11 DB MAG";
        out.left = "START 1.800 GHZ";
        out.right = "STOP 2.200 GHZ";
        out.marker = "M1 2.000 GHZ  S21 " + fmt("%.2f", s21(0.5)) + " DB";
        out.keys = {"START", "STOP", "MEAS", "FORMAT", "SCALE", "CAL", "MARKER"};
        break;
    }
    case Kind::Generator: {
        // Frequency and level in large digits above a small level graph.
        const std::string freq = "FREQ 1.000 000 000 GHZ";
        const int big = imaging::textWidth(freq, 2 * l.u) <= g.width() ? 2 * l.u : l.u;
        p.text(g.left, g.top, freq, c.trace[0], big);
        p.text(g.left, g.top + imaging::textHeight(big), "LEVEL -30.00 DBM", c.trace[1], big);
        Box small{g.left, g.top + 2 * imaging::textHeight(big) + l.u, g.right, g.bottom};
        if (small.height() > 8 * l.u) {
            graticule(p, small, c, 10, 4);
            lines(p, curve(small, [](double x) {
                      return 2 - 1.6 * (0.6 + 0.4 * std::sin(2 * M_PI * 2 * x)) * std::sin(2 * M_PI * 24 * x);
                  }, 4),
                  c.trace[0], 1);
        }
        out.readouts = "RF ON  MOD ON  AM 40 PCT  INT 2 KHZ";
        out.left = "AM";
        out.right = "REMOTE";
        out.marker = "ALC ON  REF INT";
        out.keys = {"FREQ", "LEVEL", "MOD", "SWEEP", "LIST", "UTIL", "SETUP"};
        break;
    }
    case Kind::Scope: {
        graticule(p, g, c);
        const int cx = (g.left + g.right) / 2, cy = (g.top + g.bottom) / 2;
        lines(p, {{cx, g.top}, {cx, g.bottom}}, c.dim, 1);
        lines(p, {{g.left, cy}, {g.right, cy}}, c.dim, 1);
        lines(p, curve(g, [](double x) { return 2 - 1.2 * std::sin(2 * M_PI * 3 * x); }), c.trace[0], 1);
        lines(p, curve(g, [](double x) { return std::fmod(x * 6, 1.0) < 0.5 ? 3.4 : 4.6; }), c.trace[1], 1);
        lines(p, curve(g, [](double x) {
                  double t = std::fmod(x * 4, 1.0);
                  return 5.5 + (t < 0.5 ? 2 * t : 2 - 2 * t) * 1.2 - 0.6;
              }),
              c.trace[2], 1);
        lines(p, curve(g, [](double x) { return 7 - std::exp(-3 * x) * std::sin(2 * M_PI * 8 * x); }), c.trace[3], 1);
        out.readouts = "CH1 500 MV/  CH2 1 V/  CH3 200 MV/  CH4 2 V/  200 US/  TRIG CH1 RISE 0.00 V";
        out.left = "ACQ 10 GSA/S";
        out.right = "RUN";
        out.marker = "FREQ(C1) 15.00 KHZ  AMPL(C1) 1.20 V  RISE(C2) 12.4 NS";
        out.keys = {"CH1", "CH2", "CH3", "CH4", "MATH", "MEAS", "CURSOR"};
        break;
    }
    case Kind::Audio: {
        graticule(p, g, c);
        yLabels(p, l, c, 10, 10);
        // Frequency response on a log axis, 20 Hz to 20 kHz, and THD+N.
        auto response = [](double x) {
            double f = 20 * std::pow(1000.0, x);
            return -10 * std::log10(1 + std::pow(15.0 / f, 4)) - 10 * std::log10(1 + std::pow(f / 18000, 6));
        };
        auto thd = [](double x) { return -88 + 6 * x * x + 2 * std::sin(9 * x); };
        lines(p, curve(g, [&](double x) { return (10 - response(x)) / 10; }), c.trace[0], std::max(1, l.u / 2));
        // THD+N on its own scale: -60 dB at the middle line, 10 dB a division.
        lines(p, curve(g, [&](double x) { return 4 + (-60 - thd(x)) / 10; }), c.trace[1], 1);
        out.readouts = "GEN 1.000 V  FUNC SINE  LEVEL 0.998 V  THD+N -92.4 DB";
        out.left = "20 HZ  THD+N -60 DB AT MID";
        out.right = "20 KHZ";
        out.marker = "FREQ 1.000 00 KHZ  PHASE 0.02 DEG";
        out.keys = {"GEN", "ANALYZER", "FILTER", "SWEEP", "DISPLAY", "FILE", "HELP"};
        break;
    }
    case Kind::Power: {
        const int big = std::max(2, l.u * 3);
        p.text(g.left, g.top, "-12.34 DBM", c.trace[0], big);
        Box bar{g.left, g.top + imaging::textHeight(big) + l.u, g.right, g.top + imaging::textHeight(big) + 5 * l.u};
        frame(p, bar, c.background, c.dim);
        fill(p, {bar.left + 1, bar.top + 1, bar.left + bar.width() * 62 / 100, bar.bottom - 1}, c.trace[1]);
        Box trend{g.left, bar.bottom + 2 * l.u, g.right, g.bottom};
        if (trend.height() > 8 * l.u) {
            graticule(p, trend, c, 10, 4);
            lines(p, curve(trend, [&](double x) { return 2 + 0.2 * std::sin(37 * x) * std::cos(11 * x); }, 4),
                  c.trace[0], 1);
        }
        out.readouts = "CH A  FREQ 1.000 GHZ  AVG 16  OFFSET 0.00 DB";
        out.left = "-20 DBM";
        out.right = "0 DBM";
        out.marker = "MIN -12.41 DBM  MAX -12.27 DBM";
        out.keys = {"FREQ", "ZERO", "AVERAGE", "OFFSET", "REL", "LIMITS", "SETUP"};
        break;
    }
    }
    return out;
}

}  // namespace

void paintScreen(Painter& p, const Profile& prof, const ScreenSettings& s) {
    const Palette c = paletteFor(s.color);
    const Layout l = layoutFor(prof, p.width(), p.height());
    const int u = l.u;
    p.background(c.background);
    fill(p, l.title, c.title);
    // "Tesselhorn,TKD-7,..." names the model second.
    std::string model = prof.identity;
    if (size_t a = model.find(','); a != std::string::npos) model = model.substr(a + 1);
    if (size_t b = model.find(','); b != std::string::npos) model = model.substr(0, b);
    p.text(2 * u, u, "TESSELHORN " + upperText(model) + "  " + upperText(prof.kind), c.titleText, u);
    Labels labels;
    const Kind kind = kindOf(prof);
    if (s.displayUpdate) {
        labels = paintMeasurement(p, l, c, kind, s);
    } else {
        // What an instrument in remote shows with its display switched off.
        fill(p, l.graph, c.background);
        const std::string note = "DISPLAY UPDATE OFF";
        p.text((l.graph.left + l.graph.right - imaging::textWidth(note, u)) / 2,
               (l.graph.top + l.graph.bottom) / 2, note, c.text, u);
    }
    p.text(l.readouts.left, l.readouts.top, labels.readouts.substr(0, size_t(std::max(0, l.readouts.width() / (6 * u)))),
           c.text, u);
    p.text(l.bottom.left, l.bottom.top, labels.left, c.dim, u);
    p.text(l.bottom.right - imaging::textWidth(labels.right, u), l.bottom.top, labels.right, c.dim, u);
    std::string status = labels.marker + (s.screenCopyMark ? "   SCREEN COPY" : "");
    p.text(l.bottom.left, l.bottom.top + imaging::textHeight(u) + u, status, c.marker, u);
    if (l.keys.width() > 0 && !labels.keys.empty()) {
        const int n = int(labels.keys.size());
        const int keyHeight = l.keys.height() / n;
        for (int i = 0; i < n; ++i) {
            Box k{l.keys.left + u, l.keys.top + i * keyHeight + u, l.keys.right - u, l.keys.top + (i + 1) * keyHeight - u};
            frame(p, k, c.key, c.keyEdge);
            const std::string label = labels.keys[size_t(i)];
            p.text(k.left + 2 * u, (k.top + k.bottom - imaging::textHeight(u)) / 2, label, c.text, u);
        }
    }
}

bool knownHardcopyLanguage(std::string_view w, std::string& canonical) {
    for (const char* l : {"WMF", "EMF", "BMP", "PNG", "JPG", "PCX"})
        if (w == l) {
            canonical = l;
            return true;
        }
    if (w == "JPEG") {
        canonical = "JPG";
        return true;
    }
    return false;
}

bool renderBmp(const Profile& prof, const ScreenSettings& s, int bitsPerPixel, std::vector<uint8_t>& out) {
    imaging::Raster r;
    if (!r.reset(prof.screenWidth, prof.screenHeight)) return false;
    imaging::RasterPainter painter(r);
    paintScreen(painter, prof, s);
    return imaging::writeBmp(r, out, bitsPerPixel) || (bitsPerPixel < 24 && imaging::writeBmp(r, out, 24));
}

bool renderHardcopy(const Profile& prof, const ScreenSettings& s, std::string_view language,
                    std::vector<uint8_t>& out) {
    out.clear();
    if (language == "WMF") {
        imaging::WmfWriter w(prof.screenWidth, prof.screenHeight);
        paintScreen(w, prof, s);
        out = w.finish();
        return true;
    }
    if (language == "EMF") {
        imaging::EmfWriter w(prof.screenWidth, prof.screenHeight);
        paintScreen(w, prof, s);
        out = w.finish();
        return true;
    }
    if (language == "BMP") return renderBmp(prof, s, 8, out);
    imaging::Raster r;
    if (!r.reset(prof.screenWidth, prof.screenHeight)) return false;
    imaging::RasterPainter painter(r);
    paintScreen(painter, prof, s);
    if (language == "PNG") return imaging::writePng(r, out);
    if (language == "JPG") return imaging::writeJpeg(r, out);
    if (language == "PCX") return imaging::writePcx(r, out);
    return false;
}

}  // namespace qv::sim
