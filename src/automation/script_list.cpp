// Finding the scripts of the two folders and deciding which instrument a
// script serves.
#include "automation/script.h"

#include "app/host.h"
#include "app/standard.h"
#include "app/text.h"
#include "instrument_directory/dev_ident.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>

namespace qv::automation {

namespace {

// No script is anywhere near this; a larger file is taken for a mistake
// rather than read into memory.
constexpr long kMaxScriptBytes = 16L << 20;

bool endsWithTxt(const std::string& name) {
    return name.size() > 4 && app::EqualsNoCase(std::string_view(name).substr(name.size() - 4), ".txt");
}

// The "*.txt" files of a folder in name order, so that which of two
// same-named scripts wins does not depend on the file system.
std::vector<std::string> scriptFiles(const std::string& folder) {
    std::vector<std::string> files;
    DIR* d = ::opendir(folder.c_str());
    if (!d) return files;
    while (dirent* e = ::readdir(d)) {
        std::string name = e->d_name;
        if (!endsWithTxt(name)) continue;
        std::string path = folder + "/" + name;
        struct stat st {};
        // A dangling link or a folder named "x.txt" is no script.
        if (::stat(path.c_str(), &st) != 0 || S_ISDIR(st.st_mode)) continue;
        files.push_back(std::move(path));
    }
    ::closedir(d);
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

bool ReadScriptText(const std::string& path, std::string& text) {
    return app::ReadFileBytes(path, uintmax_t(kMaxScriptBytes), text);
}

std::vector<ScriptEntry> FindScripts(const std::string& firstFolder, const std::string& secondFolder,
                                     std::vector<std::string>* unreadable) {
    std::vector<ScriptEntry> list{IntroEntry()};
    for (const std::string* folder : {&firstFolder, &secondFolder}) {
        if (folder->empty()) continue;
        for (const std::string& path : scriptFiles(*folder)) {
            std::string text;
            if (!ReadScriptText(path, text)) {
                if (unreadable) unreadable->push_back(path);
                app::host().message("Script Error", "Error during script loading", app::Icon::Critical);
                continue;
            }
            ScriptEntry e;
            ReadScriptHeader(text, e);
            if (e.Name.empty()) continue;
            // The first folder is read first: the user's script hides a shipped one.
            if (std::any_of(list.begin(), list.end(), [&](const ScriptEntry& o) { return o.Name == e.Name; })) continue;
            e.File = path;
            list.push_back(std::move(e));
        }
    }
    return list;
}

bool ScriptSupports(const ScriptEntry& e, const std::string& devType, const std::vector<std::string>& aliases) {
    // Without an instrument nothing is supported (a bare "," would match any list).
    if (devType.empty()) return false;
    const std::string tags = app::ToLowerAscii(e.Instr);
    // A plain substring search: a tag that ends in another family's name also
    // serves that family, as the lists have always been read.
    if (tags.find(app::ToLowerAscii(devType) + ",") != std::string::npos) return true;
    return std::any_of(aliases.begin(), aliases.end(), [&](const std::string& a) {
        return !a.empty() && tags.find(app::ToLowerAscii(a) + ",") != std::string::npos;
    });
}

std::vector<std::string> FamilyAliases(const std::string& devType) {
    const dir::IdentityTables& t = dir::identityTables();
    std::vector<std::string> out;
    auto it = t.aliasIndex.find(devType);
    if (it == t.aliasIndex.end() || it->second < 0 || size_t(it->second) >= t.aliasTable.size()) return out;
    for (const std::string& a : t.aliasTable[size_t(it->second)].aliases)
        if (!a.empty()) out.push_back(a);
    return out;
}

}  // namespace qv::automation
