// Script files come from users and from other computers: any bytes must give
// a header and parameters that keep within them, and substitution must end.
#include "automation/script.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace qv::automation;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ScriptEntry e;
    ReadScriptHeader(text, e);
    // Each header field is made of the file's bytes (a tab grows to four
    // blanks) plus CR LF or a comma per line.
    const size_t lines = SplitLines(text).size();
    const size_t grown = 4 * size;
    if (e.Name.size() > grown || e.Desc.size() > grown + 2 * lines || e.Parm.size() > grown + 2 * lines ||
        e.Instr.size() > size + lines)
        abort();
    if (e.Instr.find(' ') != std::string::npos) abort();
    std::vector<ScriptParm> parms = ScriptParms(e, "/save");
    for (const ScriptParm& p : parms) {
        if (p.type != "INT" && p.type != "STRING" && p.type != "FLOAT" && p.type != "FILE") abort();
        if (p.name.size() > grown || p.value.size() > grown + 6) abort();
        std::string why;
        CheckParmValue(p.type, p.value, why);
    }
    for (const std::string& raw : SplitLines(text)) {
        const ScriptLine l = PrepareLine(raw);
        if (l.empty && (l.hasColon || !l.keyword.empty() || !l.value.empty())) abort();
        if (l.value.find("--") != std::string::npos) abort();
        if (l.keyword.size() + l.value.size() > raw.size() * 4) abort();
        // Values holding other keys must not make a line grow without end.
        const std::string out = Substitute(l.value, parms);
        if (out.size() > std::max<size_t>(l.value.size(), 1 << 20)) abort();
    }
    return 0;
}
