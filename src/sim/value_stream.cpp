#include "value_stream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "instrument.h"

namespace qv::sim {

namespace {

// Exact powers of ten for the exponents a float can have, and a little more.
constexpr int kMinExp = -60, kMaxExp = 60;
const std::array<double, kMaxExp - kMinExp + 2>& powersOfTen() {
    static const auto table = [] {
        std::array<double, kMaxExp - kMinExp + 2> t{};
        for (int e = kMinExp; e <= kMaxExp + 1; ++e) t[size_t(e - kMinExp)] = std::strtod(("1e" + std::to_string(e)).c_str(), nullptr);
        return t;
    }();
    return table;
}

class BinaryValues final : public Generator {
public:
    explicit BinaryValues(std::shared_ptr<const ValueSource> s) : source_(std::move(s)) {}
    uint64_t size() const override { return source_->count() * 4; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        float run[kValueRun];
        uint8_t bytes[kValueRun * 4];
        while (n > 0) {
            uint64_t first = offset / 4;
            size_t count = size_t(std::min<uint64_t>(kValueRun, source_->count() - first));
            source_->values(first, count, run);
            for (size_t i = 0; i < count; ++i) {
                uint32_t bits;
                std::memcpy(&bits, &run[i], 4);
                bytes[4 * i] = uint8_t(bits);
                bytes[4 * i + 1] = uint8_t(bits >> 8);
                bytes[4 * i + 2] = uint8_t(bits >> 16);
                bytes[4 * i + 3] = uint8_t(bits >> 24);
            }
            size_t within = size_t(offset - first * 4);
            size_t take = std::min(n, count * 4 - within);
            std::memcpy(dst, bytes + within, take);
            dst += take;
            offset += take;
            n -= take;
        }
    }

private:
    std::shared_ptr<const ValueSource> source_;
};

class TextValues final : public Generator {
public:
    static constexpr size_t kStride = kNr3Width + 1;
    explicit TextValues(std::shared_ptr<const ValueSource> s) : source_(std::move(s)) {}
    uint64_t size() const override { return source_->count() ? source_->count() * kStride - 1 : 0; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        float run[kValueRun];
        char text[kValueRun * kStride];
        while (n > 0) {
            uint64_t first = offset / kStride;
            size_t count = size_t(std::min<uint64_t>(kValueRun, source_->count() - first));
            // Only the values this call reaches.
            count = std::min<size_t>(count, size_t((offset % kStride + n + kStride - 1) / kStride));
            source_->values(first, count, run);
            for (size_t i = 0; i < count; ++i) {
                writeNr3(double(run[i]), text + i * kStride);
                text[i * kStride + kNr3Width] = ',';
            }
            size_t within = size_t(offset - first * kStride);
            size_t take = std::min(n, count * kStride - within);
            std::memcpy(dst, text + within, take);
            dst += take;
            offset += take;
            n -= take;
        }
    }

private:
    std::shared_ptr<const ValueSource> source_;
};

}  // namespace

double indexNoise(uint64_t key, uint64_t index) {
    // SplitMix64 of the pair: cheap and stateless.
    uint64_t x = index ^ (key * 0xD1B54A32D192ED03ull);
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    return double(x >> 11) / double(1ull << 53) - 0.5;
}

void writeNr3(double v, char* out) {
    const auto& pow10 = powersOfTen();
    double a = std::isfinite(v) ? std::fabs(v) : 0.0;
    int e = 0;
    uint64_t mantissa = 0;  // seven digits
    if (a >= pow10[0] * 0.99999995) {
        if (a >= 9.9999995e59) a = 9.999999e59;
        // log10(2) estimate of the exponent, then corrected against the table.
        e = int(std::floor(double(std::ilogb(a)) * 0.30102999566398120));
        e = std::clamp(e, kMinExp, kMaxExp);
        while (e < kMaxExp && a >= pow10[size_t(e + 1 - kMinExp)]) ++e;
        while (e > kMinExp && a < pow10[size_t(e - kMinExp)]) --e;
        mantissa = uint64_t(std::llround(a / pow10[size_t(e - kMinExp)] * 1e6));
        if (mantissa >= 10'000'000) {  // rounded up to the next power of ten
            mantissa /= 10;
            ++e;
        }
        if (mantissa < 1'000'000) mantissa = 1'000'000;  // cannot happen: a >= 10^e
    }
    if (mantissa == 0) e = 0;
    out[0] = (v < 0 && mantissa) ? '-' : '+';
    char digits[7];
    for (int i = 6; i >= 0; --i) {
        digits[i] = char('0' + mantissa % 10);
        mantissa /= 10;
    }
    out[1] = digits[0];
    out[2] = '.';
    std::memcpy(out + 3, digits + 1, 6);
    out[9] = 'E';
    out[10] = e < 0 ? '-' : '+';
    int ae = std::abs(e);
    out[11] = char('0' + ae / 10);
    out[12] = char('0' + ae % 10);
}

std::shared_ptr<const Generator> binaryValues(std::shared_ptr<const ValueSource> source) {
    return std::make_shared<BinaryValues>(std::move(source));
}

std::shared_ptr<const Generator> textValues(std::shared_ptr<const ValueSource> source) {
    return std::make_shared<TextValues>(std::move(source));
}

void answerValues(CommandContext& c, std::shared_ptr<const ValueSource> source, bool text) {
    if (text) {
        c.emptyAnswer = source->count() == 0;
        c.out.appendGenerated(textValues(std::move(source)));
        return;
    }
    auto gen = binaryValues(std::move(source));
    c.out.appendBlockHeader(gen->size());
    c.out.appendGenerated(std::move(gen));
}

}  // namespace qv::sim
