// Long answers of computed values: a source computes values by index, in
// runs, and a generator turns them into REAL,32 bytes or NR3 text as the
// transport asks for them, so a million-point answer never sits in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "response.h"

namespace qv::sim {

class CommandContext;

// At most this many values are asked for at once.
constexpr size_t kValueRun = 256;

class ValueSource {
public:
    virtual ~ValueSource() = default;
    virtual uint64_t count() const = 0;
    // Values [first, first + n) into out; n <= kValueRun, first + n <= count().
    virtual void values(uint64_t first, size_t n, float* out) const = 0;
};

// Uniform noise in [-0.5, 0.5), the same for the same key and index.
double indexNoise(uint64_t key, uint64_t index);

// "+1.234560E-02": sign, seven significant digits, two exponent digits.
constexpr size_t kNr3Width = 13;
// Writes exactly kNr3Width characters (no terminator). Not finite: zero.
void writeNr3(double v, char* out);

// Little-endian float32, 4 bytes a value.
std::shared_ptr<const Generator> binaryValues(std::shared_ptr<const ValueSource> source);
// NR3 values separated by ','.
std::shared_ptr<const Generator> textValues(std::shared_ptr<const ValueSource> source);

// The answer as a REAL,32 block, or as text.
void answerValues(CommandContext& c, std::shared_ptr<const ValueSource> source, bool text);

}  // namespace qv::sim
