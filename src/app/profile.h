// Private-profile files: "[section]" lines and "key=value" lines, read and
// written the way the classic profile calls do, on any system.
//
// Reading rules:
// - Lines end at LF, CR LF or a lone CR; a UTF-8 byte order mark is skipped.
// - Blanks and tabs around section names, keys and values are dropped, so
//   "  Key = some value  " reads as "some value". Quotes are kept as they are.
// - A value is the rest of the line after the first "=": "a=b=c" gives "b=c".
// - Section and key names match without regard to ASCII case.
// - The first occurrence of a key wins, in file order, also when a section
//   name occurs twice. Lines that are neither a section nor hold a "=" are
//   ignored (and kept on writing), so are keys before the first section.
// - A value comes back cut to 749 bytes (a 750-byte buffer with its end
//   mark), never in the middle of a UTF-8 character.
// - A missing file, section or key gives the default, with its trailing
//   blanks removed and cut like a value.
//
// Writing rules:
// - Writing a key replaces its first occurrence in place; a new key goes
//   after the last line of its section; a new section goes to the end of the
//   file; a missing file is created (its folder must exist). Every other line
//   keeps its bytes and order, new lines take the file's line end (LF for a
//   new file).
// - The new content goes to a temporary file in the same folder, which then
//   replaces the old file in one rename: a failed write (read-only folder,
//   full disk) leaves the old file whole and reports false. A symbolic link
//   is followed, so the link stays.
// - Names that would break the file's structure are refused: an empty
//   section or key, a section holding "]", a key holding "=" or starting
//   with "[", and any name or value holding a line end.
// - A file larger than 16 MiB, one that cannot be read and one we may not
//   write are never replaced: writes to them report false (reads of the
//   first two give the default).
// - Writing the value a key already holds does not touch the file.
//
// Parsed files are cached by path and checked against the file's identity,
// size and change times at every read, so each read sees the current
// content; a file changed less than two seconds ago is compared byte for
// byte, since a quick rewrite can keep its time stamp. One thread only.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qv::app {

inline constexpr size_t kProfileBufferSize = 750;
inline constexpr size_t kProfileMaxValue = kProfileBufferSize - 1;
inline constexpr size_t kProfileMaxFileSize = 16u * 1024u * 1024u;

// One file's text and its parsed lines; the cache and the fuzz harness use
// it directly.
class ProfileDocument {
public:
    ProfileDocument() = default;
    explicit ProfileDocument(std::string content);

    const std::string& content() const { return content_; }
    // The value of the key's first occurrence, uncut; false when missing.
    bool find(std::string_view section, std::string_view key, std::string& value) const;
    // Changes the text; false when the names or value are refused.
    bool set(std::string_view section, std::string_view key, std::string_view value);
    // Section names in file order (each once, first spelling), keys of a
    // section in file order.
    std::vector<std::string> sections() const;
    std::vector<std::string> keys(std::string_view section) const;

private:
    enum class Kind { Other, Section, Key };
    struct Line {
        size_t begin = 0, end = 0, eolLength = 0;  // byte offsets into content_
        Kind kind = Kind::Other;
        std::string name;   // section or key, trimmed
        std::string value;  // trimmed
        size_t section = 0; // index of the section line it belongs to, or npos
    };
    void parse();
    std::string lineEnd() const;

    std::string content_;
    std::vector<Line> lines_;
    // lower(section) + "\n" + lower(key) -> line of the first occurrence
    std::unordered_map<std::string, size_t> index_;
    // lower(section) -> line of its first header
    std::unordered_map<std::string, size_t> sectionIndex_;
};

// The key's value, or def when file, section or key are missing.
std::string ProfileRead(const std::string& file, std::string_view section, std::string_view key,
                        std::string_view def);
// Writes the key; false when nothing was written (refused names, an
// unreadable file, a failed write). The old file stays whole on failure.
bool ProfileWrite(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value);
// Writes several keys of one section in one replacement of the file; false
// (and the file untouched) when any of them is refused or the write fails.
bool ProfileWriteKeys(const std::string& file, std::string_view section,
                      const std::vector<std::pair<std::string, std::string>>& keys);
std::vector<std::string> ProfileSections(const std::string& file);
std::vector<std::string> ProfileKeys(const std::string& file, std::string_view section);
// Forgets every cached file (tests that fake file times use it).
void ProfileCacheClear();

}  // namespace qv::app
