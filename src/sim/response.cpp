#include "response.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace qv::sim {

namespace {
constexpr uint64_t kInlineGenerated = 64 * 1024;
}

OpenFile::~OpenFile() {
    if (fd_ >= 0) ::close(fd_);
}

void Response::append(std::string_view s) {
    if (s.empty()) return;
    // Consecutive memory bytes share one piece, so a short answer goes out
    // in a single send.
    if (!pieces_.empty() && pieces_.back().kind == Piece::Kind::Memory) {
        pieces_.back().bytes.append(s);
    } else {
        Piece p;
        p.bytes.assign(s);
        pieces_.push_back(std::move(p));
    }
    size_ += s.size();
}

void Response::appendFile(std::shared_ptr<const OpenFile> file, uint64_t offset, uint64_t length) {
    if (length == 0) return;
    Piece p;
    p.kind = Piece::Kind::File;
    p.file = std::move(file);
    p.fileOffset = offset;
    p.length = length;
    pieces_.push_back(std::move(p));
    size_ += length;
}

void Response::appendGenerated(std::shared_ptr<const Generator> gen) {
    if (!gen || gen->size() == 0) return;
    // Small ones are cheaper to send as plain bytes.
    if (gen->size() <= kInlineGenerated) {
        std::string bytes(size_t(gen->size()), '\0');
        gen->fill(0, reinterpret_cast<uint8_t*>(bytes.data()), bytes.size());
        append(bytes);
        return;
    }
    Piece p;
    p.kind = Piece::Kind::Generated;
    p.length = gen->size();
    p.gen = std::move(gen);
    size_ += p.length;
    pieces_.push_back(std::move(p));
}

void Response::appendBlockHeader(uint64_t length) {
    std::string digits = std::to_string(length);
    if (!blockHeader_) blockHeader_ = size_;
    std::string head = "#";
    head += char('0' + digits.size());
    head += digits;
    append(head);
}

void Response::appendResponse(Response&& other) {
    if (other.blockHeader_ && !blockHeader_) blockHeader_ = size_ + *other.blockHeader_;
    for (auto& p : other.pieces_) {
        if (p.kind == Piece::Kind::Memory) {
            append(p.bytes);
        } else {
            size_ += p.size();
            pieces_.push_back(std::move(p));
        }
    }
    other.pieces_.clear();
    other.size_ = 0;
    other.blockHeader_.reset();
}

bool Response::memoryByteAt(uint64_t offset, char*& out) {
    uint64_t base = 0;
    for (auto& p : pieces_) {
        uint64_t n = p.size();
        if (offset < base + n) {
            if (p.kind != Piece::Kind::Memory) return false;
            out = &p.bytes[offset - base];
            return true;
        }
        base += n;
    }
    return false;
}

bool Response::corruptBlockHeader() {
    if (!blockHeader_) return false;
    char* hash = nullptr;
    char* count = nullptr;
    if (!memoryByteAt(*blockHeader_, hash) || !memoryByteAt(*blockHeader_ + 1, count)) return false;
    if (*count >= '1' && *count <= '8')
        ++*count;
    else
        *hash = '!';
    return true;
}

size_t Response::copyOut(uint64_t offset, uint8_t* dst, size_t n) const {
    size_t done = 0;
    uint64_t base = 0;
    for (const auto& p : pieces_) {
        if (done == n) break;
        uint64_t psize = p.size();
        if (offset + done >= base + psize) {
            base += psize;
            continue;
        }
        uint64_t in = offset + done - base;
        size_t take = size_t(std::min<uint64_t>(psize - in, n - done));
        switch (p.kind) {
        case Piece::Kind::Memory:
            std::memcpy(dst + done, p.bytes.data() + in, take);
            break;
        case Piece::Kind::Generated:
            p.gen->fill(in, dst + done, take);
            break;
        case Piece::Kind::File: {
            size_t got = 0;
            while (got < take) {
                ssize_t r = ::pread(p.file->fd(), dst + done + got, take - got, off_t(p.fileOffset + in + got));
                if (r <= 0) break;
                got += size_t(r);
            }
            if (got < take) return done + got;  // the file shrank under us
            break;
        }
        }
        done += take;
        base += psize;
    }
    return done;
}

std::optional<uint64_t> Response::find(uint8_t c, uint64_t offset, uint64_t limit) const {
    uint64_t end = std::min(size_, offset + limit);
    uint8_t buf[16384];
    uint64_t pos = offset;
    while (pos < end) {
        size_t want = size_t(std::min<uint64_t>(sizeof buf, end - pos));
        size_t got = copyOut(pos, buf, want);
        if (got == 0) break;
        if (const void* hit = std::memchr(buf, c, got)) return pos + uint64_t(static_cast<const uint8_t*>(hit) - buf);
        pos += got;
    }
    return std::nullopt;
}

std::string Response::toString() const {
    std::string s(size_t(size_), '\0');
    size_t got = copyOut(0, reinterpret_cast<uint8_t*>(s.data()), s.size());
    s.resize(got);
    return s;
}

}  // namespace qv::sim
