// Drive triples: the drive and folder are selected first, and the catalogue
// is a flat run of name,type,size triples after the two header fields.
// Folders are typed "<DIR>" and carry no size.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    catalog::selectDriveAndFolder(port, path);
    std::string text = catalog::clean(port.ask("MMEM:CAT?", true));
    text = catalog::clean(catalog::skipField(text));
    text = catalog::clean(catalog::skipField(text));
    const std::vector<std::string_view> fields = catalog::split(text, ",");
    // Rounded, so that a comma after the last triple changes nothing.
    const size_t count = catalog::groupCount(fields.size(), 1, 3);
    if (count * 3 > fields.size()) return false;
    if (!catalog::isDriveRoot(path)) catalog::addParentEntry(entries);
    for (size_t k = 0; k < count; ++k) {
        InstFileEntry e;
        e.Name = catalog::clean(fields[3 * k]);
        e.IsDir = catalog::clean(fields[3 * k + 1]) == "<DIR>";
        if (!e.IsDir && !catalog::readSize(fields[3 * k + 2], e.Size)) return false;
        entries.push_back(std::move(e));
    }
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{1, "drive triples", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"KDC", "TKA", "TKR", "KDM"});

}  // namespace

}  // namespace qv::file_browser
