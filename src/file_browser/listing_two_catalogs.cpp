// Two catalogues: one query for the folders and one for the files, both
// naming the folder with a wildcard; the folders come first. The roots are
// the three storage places.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool isRoot(std::string_view path) { return path == "/USB_FRONT/" || path == "/INT/" || path == "/USB_REAR/"; }

bool append(const catalog::QuotedList& list, bool folders, std::vector<InstFileEntry>& entries) {
    for (std::string_view element : list.elements) {
        catalog::ElementFields f;
        InstFileEntry e;
        if (!catalog::elementFields(element, f) || !catalog::readSize(f.size, e.Size)) return false;
        e.Name = std::string(f.name);
        e.IsDir = folders;
        entries.push_back(std::move(e));
    }
    return true;
}

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    const std::string folder(path);
    catalog::QuotedList folders;
    catalog::quotedListWithoutDots(port.ask("MMEM:DCAT? '" + folder + "*'", false), false, ".,,0", "..,,0", folders);
    if (!isRoot(path)) catalog::addParentEntry(entries);
    if (!append(folders, true, entries)) return false;
    catalog::QuotedList files;
    catalog::quotedListWithoutDots(port.ask("MMEM:CAT? '" + folder + "*.*'", false), true, {}, {}, files);
    if (!append(files, false, entries)) return false;
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{9, "two catalogs", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"MYE"});

}  // namespace

}  // namespace qv::file_browser
