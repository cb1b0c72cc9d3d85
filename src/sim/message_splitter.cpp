#include "message_splitter.h"
#include "net_io.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace qv::sim {

namespace {
constexpr size_t kSpillHead = 256;  // enough to log a short block whole

}  // namespace

SpillFile::~SpillFile() {
    closeFd();
    if (!released_) ::unlink(path_.c_str());
}

void SpillFile::closeFd() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

void MessageSplitter::put(const uint8_t* p, size_t n) {
    if (n == 0) return;
    if (overflow_ == 0 && text_.size() + n <= opt_.maxText) {
        text_.append(reinterpret_cast<const char*>(p), n);
        return;
    }
    // Past the cap: keep counting so the log can say how much was lost.
    if (overflow_ == 0) {
        size_t room = opt_.maxText - std::min(opt_.maxText, text_.size());
        text_.append(reinterpret_cast<const char*>(p), room);
        overflow_ = n - room;
        for (auto& b : blocks_)
            if (b.spill) b.spill->closeFd();
        blocks_.clear();
        return;
    }
    overflow_ += n;
}

void MessageSplitter::beginDefinite() {
    BlockSpan span;
    span.at = hashAt_;
    span.headerLength = size_t(2 + digitsWanted_);
    span.length = announced_;
    blockLeft_ = announced_;
    if (overflow_ == 0 && announced_ > opt_.spillThreshold && !opt_.spoolDir.empty()) {
        std::string tmpl = opt_.spoolDir + "/block-XXXXXX";
        int fd = ::mkostemp(tmpl.data(), O_CLOEXEC);
        if (fd >= 0)
            span.spill = std::make_shared<SpillFile>(tmpl, fd);
        else
            span.spillFailed = true;
    } else if (overflow_ == 0 && announced_ > opt_.spillThreshold) {
        // Nowhere to spool: the payload is read and dropped.
        span.spillFailed = true;
    }
    if (overflow_ == 0) blocks_.push_back(std::move(span));
    state_ = blockLeft_ > 0 ? State::BlockData : State::Normal;
}

bool MessageSplitter::complete(const Sink& sink) {
    if (state_ == State::Indefinite && overflow_ == 0 && !blocks_.empty() && blocks_.back().indefinite) {
        auto& b = blocks_.back();
        b.length = b.received = text_.size() - indefiniteStart_;
    }
    for (auto& b : blocks_)
        if (b.spill) b.spill->closeFd();
    ProgramMessage msg;
    msg.text.swap(text_);
    msg.blocks.swap(blocks_);
    msg.overflowBytes = overflow_;
    state_ = State::Normal;
    overflow_ = 0;
    blockLeft_ = 0;
    if (msg.text.capacity() > (size_t(1) << 20)) text_.shrink_to_fit();
    // A bare terminator is an empty message: nothing to do, nothing to log.
    if (msg.text.empty() && msg.blocks.empty() && msg.overflowBytes == 0) return true;
    return sink(msg);
}

void MessageSplitter::clear() {
    text_.clear();
    blocks_.clear();
    overflow_ = 0;
    state_ = State::Normal;
    blockLeft_ = 0;
}

bool MessageSplitter::feed(const uint8_t* d, size_t n, bool end, const Sink& sink) {
    size_t i = 0;
    while (i < n) {
        switch (state_) {
        case State::Normal: {
            size_t j = i;
            while (j < n && d[j] != '\n' && d[j] != '\'' && d[j] != '"' && d[j] != '#') ++j;
            put(d + i, j - i);
            i = j;
            if (i == n) break;
            uint8_t c = d[i++];
            if (c == '\n') {
                if (!complete(sink)) return false;
            } else if (c == '#') {
                hashAt_ = text_.size();
                put(&c, 1);
                state_ = State::Hash;
            } else {
                put(&c, 1);
                quote_ = c;
                state_ = State::Quote;
            }
            break;
        }
        case State::Quote: {
            const void* q = std::memchr(d + i, quote_, n - i);
            size_t j = q ? size_t(static_cast<const uint8_t*>(q) - d) + 1 : n;
            put(d + i, j - i);
            i = j;
            // A doubled quote simply re-enters the string on the next byte.
            if (q) state_ = State::Normal;
            break;
        }
        case State::Hash: {
            uint8_t c = d[i];
            if (c >= '1' && c <= '9') {
                put(&c, 1);
                ++i;
                digitsWanted_ = c - '0';
                digitsSeen_ = 0;
                announced_ = 0;
                state_ = State::BlockLength;
            } else if (c == '0') {
                put(&c, 1);
                ++i;
                if (overflow_ == 0) {
                    BlockSpan span;
                    span.at = hashAt_;
                    span.headerLength = 2;
                    span.indefinite = true;
                    blocks_.push_back(std::move(span));
                    indefiniteStart_ = text_.size();
                }
                state_ = State::Indefinite;
            } else {
                // Not a block ("#H1F" and friends): the byte is ordinary text.
                state_ = State::Normal;
            }
            break;
        }
        case State::BlockLength: {
            uint8_t c = d[i];
            if (c < '0' || c > '9') {
                // A broken header is no block; the parser reports it.
                state_ = State::Normal;
                break;
            }
            put(&c, 1);
            ++i;
            announced_ = announced_ * 10 + uint64_t(c - '0');
            if (++digitsSeen_ == digitsWanted_) beginDefinite();
            break;
        }
        case State::BlockData: {
            size_t take = size_t(std::min<uint64_t>(blockLeft_, n - i));
            BlockSpan* span = (overflow_ == 0 && !blocks_.empty()) ? &blocks_.back() : nullptr;
            if (span && span->spill) {
                if (span->head.size() < kSpillHead)
                    span->head.append(reinterpret_cast<const char*>(d + i),
                                      std::min(take, kSpillHead - span->head.size()));
                if (!span->spillFailed && !writeAll(span->spill->fd(), d + i, take)) span->spillFailed = true;
            } else if (span && span->spillFailed) {
                // dropped: nowhere to keep it
            } else {
                put(d + i, take);
                span = (overflow_ == 0 && !blocks_.empty()) ? &blocks_.back() : nullptr;
            }
            if (span) span->received += take;
            i += take;
            blockLeft_ -= take;
            if (blockLeft_ == 0) {
                if (span && span->spill) span->spill->closeFd();
                state_ = State::Normal;
            }
            break;
        }
        case State::Indefinite: {
            const void* lf = std::memchr(d + i, '\n', n - i);
            size_t j = lf ? size_t(static_cast<const uint8_t*>(lf) - d) : n;
            put(d + i, j - i);
            i = j;
            if (lf) {
                ++i;
                if (!complete(sink)) return false;
            }
            break;
        }
        }
    }
    if (end) {
        // END closes the message whatever state it is in; a short block
        // stays incomplete and the parser reports it.
        if (!text_.empty() || !blocks_.empty() || overflow_ > 0) return complete(sink);
        state_ = State::Normal;
    }
    return true;
}

}  // namespace qv::sim
