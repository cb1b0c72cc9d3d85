// Transducer files come from anywhere: any bytes under any rules must give a
// table within the instrument's limit, of rows that read back as numbers,
// sorted, with the lost rows counted.
#include "app/numeric.h"
#include "tables/transducer_import.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace qv::tables;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The first eight bytes choose the rules, the rest is the file.
    if (size < 8) return 0;
    ImportRules rules;
    rules.colSep = int16_t(data[0]);
    rules.xCol = int16_t(data[1] % 11) - 2;  // -2 .. 8
    rules.yCol = int16_t(data[2] % 11) - 2;
    rules.startRow = int32_t(data[3] % 20) - 2;
    rules.reduceMethod = int16_t(data[4] % 4);
    const int max = 1 + (int(data[5]) << 8 | data[6]) % 700;
    rules.negate = data[7] & 1;
    if (data[7] & 2) rules.refLevel = "1,5";
    const std::string_view file(reinterpret_cast<const char*>(data) + 8, size - 8);

    const ImportResult r = ImportTransducer(file, rules, max);
    if (r.count < 0 || r.failures < 0 || r.max != max) abort();
    if (r.reduced != (r.count > max)) abort();
    const size_t limit = size_t(r.reduced ? max : r.count);
    if (r.rows.size() + size_t(r.failures) > limit) abort();
    for (size_t i = 0; i < r.rows.size(); ++i) {
        const UCorRow& row = r.rows[i];
        if (row.freq.empty() || row.level.empty() || row.freq[0] == ' ' || row.level[0] == ' ') abort();
        double f = 0, l = 0;
        if (!qv::app::LeadingNumber(row.freq, f) || f == 0 || !std::isfinite(f)) abort();
        if (!qv::app::LeadingNumber(row.level, l) || !std::isfinite(l)) abort();
    }
    // The table is in text order already: sorting it again changes nothing.
    UCorTable sorted = r.rows;
    SortUCor(sorted);
    for (size_t i = 0; i < sorted.size(); ++i)
        if (sorted[i].freq != r.rows[i].freq || sorted[i].level != r.rows[i].level) abort();
    return 0;
}
