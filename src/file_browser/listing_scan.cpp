// The scan: the drive is selected by its bare name and the folder without
// its drive, and the answer is a run of quoted names, each section led by a
// marker: "D" for folders, "F" for files. No sizes.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    // "INT:\USERDATA\PRINT\" selects INT, then "\USERDATA\PRINT"; "INT:\"
    // selects INT, then "\".
    port.write("MMEM:MSIS " + std::string(path.substr(0, 3)));
    std::string_view folder = path.size() > 4 ? path.substr(4) : std::string_view();
    if (folder.size() > 1 && folder.back() == '\\') folder.remove_suffix(1);
    port.write("MMEM:CDIR '" + std::string(folder) + "'");
    const std::string answer = port.ask("MMEM:SCAN?", true);
    const std::vector<std::string_view> fields = catalog::split(answer, ",");
    if (!catalog::isDriveRoot(path)) catalog::addParentEntry(entries);
    bool folders = false;
    for (size_t i = 1; i < fields.size(); ++i) {
        const std::string field = catalog::clean(fields[i]);
        if (field == "D" || field == "F") {
            folders = field == "D";
            continue;
        }
        std::string name = catalog::clean(catalog::dropEnds(field));
        // A name that is nothing once its quotes are gone (a stray comma)
        // names no row.
        if (name.empty() || name == "..") continue;
        entries.push_back({std::move(name), folders, -1});
    }
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{7, "scan", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"BJY"});

}  // namespace

}  // namespace qv::file_browser
