#include "qmpic/kernels/histogram2d.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "histogram/histogram2d_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using FloatApi = CQmFloatPicMemAPI_Base;
using Counts = std::vector<uint64_t>;

/// Bins that hold something already, some of them all they can; between bytes of no one.
class Bins {
  public:
    Bins(uint32_t bin_bytes, size_t count, size_t shift, uint32_t seed)
        : bytes_of_bin(bin_bytes),
          count_(count),
          shift_(kMargin + shift),
          bytes_(shift_ + count * bin_bytes + kMargin, kNobodys) {
        for (size_t i = 0; i < count; ++i) {
            const uint64_t value = (i + seed) % 5 == 0 ? ~0ull : i * 7;
            std::memcpy(&bytes_[shift_ + i * bin_bytes], &value, bin_bytes);
        }
    }
    void* data() { return &bytes_[shift_]; }
    Counts counts() const {
        Counts all(count_, 0);
        for (size_t i = 0; i < count_; ++i)
            std::memcpy(&all[i], &bytes_[shift_ + i * bytes_of_bin], bytes_of_bin);
        return all;
    }
    void add(Counts& counts, size_t i) const {
        counts[i] = (counts[i] + 1) & (bytes_of_bin == 4 ? 0xFFFFFFFF : ~0ull);
    }
    bool are_alone() const {
        for (size_t i = 0; i < bytes_.size(); ++i)
            if ((i < shift_ || i >= bytes_.size() - kMargin) && bytes_[i] != kNobodys) return false;
        return true;
    }

    uint32_t bytes_of_bin;

  private:
    static constexpr size_t kMargin = 64;
    static constexpr uint8_t kNobodys = 0x5A;
    size_t count_, shift_;
    std::vector<uint8_t> bytes_;
};

/// Now and then one that is long enough to be counted in another way, of few components.
Size draw_size(Round round, uint32_t& components) {
    if (round.number % 3 == 0) components = 2;  // whose two bytes may be counted as one word
    if (round.number % 8 != 0) return round.random.size(components);
    components = round.random(1, 3);
    const uint32_t width = round.random.one_of({61u, 211u, 1024u, 4099u});
    return {width, (1 << 17) / width + round.random(1, 3)};
}

/// Areas of one colour with a few other pixels.
void flatten(GuardedPicture& picture, Random& random) {
    const uint64_t value = picture.get(0, 0);
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i)
            if (random(0, 15) != 0) picture.set(i, y, value);
}

GuardedPicture& sparse(GuardedPicture& mask, Random& random) {
    for (uint32_t y = 0; y < mask.size().height; ++y)
        for (uint32_t x = 0; x < mask.size().width; ++x)
            if (random(0, 2) == 0) mask.set(x, y, 0);
    return mask;
}

struct Arguments {
    void* bins;
    uint32_t bin_bytes;
    const GuardedPicture& s;
    uint32_t bpc, a, b;
    const GuardedPicture& mask;
};
using Run = std::function<int(const Arguments&)>;

void check(const Run& run, uint32_t bits, bool masked, Round round) {
    Random& random = round.random;
    const uint32_t bpc = bits == 8 ? round.in_turn(std::vector<uint32_t>{8, 1, 7, 8, 4, 8, 0})
                                   : round.in_turn(depths(16));
    uint32_t components = random.components();
    const Size size = draw_size(round, components);
    GuardedPicture s({components, bits, bpc}, size, random);
    if (random(0, 2) == 0) flatten(s, random);
    GuardedPicture mask({1, 8, 8}, size, random);
    sparse(mask, random);
    uint32_t a = random(0, components - 1), b = random(0, components - 1);
    if (components == 2 && random(0, 1) != 0) a = 0, b = 1;
    const uint32_t side = bits == 8 ? bpc : 8, bin_bytes = random.one_of({4u, 8u});
    const uint32_t shift = random(0, 3);
    Bins bins(bin_bytes, size_t{1} << (2 * side), shift, round.number);
    Counts expected = bins.counts();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            if (masked && mask.get(x, y) == 0) continue;
            uint64_t first = s.get(x * components + a, y), second = s.get(x * components + b, y);
            if (bits == 16) first >>= bpc - 8, second >>= bpc - 8;
            const uint64_t index = (first << side) + second;
            if (index < expected.size()) bins.add(expected, index);
        }

    ASSERT_EQ(run({bins.data(), bin_bytes, s, bpc, a, b, mask}), QM_OK);

    ASSERT_EQ(bins.counts(), expected)
        << size.width << " x " << size.height << ": " << a << " and " << b << " of " << components
        << " x " << bpc << ", bins of " << bin_bytes;
    ASSERT_TRUE(bins.are_alone());
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kHistogram2D) {
        const Run run = [=](const Arguments& c) {
            return k.run(c.bins, c.bin_bytes, c.s.data(), c.s.stride(), c.s.format().components,
                         c.bpc, c.a, c.b, 77, 88, c.s.size().width, c.s.size().pixels);
        };
        all.push_back(
            {std::string(k.name), [=](Round round) { check(run, k.source.bits, false, round); }});
    }
    for (const auto& k : kHistogram2DUnderMask) {
        const Run run = [=](const Arguments& c) {
            return k.run(c.bins, c.bin_bytes, c.s.data(), c.s.stride(), c.s.format().components,
                         c.bpc, c.a, c.b, static_cast<const uint8_t*>(c.mask.data()),
                         c.mask.stride(), 77, 88, c.s.size().width, c.s.size().pixels);
        };
        all.push_back(
            {std::string(k.name), [=](Round round) { check(run, k.source.bits, true, round); }});
    }
    return all;
}

int up_to_16_bits(uint32_t components, uint32_t bpc) {
    return components == 0 ? QM_REJECTED : bpc <= 16 ? QM_OK : QM_NO_KERNEL;
}

const bool registered = add_cases(
    kernel_cases(),
    {{"CQmPicMemAPI_Base::GetHistogram2DEx",
      [](const EntryCall& c) {
          std::vector<uint32_t> bins(65536, 0);
          return Api::GetHistogram2DEx(bins.data(), 4, c.src, c.stride, c.components, c.bpc, 0,
                                       c.components - 1, 0, 0, c.width, c.size);
      },
      up_to_16_bits, false, false},
     {"CQmPicMemAPI_Base::GetHistogram2DUnderMask",
      [](const EntryCall& c) {
          std::vector<uint32_t> bins(65536, 0);
          return Api::GetHistogram2DUnderMask(
              bins.data(), 4, c.src, c.stride, c.components, c.bpc, 0, c.components - 1,
              static_cast<const uint8_t*>(c.src), c.stride, 0, 0, c.width, c.size);
      },
      up_to_16_bits, false, false}},
    {"CQmPicMemAPI_Base::GetHistogram2DUnderBinary", "CQmFloatPicMemAPI_Base::GetHistogram2DEx",
     "CQmFloatPicMemAPI_Base::GetHistogram2DUnderMask",
     "CQmFloatPicMemAPI_Base::GetHistogram2DUnderBinary"});

/// Bins that are not 0, by number.
template <class Bin>
std::vector<std::pair<size_t, uint64_t>> populated(const std::vector<Bin>& bins) {
    std::vector<std::pair<size_t, uint64_t>> found;
    for (size_t i = 0; i < bins.size(); ++i)
        if (bins[i] != 0) found.emplace_back(i, bins[i]);
    return found;
}
using Populated = std::vector<std::pair<size_t, uint64_t>>;

TEST(GetHistogram2DEx, PutsTheFirstComponentAbove) {
    const uint8_t s[9] = {1, 2, 3, 4, 5, 6, 1, 2, 3};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 9, 3, 8, 2, 0, 0, 0, 3, 3), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{3 * 256 + 1, 2}, {6 * 256 + 4, 1}}));
}

TEST(GetHistogram2DEx, OfAComponentWithItselfFillsTheDiagonal) {
    std::vector<uint8_t> s(256);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<uint8_t>(i);
    std::vector<uint64_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 8, s.data(), 256, 1, 8, 0, 0, 0, 0, 256, 256),
              QM_OK);
    for (size_t i = 0; i < bins.size(); ++i) ASSERT_EQ(bins[i], i % 257 == 0 ? 1u : 0u) << i;
}

TEST(GetHistogram2DEx, KeepsTheUpper8BitsOfWords) {  // of 12 bits and of 9
    const uint16_t s[2] = {0xABC, 0x123};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 4, 2, 12, 0, 1, 0, 0, 1, 1), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{0xAB12, 1}}));
    const uint16_t t[2] = {0x1FF, 0x003};
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, t, 4, 2, 9, 0, 1, 0, 0, 1, 1), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{0xAB12, 1}, {0xFF01, 1}}));
}

TEST(GetHistogram2DEx, DoesNotMaskStrayBits) {
    std::vector<uint32_t> bins(65536, 0);
    // Above 12 bits in the second: it counts in a bin of the next first value.
    const uint16_t s[4] = {0x010, 0x1020, 0x1010, 0x020};  // the other pixel is outside
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 8, 2, 12, 0, 1, 0, 0, 2, 2), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{256 + 0x102, 1}}));
    // 16 bins a side of 4 bits: 1, 18 is bin 34, and 16, 0 is outside.
    std::vector<uint32_t> few(256 + 1, 0);
    const uint8_t t[4] = {1, 18, 16, 0};
    EXPECT_EQ(Api::GetHistogram2DEx(few.data(), 4, t, 4, 2, 4, 0, 1, 0, 0, 2, 2), QM_OK);
    EXPECT_EQ(populated(few), (Populated{{34, 1}}));
}

TEST(GetHistogram2DEx, AddsToWhatIsThere) {
    const uint8_t s[2] = {0, 1};
    std::vector<uint32_t> bins(65536, 41);
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 2, 2, 8, 0, 1, 0, 0, 1, 1), QM_OK);
    EXPECT_EQ(bins[1], 42u);
    EXPECT_EQ(bins[0], 41u);
}

TEST(GetHistogram2DEx, CountsNothingInOtherBins) {
    const uint8_t s[2] = {0, 1}, mask[1] = {1};
    const float f[2] = {0, 1};
    for (const uint32_t bin_bytes : {0u, 1u, 2u, 5u, 16u}) {
        std::vector<uint32_t> bins(65536, 0);
        EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), bin_bytes, s, 2, 2, 8, 0, 1, 0, 0, 1, 1),
                  QM_OK);
        EXPECT_EQ(Api::GetHistogram2DUnderMask(bins.data(), bin_bytes, s, 2, 2, 8, 0, 1, mask, 1, 0,
                                               0, 1, 1),
                  QM_OK);
        EXPECT_EQ(
            FloatApi::GetHistogram2DEx(bins.data(), bin_bytes, f, 8, 2, 0, 1, 0, 1, 0, 0, 1, 1),
            QM_OK);
        EXPECT_TRUE(populated(bins).empty()) << bin_bytes;
    }
}

TEST(GetHistogram2DEx, DropsAnIncompleteLastRow) {
    const uint8_t s[4] = {1, 2, 3, 4};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 2, 1, 8, 0, 0, 0, 0, 2, 3), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{257, 1}, {514, 1}}));
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s, 2, 1, 8, 0, 0, 0, 0, 3, 2), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{257, 1}, {514, 1}}));
}

TEST(GetHistogram2DEx, RejectsNothingAndComponentsThatAreNotThere) {
    const uint8_t s[4] = {}, mask[2] = {1, 1};
    const float f[4] = {};
    std::vector<uint32_t> bins(65536, 0);
    struct Case {
        bool source, bins;
        uint32_t components, bpc, a, b, width;
        uint64_t size;
        int code;
    };
    for (const Case& c : {Case{true, true, 2, 8, 0, 1, 2, 2, QM_OK},
                          {false, true, 2, 8, 0, 1, 2, 2, QM_REJECTED},
                          {true, false, 2, 8, 0, 1, 2, 2, QM_REJECTED},
                          {true, true, 2, 8, 2, 1, 2, 2, QM_REJECTED},
                          {true, true, 2, 8, 0, 2, 2, 2, QM_REJECTED},
                          {true, true, 0, 8, 0, 0, 2, 2, QM_REJECTED},
                          {true, true, 2, 8, 0, 1, 0, 2, QM_REJECTED},
                          {true, true, 2, 8, 0, 1, 2, 0, QM_REJECTED},
                          {true, true, 2, 17, 0, 2, 2, 2, QM_REJECTED}}) {  // before the depth
        void* const to = c.bins ? bins.data() : nullptr;
        const void* const from = c.source ? s : nullptr;
        const float* const floats = c.source ? f : nullptr;
        EXPECT_EQ(Api::GetHistogram2DEx(to, 4, from, 4, c.components, c.bpc, c.a, c.b, 0, 0,
                                        c.width, c.size),
                  c.code);
        EXPECT_EQ(Api::GetHistogram2DUnderMask(to, 4, from, 4, c.components, c.bpc, c.a, c.b, mask,
                                               2, 0, 0, c.width, c.size),
                  c.code);
        EXPECT_EQ(FloatApi::GetHistogram2DEx(to, 4, floats, 8, c.components, 0, 1, c.a, c.b, 0, 0,
                                             c.width, c.size),
                  c.code);
        EXPECT_EQ(FloatApi::GetHistogram2DUnderMask(to, 4, floats, 8, c.components, 0, 1, c.a, c.b,
                                                    mask, 2, 0, 0, c.width, c.size),
                  c.code);
    }
}

TEST(GetHistogram2DUnderMask, CountsWhereTheMaskIsNot0) {
    const uint8_t s[8] = {1, 2, 3, 4, 5, 6, 7, 8}, mask[6] = {0, 1, 9, 255, 0, 9};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DUnderMask(bins.data(), 4, s, 4, 2, 8, 0, 1, mask, 3, 0, 0, 2, 4),
              QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{3 * 256 + 4, 1}, {5 * 256 + 6, 1}}));
}

TEST(GetHistogram2DUnderMask, CountsNothingWithoutAMask) {
    const uint8_t s[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const float f[4] = {0, 1, 0, 1};
    std::vector<uint32_t> bins(65536, 0);
    for (const uint32_t bpc : {8u, 12u})
        EXPECT_EQ(Api::GetHistogram2DUnderMask(bins.data(), 4, s, 4, 2, bpc, 0, 1, nullptr, 0, 0, 0,
                                               2, 2),
                  QM_OK);
    EXPECT_EQ(FloatApi::GetHistogram2DUnderMask(bins.data(), 4, f, 8, 2, 0, 1, 0, 1, nullptr, 0, 0,
                                                0, 2, 2),
              QM_OK);
    EXPECT_TRUE(populated(bins).empty());
    EXPECT_EQ(
        Api::GetHistogram2DUnderMask(bins.data(), 4, s, 4, 2, 17, 0, 1, nullptr, 0, 0, 0, 2, 2),
        QM_NO_KERNEL);
}

TEST(GetHistogram2DUnderBinary, IsOnlyAName) {
    const uint8_t s[2] = {}, mask[1] = {1};
    const float f[2] = {};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(Api::GetHistogram2DUnderBinary(bins.data(), 4, s, 2, 2, 8, 0, 1, mask, 1, 0, 0, 1, 1),
              QM_NO_KERNEL);
    EXPECT_EQ(
        Api::GetHistogram2DUnderBinary(nullptr, 0, nullptr, 0, 0, 0, 0, 0, nullptr, 0, 0, 0, 0, 0),
        QM_NO_KERNEL);
    EXPECT_EQ(FloatApi::GetHistogram2DUnderBinary(bins.data(), 4, f, 8, 2, 0, 1, 0, 1, mask, 1, 0,
                                                  0, 1, 1),
              QM_NO_KERNEL);
    EXPECT_EQ(FloatApi::GetHistogram2DUnderBinary(nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0, nullptr, 0,
                                                  0, 0, 0, 0),
              QM_NO_KERNEL);
    EXPECT_TRUE(populated(bins).empty());
}

TEST(FloatHistogram2D, HasStepsTowardZero) {
    // 0.5 * 255 = 127.5; a step of 0 and 255 are the limits.
    const float s[4] = {0.5f, 1, 0, 0.999f};
    std::vector<uint64_t> bins(65536, 0);
    EXPECT_EQ(FloatApi::GetHistogram2DEx(bins.data(), 8, s, 16, 2, 0, 1, 0, 1, 0, 0, 2, 2), QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{254, 1}, {127 * 256 + 255, 1}}));
}

TEST(FloatHistogram2D, CountsWhatFallsIntoABinWhereItFalls) {
    // With limits 0 and 255 a step is the value: 3 and -5 are 763, 1 and 300 are 556, -0.9 is 0.
    const float nan = std::numeric_limits<float>::quiet_NaN(),
                infinity = std::numeric_limits<float>::infinity();
    const float s[] = {3,   -5,   1,     300, -0.9f, 0,   -1,        2, 255, 256,
                       256, -1,   nan,   0,   0,     nan, infinity,  0, 0,   1e9,
                       0,   -1e9, 1e30f, 0,   nan,   nan, -16777216, 5};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(FloatApi::GetHistogram2DEx(bins.data(), 4, s, sizeof s, 2, 0, 255, 0, 1, 0, 0,
                                         std::size(s) / 2, std::size(s) / 2),
              QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{0, 1}, {556, 1}, {763, 1}, {65535, 1}}));
}

TEST(FloatHistogram2D, CountsNothingInAnEmptyRange) {  // 255 / 0: every step is NaN or infinite
    const float s[4] = {1, 1, 2, 2};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(FloatApi::GetHistogram2DEx(bins.data(), 4, s, 16, 2, 1, 1, 0, 1, 0, 0, 2, 2), QM_OK);
    EXPECT_TRUE(populated(bins).empty());
}

TEST(FloatHistogram2D, FindsRowsByWholeFloats) {  // of 10 bytes: at floats 0, 2, 5, 7
    float s[8];
    for (int i = 0; i < 8; ++i) s[i] = static_cast<float>(i);
    const uint8_t mask[4] = {1, 1, 0, 1};
    std::vector<uint32_t> bins(65536, 0);
    EXPECT_EQ(FloatApi::GetHistogram2DEx(bins.data(), 4, s, 10, 1, 0, 255, 0, 0, 0, 0, 1, 4),
              QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{0, 1}, {2 * 257, 1}, {5 * 257, 1}, {7 * 257, 1}}));
    EXPECT_EQ(FloatApi::GetHistogram2DUnderMask(bins.data(), 4, s, 10, 1, 0, 255, 0, 0, mask, 1, 0,
                                                0, 1, 4),
              QM_OK);
    EXPECT_EQ(populated(bins), (Populated{{0, 2}, {2 * 257, 2}, {5 * 257, 1}, {7 * 257, 2}}));
}

TEST(FloatHistogram2D, MatchesItsFormula) {
    for (uint32_t number = 0; number < 40; ++number) {
        Random random(number + 1);
        const uint32_t components = random(1, 5);
        const Size size = number % 10 == 0 ? Size{1024, 130} : random.size(components);
        GuardedPicture s({components, 32, 32}, size, random, 4);
        const bool masked = random(0, 1) != 0;
        GuardedPicture mask({1, 8, 8}, size, random);
        sparse(mask, random);
        const auto value = [&](uint32_t i, uint32_t y) {
            return std::bit_cast<float>(static_cast<uint32_t>(s.get(i, y)));
        };
        for (uint32_t y = 0; y < size.height; ++y)  // mostly within the limits
            for (uint32_t i = 0; i < s.samples(); ++i)
                if (random(0, 9) != 0)
                    s.set(
                        i, y,
                        std::bit_cast<uint32_t>(static_cast<float>(random(0, 999)) * 0.02f - 5.0f));
        const uint32_t a = random(0, components - 1), b = random(0, components - 1);
        const float min = -4.5f, max = 14;
        const uint32_t bin_bytes = random.one_of({4u, 8u});
        Bins bins(bin_bytes, 65536, 1, number);
        Counts expected = bins.counts();
        const float steps = 255 / (max - min);
        const auto step = [&](float from) {
            const double scaled = std::trunc(static_cast<double>((from - min) * steps));
            return scaled >= -0x1p31 && scaled < 0x1p31 ? scaled : -0x1p31;  // NaN, too
        };
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x) {
                const double index =
                    256 * step(value(x * components + a, y)) + step(value(x * components + b, y));
                if (index < 0 || index > 65535 || (masked && mask.get(x, y) == 0)) continue;
                bins.add(expected, static_cast<size_t>(index));
            }
        const auto* const floats = static_cast<const float*>(s.data());
        // Rows that are nearly 4 GiB apart wrap: that is another picture.
        if (uint64_t{s.stride()} * size.height > UINT32_MAX) continue;
        ASSERT_EQ(masked ? FloatApi::GetHistogram2DUnderMask(
                               bins.data(), bin_bytes, floats, s.stride(), components, min, max, a,
                               b, static_cast<const uint8_t*>(mask.data()), mask.stride(), 3, 4,
                               size.width, size.pixels)
                         : FloatApi::GetHistogram2DEx(bins.data(), bin_bytes, floats, s.stride(),
                                                      components, min, max, a, b, 3, 4, size.width,
                                                      size.pixels),
                  QM_OK);
        ASSERT_EQ(bins.counts(), expected) << number;
        ASSERT_TRUE(bins.are_alone());
    }
}

TEST(Histogram2D, NeedsNoMemory) {  // for what makes long calls fast
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const std::vector<uint8_t> s(1 << 18, 3);
    std::vector<uint32_t> bins(65536, 0);
    const uint32_t seen = each_failure(
        [&] {
            return Api::GetHistogram2DEx(bins.data(), 4, s.data(), 1024, 2, 8, 0, 1, 0, 0, 512,
                                         1 << 17);
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, QM_OK) << n;
            EXPECT_FALSE(outcome.threw);
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(populated(bins), (Populated{{3 * 257, 1 << 17}})) << n;
            bins[size_t{3} * 257] = 0;
        });
    EXPECT_EQ(seen, 1u);
    const auto small = with_failing(0, FailingAlloc::kOnce, [&] {
        return Api::GetHistogram2DEx(bins.data(), 4, s.data(), 32, 2, 8, 0, 1, 0, 0, 16, 256);
    });
    EXPECT_EQ(small.seen, 0u);
}

TEST(Histogram2D, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const std::vector<uint8_t> s(1 << 18, 3);
    std::vector<uint32_t> bins(65536, 0);
    const WatchedRegions regions;
    EXPECT_EQ(Api::GetHistogram2DEx(bins.data(), 4, s.data(), 1024, 2, 8, 0, 1, 0, 0, 512, 1 << 17),
              QM_OK);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
