// Files and root folders: the catalogue holds only files; at a drive root a
// second catalogue names the folders, after one leading element that is not
// a folder of its own.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    catalog::selectDriveAndFolder(port, path);
    catalog::QuotedList files;
    catalog::plainQuotedList(port.ask("MMEM:CAT?", true), files);
    if (!catalog::isDriveRoot(path)) catalog::addParentEntry(entries);
    for (std::string_view element : files.elements) {
        catalog::ElementFields f;
        InstFileEntry e;
        if (!catalog::elementFields(element, f) || !catalog::readSize(f.size, e.Size)) return false;
        e.Name = catalog::clean(f.name);
        entries.push_back(std::move(e));
    }
    if (path.size() == 3) {
        const std::string text = catalog::clean(port.ask("MMEM:DCAT?", true));
        const std::vector<std::string_view> folders = catalog::split(catalog::dropEnds(text), "\",\"");
        for (size_t i = 1; i < folders.size(); ++i) entries.push_back({std::string(folders[i]), true, -1});
    }
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{2, "files and root folders", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"PWE"});

}  // namespace

}  // namespace qv::file_browser
