// Directory listings: the one place that knows how each instrument family
// tells what is in a folder. A family's listing dialect is attached to it in
// the family registry; ListDirectory asks the registry and runs it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::io {
class VIF;
}

namespace qv::file_browser {

// One row of a listing. The synthesized parent entry is "..", a folder, 0.
struct InstFileEntry {
    std::string Name;
    bool IsDir = false;
    int32_t Size = -1;  // bytes; -1 when the dialect gives none
};

// The most a catalogue answer may hold; a longer one is cut there. An
// unanswered query reads as exactly this many blanks.
inline constexpr size_t kMaxAnswer = 100000;

// What a dialect talks to: an instrument session, or a script in tests and
// fuzzing.
class CatalogPort {
public:
    virtual ~CatalogPort() = default;
    // A command with no synchronisation suffix.
    virtual void write(const std::string& command) = 0;
    // A query and its answer, at most kMaxAnswer characters; kMaxAnswer
    // blanks when nothing came back. report: an error in the instrument's
    // queue is shown to the user.
    virtual std::string ask(const std::string& query, bool report) = 0;
};

// A family's listing dialect. list fills entries (which start empty) and
// empty, and returns false when the listing failed: entries are then not to
// be used.
struct ListingDialect {
    int number = 0;         // 1..10, for the log and the tests
    std::string_view name;  // "long catalog"
    bool (*list)(CatalogPort& port, std::string_view path, std::vector<InstFileEntry>& entries,
                 bool& empty) = nullptr;
};

// The dialect of a family tag (compared whole, case-sensitive); nullptr for
// tags that have none.
const ListingDialect* listingDialectFor(std::string_view devType);

// Lists the folder path (as the browser builds it: drive text, folders, the
// separator at the end). A tag without a dialect sends nothing and gives an
// empty listing. False when the listing failed. entries and empty are reset
// at every call.
bool ListDirectory(CatalogPort& port, std::string_view devType, std::string_view path,
                   std::vector<InstFileEntry>& entries, bool& empty);

// The same on an open instrument session (not opened or closed here).
// unanswered, when given, gets the first query that got no answer at all
// (a time-out or a lost link), empty when every query was answered: the
// browser tells the user so instead of showing a folder as empty.
bool ListDirectory(io::VIF& device, std::string_view devType, std::string_view path,
                   std::vector<InstFileEntry>& entries, bool& empty, std::string* unanswered = nullptr);

}  // namespace qv::file_browser
