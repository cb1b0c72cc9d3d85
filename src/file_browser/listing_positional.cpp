// Two positional catalogues: after selecting the folder, one query lists the
// folders in groups of seven fields and one the files in groups of nine,
// each after two leading fields. Only fixed positions are read: the name
// (a file's name and extension stand apart) and a file's size. The answers
// are read as they come, without cleaning.
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

bool list(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    const std::string folder = path.empty() ? std::string("\\") : std::string(path);
    port.write("MMEM:CDIR '" + folder + "'");
    // The browser's root is "/\", which is not "\": it carries a parent row.
    if (folder != "\\") catalog::addParentEntry(entries);

    const std::string dirAnswer = port.ask("MMEM:CAT:DIR?", false);
    const std::vector<std::string_view> dirFields = catalog::split(dirAnswer, ",");
    const size_t folders = catalog::groupCount(dirFields.size(), 2, 7);
    if (folders > 0 && 7 * (folders - 1) + 2 >= dirFields.size()) return false;
    for (size_t k = 0; k < folders; ++k) entries.push_back({std::string(dirFields[7 * k + 2]), true, 0});

    const std::string fileAnswer = port.ask("MMEM:CAT?", false);
    const std::vector<std::string_view> fileFields = catalog::split(fileAnswer, ",");
    const size_t files = catalog::groupCount(fileFields.size(), 2, 9);
    if (files > 0 && 9 * (files - 1) + 4 >= fileFields.size()) return false;
    for (size_t k = 0; k < files; ++k) {
        InstFileEntry e;
        e.Name = std::string(fileFields[9 * k + 2]) + "." + std::string(fileFields[9 * k + 3]);
        if (!catalog::readSize(fileFields[9 * k + 4], e.Size, true)) return false;
        entries.push_back(std::move(e));
    }
    empty = entries.empty();
    return true;
}

const ListingDialect kDialect{10, "two positional catalogs", list};
const family::Attach<ListingDialect> kAttach(&family::Family::listing, kDialect, {"TKG"});

}  // namespace

}  // namespace qv::file_browser
