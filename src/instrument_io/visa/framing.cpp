#include "framing.h"

namespace qv::visa {

BlockHeader parseBlockHeader(const uint8_t* p, size_t size) {
    BlockHeader h;
    if (size == 0 || p[0] != '#') return h;
    if (size < 2) {
        h.status = BlockHeaderStatus::NeedMore;
        return h;
    }
    if (p[1] == '0') {
        h.status = BlockHeaderStatus::Indefinite;
        h.headerLength = 2;
        return h;
    }
    if (p[1] < '1' || p[1] > '9') return h;
    size_t digits = size_t(p[1] - '0');
    if (size < 2 + digits) {
        for (size_t i = 2; i < size; ++i)
            if (p[i] < '0' || p[i] > '9') return h;
        h.status = BlockHeaderStatus::NeedMore;
        return h;
    }
    uint64_t len = 0;
    for (size_t i = 0; i < digits; ++i) {
        uint8_t c = p[2 + i];
        if (c < '0' || c > '9') return h;
        len = len * 10 + (c - '0');  // at most 9 digits: no overflow
    }
    h.status = BlockHeaderStatus::Definite;
    h.headerLength = 2 + digits;
    h.dataLength = len;
    return h;
}

void ResponseFramer::skipRaw(uint64_t n) {
    if (state_ != State::BlockData) return;
    blockLeft_ -= n < blockLeft_ ? n : blockLeft_;
    if (blockLeft_ == 0) state_ = State::AfterBlock;
}

size_t ResponseFramer::scan(const uint8_t* p, size_t size, uint8_t termChar, bool& ended) {
    ended = false;
    size_t i = 0;
    while (i < size) {
        if (state_ == State::BlockData) {
            uint64_t take = blockLeft_ < size - i ? blockLeft_ : size - i;
            i += size_t(take);
            blockLeft_ -= take;
            if (blockLeft_ == 0) state_ = State::AfterBlock;
            continue;
        }
        uint8_t c = p[i++];
        switch (state_) {
        case State::Hash:
            if (c >= '1' && c <= '9') {
                digitsLeft_ = c - '0';
                blockLeft_ = 0;
                state_ = State::Digits;
                continue;
            }
            state_ = State::Text;  // "#0" indefinite or "#H1F": plain text to the terminator
            break;
        case State::Digits:
            if (c >= '0' && c <= '9') {
                blockLeft_ = blockLeft_ * 10 + (c - '0');
                if (--digitsLeft_ == 0) state_ = blockLeft_ ? State::BlockData : State::AfterBlock;
                continue;
            }
            state_ = State::Text;  // not a block after all
            break;
        default:
            break;
        }
        if (c == termChar) {
            reset();
            ended = true;
            return i;
        }
        if (c == '#' && elementStart_) {
            state_ = State::Hash;
            elementStart_ = false;
            continue;
        }
        elementStart_ = (c == ',' || c == ';' || c == ' ');
        state_ = State::Text;
    }
    return i;
}

}  // namespace qv::visa
