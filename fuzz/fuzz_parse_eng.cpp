// Numbers typed by users and read from instruments: any text must parse
// without harm, and what we print must read back as the same number.
#include "app/numeric.h"
#include "app/text.h"

#include <cmath>
#include <cstdint>
#include <string>

using namespace qv::app;

namespace {
void check(bool ok) {
    if (!ok) __builtin_trap();
}
bool near(double a, double b, double relative) {
    return std::fabs(a - b) <= relative * std::max(std::fabs(a), std::fabs(b));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) return 0;
    std::string text(reinterpret_cast<const char*>(data), size);

    std::string prefix;
    double parsed = ParseEng(text, prefix);
    check(prefix.empty() || prefix == "k" || prefix == "M" || prefix == "G" || prefix == "m" || prefix == "µ" ||
          prefix == "n" || prefix == "p" || prefix == "f");
    check(!std::isnan(parsed));

    const bool numeric = IsNumericText(text);
    const ValueType types[] = {ValueType::Byte, ValueType::Int16, ValueType::Int32, ValueType::Single,
                               ValueType::Double};
    for (ValueType t : types) {
        Value v = ConvertText(text, t);
        check(v.isMissing() || (numeric && v.type() == t));
    }
    ReadDecimal(text);
    TrimLineEnds(text);
    TrimControls(text);
    SplitClean(text, ",");
    PadText(text, static_cast<int>(size % 64), static_cast<int>(size % 4), text.substr(0, 2));

    // The text as a format, applied to a number taken from the text.
    double number = LeadingNumber(text);
    std::string formatted = FormatNumber(number, text);
    FormatEng(text, text, "V", (size & 1) != 0);

    if (numeric) {
        double v = NumericValue(text);
        if (std::isfinite(v)) {
            // TrimmedText keeps 15 significant digits and reads back.
            std::string t = TrimmedText(v);
            check(IsNumericText(t));
            check(v == 0 ? LeadingNumber(t) == 0 : near(LeadingNumber(t), v, 1e-14));
            // Engineering form reads back within its three decimals.
            double a = std::fabs(v);
            if (a >= 1e-15 && a < 1e12) {
                std::string eng = FormatEng(v, "0.000", "", true);
                std::string back;
                check(near(ParseEng(eng, back), v, 1e-3));
            }
        }
    }
    return 0;
}
