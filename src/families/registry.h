// The family registry: everything that differs between instrument families
// is found here by the family tag (MyDevType), so that no window compares
// tags itself. The families and their fixed traits are one table
// (family_table.cpp); each subsystem attaches its dialects to the families
// that use them, one registrar per dialect file.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Dialect types are owned by the subsystems that define them.
namespace qv::hardcopy {
struct Dialect;
}
namespace qv::trace {
struct Dialect;
}
namespace qv::file_browser {
struct ListingDialect;
}

namespace qv::family {

// Which upload dialect a user correction table takes.
enum class UCorGroup { Analyzer, Generator };

struct Family {
    std::string_view tag;
    std::string_view kind;  // what the instrument is: "spectrum analyzer"
    // The file browser's drive box in its order, the drive it starts on and
    // the path separator. No drives: the browser has nothing to offer.
    std::vector<std::string_view> drives;
    std::string_view startDrive;
    char separator = '\\';
    UCorGroup ucorGroup = UCorGroup::Analyzer;
    // The family hands its screen pictures over as files: a hardcopy opens
    // the file browser instead.
    bool picturesAsFiles = false;
    // The browser's own file commands name files relative to the current
    // folder instead of by full path.
    bool relativeFileNames = false;
    // Transducer tables of 625 points when the firmware begins with "3.4"
    // (50 otherwise, and for every other family).
    bool largeTransducerTables = false;
    // The family measures digital demodulation and has its result report.
    bool demodulationReport = false;

    // Dialects attached by the subsystems; nullptr where the family has none.
    const hardcopy::Dialect* hardcopy = nullptr;
    const trace::Dialect* trace = nullptr;
    const file_browser::ListingDialect* listing = nullptr;
};

// The family of a tag, matched exactly; nullptr for unknown tags, the
// reserved words ("NoDevice", "DeviceUnknown", "---") and "".
const Family* find(std::string_view tag);
// Every family, in table order.
std::vector<const Family*> all();

// Attaches a dialect to the families with the given tags. A tag the table
// does not know, or a slot that is already taken, is recorded as a problem
// (attachProblems) and changes nothing.
template <class D>
void attach(const D* Family::*slot, const D* dialect, std::initializer_list<std::string_view> tags);
// What went wrong while attaching; empty when the registry is consistent.
const std::vector<std::string>& attachProblems();
// Whether any family has a dialect in this slot: the subsystem that fills it
// is part of this build.
template <class D>
bool slotInUse(const D* Family::*slot);

// A dialect file's registrar, a static object of the file:
//   const family::Attach<hardcopy::Dialect> kAttach(&family::Family::hardcopy, kDialect, {"TKD", "TKM"});
template <class D>
struct Attach {
    Attach(const D* Family::*slot, const D& dialect, std::initializer_list<std::string_view> tags) {
        attach(slot, &dialect, tags);
    }
};

// The FUNCTIONS bits of mask that the family cannot serve in this build,
// by name ("hardcopy", "trace", "file browser"). A function whose
// subsystem has attached no dialect to any family yet is not judged; drives
// are judged always.
std::vector<std::string> unservedFunctions(const Family& family, int16_t mask);

namespace detail {
Family* findMutable(std::string_view tag);
std::vector<Family*> allMutable();
void problem(std::string text);
}  // namespace detail

template <class D>
void attach(const D* Family::*slot, const D* dialect, std::initializer_list<std::string_view> tags) {
    for (std::string_view tag : tags) {
        Family* f = detail::findMutable(tag);
        if (!f) {
            detail::problem("a dialect is attached to the unknown family \"" + std::string(tag) + "\"");
            continue;
        }
        if (f->*slot && f->*slot != dialect) {
            detail::problem("family " + std::string(tag) + " has two dialects in one slot");
            continue;
        }
        f->*slot = dialect;
    }
}

template <class D>
bool slotInUse(const D* Family::*slot) {
    for (const Family* f : detail::allMutable())
        if (f->*slot) return true;
    return false;
}

}  // namespace qv::family
