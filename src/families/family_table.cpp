// The instrument families, one row each, in the order of the master list.
// Adding a family: one row here, one row in data/VisaDevices.ini, one
// simulator profile, and a dialect file per subsystem where it differs.
#include "families/registry.h"

#include <map>

namespace qv::family {

namespace {

constexpr auto kGenerator = UCorGroup::Generator;
constexpr auto kAnalyzer = UCorGroup::Analyzer;

// Tag, kind, drives, start drive, separator, user correction group, pictures
// as files, relative file names; the dialect slots start empty.
std::vector<Family> table() {
    // clang-format off
    std::vector<Family> rows = {
        {"TKD",  "spectrum analyzer",                   {"A:", "C:", "D:"}, "D:", '\\', kAnalyzer, false},
        {"TKM",  "spectrum analyzer with demodulation", {"A:", "C:", "D:"}, "D:", '\\', kAnalyzer, false},
        {"TKB",  "spectrum analyzer",                   {"A:", "C:", "D:"}, "D:", '\\', kAnalyzer, false},
        {"TKW",  "signal and spectrum analyzer",        {"A:", "C:"},       "C:", '\\', kAnalyzer, false},
        {"TKN",  "spectrum analyzer",                   {"C:"},             "C:", '\\', kAnalyzer, false},
        {"TKAH", "spectrum analyzer",                   {"A:", "C:"},       "C:", '\\', kAnalyzer, false},
        {"TKA",  "spectrum analyzer",                   {},                 "",   '\\', kAnalyzer, false},
        {"TKR",  "spectrum analyzer",                   {"A:", "C:"},       "C:", '\\', kAnalyzer, false},
        {"TKG",  "handheld spectrum analyzer",          {"/"},              "/",  '\\', kAnalyzer, false},
        {"VHJO", "EMI test receiver",                   {"D:"},             "D:", '\\', kAnalyzer, false},
        {"VHK",  "EMI test receiver",                   {},                 "",   '\\', kAnalyzer, false},
        {"VHY",  "EMI test receiver",                   {"A:", "C:"},       "C:", '\\', kAnalyzer, false},
        {"KDC",  "vector network analyzer",             {"C:", "D:"},       "C:", '\\', kAnalyzer, false},
        {"KDE",  "vector network analyzer",             {},                 "",   '\\', kAnalyzer, false},
        {"KDP",  "vector network analyzer",             {"C:"},             "C:", '\\', kAnalyzer, false},
        {"KDH",  "vector network analyzer",             {},                 "",   '\\', kAnalyzer, false},
        {"KDM",  "vector network analyzer, older",      {"A:", "C:"},       "C:", '\\', kAnalyzer, false},
        {"GLEF", "vector signal generator",             {},                 "",   '\\', kGenerator, false},
        {"GLN",  "signal generator",                    {"/hdd", "/var/user"}, "/hdd", '/', kGenerator, false},
        {"GLY",  "signal generator",                    {"C:", "D:"},       "D:", '\\', kGenerator, false},
        {"GLT",  "signal generator",                    {},                 "",   '\\', kGenerator, false},
        {"GXB",  "signal generator",                    {},                 "",   '\\', kGenerator, false},
        {"HUV",  "radio test set",                      {},                 "",   '\\', kAnalyzer, false},
        {"DOF",  "audio analyzer",                      {},                 "",   '\\', kAnalyzer, false},
        {"DOC",  "audio analyzer",                      {"C:", "D:"},       "C:", '\\', kAnalyzer, false},
        {"MYI",  "oscilloscope, binary waveforms",      {"C:"},             "C:", '\\', kAnalyzer, false},
        {"MYE",  "oscilloscope, text waveforms",        {"/USB_FRONT", "/USB_REAR", "/INT"}, "/INT", '/', kAnalyzer, false},
        {"BJY",  "radio communication tester",          {"INT:", "EXT:"},   "INT:", '\\', kAnalyzer, true,  true},
        {"BJX",  "radio communication tester",          {"C:", "D:"},       "D:", '\\', kAnalyzer, false},
        {"BQS",  "radio communication tester",          {"INT:", "EXT:"},   "INT:", '\\', kAnalyzer, false, true},
        {"PZB",  "power sensor base unit",              {"C:", "D:"},       "D:", '\\', kAnalyzer, false},
        {"PWEF", "power meter",                         {"A:", "C:", "D:"}, "C:", '\\', kAnalyzer, false},
        {"PWE",  "power meter",                         {},                 "",   '\\', kAnalyzer, false},
    };
    // clang-format on
    for (Family& f : rows) {
        f.largeTransducerTables = f.tag == "TKD" || f.tag == "TKB" || f.tag == "TKM";
        f.demodulationReport = f.tag == "TKM";
    }
    return rows;
}

struct Registry {
    std::vector<Family> families;
    std::map<std::string_view, size_t> byTag;
    std::vector<std::string> problems;

    Registry() : families(table()) {
        for (size_t i = 0; i < families.size(); ++i)
            if (!byTag.emplace(families[i].tag, i).second)
                problems.push_back("family " + std::string(families[i].tag) + " stands twice in the table");
    }
};

// Built on first use, so that registrars of other files may run before.
Registry& registry() {
    static Registry r;
    return r;
}

}  // namespace

namespace detail {

Family* findMutable(std::string_view tag) {
    Registry& r = registry();
    auto it = r.byTag.find(tag);
    return it == r.byTag.end() ? nullptr : &r.families[it->second];
}

std::vector<Family*> allMutable() {
    std::vector<Family*> out;
    for (Family& f : registry().families) out.push_back(&f);
    return out;
}

void problem(std::string text) { registry().problems.push_back(std::move(text)); }

}  // namespace detail

const Family* find(std::string_view tag) { return detail::findMutable(tag); }

std::vector<const Family*> all() {
    std::vector<const Family*> out;
    for (const Family& f : registry().families) out.push_back(&f);
    return out;
}

const std::vector<std::string>& attachProblems() { return registry().problems; }

}  // namespace qv::family
