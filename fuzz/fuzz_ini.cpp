// Ini files come from users and other programs: any content must read, and a
// write must leave a file in which the written key reads back and every
// other key keeps its value.
#include "app/iniio.h"
#include "app/profile.h"
#include "app/text.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace qv::app;

namespace {

// Splits the input at "\x01" into: file content, section, key, value.
std::vector<std::string> pieces(const uint8_t* data, size_t size) {
    std::vector<std::string> out(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0x01 && out.size() < 4) out.emplace_back();
        else out.back() += static_cast<char>(data[i]);
    }
    while (out.size() < 4) out.emplace_back("k");
    return out;
}

const std::string& scratchFile() {
    static const std::string path = [] {
        const char* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(base) + "/fuzz_ini." + std::to_string(getpid()) + ".ini";
    }();
    return path;
}

void check(bool ok) {
    if (!ok) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 64 * 1024) return 0;
    std::vector<std::string> p = pieces(data, size);
    const std::string& content = p[0];
    const std::string& section = p[1];
    const std::string& key = p[2];
    const std::string& value = p[3];

    ProfileDocument doc(content);
    std::vector<std::pair<std::pair<std::string, std::string>, std::string>> before;
    for (const std::string& s : doc.sections()) {
        for (const std::string& k : doc.keys(s)) {
            std::string v;
            check(doc.find(s, k, v));  // every listed key can be found
            if (before.size() < 64) before.push_back({{s, k}, v});
        }
    }

    ProfileDocument changed = doc;
    if (changed.set(section, key, value)) {
        std::string got;
        check(changed.find(section, key, got));
        check(got == std::string(TrimBlanksTabs(value)));
        for (const auto& [names, old] : before) {
            if (EqualsNoCase(TrimBlanksTabs(names.first), TrimBlanksTabs(section)) &&
                EqualsNoCase(TrimBlanksTabs(names.second), TrimBlanksTabs(key)))
                continue;
            std::string now;
            check(changed.find(names.first, names.second, now) && now == old);
        }
        // Parsing the new text again gives the same document.
        ProfileDocument again(changed.content());
        check(again.sections() == changed.sections());
    }

    // The same through a real file, the cache and the typed layer.
    if (size <= 4096) {
        const std::string& file = scratchFile();
        FILE* f = std::fopen(file.c_str(), "wb");
        if (!f) return 0;
        std::fwrite(content.data(), 1, content.size(), f);
        std::fclose(f);
        ProfileCacheClear();
        std::string direct;
        std::string expected = doc.find(section, key, direct) ? direct : std::string("dflt");
        check(ProfileRead(file, section, key, "dflt") == std::string(Utf8Cut(expected, kProfileMaxValue)));
        ReadIni(file, section, key, Value(int16_t{3}), Value(int16_t{0}));
        ReadIni(file, section, key, Value(), Value(false));
        if (ProfileWrite(file, section, key, value)) {
            std::string back = ProfileRead(file, section, key, "");
            check(back == std::string(Utf8Cut(TrimBlanksTabs(value), kProfileMaxValue)));
        }
        std::vector<bool> flags;
        ReadFlagList({file, section, key}, {file, section, value}, flags);
        check(!flags.empty());
        EndRow(file, section, key);
        FindRow(file, section, key, value);
        CountDeletedRows(file, section, key, 50);
        std::remove(file.c_str());
    }
    return 0;
}
