#include "automation/script.h"

#include "app/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace qv::automation {

namespace {

constexpr std::string_view kCrLfView = "\r\n";
constexpr size_t kMaxSubstitutedLine = size_t(1) << 20;

const char* const kParmTypes[] = {"INT", "STRING", "FLOAT", "FILE"};

// A whole decimal number: optional sign, digits with an optional point and
// decimals, an optional exponent; nothing else but surrounding blanks.
bool wholeNumber(std::string_view text, double& value) {
    const std::string t = app::TrimBlanks(text);
    std::string_view v = t;
    // from_chars takes "-" but not "+".
    const bool plus = !v.empty() && v.front() == '+';
    if (plus) v.remove_prefix(1);
    if (v.empty() || (plus && (v.front() == '+' || v.front() == '-'))) return false;
    const char* end = v.data() + v.size();
    auto [ptr, ec] = std::from_chars(v.data(), end, value, std::chars_format::general);
    return ec == std::errc() && ptr == end && std::isfinite(value);
}

}  // namespace

std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string_view> views = app::SplitLineViews(text);
    // A final line end starts no line of its own.
    if (views.back().empty()) views.pop_back();
    return {views.begin(), views.end()};
}

ScriptLine PrepareLine(std::string_view raw) {
    ScriptLine out;
    std::string line = app::TrimBlanks(raw);
    if (size_t cut = line.find("--"); cut != std::string::npos) line.resize(cut);
    std::string spaced;
    spaced.reserve(line.size());
    for (char c : line) {
        if (c == '\t')
            spaced += "    ";
        else
            spaced += c;
    }
    line = app::TrimBlanks(spaced);
    if (line.empty()) return out;
    out.empty = false;
    const size_t colon = line.find(':');
    if (colon == std::string::npos) return out;
    out.hasColon = true;
    out.keyword = app::TrimBlanks(std::string_view(line).substr(0, colon));
    std::transform(out.keyword.begin(), out.keyword.end(), out.keyword.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    out.value = app::TrimBlanks(std::string_view(line).substr(colon + 1));
    return out;
}

ScriptParm ParseParm(std::string_view declaration, const std::string& saveFolder) {
    ScriptParm p;
    p.type = "STRING";
    std::string_view rest = declaration;
    if (size_t colon = declaration.find(':'); colon != std::string_view::npos) {
        const std::string head = app::TrimBlanks(declaration.substr(0, colon));
        for (const char* t : kParmTypes) {
            if (head == t) {
                p.type = t;
                rest = declaration.substr(colon + 1);
                break;
            }
        }
    }
    const size_t eq = rest.find('=');
    p.name = app::TrimBlanks(rest.substr(0, eq));
    if (eq != std::string_view::npos) p.value = app::TrimBlanks(rest.substr(eq + 1));
    // A bare file name lands in the user's save folder.
    if (p.type == "FILE" && !p.value.empty() && p.value.find_first_of("/\\") == std::string::npos)
        p.value = saveFolder + "/" + p.value;
    return p;
}

ScriptEntry IntroEntry() {
    ScriptEntry e;
    e.Name = " ";
    e.Desc =
        "This is the Quilvane Script Interface\r\n\r\nIt allows you to run "
        "predefined scripts in your Quilvane.";
    return e;
}

void ReadScriptHeader(std::string_view text, ScriptEntry& e) {
    for (const std::string& raw : SplitLines(text)) {
        ScriptLine l = PrepareLine(raw);
        if (l.empty || !l.hasColon) continue;
        if (l.keyword == "name") {
            e.Name = l.value;
        } else if (l.keyword == "desc") {
            e.Desc += l.value;
            e.Desc += kCrLfView;
        } else if (l.keyword == "parm") {
            e.Parm += l.value;
            e.Parm += kCrLfView;
        } else if (l.keyword == "instr") {
            for (char c : l.value)
                if (c != ' ') e.Instr += c;
            e.Instr += ',';
        }
    }
}

std::string SelectionText(const ScriptEntry& e, bool intro) {
    if (intro) return e.Name;
    std::string_view tags = e.Instr;
    if (!tags.empty() && tags.back() == ',') tags.remove_suffix(1);
    return e.Name + " (" + std::string(tags) + ")";
}

int RecentIndex(const std::vector<ScriptEntry>& entries, const std::string& recent) {
    if (recent.empty()) return 0;
    for (size_t i = 0; i < entries.size(); ++i)
        if (entries[i].Name == recent) return int(i);
    return 0;
}

std::vector<ScriptParm> ScriptParms(const ScriptEntry& e, const std::string& saveFolder) {
    std::vector<ScriptParm> rows;
    std::string_view rest = e.Parm;
    while (!rest.empty()) {
        const size_t end = rest.find(kCrLfView);
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
        // A blank "parm:" line declares nothing.
        if (!line.empty()) rows.push_back(ParseParm(line, saveFolder));
    }
    return rows;
}

bool CheckParmValue(const std::string& type, const std::string& text, std::string& message) {
    message.clear();
    double v = 0;
    if (type == "INT") {
        // The text itself is substituted, so "1.5" must not pass as 2.
        if (!wholeNumber(text, v) || v != std::trunc(v) || v < -32768 || v > 32767)
            message = "Value must be an integer!";
    } else if (type == "FLOAT") {
        if (!wholeNumber(text, v)) message = "Value must be an float!";
    }
    return message.empty();
}

std::string Substitute(const std::string& line, const std::vector<ScriptParm>& parms) {
    if (line.find('%') == std::string::npos) return line;
    std::string out = line;
    std::string next;
    for (const ScriptParm& p : parms) {
        const std::string key = "%" + p.name + "%";
        size_t at = out.find(key);
        if (at == std::string::npos) continue;
        // One pass per parameter; the inserted values are not searched again,
        // so that a value holding its own key ends.
        next.clear();
        size_t from = 0;
        for (; at != std::string::npos; at = out.find(key, from)) {
            // Values that hold other parameters' keys could double the line with
            // every parameter; no command is this long.
            if (next.size() + (at - from) + p.value.size() + (out.size() - at - key.size()) > kMaxSubstitutedLine)
                break;
            next.append(out, from, at - from);
            next += p.value;
            from = at + key.size();
        }
        next.append(out, from, std::string::npos);
        out.swap(next);
    }
    return out;
}

}  // namespace qv::automation
