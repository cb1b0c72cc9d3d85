#include "session.h"

#include "scpi_errors.h"

namespace qv::sim {

Session::Session(Instrument& inst, Mode mode, Deliver deliver)
    : inst_(inst),
      mode_(mode),
      deliver_(std::move(deliver)),
      splitter_(MessageSplitter::Options{size_t(8) << 20, inst.spillThreshold(), inst.spoolPath()}) {
    sink_ = [this](ProgramMessage& msg) { return onMessage(msg); };
}

bool Session::feed(const uint8_t* data, size_t size, bool end) { return splitter_.feed(data, size, end, sink_); }

bool Session::onMessage(ProgramMessage& msg) {
    if (mode_ == Mode::Queued && pending_) {
        // A new message while an answer is unread. A lone terminator left
        // behind (the client read a block by its length) goes quietly.
        const Pending& p = *pending_;
        bool onlyTerminator = false;
        if (p.remaining() == 1) {
            uint8_t last = 0;
            onlyTerminator = p.msg.data.copyOut(p.consumed, &last, 1) == 1 && last == '\n';
        }
        bool quiet = onlyTerminator || p.msg.silent;
        pending_.reset();
        if (!quiet) inst_.pushError(err::kQueryInterrupted);
    }
    ResponseMessage out;
    inst_.execute(msg, false, out);
    if (out.data.empty()) return true;
    if (mode_ == Mode::Immediate) return deliver_ ? deliver_(out) : true;
    Pending p;
    p.readyAt = out.silent ? std::chrono::steady_clock::time_point::max()
                           : std::chrono::steady_clock::now() + std::chrono::milliseconds(out.delayMs);
    p.msg = std::move(out);
    pending_ = std::move(p);
    return true;
}

void Session::consume(uint64_t n) {
    if (!pending_) return;
    pending_->consumed += n;
    if (pending_->consumed >= pending_->msg.data.size()) pending_.reset();
}

void Session::clear() {
    splitter_.clear();
    pending_.reset();
}

uint8_t Session::statusByte() { return inst_.statusByte(pending_.has_value() && !pending_->msg.silent); }

}  // namespace qv::sim
