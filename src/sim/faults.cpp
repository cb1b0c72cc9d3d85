#include "faults.h"

#include <charconv>

#include "scpi_parser.h"

namespace qv::sim {

namespace {
bool parseInt(std::string_view s, int64_t& v, int64_t min, int64_t max) {
    if (s.empty()) return false;
    auto r = std::from_chars(s.data(), s.data() + s.size(), v);
    return r.ec == std::errc() && r.ptr == s.data() + s.size() && v >= min && v <= max;
}
}  // namespace

bool Fault::appliesTo(const HeaderMatch& m, bool isQuery) const {
    if (!restricted) return true;
    if (m.command != command || isQuery != query) return false;
    for (size_t i = 0; i < suffixGiven.size() && i < m.suffixes.size(); ++i)
        if (suffixGiven[i] && suffixes[i] != m.suffixes[i]) return false;
    return true;
}

bool parseFault(std::string_view text, Fault& out, std::string& error) {
    out = Fault{};
    out.text = std::string(text);
    std::string_view body = text;
    std::string_view header;
    if (size_t at = text.find('@'); at != std::string_view::npos) {
        body = text.substr(0, at);
        header = text.substr(at + 1);
        if (header.empty()) {
            error = "fault '" + out.text + "': empty header after '@'";
            return false;
        }
    }
    std::string_view kind = body, value;
    bool hasValue = false;
    if (size_t eq = body.find('='); eq != std::string_view::npos) {
        kind = body.substr(0, eq);
        value = body.substr(eq + 1);
        hasValue = true;
    }
    auto need = [&](int64_t min, int64_t max, const char* what) {
        if (!hasValue || !parseInt(value, out.value, min, max)) {
            error = "fault '" + out.text + "': " + what;
            return false;
        }
        return true;
    };
    if (kind == "delay") {
        out.kind = Fault::Kind::Delay;
        if (!need(0, 600000, "delay=MS needs milliseconds 0..600000")) return false;
    } else if (kind == "drop") {
        out.kind = Fault::Kind::Drop;
        if (!need(0, int64_t(1) << 40, "drop=BYTES needs a byte count")) return false;
    } else if (kind == "error") {
        out.kind = Fault::Kind::Error;
        if (!need(-32768, 32767, "error=CODE needs an error number") ) return false;
        if (out.value == 0) {
            error = "fault '" + out.text + "': error=0 is no error";
            return false;
        }
    } else if (kind == "busy") {
        out.kind = Fault::Kind::Busy;
        if (!need(1, int64_t(1) << 62, "busy=N needs a count of *OPC? answers (1..2^62)")) return false;
        if (!header.empty()) {
            error = "fault '" + out.text + "': busy applies to *OPC? alone and takes no header";
            return false;
        }
    } else if (kind == "corrupt-block" || kind == "silent") {
        out.kind = kind == "silent" ? Fault::Kind::Silent : Fault::Kind::CorruptBlock;
        if (hasValue) {
            error = "fault '" + out.text + "': " + std::string(kind) + " takes no value";
            return false;
        }
    } else {
        error = "fault '" + out.text + "': unknown kind (delay=MS, drop=BYTES, corrupt-block, silent, error=CODE, busy=N)";
        return false;
    }
    if (!header.empty()) {
        ProgramMessage msg;
        msg.text = std::string(header);
        MessageParser parser(msg);
        ProgramUnit unit;
        int code = 0;
        ProgramUnit extra;
        if (parser.next(unit, code) != MessageParser::Result::Unit || !unit.params.empty() ||
            parser.next(extra, code) != MessageParser::Result::End) {
            error = "fault '" + out.text + "': bad header '" + std::string(header) + "'";
            return false;
        }
        HeaderMatch m;
        if (!commandTable().find(unit.header.common, unit.header.nodes, m, code)) {
            error = "fault '" + out.text + "': unknown header '" + std::string(header) + "'";
            return false;
        }
        out.restricted = true;
        out.command = m.command;
        out.query = unit.header.query;
        out.suffixes = std::move(m.suffixes);
        out.suffixGiven = std::move(m.suffixGiven);
    }
    return true;
}

}  // namespace qv::sim
