// Folders first: the drive and folder are selected, and the catalogue's
// folders are listed before its files. The instrument's own "." and ".."
// rows stay, so no parent row is made here.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    catalog::selectDriveAndFolder(port, path);
    catalog::QuotedList list;
    catalog::plainQuotedList(port.ask("MMEM:CAT?", true), list);
    std::vector<catalog::ElementFields> rows(list.elements.size());
    for (size_t i = 0; i < rows.size(); ++i)
        if (!catalog::elementFields(list.elements[i], rows[i])) return false;
    for (bool folders : {true, false}) {
        for (const catalog::ElementFields& f : rows) {
            if ((f.type == "DIR") != folders) continue;
            InstFileEntry e;
            if (!catalog::readSize(f.size, e.Size)) return false;
            e.Name = catalog::clean(f.name);
            e.IsDir = folders;
            entries.push_back(std::move(e));
        }
    }
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{3, "folders first", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"DOC"});

}  // namespace

}  // namespace qv::file_browser
