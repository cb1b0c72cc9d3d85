#include "resource.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace qv::visa {

namespace {

constexpr size_t kMaxResourceLength = 256;

bool iequals(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

bool istartsWith(std::string_view s, std::string_view prefix) {
    return s.size() >= prefix.size() && iequals(s.substr(0, prefix.size()), prefix);
}

// Splits at "::", keeping IPv6 literals in brackets whole.
bool splitFields(std::string_view s, std::vector<std::string_view>& out) {
    size_t start = 0, i = 0;
    int bracket = 0;
    while (i < s.size()) {
        if (s[i] == '[') ++bracket;
        else if (s[i] == ']') --bracket;
        if (bracket < 0 || bracket > 1) return false;
        if (bracket == 0 && s[i] == ':' && i + 1 < s.size() && s[i + 1] == ':') {
            out.push_back(s.substr(start, i - start));
            i += 2;
            start = i;
            continue;
        }
        ++i;
    }
    if (bracket != 0) return false;
    out.push_back(s.substr(start));
    return true;
}

bool parseUnsigned(std::string_view s, unsigned long max, unsigned long& value) {
    if (s.empty() || s.size() > 10) return false;
    unsigned long v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + unsigned(c - '0');
    }
    if (v > max) return false;
    value = v;
    return true;
}

// "TCPIP", "TCPIP0", "GPIB12": the interface word and its board number.
bool parseInterface(std::string_view field, std::string_view word, unsigned& board) {
    if (!istartsWith(field, word)) return false;
    std::string_view num = field.substr(word.size());
    if (num.empty()) {
        board = 0;
        return true;
    }
    unsigned long v = 0;
    if (!parseUnsigned(num, 65535, v)) return false;
    board = unsigned(v);
    return true;
}

bool validHost(std::string_view h) {
    if (h.empty() || h.size() > 253) return false;
    for (char c : h) {
        unsigned char u = static_cast<unsigned char>(c);
        if (!(std::isalnum(u) || c == '.' || c == '-' || c == '_' || c == ':' || c == '%')) return false;
    }
    return true;
}

bool validToken(std::string_view t) {
    if (t.empty() || t.size() > 64) return false;
    for (char c : t) {
        unsigned char u = static_cast<unsigned char>(c);
        if (!(std::isalnum(u) || c == ',' || c == '_' || c == '.' || c == '-')) return false;
    }
    return true;
}

bool parseTcpip(const std::vector<std::string_view>& f, Resource& out) {
    // f[0] is "TCPIP[n]"; the class is the last field when it is one.
    std::vector<std::string_view> rest(f.begin() + 1, f.end());
    std::string_view cls = "INSTR";
    if (!rest.empty() && (iequals(rest.back(), "INSTR") || iequals(rest.back(), "SOCKET"))) {
        cls = rest.back();
        rest.pop_back();
    }
    if (rest.empty() || rest.size() > 2) return false;
    std::string_view host = rest[0];
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (!validHost(host)) return false;
    out.host = std::string(host);
    std::string hostText = host.find(':') != std::string_view::npos ? "[" + out.host + "]" : out.host;
    std::string prefix = "TCPIP" + std::to_string(out.board) + "::" + hostText + "::";
    if (iequals(cls, "SOCKET")) {
        unsigned long port = 0;
        if (rest.size() != 2 || !parseUnsigned(rest[1], 65535, port) || port == 0) return false;
        out.kind = ResourceKind::TcpipSocket;
        out.port = uint16_t(port);
        out.canonical = prefix + std::to_string(port) + "::SOCKET";
        return true;
    }
    std::string device = rest.size() == 2 ? std::string(rest[1]) : "inst0";
    if (!validToken(device)) return false;
    out.lanDevice = device;
    out.canonical = prefix + device + "::INSTR";
    if (istartsWith(device, "hislip")) {
        out.kind = ResourceKind::Foreign;
        out.why = "HiSLIP";
    } else {
        out.kind = ResourceKind::TcpipInstr;
    }
    return true;
}

bool parseAsrl(const std::vector<std::string_view>& f, Resource& out) {
    std::string_view first = f[0];
    if (f.size() > 2 || (f.size() == 2 && !iequals(f[1], "INSTR"))) return false;
    std::string_view tail = first.substr(4);
    if (!tail.empty() && tail[0] == '/') {
        // ASRL/dev/ttyUSB0: a device path; only /dev is accepted.
        if (tail.size() > 128 || !istartsWith(tail, "/dev/") || tail.find("..") != std::string_view::npos) return false;
        for (char c : tail)
            if (std::isspace(static_cast<unsigned char>(c)) || c == '\0') return false;
        out.device = std::string(tail);
        out.board = 0;
        out.canonical = "ASRL" + out.device + "::INSTR";
    } else {
        if (!parseInterface(first, "ASRL", out.board) || out.board == 0) return false;
        out.device = serialPathForBoard(out.board);
        out.canonical = "ASRL" + std::to_string(out.board) + "::INSTR";
        if (out.device.empty()) {
            // A board we have no line for may still be the vendor's.
            out.kind = ResourceKind::Foreign;
            out.why = "serial board " + std::to_string(out.board);
            return true;
        }
    }
    out.kind = ResourceKind::Asrl;
    return true;
}

// GPIB, USB and the like: checked for shape only, served by a vendor library.
bool parseForeign(const std::vector<std::string_view>& f, Resource& out) {
    static const char* const kWords[] = {"GPIB-VXI", "GPIB", "USB", "VXI", "PXI"};
    for (const char* w : kWords) {
        if (!parseInterface(f[0], w, out.board)) continue;
        for (size_t i = 1; i < f.size(); ++i)
            if (!validToken(f[i]) && !iequals(f[i], "INSTR")) return false;
        out.kind = ResourceKind::Foreign;
        out.why = w;
        std::string c;
        for (size_t i = 0; i < f.size(); ++i) c += (i ? "::" : "") + std::string(f[i]);
        out.canonical = c;
        return f.size() >= 2;
    }
    return false;
}

}  // namespace

std::string serialPathForBoard(unsigned board) {
    return board == 0 ? std::string() : "/dev/ttyS" + std::to_string(board - 1);
}

bool parseResource(std::string_view text, Resource& out) {
    out = Resource{};
    if (text.empty() || text.size() > kMaxResourceLength) return false;
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return false;
    std::string_view trimmed = text;
    while (!trimmed.empty() && trimmed.front() == ' ') trimmed.remove_prefix(1);
    while (!trimmed.empty() && trimmed.back() == ' ') trimmed.remove_suffix(1);
    if (trimmed.empty()) return false;

    if (istartsWith(trimmed, "visa://")) {
        std::string_view rest = trimmed.substr(7);
        size_t slash = rest.find('/');
        if (slash == 0 || slash == std::string_view::npos || slash + 1 >= rest.size()) return false;
        out.kind = ResourceKind::Foreign;
        out.why = "remote VISA server";
        out.canonical = std::string(trimmed);
        return true;
    }
    std::vector<std::string_view> f;
    if (!splitFields(trimmed, f)) return false;
    for (auto field : f)
        if (field.empty()) return false;
    if (istartsWith(f[0], "QVIB")) {
        if (f.size() < 2) return false;
        out.kind = ResourceKind::Foreign;
        out.why = "QVIB";
        out.canonical = std::string(trimmed);
        return true;
    }
    if (istartsWith(f[0], "TCPIP")) {
        if (!parseInterface(f[0], "TCPIP", out.board) || f.size() < 2) return false;
        return parseTcpip(f, out);
    }
    if (istartsWith(f[0], "ASRL")) return parseAsrl(f, out);
    return parseForeign(f, out);
}

}  // namespace qv::visa
