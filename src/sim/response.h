// Response bytes as a list of pieces: bytes in memory, a slice of an open
// file, or bytes computed on demand. Large answers (file contents, long
// traces) thus never sit in memory whole; transports send file slices with
// sendfile() and computed pieces through a small buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::sim {

// An open file descriptor shared by the pieces that refer to it.
class OpenFile {
public:
    explicit OpenFile(int fd) : fd_(fd) {}
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

// Bytes produced on demand; fill() must give the same bytes for the same
// offsets every time.
class Generator {
public:
    virtual ~Generator() = default;
    virtual uint64_t size() const = 0;
    virtual void fill(uint64_t offset, uint8_t* dst, size_t n) const = 0;
};

struct Piece {
    enum class Kind { Memory, File, Generated };
    Kind kind = Kind::Memory;
    std::string bytes;                     // Memory
    std::shared_ptr<const OpenFile> file;  // File
    uint64_t fileOffset = 0;               // File
    uint64_t length = 0;                   // File, Generated
    std::shared_ptr<const Generator> gen;  // Generated
    uint64_t size() const { return kind == Kind::Memory ? bytes.size() : length; }
};

class Response {
public:
    void append(std::string_view s);
    void append(char c) { append(std::string_view(&c, 1)); }
    void appendFile(std::shared_ptr<const OpenFile> file, uint64_t offset, uint64_t length);
    void appendGenerated(std::shared_ptr<const Generator> gen);
    // "#<n><length>" and remembers where it stands, for block faults.
    void appendBlockHeader(uint64_t length);
    void appendResponse(Response&& other);

    uint64_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const std::vector<Piece>& pieces() const { return pieces_; }
    // Offset of the first block header, if the response has one.
    std::optional<uint64_t> blockHeaderOffset() const { return blockHeader_; }

    // Damages the first block header so that a reader cannot trust it: the
    // digit count claims one digit more than there are (with 9 digits the
    // '#' itself is replaced). Returns false when there is no block.
    bool corruptBlockHeader();

    // Copies bytes [offset, offset+n) into dst; returns how many were copied
    // (fewer only at the end of the response or when a file shrank).
    size_t copyOut(uint64_t offset, uint8_t* dst, size_t n) const;
    // Finds the first occurrence of c at or after offset, scanning at most
    // limit bytes; returns the offset or nullopt.
    std::optional<uint64_t> find(uint8_t c, uint64_t offset, uint64_t limit) const;
    // The whole response as a string (tests and small answers).
    std::string toString() const;

private:
    std::vector<Piece> pieces_;
    uint64_t size_ = 0;
    std::optional<uint64_t> blockHeader_;
    bool memoryByteAt(uint64_t offset, char*& p);
};

}  // namespace qv::sim
