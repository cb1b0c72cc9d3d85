// Runs a piece of foreign decoding code in a child process, so that a
// damaged file which crashes or hangs that code costs a failed picture and
// not the program. The child writes its result into memory shared with us.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace qv::ui {

class IsolatedRun {
public:
    // capacity: the most the child may hand back. The memory is reserved,
    // not committed: only what the child writes costs pages.
    explicit IsolatedRun(size_t capacity);
    ~IsolatedRun();
    IsolatedRun(const IsolatedRun&) = delete;
    IsolatedRun& operator=(const IsolatedRun&) = delete;

    // The child's side: where it writes, how much room there is, and how
    // much it wrote. Valid in the parent after a successful run.
    uint8_t* data() { return data_; }
    size_t capacity() const { return capacity_; }
    size_t used() const;

    // Runs work in a child with its standard output and error closed. work
    // returns true with used bytes written to data(), or false with a
    // reason. False here too (with a reason) when the child crashed, was
    // killed after timeoutMs, or could not be started.
    using Work = std::function<bool(IsolatedRun& out, size_t& used, std::string& why)>;
    bool run(int timeoutMs, const Work& work, std::string& why);

private:
    struct Header;
    Header* header_ = nullptr;
    uint8_t* data_ = nullptr;
    size_t capacity_ = 0;
    size_t mapped_ = 0;
};

}  // namespace qv::ui
