// Catalogue answers come from instruments: any bytes, in any number of
// answers, must give a listing that keeps within them or a failure, for
// every family's dialect and the usual kinds of path.
#include "file_browser/listing.h"

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>

using namespace qv::file_browser;

namespace {

// Answers one query each from the script; a silent instrument after that.
class ScriptPort : public CatalogPort {
public:
    std::deque<std::string> answers;
    void write(const std::string&) override {}
    std::string ask(const std::string&, bool) override {
        if (answers.empty()) return std::string(kMaxAnswer, ' ');
        std::string a = std::move(answers.front());
        answers.pop_front();
        return a;
    }
};

constexpr const char* kTags[] = {"KDC", "TKA", "TKR", "KDM", "PWE", "DOC", "TKM", "TKD", "TKN", "TKW", "KDP",
                                 "VHJO", "GLY", "PZB", "BJX", "GLN", "BJY", "MYI", "MYE", "TKG", "TKB", "PWEF"};
constexpr const char* kPaths[] = {"C:\\", "C:\\A\\B\\", "/", "/hdd/", "/INT/", "INT:\\USERDATA\\PRINT\\", "", "/\\"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const char* tag = kTags[data[0] % std::size(kTags)];
    // The rest is the answers, separated by bytes 0x01; each at most as long
    // as an answer may be.
    std::deque<std::string> script;
    std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    while (true) {
        const size_t cut = rest.find('\x01');
        script.emplace_back(rest.substr(0, std::min(cut, kMaxAnswer)));
        if (cut == std::string_view::npos) break;
        rest.remove_prefix(cut + 1);
    }
    for (const char* path : kPaths) {
        ScriptPort port;
        port.answers = script;
        std::vector<InstFileEntry> entries;
        bool empty = false;
        if (!ListDirectory(port, tag, path, entries, empty)) {
            if (!entries.empty() || !empty) abort();
            continue;
        }
        if (empty != entries.empty()) abort();
        // At most one row per character answered, and the parent row.
        if (entries.size() > size + 1) abort();
        for (const InstFileEntry& e : entries)
            if (e.Name != ".." && e.Name.size() > size) abort();
    }
    return 0;
}
