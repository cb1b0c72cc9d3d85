// The text steps the listing dialects share. Catalogue answers come from the
// instrument and are never trusted: every step keeps within its input, and a
// row that cannot be read makes the caller give up the listing instead of
// guessing.
#pragma once

#include "file_browser/listing.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::file_browser::catalog {

// Blanks around the text, then CR, LF and NUL at its ends.
std::string clean(std::string_view text);

// What follows the first comma; text without a comma stays as it is.
std::string_view skipField(std::string_view text);

// The pieces between every occurrence of separator. Empty text gives no
// pieces at all; otherwise there is one piece more than occurrences.
std::vector<std::string_view> split(std::string_view text, std::string_view separator);

// The text without its first and last character; empty when it has fewer
// than two.
std::string_view dropEnds(std::string_view text);

// Removes every occurrence of pattern in one pass from left to right: what
// a removal joins together is not searched again.
void removeAll(std::string& text, std::string_view pattern);

// The elements of a quoted list, `used,free,"name,type,size",...`, as views
// into text, which the list owns. Filled in place and never copied or
// moved: a short text moves by copy, which would leave the views behind.
struct QuotedList {
    QuotedList() = default;
    QuotedList(const QuotedList&) = delete;
    QuotedList& operator=(const QuotedList&) = delete;
    std::string text;
    std::vector<std::string_view> elements;
};

// The form that cleans the text again after each header field is skipped.
void plainQuotedList(std::string_view answer, QuotedList& list);

// The form that drops the instrument's own dot entries (dot1, dot2 as they
// stand between the quotes; empty: none) and a comma left in front.
// withHeader: the two header fields come first.
void quotedListWithoutDots(std::string_view answer, bool withHeader, std::string_view dot1, std::string_view dot2,
                           QuotedList& list);

// Field 0 (name), 1 (type) and 2 (size) of an element; false when it has
// fewer than three.
struct ElementFields {
    std::string_view name, type, size;
};
bool elementFields(std::string_view element, ElementFields& out);

// A size field: its leading number (0 when there is none), rounded half to
// even, or with truncate its integer part. False when the number lies
// outside the 32-bit range.
bool readSize(std::string_view field, int32_t& size, bool truncate = false);

// How many groups of `width` fields an answer of n fields holds: (n -
// offset) / width rounded to the nearest count, 0 when n < offset.
size_t groupCount(size_t n, size_t offset, size_t width);

// The last two characters of path are ":\".
bool isDriveRoot(std::string_view path);

// Selects the drive (the path's first three characters) and the folder,
// both quoted.
void selectDriveAndFolder(CatalogPort& port, std::string_view path);

// The synthesized row that leads up one folder.
void addParentEntry(std::vector<InstFileEntry>& entries);

}  // namespace qv::file_browser::catalog
