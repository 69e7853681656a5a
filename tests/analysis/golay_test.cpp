#include "qmpic/kernels/golay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "analysis/golay_kernels.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

// ----- The filters in the plainest words ---------------------------------------------------------

double gen_fact(int a, int b) {
    double product = 1;
    for (int j = a - b + 1; j <= a; ++j) product *= j;
    return product;
}

/// Gram polynomials of one half-width, remembered.
class Gram {
  public:
    explicit Gram(int m) : m_(m) {}
    double operator()(int i, int k, int s) {
        if (k < 0) return 0;
        if (k == 0) return s == 0 ? 1 : 0;
        const auto found = known_.find({i, k, s});
        if (found != known_.end()) return found->second;
        const double d = static_cast<double>(k) * (2 * m_ - k + 1);
        const double lower = s == 0 ? 0 : s * (*this)(i, k - 1, s - 1);
        const double value = (4 * k - 2) / d * (i * (*this)(i, k - 1, s) + lower) -
                             ((k - 1) * (2 * m_ + k)) / d * (*this)(i, k - 2, s);
        return known_[{i, k, s}] = value;
    }
    double weight(int i, int t, int n, int s) {
        double sum = 0;
        for (int k = 0; k <= n; ++k)
            sum += (2 * k + 1) * gen_fact(2 * m_, k) / gen_fact(2 * m_ + k + 1, k + 1) *
                   (*this)(i, k, 0) * (*this)(t, k, s);
        return sum;
    }

  private:
    int m_;
    std::map<std::tuple<int, int, int>, double> known_;
};

int32_t whole(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
    return static_cast<int32_t>(value);
}

/// A line of one component that is filtered. All integers of it wrap at 32 bits.
using Line = std::vector<uint64_t>;

struct Filter {
    int m, n, s;
    double scale;
    uint32_t bits, bpc;
    std::vector<double> inside = {};               ///< a weight a tap
    std::vector<std::vector<int32_t>> fixed = {};  ///< [place][tap]

    void weigh() {
        Gram gram(m);
        for (int j = -m; j <= m; ++j) {
            inside.push_back(gram.weight(j, 0, n, s));
            fixed.emplace_back();
            for (int i = -m; i <= m; ++i)
                fixed.back().push_back(whole(gram.weight(i, j, n, s) * scale));
        }
    }

    uint64_t finished(uint32_t sum) const {
        const int64_t value = static_cast<int32_t>(sum);
        if (s == 0) {
            const int64_t down = value >= 0 ? value / 1024 : -((-value + 1023) / 1024);
            return static_cast<uint64_t>(
                std::min(std::max(down, int64_t{0}), (int64_t{1} << bpc) - 1));
        }
        const uint64_t size = static_cast<uint64_t>(value < 0 ? -value : value);
        if (bits == 8) return std::min(size, uint64_t{65535}) / 256;
        return std::min(size, (uint64_t{1} << 2 * bpc) - 1) >> bpc;
    }

    std::vector<Line> of(const std::vector<Line>& lines) const {
        const int window = 2 * m + 1;
        std::vector<Line> out = lines;
        for (size_t line = 0; line < lines.size(); ++line) {
            const Line& from = lines[line];
            const int length = static_cast<int>(from.size());
            for (int x = 0; x < length; ++x) {
                const int first = std::clamp(x - m, 0, length - window);
                const int place = x - first;  // of the fit in the window
                uint32_t sum = 0;
                for (int j = 0; j < window; ++j) {
                    const uint64_t v = from[static_cast<size_t>(first + j)];
                    const auto tap = static_cast<size_t>(j);
                    const auto kept = static_cast<double>(v % (1u << bpc));
                    sum += place == m
                               ? static_cast<uint32_t>(whole(kept * inside[tap] * scale))
                               : static_cast<uint32_t>(fixed[static_cast<size_t>(place)][tap]) *
                                     static_cast<uint32_t>(v);
                }
                out[line][static_cast<size_t>(x)] = finished(sum);
            }
        }
        return out;
    }
};

std::vector<Line> transposed(const std::vector<Line>& lines) {
    std::vector<Line> out(lines[0].size(), Line(lines.size()));
    for (size_t y = 0; y < lines.size(); ++y)
        for (size_t x = 0; x < lines[0].size(); ++x) out[x][y] = lines[y][x];
    return out;
}

enum Way { kSmooth, kEdgeX, kEdgeY, kEdgeXY };

Filter filter_of(Way way, Format format, int m, uint32_t order) {
    Filter filter{m,
                  std::min(static_cast<int>(order), 2 * m),
                  way == kSmooth ? 0 : 1,
                  format.bits == 8 || way == kSmooth ? 1024.0 : 65535.0,
                  format.bits,
                  format.bpc};
    filter.weigh();
    return filter;
}

std::vector<Line> filtered(const std::vector<Line>& rows, Way way, const Filter& filter) {
    const auto along_columns = [&](const std::vector<Line>& of) {
        return transposed(filter.of(transposed(of)));
    };
    switch (way) {
    case kSmooth: return along_columns(filter.of(rows));
    case kEdgeX: return filter.of(rows);
    case kEdgeY: return along_columns(rows);
    default: break;
    }
    std::vector<Line> x = filter.of(rows);
    const std::vector<Line> y = along_columns(rows);
    for (size_t r = 0; r < x.size(); ++r)
        for (size_t i = 0; i < x[r].size(); ++i) x[r][i] = std::max(x[r][i], y[r][i]);
    return x;
}

// ----- Calls -------------------------------------------------------------------------------------

/// Of either storage, with the arguments of both.
struct Kernel {
    std::string name;
    GolayKernel8* bytes;
    GolayKernel16* words;
    uint32_t components;  // 0: any

    int operator()(void* dst, const void* src, Format format, uint32_t width, uint32_t height,
                   uint32_t stride, int half, uint32_t order) const {
        return bytes ? bytes(dst, src, width, height, stride, format.components, half, order)
                     : words(dst, src, width, height, stride, format.bpc, format.components, half,
                             order);
    }
    uint32_t bits() const { return bytes ? 8 : 16; }
    Way way() const {
        if (name.starts_with("golay_smooth")) return kSmooth;
        return name.starts_with("golay_edgeXY")  ? kEdgeXY
               : name.starts_with("golay_edgeX") ? kEdgeX
                                                 : kEdgeY;
    }
};

std::vector<Kernel> all_kernels() {
    std::vector<Kernel> all;
    for (const auto& kernel : kGolay8)
        all.push_back({std::string(kernel.name), kernel.run, nullptr, kernel.source.components});
    for (const auto& kernel : kGolay16)
        all.push_back({std::string(kernel.name), nullptr, kernel.run, kernel.source.components});
    return all;
}

std::vector<Kernel> kernels_of(Way way) {
    std::vector<Kernel> some;
    for (const Kernel& kernel : all_kernels())
        if (kernel.way() == way) some.push_back(kernel);
    return some;
}

// ----- A case a kernel ---------------------------------------------------------------------------

uint32_t draw_components(Random& random) {
    return random(0, 3) ? random(1, 9) : random.one_of({16u, 17u, 63u, 64u, 65u, 145u, 192u});
}

void check(const Kernel& kernel, Round round) {
    Random& random = round.random;
    const uint32_t bpc = kernel.bits() == 8 ? 8 : round.in_turn(depths(16));
    const uint32_t components = kernel.components ? kernel.components : draw_components(random);
    const Format format{components, kernel.bits(), bpc};
    const uint32_t half = random(0, 9) ? random(1, 4) : random(5, 12);
    // All orders that there are, one that is too great, the negative ones.
    const uint32_t order =
        random(0, 19) ? random(0, 2 * half + 1) : random.one_of({0xFFFFFFFFu, 0x80000000u});
    const uint32_t longest = components < 10 ? 130 : std::max(1u, 600 / components);
    const uint32_t width = 2 * half + 1 + (random(0, 3) ? random(0, longest) : random(0, 2));
    const uint32_t height = 2 * half + 1 + random(0, 3);
    const Size size{width, height};

    // One stride serves both pictures: one of them is guarded, or both are one.
    GuardedPicture guarded(format, size, random);
    const uint32_t kind = guarded.stride() > 1u << 22 ? 0 : random(0, 2);  // in place, to it, from
    const size_t line = size_t{width} * format.components * format.bytes(),
                 used = size_t{guarded.stride()} * (height - 1) + line;
    std::vector<uint8_t> other(kind == 0 ? 0 : used + 1);
    for (uint8_t& byte : other) byte = static_cast<uint8_t>(random.any());
    const auto other_sample = [&](uint32_t i, uint32_t y) {
        uint64_t value = 0;
        std::memcpy(&value, &other[1 + size_t{y} * guarded.stride() + i * format.bytes()],
                    format.bytes());
        return value;
    };
    const auto each_sample = [&](auto visit) {
        for (uint32_t c = 0; c < components; ++c)
            for (uint32_t y = 0; y < height; ++y)
                for (uint32_t x = 0; x < width; ++x) visit(c, y, x, x * components + c);
    };
    if (kind == 1 && random(0, 1))  // any bits, or some of a whole picture
        each_sample([&](uint32_t, uint32_t y, uint32_t, uint32_t i) {
            const uint64_t value = random.sample(format);
            std::memcpy(&other[1 + size_t{y} * guarded.stride() + i * format.bytes()], &value,
                        format.bytes());
        });

    std::vector<std::vector<Line>> planes(components, std::vector<Line>(height, Line(width)));
    each_sample([&](uint32_t c, uint32_t y, uint32_t x, uint32_t i) {
        planes[c][y][x] = kind == 1 ? other_sample(i, y) : guarded.get(i, y);
    });
    const Filter filter = filter_of(kernel.way(), format, static_cast<int>(half), order);
    for (auto& plane : planes) plane = filtered(plane, kernel.way(), filter);
    std::vector<uint8_t> other_after = other;
    const std::vector<uint64_t> guarded_before = guarded.content();
    std::vector<uint64_t> guarded_after = guarded_before;
    each_sample([&](uint32_t c, uint32_t y, uint32_t x, uint32_t i) {
        const uint64_t value = planes[c][y][x];
        if (kind == 2)
            std::memcpy(&other_after[1 + size_t{y} * guarded.stride() + i * format.bytes()], &value,
                        format.bytes());
        else
            guarded_after[size_t{y} * width * components + i] = value;
        round.digest.add(value);
    });
    const auto outside = guarded.outside();

    void* const dst = kind == 2 ? &other[1] : guarded.data();
    const void* const src = kind == 1 ? &other[1] : guarded.data();
    ASSERT_EQ(
        kernel(dst, src, format, width, height, guarded.stride(), static_cast<int>(half), order),
        QM_OK);

    ASSERT_TRUE(guarded.content() == guarded_after && other == other_after)
        << width << " x " << height << " pixels, " << components << " x " << bpc << ", half-width "
        << half << ", order " << order << ", kind " << kind;
    ASSERT_EQ(guarded.outside(), outside);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const Kernel& kernel : all_kernels())
        all.push_back({kernel.name, [=](Round round) { check(kernel, round); }, 32});
    return all;
}

const bool registered = add_cases(kernel_cases());

// ----- Worked numbers ----------------------------------------------------------------------------

/// A picture of words or bytes, to be filtered with each of the kernels.
struct Picture {
    Format format;
    uint32_t width, height;
    std::vector<uint64_t> samples;

    template <class Value>
    Picture(Format format_, uint32_t width_, uint32_t height_, Value value)
        : format(format_), width(width_), height(height_) {
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x)
                for (uint32_t c = 0; c < format.components; ++c)
                    samples.push_back(static_cast<uint64_t>(value(x, y)));
    }
    uint64_t at(uint32_t x, uint32_t y) const {
        return samples[(size_t{y} * width + x) * format.components];
    }
    uint32_t stride() const { return width * format.components * format.bytes(); }

    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> all(samples.size() * format.bytes());
        for (size_t i = 0; i < samples.size(); ++i)
            std::memcpy(&all[i * format.bytes()], &samples[i], format.bytes());
        return all;
    }
    Picture filtered(const Kernel& kernel, int half, uint32_t order) const {
        std::vector<uint8_t> of = bytes();
        EXPECT_EQ(kernel(of.data(), of.data(), format, width, height, stride(), half, order),
                  QM_OK);
        Picture out = *this;
        for (size_t i = 0; i < samples.size(); ++i) {
            out.samples[i] = 0;
            std::memcpy(&out.samples[i], &of[i * format.bytes()], format.bytes());
        }
        return out;
    }
};

Format format_for(const Kernel& kernel, uint32_t bpc) {
    return {kernel.components ? kernel.components : 2, kernel.bits(), kernel.bits() == 8 ? 8 : bpc};
}

TEST(Golay, SmoothsByAMeanWithOrder0) {
    for (const Kernel& kernel : kernels_of(kSmooth)) {
        const Picture spot(format_for(kernel, 12), 15, 13,
                           [](uint32_t x, uint32_t y) { return x == 7 && y == 6 ? 255 : 0; });
        const Picture out = spot.filtered(kernel, 2, 0);
        for (uint32_t y = 0; y < 13; ++y)
            for (uint32_t x = 0; x < 15; ++x) {
                const bool near = x >= 5 && x <= 9 && y >= 4 && y <= 8;
                EXPECT_EQ(out.at(x, y), near ? 10u : 0u) << x << ' ' << y;  // 255 / 5 / 5
            }
    }
}

TEST(Golay, SmoothsByTheClassicalWeightsWithOrder2) {
    // 4000 * (12, 17, 12) / 35 is 1371, 1942, 1371, and so once more; the others are below 0.
    const uint64_t expected[3][3] = {{470, 665, 470}, {665, 943, 665}, {470, 665, 470}};
    const Kernel kernel{"golay_smooth_Nx16", nullptr, golay_smooth_Nx16, 0};
    const Picture spot(format_for(kernel, 12), 15, 13,
                       [](uint32_t x, uint32_t y) { return x == 7 && y == 6 ? 4000 : 0; });
    const Picture out = spot.filtered(kernel, 2, 2);
    for (uint32_t y = 0; y < 13; ++y)
        for (uint32_t x = 0; x < 15; ++x) {
            const bool near = x >= 6 && x <= 8 && y >= 5 && y <= 7;
            EXPECT_EQ(out.at(x, y), near ? expected[y - 5][x - 6] : 0u) << x << ' ' << y;
        }
}

TEST(Golay, CutsProductsInsideAndWeightsAtTheBorder) {
    // 4000 / 3 * 1024 is 1365333.3, cut to 1365333; the weight 341.3 is cut to 341.
    const Kernel kernel{"golay_smooth_Nx16", nullptr, golay_smooth_Nx16, 0};
    const Picture flat(format_for(kernel, 12), 7, 6, [](uint32_t, uint32_t) { return 4000; });
    const Picture out = flat.filtered(kernel, 1, 0);
    for (uint32_t y = 0; y < 6; ++y)
        for (uint32_t x = 0; x < 7; ++x) {
            const bool side = x == 0 || x == 6, end = y == 0 || y == 5;
            EXPECT_EQ(out.at(x, y), side ? (end ? 3992u : 3996u) : (end ? 3995u : 3999u));
        }
}

TEST(Golay, KeepsAConstantPictureUpToCutting) {
    for (const Kernel& kernel : kernels_of(kSmooth))
        for (int half = 1; half <= 6; ++half)
            for (uint32_t order = 0; order <= 5; ++order)
                for (const int value : {0, 1, 35, 77, 254, 255}) {
                    const Picture flat(format_for(kernel, 11), 16, 14,
                                       [=](uint32_t, uint32_t) { return value; });
                    const Picture out = flat.filtered(kernel, half, order);
                    const auto m = static_cast<uint32_t>(half);
                    for (uint32_t y = m; y < 14 - m; ++y)
                        for (uint32_t x = m; x < 16 - m; ++x) {
                            EXPECT_LE(out.at(x, y), static_cast<uint64_t>(value));
                            EXPECT_GE(out.at(x, y) + 2, static_cast<uint64_t>(value));
                        }
                }
}

TEST(Golay, FindsNoEdgeInAConstantPictureOrAlongARamp) {
    for (const Kernel& kernel : all_kernels()) {
        if (kernel.way() == kSmooth) continue;
        const bool x_only = kernel.way() == kEdgeX, y_only = kernel.way() == kEdgeY;
        for (int half = 1; half <= 6; ++half)
            for (uint32_t order = 0; order <= 5; ++order) {
                const auto m = static_cast<uint32_t>(half);
                const Format format = format_for(kernel, 9);
                const Picture flat(format, 16, 15, [](uint32_t, uint32_t) { return 255; });
                const Picture ramp(format, 16, 15, [=](uint32_t x, uint32_t y) {
                    return x_only ? 17 * y : y_only ? 15 * x : 9;
                });
                for (const Picture* picture : {&flat, &ramp}) {
                    const Picture out = picture->filtered(kernel, half, order);
                    for (uint32_t y = m; y < 15 - m; ++y)
                        for (uint32_t x = m; x < 16 - m; ++x)
                            EXPECT_EQ(out.at(x, y), 0u) << kernel.name;
                }
            }
    }
}

TEST(Golay, FindsAnEdgeAtTheBorderOfAConstantPictureWhereCutWeightsLeaveOne) {
    const Kernel kernel{"golay_edgeX_1x8", golay_edgeX_1x8, nullptr, 1};
    const Picture flat(format_for(kernel, 8), 20, 9, [](uint32_t, uint32_t) { return 255; });
    const Picture out = flat.filtered(kernel, 4, 2);
    uint64_t greatest = 0;
    for (uint32_t x = 0; x < 20; ++x) {
        if (x >= 4 && x < 16) {
            EXPECT_EQ(out.at(x, 4), 0u);
        }
        greatest = std::max(greatest, out.at(x, 4));
    }
    EXPECT_EQ(greatest, 1u);
}

TEST(Golay, CutsOvershootAtBlackAndWhite) {
    for (const Kernel& kernel : kernels_of(kSmooth))
        for (const uint32_t bpc : {9u, 12u, 16u}) {
            const Format format = format_for(kernel, bpc);
            const Picture step(format, 20, 9, [=](uint32_t x, uint32_t) {
                return x < 10 ? uint64_t{0} : format.max();
            });
            const Picture out = step.filtered(kernel, 2, 2);
            // The step's foot and head, where the parabola leaves the range: -3 / 35 of it.
            for (uint32_t y = 2; y < 7; ++y) {
                for (uint32_t x = 0; x <= 8; ++x)
                    if (x == 8) {
                        EXPECT_EQ(out.at(x, y), 0u);
                    }
                EXPECT_GE(out.at(11, y), format.max() - 1);
                EXPECT_GT(out.at(9, y), 0u);
                EXPECT_LT(out.at(10, y), format.max());
            }
        }
}

TEST(Golay, ScalesSlopesBy1024At8Bits) {
    for (const Kernel& kernel : all_kernels()) {
        if (kernel.way() == kSmooth || kernel.bits() != 8) continue;
        const Picture ramp(format_for(kernel, 8), 12, 12, [&](uint32_t x, uint32_t y) {
            return 10 * (kernel.way() == kEdgeX ? x : y);
        });
        const Picture out = ramp.filtered(kernel, 1, 1);  // weights -1/2, 0, 1/2
        for (uint32_t i = 0; i < 12; ++i) EXPECT_EQ(out.at(i, i), 40u) << kernel.name;
    }
}

TEST(Golay, ScalesSlopesBy65535At16Bits) {
    for (const Kernel& kernel : all_kernels()) {
        if (kernel.way() == kSmooth || kernel.bits() != 16) continue;
        const Picture ramp(format_for(kernel, 12), 12, 12, [&](uint32_t x, uint32_t y) {
            return 100 * (kernel.way() == kEdgeX ? x : y);
        });
        const Picture out = ramp.filtered(kernel, 1, 2);
        for (uint32_t i = 1; i < 11; ++i) EXPECT_EQ(out.at(i, i), 1599u) << kernel.name;
    }
}

TEST(Golay, LimitsSlopes) {
    for (const Kernel& kernel : kernels_of(kEdgeX))
        for (const uint32_t bpc : {9u, 12u, 14u}) {
            const Format format = format_for(kernel, bpc);
            const Picture step(format, 8, 3, [=](uint32_t x, uint32_t) {
                return x < 4 ? uint64_t{0} : format.max();
            });
            const Picture out = step.filtered(kernel, 1, 1);
            EXPECT_EQ(out.at(3, 1), format.max());
            EXPECT_EQ(out.at(4, 1), format.max());
            EXPECT_EQ(out.at(2, 1), 0u);
        }
}

TEST(Golay, LosesProductsBeyond32BitsIn16BitSlopes) {
    // Weights 1, -8, 0, 8, -1 over 12: 65535 * 8/12 * 65535 does not fit, and is 0x80000000.
    const Kernel kernel{"golay_edgeX_Nx16", nullptr, golay_edgeX_Nx16, 0};
    const Picture spot({1, 16, 16}, 11, 5, [](uint32_t x, uint32_t) { return x == 5 ? 65535 : 0; });
    const Picture out = spot.filtered(kernel, 2, 3);
    EXPECT_EQ(out.at(3, 2), 5461u);
    EXPECT_EQ(out.at(4, 2), 32768u);
    EXPECT_EQ(out.at(5, 2), 0u);
    EXPECT_EQ(out.at(6, 2), 32768u);
    EXPECT_EQ(out.at(7, 2), 5461u);
    const Picture pair({1, 16, 16}, 11, 5,
                       [](uint32_t x, uint32_t) { return x == 4 || x == 6 ? 65535 : 0; });
    EXPECT_EQ(pair.filtered(kernel, 2, 3).at(5, 2), 0u);  // two of them wrap to nothing
}

// ----- Properties --------------------------------------------------------------------------------

TEST(Golay, LetsPolynomialsOfItsOrderPass) {
    for (const Kernel& kernel : kernels_of(kSmooth))
        for (const uint32_t bpc : {10u, 12u, 16u})
            for (int half = 1; half <= 5; ++half)
                for (uint32_t order = 0; order <= std::min(5u, 2u * static_cast<uint32_t>(half));
                     ++order) {
                    const Format format = format_for(kernel, bpc);
                    constexpr uint32_t kEdge = 24;
                    const auto top = static_cast<double>(format.max());
                    // A power of each direction, from 0 to a half of the range each.
                    const auto value = [=](uint32_t x, uint32_t y) {
                        const double u = (2.0 * x - (kEdge - 1)) / (kEdge - 1),
                                     v = (2.0 * y - (kEdge - 1)) / (kEdge - 1);
                        const double sum = std::pow(u, order) + std::pow(v, order);
                        return std::lround(top * (sum + 2) / 4);
                    };
                    const Picture picture(format, kEdge, kEdge, value);
                    const Picture out = picture.filtered(kernel, half, order);
                    const auto m = static_cast<uint32_t>(half);
                    for (uint32_t y = m; y < kEdge - m; ++y)
                        for (uint32_t x = m; x < kEdge - m; ++x)
                            ASSERT_NEAR(static_cast<double>(out.at(x, y)),
                                        static_cast<double>(picture.at(x, y)), 2)
                                << bpc << " bits, half-width " << half << ", order " << order;
                }
}

/// Random pictures of many shapes, for properties of calls.
template <class Check>
void for_random_pictures(Way way, Check check) {
    Random random(11);
    for (const Kernel& kernel : kernels_of(way))
        for (uint32_t number = 0; number < 12; ++number) {
            const uint32_t half = random(1, 3), order = random(0, 2 * half), bpc = random(9, 16),
                           width = random(2 * half + 1, 40);
            const uint32_t height = random(2 * half + 1, 40);
            const Format format = format_for(kernel, bpc);
            const Picture picture(format, width, height,
                                  [&](uint32_t, uint32_t) { return random.any() & format.max(); });
            check(kernel, picture, static_cast<int>(half), order);
        }
}

/// The kernel of another way and the same layout.
Kernel sibling(const Kernel& kernel, Way way) {
    for (const Kernel& other : kernels_of(way))
        if (other.bits() == kernel.bits() && other.components == kernel.components) return other;
    ADD_FAILURE() << kernel.name;
    return kernel;
}

TEST(Golay, FindsInColumnsWhatItFindsInTheRowsOfTheTransposedPicture) {
    for_random_pictures(
        kEdgeY, [](const Kernel& kernel, const Picture& picture, int half, uint32_t order) {
            const Picture turned(picture.format, picture.height, picture.width,
                                 [&](uint32_t x, uint32_t y) { return picture.at(y, x); });
            const Picture y = picture.filtered(kernel, half, order),
                          x = turned.filtered(sibling(kernel, kEdgeX), half, order);
            for (uint32_t row = 0; row < picture.height; ++row)
                for (uint32_t column = 0; column < picture.width; ++column)
                    ASSERT_EQ(y.at(column, row), x.at(row, column)) << kernel.name;
        });
}

TEST(Golay, FindsTheGreaterOfBothSlopes) {
    for_random_pictures(
        kEdgeXY, [](const Kernel& kernel, const Picture& picture, int half, uint32_t order) {
            const Picture both = picture.filtered(kernel, half, order),
                          x = picture.filtered(sibling(kernel, kEdgeX), half, order),
                          y = picture.filtered(sibling(kernel, kEdgeY), half, order);
            for (size_t i = 0; i < both.samples.size(); ++i)
                ASSERT_EQ(both.samples[i], std::max(x.samples[i], y.samples[i])) << kernel.name;
        });
}

TEST(Golay, TakesOrdersAboveTheWindowForTheGreatestThatFits) {
    for_random_pictures(kSmooth,
                        [](const Kernel& kernel, const Picture& picture, int half, uint32_t) {
                            const uint32_t most = 2 * static_cast<uint32_t>(half);
                            const auto expected = picture.filtered(kernel, half, most).samples;
                            for (const uint32_t order : {most + 1, 1000u, 0x7FFFFFFFu})
                                EXPECT_EQ(picture.filtered(kernel, half, order).samples, expected);
                        });
}

TEST(Golay, GivesBlackWithNegativeOrders) {
    for (const Way way : {kSmooth, kEdgeX, kEdgeY, kEdgeXY})
        for_random_pictures(
            way, [](const Kernel& kernel, const Picture& picture, int half, uint32_t) {
                for (const uint32_t order : {0x80000000u, 0xFFFFFFFFu})
                    for (const uint64_t sample : picture.filtered(kernel, half, order).samples)
                        ASSERT_EQ(sample, 0u) << kernel.name;
            });
}

// ----- Codes -------------------------------------------------------------------------------------

struct Refused {
    uint32_t width, height;
    int half;
};

TEST(Golay, DoesNothingWithoutAWindow) {
    for (const Kernel& kernel : all_kernels())
        for (const int half : {0, -1, INT_MIN}) {
            std::vector<uint8_t> dst(1000, 0x5A), src(1000, 1);
            EXPECT_EQ(kernel(dst.data(), src.data(), {2, kernel.bits(), 12}, 9, 9, 36, half, 2),
                      QM_OK);
            EXPECT_EQ(kernel(dst.data(), src.data(), {2, kernel.bits(), 12}, 0, 0, 0, half, 2),
                      QM_OK);
            EXPECT_EQ(dst, std::vector<uint8_t>(1000, 0x5A)) << kernel.name;
        }
}

TEST(Golay, DoesNothingWithoutPictures) {
    for (const Kernel& kernel : all_kernels()) {
        std::vector<uint8_t> some(1000, 0x5A);
        const Format format{2, kernel.bits(), 12};
        EXPECT_EQ(kernel(nullptr, some.data(), format, 9, 9, 36, 1, 2), QM_OK);
        EXPECT_EQ(kernel(some.data(), nullptr, format, 9, 9, 36, 1, 2), QM_OK);
        EXPECT_EQ(some, std::vector<uint8_t>(1000, 0x5A)) << kernel.name;
    }
}

TEST(Golay, RefusesPicturesThatAreSmallerThanTheWindow) {
    for (const Kernel& kernel : all_kernels()) {
        for (const Refused& refused : {Refused{6, 9, 3},
                                       {9, 6, 3},
                                       {0, 9, 1},
                                       {9, 0, 1},
                                       {2, 9, 1},
                                       {9, 2, 1},
                                       {9, 9, 5},
                                       {9, 9, INT_MAX},
                                       {9, 9, 0x40000000}}) {
            std::vector<uint8_t> dst(1000, 0x5A), src(1000, 1);
            EXPECT_EQ(kernel(dst.data(), src.data(), {2, kernel.bits(), 12}, refused.width,
                             refused.height, 36, refused.half, 2),
                      QM_BAD_BUFFER)
                << kernel.name << ' ' << refused.width << ' ' << refused.height;
            EXPECT_EQ(dst, std::vector<uint8_t>(1000, 0x5A)) << kernel.name;
        }
        std::vector<uint8_t> dst(1000, 0x5A), src(1000, 1);
        EXPECT_EQ(kernel(dst.data(), src.data(), {2, kernel.bits(), 12}, 7, 7, 36, 3, 2), QM_OK)
            << "the window just fits";
    }
}

TEST(Golay, StaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const Kernel& kernel : all_kernels()) {
        const Picture large(format_for(kernel, 12), 300, 300,
                            [](uint32_t x, uint32_t y) { return (x ^ y) & 255; });
        const WatchedRegions regions;
        const Picture out = large.filtered(kernel, 3, 2);
        EXPECT_TRUE(regions.teams().empty()) << kernel.name;
    }
}

}  // namespace
}  // namespace qmpic::test
