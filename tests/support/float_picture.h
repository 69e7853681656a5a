#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "support/guarded_picture.h"

/// Pictures of floats for tests: rows at whole floats whatever the stride, guard pages, gaps, odd
/// addresses, and content with the floats on which kernels stumble.

namespace qmpic::test {

inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// One in four is an edge, one in four has any bits, the others are plain numbers.
inline float draw_float(Random& random) {
    switch (random(0, 3)) {
    case 0:
        return random.one_of({0.0f,       -0.0f, 1.0f,  -1.0f,   2.0f,     0.5f,    kInfinity,
                              -kInfinity, kNan,  -kNan, FLT_MAX, -FLT_MAX, FLT_MIN, 1e-45f,
                              -1e-45f,    1e20f, 2e20f, -2e20f,  255.0f,   300.7f});
    case 1: return std::bit_cast<float>(random.any());
    default: return static_cast<float>(static_cast<int32_t>(random.any())) / 65536.0f;
    }
}

/// Bits for comparisons of what arithmetic made: which NaN comes out is the processor's choice.
inline uint32_t comparable(float value) {
    return std::isnan(value) ? 0x7FC00000u : std::bit_cast<uint32_t>(value);
}
inline std::vector<uint64_t> comparable(const std::vector<float>& values) {
    std::vector<uint64_t> bits;
    for (const float value : values) bits.push_back(comparable(value));
    return bits;
}

class FloatPicture {
  public:
    enum Shape { kStrided, kPacked };

    FloatPicture(uint32_t components, Size size, Random& random, Shape shape = kStrided)
        : components_(components), size_(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t line = size_t{samples()} * 4;
        const uint32_t gap = random(0, 2) == 0 ? 0 : random(0, 23);  // also no whole floats
        const uint32_t place = random(0, 2), odd = random(0, 63);
        stride_ = static_cast<uint32_t>(line) + (shape == kPacked ? 0 : gap);
        const size_t used = place_of_row(size.height - 1) + line;
        const size_t body = (used + 64 + page - 1) / page * page;
        mapped_ = page + body + page;
        base_ = static_cast<uint8_t*>(
            mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base_ + page, body, PROT_READ | PROT_WRITE);
        body_ = {base_ + page, body};
        // Right behind a page that may not be read, right before one, or at an odd address.
        first_ = base_ + page + (place == 0 ? 0 : place == 1 ? body - used : odd);
        for (uint8_t& byte : body_) byte = static_cast<uint8_t>(random.any());
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) set(i, y, draw_float(random));
    }
    ~FloatPicture() { munmap(base_, mapped_); }
    FloatPicture(const FloatPicture&) = delete;
    FloatPicture& operator=(const FloatPicture&) = delete;

    float* data() const { return reinterpret_cast<float*>(first_); }
    uint32_t stride() const { return stride_; }
    uint32_t components() const { return components_; }
    uint32_t samples() const { return size_.width * components_; }
    Size size() const { return size_; }

    float get(uint32_t sample, uint32_t y) const {
        float value;
        std::memcpy(&value, at(sample, y), 4);
        return value;
    }
    void set(uint32_t sample, uint32_t y, float value) { std::memcpy(at(sample, y), &value, 4); }
    uint32_t bits(uint32_t sample, uint32_t y) const {
        uint32_t value;
        std::memcpy(&value, at(sample, y), 4);
        return value;
    }

    /// All samples, row by row.
    std::vector<float> content() const {
        std::vector<float> values;
        for (uint32_t y = 0; y < size_.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) values.push_back(get(i, y));
        return values;
    }
    std::vector<uint64_t> all_bits() const {
        std::vector<uint64_t> values;
        for (uint32_t y = 0; y < size_.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) values.push_back(bits(i, y));
        return values;
    }
    /// Everything readable that is not the picture: no kernel may write it.
    std::vector<uint8_t> outside() const {
        std::vector<uint8_t> bytes;
        const uint8_t* next = body_.data();
        for (uint32_t y = 0; y < size_.height; ++y) {
            const uint8_t* const row = at(0, y);
            bytes.insert(bytes.end(), next, row);
            next = row + size_t{samples()} * 4;
        }
        bytes.insert(bytes.end(), next, static_cast<const uint8_t*>(body_.data()) + body_.size());
        return bytes;
    }

  private:
    size_t place_of_row(uint32_t y) const { return (size_t{y} * stride_ >> 2) * 4; }
    uint8_t* at(uint32_t sample, uint32_t y) const {
        return first_ + place_of_row(y) + size_t{sample} * 4;
    }

    uint32_t components_;
    Size size_;
    uint32_t stride_{};
    uint8_t* base_{};
    uint8_t* first_{};
    size_t mapped_{};
    std::span<uint8_t> body_;
};

/// Memory of which rows 0 and 1 of a picture with a stride of 2^31 can be touched, and the floats
/// where a third would be in 64 bits cannot: the third is the first.
class WrappedRows {
  public:
    static constexpr uint32_t kStride = 0x80000000;
    static constexpr size_t kPage = 4096;

    WrappedRows() {
        base_ = static_cast<uint8_t*>(
            mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        mprotect(base_, kPage, PROT_READ | PROT_WRITE);
        mprotect(base_ + kStride, kPage, PROT_READ | PROT_WRITE);
    }
    ~WrappedRows() { munmap(base_, kBytes); }
    WrappedRows(const WrappedRows&) = delete;
    WrappedRows& operator=(const WrappedRows&) = delete;

    float* row(uint32_t y) const {
        return reinterpret_cast<float*>(base_ + (y % 2 == 0 ? 0 : size_t{kStride}));
    }

  private:
    static constexpr size_t kBytes = size_t{kStride} * 2 + 4096;
    uint8_t* base_;
};

}  // namespace qmpic::test
