// The addressed catalogues: one query names the folder, nothing is selected
// first, and the answer is a quoted list whose own "." and ".." rows are
// dropped. The forms differ only in the query, whether an error in the
// instrument's queue is shown, what a root is, how the dot rows read, and
// that the long form tells the user when the firmware does not answer it.
#include "app/host.h"
#include "families/registry.h"
#include "file_browser/catalog_text.h"

namespace qv::file_browser {

namespace {

struct Form {
    std::string_view query;  // the folder follows in single quotes
    bool report;
    bool slashRoot;  // only "/" is a root; else a drive root ":\"
    std::string_view dot, dotDot;
    bool unansweredFails;  // no answer at all: tell the user, the listing fails
};

constexpr Form kLong{"MMEM:CAT:LONG?", false, false, ".,DIR,0", "..,DIR,0", true};
constexpr Form kAddressed{"MMEM:CAT?", true, false, ".,DIR,0", "..,DIR,0", false};
constexpr Form kAddressed1024{"MMEM:CAT?", true, true, ".,DIR,1024", "..,DIR,1024", false};
constexpr Form kQuiet{"MMEM:CAT?", false, false, ".,DIR,0", "..,DIR,0", false};

bool isRoot(const Form& form, std::string_view path) {
    // The last two characters are compared with "/" alone, so only the path
    // "/" itself is a root.
    return form.slashRoot ? path == "/" : catalog::isDriveRoot(path);
}

bool listAddressed(const Form& form, CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries,
                   bool& empty) {
    const std::string answer = port.ask(std::string(form.query) + " '" + std::string(path) + "'", form.report);
    if (form.unansweredFails && answer.size() == kMaxAnswer && answer.find_first_not_of(' ') == std::string::npos) {
        app::host().message("Error",
                            "Unable to read files. Probably your firmware version does not yet support this feature!",
                            app::Icon::Critical);
        return false;
    }
    catalog::QuotedList list;
    catalog::quotedListWithoutDots(answer, true, form.dot, form.dotDot, list);
    if (!isRoot(form, path)) catalog::addParentEntry(entries);
    for (std::string_view element : list.elements) {
        catalog::ElementFields f;
        InstFileEntry e;
        if (!catalog::elementFields(element, f) || !catalog::readSize(f.size, e.Size)) return false;
        e.Name = std::string(f.name);
        e.IsDir = f.type == "DIR";
        entries.push_back(std::move(e));
    }
    empty = entries.empty();
    return true;
}

template <const Form& F>
bool listForm(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries, bool& empty) {
    return listAddressed(F, port, path, entries, empty);
}

const ListingDialect kLongDialect{4, "long catalog", listForm<kLong>};
const ListingDialect kAddressedDialect{5, "addressed catalog", listForm<kAddressed>};
const ListingDialect kAddressed1024Dialect{6, "addressed catalog, 1024", listForm<kAddressed1024>};
const ListingDialect kQuietDialect{8, "addressed catalog, quiet", listForm<kQuiet>};

const family::Attach<ListingDialect> kAttachLong(&family::Family::listing, kLongDialect,
                                                 {"TKM", "TKD", "TKN", "TKW", "KDP", "VHJO"});
const family::Attach<ListingDialect> kAttachAddressed(&family::Family::listing, kAddressedDialect,
                                                      {"GLY", "PZB", "BJX"});
const family::Attach<ListingDialect> kAttachAddressed1024(&family::Family::listing, kAddressed1024Dialect, {"GLN"});
const family::Attach<ListingDialect> kAttachQuiet(&family::Family::listing, kQuietDialect, {"MYI"});

}  // namespace

}  // namespace qv::file_browser
