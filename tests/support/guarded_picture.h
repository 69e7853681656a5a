#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "support/sanitizers.h"

/// Pictures for kernel tests. What is drawn for each of them: content with the values on which
/// kernels stumble, gaps between the rows, odd addresses, an incomplete last row, and where the
/// unreadable pages lie, so that a step outside either faults or is seen afterwards.

namespace qmpic::test {

struct Format {
    uint32_t components, bits, bpc;
    uint32_t bytes() const { return bits / 8; }
    uint64_t max() const { return (uint64_t{1} << bpc) - 1; }
};

struct Size {
    uint32_t width, height;
    uint64_t pixels = uint64_t{width} * height;  // more: an incomplete last row
};

class Random {
  public:
    explicit Random(uint64_t seed) : engine_(seed) {}
    /// low to high, both included.
    uint32_t operator()(uint32_t low, uint32_t high) {
        return low + static_cast<uint32_t>(engine_() % (uint64_t{high} - low + 1));
    }
    template <class T>
    T one_of(std::initializer_list<T> values) {
        return values.begin()[(*this)(0, static_cast<uint32_t>(values.size()) - 1)];
    }
    uint32_t any() { return static_cast<uint32_t>(engine_()); }

    /// One in four is an edge of the depth, one in four has any bits, the others keep to the depth.
    uint64_t sample(Format format) {
        const uint64_t max = format.max(), all = (uint64_t{1} << format.bits) - 1;
        switch ((*this)(0, 3)) {
        case 0: return one_of({uint64_t{0}, max - 1, max, max + 1, all}) & all;
        case 1: return any() & all;
        default: return any() & max;
        }
    }
    /// Up to 130 pixels a row and 6 rows, fewer of many components; now and then a long row.
    Size size(uint32_t components) {
        const uint32_t longest = (*this)(0, 9) == 0 ? 1100 : 130;
        const uint32_t width =
            (*this)(1, components < 10 ? longest : std::max(1u, 1300 / components));
        const uint32_t height = (*this)(1, 6), more = (*this)(0, width - 1);
        return {width, height, uint64_t{width} * height + more};
    }
    /// Counts where kernels change their ways, up to the greatest that there is.
    uint32_t components() {
        return (*this)(0, 1) ? (*this)(1, 9) : one_of({16u, 17u, 63u, 64u, 65u, 145u, 192u});
    }

  private:
    std::mt19937_64 engine_;
};

/// The depths for which kernels of a storage width may be called.
inline std::vector<uint32_t> depths(uint32_t bits) {
    if (bits == 8) return {1, 7, 8};
    if (bits == 16) return {9, 10, 11, 12, 13, 14, 15, 16};
    return {17, 24, 25, 31, 32};
}

class GuardedPicture {
  public:
    /// `unit`: strides are multiples of it.
    GuardedPicture(Format format, Size size, Random& random, uint32_t unit = 1)
        : format_(format), size_(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const auto in_pages = [&](size_t bytes) { return (bytes + page - 1) / page * page; };
        const size_t line = size_t{samples()} * format.bytes();
        const Place place = draw_place(random);
        const bool apart = place == kEachRow || place == kFarApart;
        stride_ = static_cast<uint32_t>(place == kEachRow ? in_pages(line) + page
                                        : place == kFarApart
                                            ? 0xFFFFFFFF / page * page - page * random(0, 3)
                                            : line + size_t{unit} * random(0, 5));
        const size_t used = size_t{stride_} * (size.height - 1) + line;
        const size_t body = apart ? in_pages(line) : in_pages(used + (place == kMiddle ? 64 : 0));
        const uint32_t runs = apart ? size.height : 1;
        const size_t step = apart ? stride_ : body + page;
        mapped_ = page + step * (runs - 1) + body + page;
        base_ = static_cast<uint8_t*>(
            mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        for (uint32_t i = 0; i < runs; ++i)
            mprotect(base_ + page + i * step, body, PROT_READ | PROT_WRITE);
        first_ = base_ + page;
        if (place == kBehind) first_ += body - used;
        if (place == kMiddle) first_ += random(0, 63);
        if (apart) first_ += body - line;
        if (apart) {
            for (uint32_t y = 0; y < size.height; ++y)
                gaps_.emplace_back(base_ + page + y * step, row(y));
        } else {
            uint8_t* gap = base_ + page;
            for (uint32_t y = 0; y < size.height; ++y) {
                gaps_.emplace_back(gap, row(y));
                gap = row(y) + line;
            }
            gaps_.emplace_back(gap, base_ + page + body);
        }
        for (const auto& bytes : gaps_)
            for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random.any());
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) set(i, y, random.sample(format));
    }
    ~GuardedPicture() { munmap(base_, mapped_); }
    GuardedPicture(const GuardedPicture&) = delete;
    GuardedPicture& operator=(const GuardedPicture&) = delete;

    void* data() const { return first_; }
    uint32_t stride() const { return stride_; }
    uint32_t samples() const { return size_.width * format_.components; }
    Format format() const { return format_; }
    Size size() const { return size_; }

    /// A sample as it is stored; the bits of it for a float.
    uint64_t get(uint32_t sample, uint32_t y) const {
        uint64_t value = 0;
        std::memcpy(&value, row(y) + size_t{sample} * format_.bytes(), format_.bytes());
        return value;
    }
    void set(uint32_t sample, uint32_t y, uint64_t value) {
        std::memcpy(row(y) + size_t{sample} * format_.bytes(), &value, format_.bytes());
    }
    /// Draws all samples anew, none above `top`: for tables, which are not masked.
    void keep_below(uint64_t top, Random& random) {
        for (uint32_t y = 0; y < size_.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) set(i, y, random.sample(format_) % (top + 1));
    }
    /// All samples, row by row.
    std::vector<uint64_t> content() const {
        std::vector<uint64_t> values;
        for (uint32_t y = 0; y < size_.height; ++y)
            for (uint32_t i = 0; i < samples(); ++i) values.push_back(get(i, y));
        return values;
    }
    /// Everything readable that is not the picture: no kernel may write it.
    std::vector<uint8_t> outside() const {
        std::vector<uint8_t> bytes;
        for (const auto& gap : gaps_) bytes.insert(bytes.end(), gap.begin(), gap.end());
        return bytes;
    }

  private:
    // Where the unreadable pages lie: before the first row, behind the last, both somewhere near,
    // behind each row; or the rows are nearly 4 GiB apart with nothing in between.
    enum Place { kBefore, kBehind, kMiddle, kEachRow, kFarApart };
    static Place draw_place(Random& random) {
        const uint32_t drawn = random(0, 79);
        // ThreadSanitizer's tables would have to cover the distance.
        return drawn >= 76 && !kThreadSanitizer ? kFarApart : static_cast<Place>(drawn % 4);
    }

    uint8_t* row(uint32_t y) const { return first_ + size_t{stride_} * y; }

    Format format_;
    Size size_;
    uint32_t stride_{};
    uint8_t* base_{};
    uint8_t* first_{};
    size_t mapped_{};
    std::vector<std::span<uint8_t>> gaps_;
};

}  // namespace qmpic::test
