#include "qmpic/kernels/constants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "PicMemAPI/constants_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kLeast = INT32_MIN, kMost = INT32_MAX;

// ----- What the kernels promise, in the plainest words ------------------------------------------

/// The table route is that of 1, 3 and 4 components.
struct Route {
    Format format;
    bool table() const {
        return format.components == 1 || format.components == 3 || format.components == 4;
    }
    int64_t top() const { return static_cast<int64_t>(format.max()); }
    /// Low bits that are stored.
    uint64_t stored(int64_t value) const {
        return static_cast<uint64_t>(value) & ((uint64_t{1} << format.bits) - 1);
    }
    /// What a table is asked for.
    int64_t value(uint64_t sample) const {
        return static_cast<int64_t>(format.bits == 16 ? sample & format.max() : sample);
    }
    uint64_t clip(int64_t value) const {
        return static_cast<uint64_t>(std::clamp(value, int64_t{0}, top()));
    }
    uint64_t cell(double value) const {
        value += 0.5;
        if (std::isnan(value) || value < 1) return 0;
        return value > static_cast<double>(top()) ? format.max() : static_cast<uint64_t>(value);
    }
};

int64_t wrapped(int64_t value) {  // to signed 32 bits
    value &= 0xFFFFFFFF;
    return value >= 0x80000000 ? value - 0x100000000 : value;
}
int64_t cut(double value) {  // to signed 32 bits, as the processor does it
    if (std::isnan(value) || value >= 2147483648.0 || value <= -2147483649.0) return -2147483648;
    return static_cast<int64_t>(value);
}

uint64_t added(uint64_t s, int32_t c, Route r) {
    const auto sample = static_cast<int64_t>(s);
    if (r.table()) return r.clip(r.value(s) + c);
    if (r.format.bits == 8)
        return static_cast<uint64_t>(std::min((sample + c) & 0xFFFFFFFF, r.top()));
    return r.clip(wrapped(sample + c));
}
uint64_t rotated(uint64_t s, int32_t c, Route r) {
    if (r.format.components == 3) {
        int64_t value = r.value(s) + c;
        if (value < 0)
            value += r.top();
        else if (value > r.top())
            value -= r.top();
        return r.stored(value);
    }
    if (r.table() || r.format.bits == 8) return added(s, c, r);
    return r.stored(std::min(wrapped(static_cast<int64_t>(s) + c), r.top()));
}
uint64_t subtracted(uint64_t s, int32_t c, Route r) {
    if (r.table()) return r.clip(r.value(s) - c);
    return r.clip(wrapped(static_cast<int64_t>(s) - c));
}
uint64_t multiplied(uint64_t s, double c, Route r) {
    if (r.table()) return r.cell(static_cast<double>(r.value(s)) * c);
    return r.stored(std::min(cut(static_cast<double>(s) * c + 0.5), r.top()));
}
uint64_t divided(uint64_t s, double c, Route r) {
    if (r.table() && r.format.bits != 32)
        return r.cell(static_cast<double>(r.value(s)) * (1.0 / c));
    const int shift = r.format.bits == 8 ? 12 : r.format.bits == 16 ? 8 : 16;
    const double scaled = c * static_cast<double>(1 << shift) + 0.5;
    if (std::isnan(scaled) || scaled < 1) return r.format.max();
    const double most = r.format.bits == 32 ? 0x1p62 : 4294967295.0;
    const auto d = static_cast<uint64_t>(std::min(scaled, most));
    return std::min(((s << shift) + d / 2) / d, r.format.max());
}
uint64_t lesser(uint64_t s, uint64_t c, Route r) {
    const uint64_t value = r.table() ? static_cast<uint64_t>(r.value(s)) : s;
    return value < c ? value : c;
}
uint64_t greater(uint64_t s, uint64_t c, Route r) {
    const uint64_t value = r.table() ? static_cast<uint64_t>(r.value(s)) : s;
    return value > c ? value : c;
}
struct Steps {
    const double *add, *mul, *pow;
};
uint64_t curved(uint64_t s, const Steps& steps, uint32_t c, Route r) {
    auto value = static_cast<double>(r.table() ? static_cast<uint64_t>(r.value(s)) : s);
    if (steps.add != nullptr) value = value + steps.add[c];
    if (steps.mul != nullptr) value = value * steps.mul[c];
    if (steps.pow != nullptr) value = std::pow(value, steps.pow[c]);
    return r.cell(value);
}
uint64_t subtracted_and_added(uint64_t a, uint64_t b, int32_t c, Route r) {
    return r.clip(wrapped(static_cast<int64_t>(a) - static_cast<int64_t>(b) + c));
}

// ----- Constants on which kernels may stumble ---------------------------------------------------

int32_t any_int(Random& random, Format format) {
    const auto top = static_cast<int32_t>(std::min<uint64_t>(format.max(), 0x7FFFFFFF));
    switch (random(0, 3)) {
    case 0: {
        const auto from = static_cast<int32_t>(random(0, 6)) - 3;
        return random.one_of({0, top, -top, top + 1, -top - 1, 255, -255, 256, -256, 65535, -65535,
                              65536, -65536, 0x20000, -0x20000}) +
               from;
    }
    case 1: {
        const auto from = static_cast<int32_t>(random(0, 9));
        return random.one_of({kMost - 65539, kMost - 260, kMost - 9, kLeast, kLeast + 65530,
                              kLeast + 250, 0x3FFFFFFF, -0x40000000}) +
               from;
    }
    case 2: return static_cast<int32_t>(random.any());
    default: return static_cast<int32_t>(random(0, static_cast<uint32_t>(2 * top))) - top;
    }
}
double any_double(Random& random, Format format) {
    const auto top = static_cast<double>(format.max());
    switch (random(0, 2)) {
    case 0:
        return random.one_of({0.0,       -0.0,     0.5,     1.0,  1.5,     2.0,       -1.0,
                              -0.5,      1.0 / 3,  3.0,     top,  top + 1, 1 / top,   32767.0,
                              32767.5,   -32768.0, 40000.0, 1e10, -1e10,   1e300,     1e-300,
                              0.5 / top, 4e6,      1.7e7,   1e12, kNaN,    kInfinity, -kInfinity});
    case 1: return random(0, 40000) / 10000.0;
    default: return (random(0, 2000000) / 1000.0 - 200) / 7;
    }
}

template <class Constant, class Draw>
std::vector<Constant> per_component(uint32_t components, Draw draw) {
    std::vector<Constant> all;
    const bool equal_constants = draw.random(0, 7) == 0;
    for (uint32_t c = 0; c < std::max(components, 1u); ++c)
        all.push_back(equal_constants && c > 0 ? all[0] : draw());
    return all;
}
template <class Function>
struct Draw {
    Random& random;
    Function function;
    auto operator()() const { return function(); }
};
template <class Function>
Draw(Random&, Function) -> Draw<Function>;

// ----- Random calls -----------------------------------------------------------------------------

/// One call on random pictures; the destination may be a source. `run(d, a, b)` calls,
/// `reference(a, b, component)` gives a sample.
template <class Run, class OneSample>
void check(const Run& run, const OneSample& reference, Format format, Round round) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    GuardedPicture d(format, size, random), first(format, size, random),
        second(format, size, random);
    const uint32_t same = random(0, 3);
    GuardedPicture& a = same & 1 ? d : first;
    GuardedPicture& b = same & 2 ? d : second;
    if (format.bpc < 8) a.keep_below(format.max(), random);  // tables of bytes are not masked
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(reference(a.get(i, y), b.get(i, y), i % format.components));
    const auto outside = d.outside();

    ASSERT_EQ(run(d, a, b), QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of "
                                     << format.components << " x " << format.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Constant>
using OneSample = uint64_t(uint64_t s, Constant c, Route route);

void check_int(IntConstKernel* kernel, OneSample<int32_t>* reference, Format format, Round round) {
    const auto k = per_component<int32_t>(
        format.components, Draw{round.random, [&] { return any_int(round.random, format); }});
    check(
        [&](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture&) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), k.data(), format.components,
                          format.bpc, d.size().width, d.size().pixels);
        },
        [&](uint64_t a, uint64_t, uint32_t c) { return reference(a, k[c], Route{format}); }, format,
        round);
}

void check_double(DoubleConstKernel* kernel, OneSample<double>* reference, Format format,
                  Round round) {
    const Route route{format};
    const bool refuses_negative = reference == divided && (!route.table() || format.bits == 32);
    const auto k = per_component<double>(
        format.components, Draw{round.random, [&] {
                                    const double constant = any_double(round.random, format);
                                    return refuses_negative && constant < 0 ? -constant : constant;
                                }});
    check(
        [&](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture&) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), k.data(), format.components,
                          format.bpc, d.size().width, d.size().pixels);
        },
        [&](uint64_t a, uint64_t, uint32_t c) { return reference(a, k[c], route); }, format, round);
}

void check_pixel(PixelConstKernel* kernel, OneSample<uint64_t>* reference, Format format,
                 Round round) {
    const GuardedPicture k(format, {1, 1}, round.random);  // at any address
    check(
        [&](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture&) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), k.data(), format.components,
                          format.bpc, d.size().width, d.size().pixels);
        },
        [&](uint64_t a, uint64_t, uint32_t c) { return reference(a, k.get(c, 0), Route{format}); },
        format, round);
}

void check_curve(AddMulPowKernel* kernel, Format format, Round round) {
    Random& random = round.random;
    const auto top = static_cast<double>(format.max());
    const uint32_t kind = random(0, 3), given = random(0, 7);
    const auto add = per_component<double>(
        format.components,
        Draw{random,
             [&] { return kind == 0 ? any_double(random, format) : random(0, 400) / 4.0 - 50; }});
    const auto mul = per_component<double>(format.components,
                                           Draw{random, [&] {
                                                    return kind == 0 ? any_double(random, format)
                                                                     : random(1, 400) / 100.0 / top;
                                                }});
    const auto pow = per_component<double>(
        format.components, Draw{random, [&] {
                                    return kind == 1 ? 1.0
                                                     : random.one_of({1.0, 0.5, 2.0, 0.45, 2.2, 0.0,
                                                                      -1.0, -0.3, kNaN, 1e3});
                                }});
    const Steps steps{given & 1 ? add.data() : nullptr, given & 2 ? mul.data() : nullptr,
                      given & 4 ? pow.data() : nullptr};
    check(
        [&](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture&) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), steps.add, steps.mul,
                          steps.pow, format.components, format.bpc, d.size().width,
                          d.size().pixels);
        },
        [&](uint64_t a, uint64_t, uint32_t c) { return curved(a, steps, c, Route{format}); },
        format, round);
}

void check_two(SubAddConstKernel* kernel, Format format, Round round) {
    const auto k = per_component<int32_t>(
        format.components, Draw{round.random, [&] { return any_int(round.random, format); }});
    check(
        [&](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture& b) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), b.data(), b.stride(),
                          k.data(), format.components, format.bpc, d.size().width, d.size().pixels);
        },
        [&](uint64_t a, uint64_t b, uint32_t c) {
            return subtracted_and_added(a, b, k[c], Route{format});
        },
        format, round);
}

/// `N` kernels get the counts that the others have as well: only the name decides.
template <class List, class Check>
void add_list(std::vector<KernelCase>& all, const List& list, Check check_kernel) {
    for (const auto& kernel : list)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const Layout layout = kernel.source;
                           uint32_t components = layout.components;
                           while (components == 0 || (layout.components == 0 && layout.bits != 32 &&
                                                      Route{{components, 8, 8}}.table()))
                               components = round.random.components();
                           check_kernel(
                               kernel.run,
                               Format{components, layout.bits, round.in_turn(depths(layout.bits))},
                               round);
                       }});
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto ints = [&](const auto& list, OneSample<int32_t>* reference) {
        add_list(all, list, [=](IntConstKernel* kernel, Format format, Round round) {
            check_int(kernel, reference, format, round);
        });
    };
    const auto doubles = [&](const auto& list, OneSample<double>* reference) {
        add_list(all, list, [=](DoubleConstKernel* kernel, Format format, Round round) {
            check_double(kernel, reference, format, round);
        });
    };
    const auto pixels = [&](const auto& list, OneSample<uint64_t>* reference) {
        add_list(all, list, [=](PixelConstKernel* kernel, Format format, Round round) {
            check_pixel(kernel, reference, format, round);
        });
    };
    ints(kAddConstAndClip, added);
    ints(kAddConstRotate, rotated);
    ints(kSubConstAndClip, subtracted);
    doubles(kMulConstAndClip, multiplied);
    doubles(kDivConstAndClip, divided);
    doubles(kDivConstAndClip5, divided);
    pixels(kMinConstAndClip, lesser);
    pixels(kMaxConstAndClip, greater);
    add_list(all, kAddMulPowConstAndClip, check_curve);
    add_list(all, kSubAddConstAndClip, check_two);
    return all;
}

constexpr int32_t kSomeInts[6] = {1, 2, 3, 4, 5, 6};
constexpr double kSomeDoubles[6] = {1, 2, 3, 4, 5, 6};
constexpr uint16_t kSomePixel[6] = {1, 2, 3, 4, 5, 6};

EntryCase int_case(const char* name, IntConstKernel* entry) {
    return {name,
            [=](const EntryCall& c) {
                return entry(c.dst, c.stride, c.src, c.stride, kSomeInts, c.components, c.bpc,
                             c.width, c.size);
            },
            bytes_and_words};
}
EntryCase pixel_case(const char* name, PixelConstKernel* entry) {
    return {name,
            [=](const EntryCall& c) {
                return entry(c.dst, c.stride, c.src, c.stride, kSomePixel, c.components, c.bpc,
                             c.width, c.size);
            },
            bytes_and_words};
}
EntryCase double_case(const char* name, DoubleConstKernel* entry, uint32_t deepest, bool guarded) {
    return {
        name,
        [=](const EntryCall& c) {
            return entry(c.dst, c.stride, c.src, c.stride, kSomeDoubles, c.components, c.bpc,
                         c.width, c.size);
        },
        [=](uint32_t, uint32_t bpc) { return bpc >= 8 && bpc <= deepest ? QM_OK : QM_NO_KERNEL; },
        guarded, guarded};
}

const bool registered = add_cases(
    kernel_cases(),
    {int_case("CQmPicMemAPI_Base::AddConstAndClip", Entries::AddConstAndClip),
     int_case("CQmPicMemAPI_Base::AddConstRotate", Entries::AddConstRotate),
     int_case("CQmPicMemAPI_Base::SubConstAndClip", Entries::SubConstAndClip),
     double_case("CQmPicMemAPI_Base::MulConstAndClip", Entries::MulConstAndClip, 16, true),
     double_case("CQmPicMemAPI_Base::DivConstAndClip", Entries::DivConstAndClip, 32, false),
     pixel_case("CQmPicMemAPI_Base::MinConstAndClip", Entries::MinConstAndClip),
     pixel_case("CQmPicMemAPI_Base::MaxConstAndClip", Entries::MaxConstAndClip),
     {"CQmPicMemAPI_Base::AddMulPowConstAndClip",
      [](const EntryCall& c) {
          return Entries::AddMulPowConstAndClip(c.dst, c.stride, c.src, c.stride, kSomeDoubles,
                                                kSomeDoubles, kSomeDoubles, c.components, c.bpc,
                                                c.width, c.size);
      },
      bytes_and_words, false, false},
     {"CQmPicMemAPI_Base::SubAddConstAndClip",
      [](const EntryCall& c) {
          return Entries::SubAddConstAndClip(c.dst, c.stride, c.src, c.stride, c.src, c.stride,
                                             kSomeInts, c.components, c.bpc, c.width, c.size);
      },
      bytes_and_words}});

// ----- Entries ----------------------------------------------------------------------------------

TEST(ConstantEntries, TakeTheKernelsOfTheFormat) {
    Random random(11);
    Digest digest;
    for (uint32_t bpc = 8; bpc <= 32; ++bpc)
        for (uint32_t components = 1; components <= 6; ++components) {
            const Format format{components, bpc <= 8 ? 8u : bpc <= 16 ? 16u : 32u, bpc};
            const Round round{0, random, digest};
            check_double(Entries::DivConstAndClip, divided, format, round);
            if (bpc <= 16) {
                check_int(Entries::AddConstAndClip, added, format, round);
                check_int(Entries::AddConstRotate, rotated, format, round);
                check_int(Entries::SubConstAndClip, subtracted, format, round);
                check_double(Entries::MulConstAndClip, multiplied, format, round);
                check_pixel(Entries::MinConstAndClip, lesser, format, round);
                check_pixel(Entries::MaxConstAndClip, greater, format, round);
                check_curve(Entries::AddMulPowConstAndClip, format, round);
                check_two(Entries::SubAddConstAndClip, format, round);
            }
            if (HasFatalFailure()) return;
        }
}

TEST(ConstantEntries, DoNotLookAtThePicturesOfQuotientsAndPowers) {
    const double one[] = {1};
    EXPECT_EQ(Entries::DivConstAndClip(nullptr, 1, nullptr, 1, one, 1, 7, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Entries::AddMulPowConstAndClip(nullptr, 1, nullptr, 1, one, one, one, 1, 24, 1, 1),
              QM_NO_KERNEL);
    for (const uint32_t bpc : {7u, 8u, 12u, 24u}) {
        EXPECT_EQ(Entries::DivConstAndClip(nullptr, 1, nullptr, 1, one, 1, bpc, 0, 1), QM_OK);
        EXPECT_EQ(Entries::DivConstAndClip(nullptr, 1, nullptr, 1, one, 1, bpc, 1, 0), QM_OK);
        EXPECT_EQ(
            Entries::AddMulPowConstAndClip(nullptr, 1, nullptr, 1, one, one, one, 1, bpc, 0, 1),
            QM_OK);
        EXPECT_EQ(
            Entries::AddMulPowConstAndClip(nullptr, 1, nullptr, 1, one, one, one, 1, bpc, 1, 0),
            QM_OK);
    }
    // The others do.
    EXPECT_EQ(Entries::MulConstAndClip(nullptr, 1, nullptr, 1, one, 1, 7, 1, 1), QM_OK);
}

TEST(ConstantEntries, DoNotGuardTheSecondSource) {
    uint8_t d = 77;
    const uint8_t s = 5;
    EXPECT_EQ(Entries::SubAddConstAndClip(&d, 1, nullptr, 1, nullptr, 1, kSomeInts, 1, 8, 1, 1),
              QM_OK);
    EXPECT_EQ(Entries::SubAddConstAndClip(&d, 1, &s, 1, nullptr, 1, kSomeInts, 1, 7, 1, 1),
              QM_NO_KERNEL);
    EXPECT_EQ(d, 77);
}

TEST(ConstantEntries, RefuseSevenBitsOfFiveComponentsAndKeepThePicture) {
    uint8_t d[5] = {9, 9, 9, 9, 9};
    const uint8_t s[5] = {1, 1, 1, 1, 1};
    EXPECT_EQ(Entries::AddConstAndClip(d, 5, s, 5, kSomeInts, 5, 7, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Entries::DivConstAndClip(d, 5, s, 5, kSomeDoubles, 5, 7, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(std::count(d, d + 5, 9), 5);
}

// ----- Regions ----------------------------------------------------------------------------------

// Only the two kernels that apply tables of bytes for one and three components share their rows.
TEST(ConstantKernels, ForkOnlyWhereTheKernelThatAppliesTheTableDoes) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    constexpr uint32_t kWidth = 4, kRows = 1024, kStride = kWidth * 4 * 4;
    std::vector<uint8_t> d(size_t{kStride} * kRows), s = d;
    const auto forks = [](std::string_view name) {
        return !name.starts_with("subadd") && (name.ends_with("_1x8") || name.ends_with("_3x8"));
    };
    const auto each = [&](const auto& list, auto call_kernel) {
        for (const auto& kernel : list) {
            const uint32_t components = kernel.source.components ? kernel.source.components : 2;
            if (components > 4) continue;
            const WatchedRegions watched;
            call_kernel(kernel.run, components, kernel.source.bits);
            EXPECT_EQ(watched.teams().size(), forks(kernel.name) ? 1u : 0u) << kernel.name;
        }
    };
    const auto plain = [&](const auto* k) {
        return [&, k](auto* run, uint32_t components, uint32_t bits) {
            run(d.data(), kStride, s.data(), kStride, k, components, bits, kWidth,
                uint64_t{kWidth} * kRows);
        };
    };
    each(kAddConstAndClip, plain(kSomeInts));
    each(kAddConstRotate, plain(kSomeInts));
    each(kSubConstAndClip, plain(kSomeInts));
    each(kMulConstAndClip, plain(kSomeDoubles));
    each(kDivConstAndClip, plain(kSomeDoubles));
    each(kMinConstAndClip, plain(kSomePixel));
    each(kMaxConstAndClip, plain(kSomePixel));
    for (const uint32_t bpc : {9u, 16u})  // by tables and without
        each(kAddMulPowConstAndClip, [&](auto* run, uint32_t components, uint32_t bits) {
            run(d.data(), kStride, s.data(), kStride, kSomeDoubles, kSomeDoubles, kSomeDoubles + 1,
                components, bits == 8 ? 8 : bpc, kWidth, uint64_t{kWidth} * kRows);
        });
    each(kSubAddConstAndClip, [&](auto* run, uint32_t components, uint32_t bits) {
        run(d.data(), kStride, s.data(), kStride, s.data(), kStride, kSomeInts, components, bits,
            kWidth, uint64_t{kWidth} * kRows);
    });
}

// ----- All values of a sample -------------------------------------------------------------------

/// A picture that has every value in every component, some times over, and what a call made of it:
/// kernels do it in other ways when there are many pixels.
template <class T>
struct EveryValue {
    static constexpr size_t kValues = sizeof(T) == 1 ? 256 : 65536;
    uint32_t components;
    size_t pixels;
    std::vector<T> source, result;
    explicit EveryValue(uint32_t components_, size_t times = 1)
        : components(components_),
          pixels(kValues * times),
          source(pixels * components_),
          result(pixels * components_) {
        for (size_t i = 0; i < source.size(); ++i)
            source[i] =
                static_cast<T>(i / components * 40503 + i % components * 77);  // a bijection
    }
    uint32_t stride() const { return static_cast<uint32_t>(256 * components * sizeof(T)); }
    template <class Kernel, class... Constant>
    int run(Kernel* kernel, uint32_t bpc, const Constant*... k) {
        std::fill(result.begin(), result.end(), T{0x5A});
        return kernel(result.data(), stride(), source.data(), stride(), k..., components, bpc, 256,
                      pixels);
    }
    /// What the picture should become; `reference(value, component)` gives a sample.
    template <class Reference>
    std::vector<T> expected(const Reference& reference) const {
        std::vector<T> all(source.size());
        for (size_t i = 0; i < all.size(); ++i)
            all[i] = static_cast<T>(reference(source[i], static_cast<uint32_t>(i % components)));
        return all;
    }
    void compare(const std::vector<T>& right) const {
        if (result == right) return;
        const auto i = static_cast<size_t>(
            std::mismatch(right.begin(), right.end(), result.begin()).first - right.begin());
        ASSERT_EQ(result[i], right[i]) << "value " << source[i] << ", component " << i % components;
    }
};

/// An entry at some depths and all levels, for pictures that have all values.
template <class T, class Entry, class Reference, class... Constant>
void for_every_value(size_t times, std::initializer_list<uint32_t> counts, Entry* entry,
                     Reference reference, const Constant*... k) {
    for (const uint32_t components : counts) {
        EveryValue<T> picture(components, times);
        const std::vector<uint32_t> some_depths = sizeof(T) == 1 ? std::vector<uint32_t>{8}
                                                  : components == 1
                                                      ? std::vector<uint32_t>{9, 12, 16}
                                                  : components == 3 ? std::vector<uint32_t>{13, 16}
                                                                    : std::vector<uint32_t>{16};
        for (const uint32_t bpc : some_depths) {
            const Route route{{components, 8 * sizeof(T), bpc}};
            const auto right = picture.expected(
                [&](uint64_t value, uint32_t c) { return reference(value, c, route); });
            for (const Level level : levels()) {
                const ForcedLevel forced(level);
                SCOPED_TRACE(std::string(name_of(level)) + ", " + std::to_string(components) +
                             " components of " + std::to_string(bpc) + " bits");
                ASSERT_EQ(picture.run(entry, bpc, k...), QM_OK);
                picture.compare(right);
                if (testing::Test::HasFatalFailure()) return;
            }
        }
    }
}

constexpr int32_t kInts[][4] = {{-5, 10, 600, -600},
                                {0, 1, -1, 255},
                                {-255, 256, -256, 4095},
                                {4096, -4095, 65535, -65535},
                                {65536, -65536, 5000, -70000},
                                {kMost, kLeast, kMost - 65535, kMost - 65534},
                                {kLeast + 1, 0x20000, -0x20001, 1 << 20},
                                {-(1 << 20) - 7, 7, kMost - 255, kMost - 254}};
constexpr double kDoubles[][4] = {{0.5, 1.5, 1.0 / 3, 2.0},
                                  {0, -1, kNaN, kInfinity},
                                  {-kInfinity, 1e10, 1e300, 1e-5},
                                  {0.9999999, 1.0000001, 255, 257},
                                  {4095.0 / 65535, 65535.0 / 4095, 0.7, 1.1},
                                  {65535, 65536, 65537, 32768},
                                  {3, 7, 0.1, 10},
                                  {0.7, 1.3, 0.9, 1.1},
                                  {0.95, 0.07, 1.95, 0.6},
                                  {2.05, 0.3, 2.3, 0.001},
                                  {-0.0, 1e-310, 0x1p-16, 0x1p-17}};

template <class T>
void int_families(size_t times, std::initializer_list<uint32_t> counts) {
    for (const auto& k : kInts) {
        const auto one = [&](IntConstKernel* entry, OneSample<int32_t>* reference) {
            for_every_value<T>(
                times, counts, entry,
                [&](uint64_t v, uint32_t c, Route route) { return reference(v, k[c], route); }, k);
        };
        ASSERT_NO_FATAL_FAILURE(one(Entries::AddConstAndClip, added));
        ASSERT_NO_FATAL_FAILURE(one(Entries::AddConstRotate, rotated));
        ASSERT_NO_FATAL_FAILURE(one(Entries::SubConstAndClip, subtracted));
    }
}

template <class T>
void double_families(size_t times, std::initializer_list<uint32_t> counts) {
    for (const auto& k : kDoubles) {
        const auto one = [&](DoubleConstKernel* entry, const double(&constants)[4],
                             OneSample<double>* reference) {
            for_every_value<T>(
                times, counts, entry,
                [&](uint64_t v, uint32_t c, Route route) {
                    return reference(v, constants[c], route);
                },
                constants);
        };
        ASSERT_NO_FATAL_FAILURE(one(Entries::MulConstAndClip, k, multiplied));
        double divisors[4];  // two components refuse negative ones
        for (int i = 0; i < 4; ++i)
            divisors[i] = *counts.begin() != 2 || !(k[i] < 0) ? k[i] : -k[i];
        ASSERT_NO_FATAL_FAILURE(one(Entries::DivConstAndClip, divisors, divided));
    }
}

TEST(EveryByteThroughConstants, IsAsPromisedBySumsAndDifferences) {
    for (const size_t times : {1u, 32u}) int_families<uint8_t>(times, {1, 3, 4});
    for (const size_t times : {1u, 32u}) int_families<uint8_t>(times, {2});
}
TEST(EveryWordThroughConstants, IsAsPromisedBySumsAndDifferencesOfOneComponent) {
    int_families<uint16_t>(1, {1});
}
TEST(EveryWordThroughConstants, IsAsPromisedBySumsAndDifferencesOfTwoComponents) {
    int_families<uint16_t>(1, {2});
}
TEST(EveryWordThroughConstants, IsAsPromisedBySumsAndDifferencesOfThreeComponents) {
    int_families<uint16_t>(1, {3});
}
TEST(EveryWordThroughConstants, IsAsPromisedBySumsAndDifferencesOfFourComponents) {
    int_families<uint16_t>(1, {4});
}
TEST(EveryByteThroughConstants, IsAsPromisedByProductsAndQuotients) {
    for (const size_t times : {1u, 32u}) double_families<uint8_t>(times, {1, 3, 4});
    for (const size_t times : {1u, 32u}) double_families<uint8_t>(times, {2});
}
TEST(EveryWordThroughConstants, IsAsPromisedByProductsAndQuotientsOfOneComponent) {
    double_families<uint16_t>(4, {1});
}
TEST(EveryWordThroughConstants, IsAsPromisedByProductsAndQuotientsOfTwoComponents) {
    double_families<uint16_t>(4, {2});
}
TEST(EveryWordThroughConstants, IsAsPromisedByProductsAndQuotientsOfThreeComponents) {
    double_families<uint16_t>(4, {3});
}
TEST(EveryWordThroughConstants, IsAsPromisedByProductsAndQuotientsOfFourComponents) {
    double_families<uint16_t>(4, {4});
}

template <class T>
void limits(size_t times) {
    constexpr uint16_t constants[][4] = {{0, 1, 100, 255}, {5000, 4095, 65535, 511}};
    for (const auto& words : constants) {
        T k[4];
        for (int i = 0; i < 4; ++i) k[i] = static_cast<T>(words[i]);
        const auto one = [&](PixelConstKernel* entry, OneSample<uint64_t>* reference) {
            for_every_value<T>(
                times, {1, 2, 3, 4}, entry,
                [&](uint64_t v, uint32_t c, Route route) { return reference(v, k[c], route); },
                static_cast<const void*>(k));
        };
        ASSERT_NO_FATAL_FAILURE(one(Entries::MinConstAndClip, lesser));
        ASSERT_NO_FATAL_FAILURE(one(Entries::MaxConstAndClip, greater));
    }
}
TEST(EveryByteThroughConstants, IsAsPromisedByLimits) {
    for (const size_t times : {1u, 32u}) limits<uint8_t>(times);
}
TEST(EveryWordThroughConstants, IsAsPromisedByLimits) { limits<uint16_t>(1); }

template <class T>
void curves(uint32_t bits, std::initializer_list<uint32_t> counts) {
    constexpr double add[4] = {0, -7, 1.5, 12}, mul[4] = {1, 0.001, 2, 1e-3},
                     pow[4] = {1, 2.2, 0.5, 0.9}, gamma[4] = {0.9, 1, 1.1, 0.5};
    const Steps all[] = {{add, mul, pow},         {nullptr, mul, gamma},
                         {add, nullptr, gamma},   {add, mul, nullptr},
                         {add, nullptr, nullptr}, {nullptr, mul, nullptr},
                         {nullptr, nullptr, pow}, {nullptr, nullptr, nullptr}};
    for (const Steps& steps : all) {
        // A power a sample takes its time: one depth.
        const uint32_t bpc = bits == 8 ? 8 : steps.pow == gamma ? 12 : 16;
        for (const uint32_t components : counts) {
            EveryValue<T> picture(components);
            const Route route{{components, bits, bpc}};
            ASSERT_EQ(
                picture.run(Entries::AddMulPowConstAndClip, bpc, steps.add, steps.mul, steps.pow),
                QM_OK);
            picture.compare(picture.expected(
                [&](uint64_t v, uint32_t c) { return curved(v, steps, c, route); }));
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}
TEST(EveryByteThroughConstants, IsAsPromisedByCurves) { curves<uint8_t>(8, {1, 2, 3, 4}); }
TEST(EveryWordThroughConstants, IsAsPromisedByCurves) { curves<uint16_t>(16, {1, 2, 3}); }

TEST(EveryByteThroughConstants, IsAsPromisedByEverySmallSum) {
    EveryValue<uint8_t> one(1), two(2), three(3), more_ones(1, 16), more_threes(3, 16);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (int32_t constant = -260; constant <= 260;
             constant += constant < -250 || constant > 250 ? 1 : 7) {
            SCOPED_TRACE(constant);
            const int32_t k[3] = {constant, -constant, constant};
            for (auto* const picture : {&one, &two, &three, &more_ones, &more_threes}) {
                const Route route{{picture->components, 8, 8}};
                ASSERT_EQ(picture->run(Entries::AddConstRotate, 8, k), QM_OK);
                for (size_t i = 0; i < picture->source.size(); ++i)
                    ASSERT_EQ(picture->result[i],
                              rotated(picture->source[i], k[i % picture->components], route));
            }
        }
    }
}

TEST(EveryWordThroughConstants, IsAsPromisedByManyFactors) {
    Random random(5);
    for (int i = 0; i < 12; ++i) {
        const double greater_one = random(0, 3000000) / 1e6;
        const double k[2] = {greater_one, random(1, 1u << 31) / 0x1p31};
        const auto one = [&](DoubleConstKernel* entry, OneSample<double>* reference) {
            EveryValue<uint16_t> pictures[] = {EveryValue<uint16_t>(1), EveryValue<uint16_t>(2),
                                               EveryValue<uint16_t>(1, 4),
                                               EveryValue<uint16_t>(2, 4)};
            for (auto& picture : pictures) {
                const Route route{{picture.components, 16, 16}};
                const auto right = picture.expected(
                    [&](uint64_t v, uint32_t c) { return reference(v, k[c], route); });
                for (const Level level : levels()) {
                    const ForcedLevel forced(level);
                    ASSERT_EQ(picture.run(entry, 16, k), QM_OK);
                    ASSERT_NO_FATAL_FAILURE(picture.compare(right)) << k[0] << ", " << k[1];
                }
            }
        };
        ASSERT_NO_FATAL_FAILURE(one(Entries::MulConstAndClip, multiplied));
        ASSERT_NO_FATAL_FAILURE(one(Entries::DivConstAndClip, divided));
    }
}

// All about the edges of quotients, where a rounding would show.
TEST(FixedPointDivision, Of32BitsIsExactBesideEveryEdge) {
    Random random(3);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (int round = 0; round < 300; ++round) {
            const uint32_t any = random.any();
            const double c = any / std::pow(2.0, random(0, 40));
            const Route route{{1, 32, random(17, 32)}};
            const auto d = std::max<uint64_t>(static_cast<uint64_t>(c * 65536 + 0.5), 1);
            std::vector<uint32_t> s(128), found(128);
            for (size_t i = 0; i < s.size(); ++i) {
                // The least sample for a quotient, or one beside it.
                const uint64_t quotient = random.any() / d * (i % 7);
                const uint64_t edge = (quotient * d - std::min(quotient * d, d / 2)) >> 16;
                s[i] = i % 3 == 0 ? random.any() : static_cast<uint32_t>(edge + i % 3);
            }
            s[0] = 0, s[1] = UINT32_MAX;
            ASSERT_EQ(Entries::DivConstAndClip(found.data(), 512, s.data(), 512, &c, 1,
                                               route.format.bpc, 128, 128),
                      QM_OK);
            for (size_t i = 0; i < s.size(); ++i)
                ASSERT_EQ(found[i], divided(s[i], c, route)) << s[i] << " / " << c;
        }
    }
}

// ----- Worked numbers ---------------------------------------------------------------------------

template <class T, class Constant>
std::vector<T> made(int (*entry)(void*, uint32_t, const void*, uint32_t, const Constant*, uint32_t,
                                 uint32_t, uint32_t, uint64_t),
                    std::vector<T> s, const std::vector<Constant>& k, uint32_t bpc) {
    const auto bytes = static_cast<uint32_t>(s.size() * sizeof(T));
    EXPECT_EQ(entry(s.data(), bytes, s.data(), bytes, k.data(), static_cast<uint32_t>(s.size()),
                    bpc, 1, 1),
              QM_OK);
    return s;
}
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;
using Ints = std::vector<int32_t>;
using Doubles = std::vector<double>;

TEST(AddConstAndClip, ClipsBelowInTables) {
    EXPECT_EQ(made(Entries::AddConstAndClip, Bytes{3}, Ints{-5}, 8), Bytes{0});
    EXPECT_EQ(made(Entries::AddConstAndClip, Bytes{3, 9, 255}, Ints{-5, -5, 5}, 8),
              (Bytes{0, 4, 255}));
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{3}, Ints{-5}, 12), Words{0});
}
TEST(AddConstAndClip, TakesNegativeSumsOfTwoBytesForVeryLarge) {
    EXPECT_EQ(made(Entries::AddConstAndClip, Bytes{3, 9}, Ints{-5, -5}, 8), (Bytes{255, 4}));
    EXPECT_EQ(made(Entries::AddConstAndClip, Bytes{255, 255}, Ints{-256, -255}, 8),
              (Bytes{255, 0}));
    EXPECT_EQ(made(Entries::AddConstAndClip, Bytes{255, 0}, Ints{kMost, kLeast}, 8),
              (Bytes{255, 255}));
}
TEST(AddConstAndClip, ClipsTwoWordsAtBothEnds) {
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{3, 4000}, Ints{-5, 100}, 12), (Words{0, 4095}));
}
TEST(AddConstAndClip, WrapsAt32BitsWithTwoWordsAndNotInTables) {
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{65535, 0}, Ints{kMost, kMost}, 16),
              (Words{0, 65535}));
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{65535}, Ints{kMost}, 16), Words{65535});
}
TEST(AddConstAndClip, MasksWhatIsAboveTheDepthInTablesOnly) {
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{5000}, Ints{10}, 12), Words{914});
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{5000, 5000, 5000}, Ints{10, 10, 10}, 12),
              (Words{914, 914, 914}));
    EXPECT_EQ(made(Entries::AddConstAndClip, Words{5000, 0}, Ints{10, 10}, 12), (Words{4095, 10}));
}

TEST(AddConstRotate, RotatesOnlyWithThreeComponents) {
    EXPECT_EQ(made(Entries::AddConstRotate, Bytes{250}, Ints{10}, 8), Bytes{255});
    EXPECT_EQ(made(Entries::AddConstRotate, Bytes{250, 250, 3}, Ints{10, 5, -5}, 8),
              (Bytes{5, 255, 253}));
    EXPECT_EQ(made(Entries::AddConstRotate, Bytes{250, 1, 2, 3}, Ints{10, 0, 0, -5}, 8),
              (Bytes{255, 1, 2, 0}));
    EXPECT_EQ(made(Entries::AddConstRotate, Bytes{250, 3}, Ints{10, -5}, 8), (Bytes{255, 255}));
    EXPECT_EQ(made(Entries::AddConstRotate, Words{4090, 0, 3}, Ints{10, 0, -5}, 12),
              (Words{5, 0, 4093}));
}
TEST(AddConstRotate, BringsBackOnceAndKeepsTheLowBits) {
    EXPECT_EQ(made(Entries::AddConstRotate, Bytes{250, 0, 0}, Ints{600, 600, 0}, 8),
              (Bytes{83, 89, 0}));
    EXPECT_EQ(made(Entries::AddConstRotate, Words{4095, 4095, 0}, Ints{5000, 0, -4096}, 12),
              (Words{5000, 4095, 0xFFFF}));
}
TEST(AddConstRotate, HasNoLowerLimitWithTwoWords) {
    EXPECT_EQ(made(Entries::AddConstRotate, Words{3, 4090}, Ints{-5, 10}, 12),
              (Words{0xFFFE, 4095}));
}
TEST(AddConstRotate, OfOneAndFourComponentsIsAddConstAndClip) {
    EveryValue<uint16_t> one(1), four(4);
    for (auto* const picture : {&one, &four}) {
        ASSERT_EQ(picture->run(Entries::AddConstRotate, 12, kInts[0]), QM_OK);
        const Words rotated_words = picture->result;
        ASSERT_EQ(picture->run(Entries::AddConstAndClip, 12, kInts[0]), QM_OK);
        EXPECT_EQ(picture->result, rotated_words);
    }
}

TEST(SubConstAndClip, ClipsAtBothEnds) {
    EXPECT_EQ(made(Entries::SubConstAndClip, Bytes{3, 250}, Ints{5, -10}, 8), (Bytes{0, 255}));
    EXPECT_EQ(made(Entries::SubConstAndClip, Bytes{3}, Ints{5}, 8), Bytes{0});
    EXPECT_EQ(made(Entries::SubConstAndClip, Words{3, 4090}, Ints{5, -10}, 12), (Words{0, 4095}));
}
TEST(SubConstAndClip, WrapsAt32BitsBesidesTablesWhereTheConstantIsNegatedExactly) {
    EXPECT_EQ(made(Entries::SubConstAndClip, Bytes{3, 0}, Ints{kLeast, kLeast + 1}, 8),
              (Bytes{0, 255}));
    EXPECT_EQ(made(Entries::SubConstAndClip, Bytes{3}, Ints{kLeast}, 8), Bytes{255});
    EXPECT_EQ(made(Entries::SubConstAndClip, Words{3, 0}, Ints{kLeast, kLeast + 1}, 16),
              (Words{0, 65535}));
    EXPECT_EQ(made(Entries::SubConstAndClip, Words{3}, Ints{kLeast}, 16), Words{65535});
}

TEST(MulConstAndClip, RoundsToTheNearest) {
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{3, 200}, Doubles{0.5, 2}, 8), (Bytes{2, 255}));
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{3}, Doubles{0.5}, 8), Bytes{2});
    EXPECT_EQ(made(Entries::MulConstAndClip, Words{3, 3, 3000}, Doubles{0.5, 0.4, 2}, 12),
              (Words{2, 1, 4095}));
}
TEST(MulConstAndClip, HasNoLowerLimitBesidesTables) {
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{3, 3}, Doubles{-1, 1}, 8), (Bytes{254, 3}));
    EXPECT_EQ(made(Entries::MulConstAndClip, Words{3, 3}, Doubles{-1, 1}, 12), (Words{65534, 3}));
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{3}, Doubles{-1}, 8), Bytes{0});
    EXPECT_EQ(made(Entries::MulConstAndClip, Words{3}, Doubles{-1}, 12), Words{0});
}
TEST(MulConstAndClip, StoresZeroForWhatDoesNotFitBesidesTables) {
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{1, 1}, Doubles{1e10, kNaN}, 8), (Bytes{0, 0}));
    EXPECT_EQ(made(Entries::MulConstAndClip, Words{1, 2}, Doubles{1e10, 40000}, 16),
              (Words{0, 65535}));
    EXPECT_EQ(made(Entries::MulConstAndClip, Bytes{1}, Doubles{1e10}, 8), Bytes{255});
    EXPECT_EQ(made(Entries::MulConstAndClip, Words{1, 1, 0}, Doubles{1e10, kNaN, kInfinity}, 12),
              (Words{4095, 0, 0}));
}

TEST(DivConstAndClip, RoundsToTheNearest) {
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{100, 101}, Doubles{3, 2}, 8), (Bytes{33, 51}));
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{101}, Doubles{2}, 8), Bytes{51});
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{100, 101}, Doubles{3, 2}, 12), (Words{33, 51}));
    EXPECT_EQ(made(Entries::DivConstAndClip, std::vector<uint32_t>{1000000}, Doubles{3}, 24),
              std::vector<uint32_t>{333333});
}
TEST(DivConstAndClip, IsCoarseForSmallConstantsBesidesTables) {
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{10, 10}, Doubles{0.01, 1}, 12),
              (Words{853, 10}));
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{10}, Doubles{0.01}, 12), Words{1000});
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{1, 1}, Doubles{0.004, 1}, 8), (Bytes{255, 1}));
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{1}, Doubles{0.004}, 8), Bytes{250});
}
TEST(DivConstAndClip, ByZeroInTablesKeepsZeroAndFillsTheRest) {
    for (const double zero : {0.0, -0.0}) {
        const uint8_t most = std::signbit(zero) ? 0 : 255;
        EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{0, 1, 200}, Doubles{zero, zero, zero}, 8),
                  (Bytes{0, most, most}));
    }
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{0, 1, 200}, Doubles{0, 0, 0}, 12),
              (Words{0, 4095, 4095}));
}
TEST(DivConstAndClip, ByWhatIsNothingBesidesTablesFillsAll) {
    for (const double c : {0.0, -0.0, 1e-9, kNaN}) {
        EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{0, 7}, Doubles{c, c}, 8), (Bytes{255, 255}));
        EXPECT_EQ(made(Entries::DivConstAndClip, Words{0, 7}, Doubles{c, c}, 12),
                  (Words{4095, 4095}));
        EXPECT_EQ(made(Entries::DivConstAndClip, std::vector<uint32_t>{0}, Doubles{c}, 24),
                  std::vector<uint32_t>{0xFFFFFF});
    }
}
TEST(DivConstAndClip, ByHugeConstantsIsZero) {
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{255, 255}, Doubles{1e30, kInfinity}, 8),
              (Bytes{0, 0}));
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{65535, 65535}, Doubles{1e30, kInfinity}, 16),
              (Words{0, 0}));
    EXPECT_EQ(made(Entries::DivConstAndClip, std::vector<uint32_t>{0xFFFFFFFF, 0xFFFFFFFF},
                   Doubles{1e30, kInfinity}, 32),
              (std::vector<uint32_t>{0, 0}));
}
TEST(DivConstAndClip, RefusesNegativeConstantsBesidesTablesBeforeAnythingIsWritten) {
    const Doubles last{1, -1e-300}, first{-1, 1};
    for (const Doubles& k : {last, first})
        for (const uint32_t bpc : {8u, 12u, 24u}) {
            std::vector<uint32_t> d(4, 0x07070707), s(4, 5);
            EXPECT_EQ(Entries::DivConstAndClip(d.data(), 16, s.data(), 16, k.data(), 2, bpc, 2, 2),
                      QM_BAD_BUFFER);
            EXPECT_EQ(d, std::vector<uint32_t>(4, 0x07070707));
        }
    // 32 bits have no table.
    uint32_t d = 7;
    const uint32_t s = 5;
    const double k = -1;
    EXPECT_EQ(Entries::DivConstAndClip(&d, 4, &s, 4, &k, 1, 24, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(d, 7u);
    EXPECT_EQ(made(Entries::DivConstAndClip, Bytes{9}, Doubles{-1}, 8), Bytes{0});
    EXPECT_EQ(made(Entries::DivConstAndClip, Words{9, 9, 9}, Doubles{-1, 1, 1}, 12),
              (Words{0, 9, 9}));
}
TEST(DivConstAndClip, ServesFiveWideComponentsAsTheKernelOfFiveDoes) {
    const std::vector<uint32_t> s{0xFFFFFF, 1, 500, 0x800000, 7};
    const Doubles k{2, 3, 0.5, 1.5, 2};
    const auto found = made(Entries::DivConstAndClip, s, k, 24);
    EXPECT_EQ(found, (std::vector<uint32_t>{0x800000, 0, 1000, 5592405, 4}));
    EXPECT_EQ(made(divconstandclip_5x32, s, k, 24), found);
}

TEST(MinAndMaxConst, TakeConstantsAsTheyAreStored) {
    const auto limit = [](PixelConstKernel* entry, Words s, const Words& k, uint32_t bpc) {
        const auto bytes = static_cast<uint32_t>(s.size() * 2);
        EXPECT_EQ(entry(s.data(), bytes, s.data(), bytes, k.data(), static_cast<uint32_t>(s.size()),
                        bpc, 1, 1),
                  QM_OK);
        return s;
    };
    EXPECT_EQ(limit(Entries::MaxConstAndClip, {50, 200, 0}, {100, 100, 100}, 16),
              (Words{100, 200, 100}));
    EXPECT_EQ(limit(Entries::MinConstAndClip, {50, 200, 0}, {100, 100, 100}, 16),
              (Words{50, 100, 0}));
    // Constants are not clipped; samples are masked in tables.
    EXPECT_EQ(limit(Entries::MaxConstAndClip, {50, 5000, 0}, {5000, 0, 0}, 12),
              (Words{5000, 904, 0}));
    EXPECT_EQ(limit(Entries::MaxConstAndClip, {50, 5000}, {5000, 0}, 12), (Words{5000, 5000}));
}

TEST(AddMulPowConstAndClip, AddsFirstAndRaisesLast) {
    uint16_t d[3];
    const uint16_t s[3] = {3, 10, 1};
    const double add[] = {1, 0, -2}, mul[] = {2, 0.5, 1}, pow[] = {2, 1, 0.5};
    EXPECT_EQ(Entries::AddMulPowConstAndClip(d, 6, s, 6, add, mul, pow, 3, 12, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 64);
    EXPECT_EQ(d[1], 5);
    EXPECT_EQ(d[2], 0);  // the root of -1
    EXPECT_EQ(Entries::AddMulPowConstAndClip(d, 4, s, 4, add, mul, pow, 2, 12, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 64);
    EXPECT_EQ(d[1], 5);
}
TEST(AddMulPowConstAndClip, WithoutArraysIsTheClippedPicture) {
    uint16_t d[2];
    const uint16_t s[2] = {5000, 7};
    EXPECT_EQ(Entries::AddMulPowConstAndClip(d, 4, s, 4, nullptr, nullptr, nullptr, 2, 12, 1, 1),
              QM_OK);
    EXPECT_EQ(d[0], 4095);
    EXPECT_EQ(d[1], 7);
    EXPECT_EQ(Entries::AddMulPowConstAndClip(d, 2, s, 2, nullptr, nullptr, nullptr, 1, 12, 1, 1),
              QM_OK);
    EXPECT_EQ(d[0], 904);
    const uint8_t bytes[3] = {0, 7, 255};
    uint8_t copied[3] = {};
    EXPECT_EQ(
        Entries::AddMulPowConstAndClip(copied, 3, bytes, 3, nullptr, nullptr, nullptr, 3, 8, 1, 1),
        QM_OK);
    EXPECT_TRUE(std::equal(bytes, bytes + 3, copied));
}

TEST(SubAddConstAndClip, SubtractsAddsAndClips) {
    const uint8_t a[3] = {10, 10, 250}, b[3] = {20, 20, 0};
    uint8_t d[3];
    const int32_t k[3] = {15, 5, 10};
    EXPECT_EQ(Entries::SubAddConstAndClip(d, 3, a, 3, b, 3, k, 3, 8, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 5);
    EXPECT_EQ(d[1], 0);
    EXPECT_EQ(d[2], 255);
}
TEST(SubAddConstAndClip, WrapsAt32Bits) {
    const uint8_t a[2] = {1, 0}, b[2] = {0, 0};
    uint8_t d[2];
    const int32_t k[2] = {kMost, kMost};
    EXPECT_EQ(Entries::SubAddConstAndClip(d, 2, a, 2, b, 2, k, 2, 8, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[1], 255);
    const uint16_t c[1] = {65535}, e[1] = {0};
    uint16_t w[1];
    EXPECT_EQ(Entries::SubAddConstAndClip(w, 2, c, 2, e, 2, k, 1, 16, 1, 1), QM_OK);
    EXPECT_EQ(w[0], 0);
    EXPECT_EQ(Entries::SubAddConstAndClip(w, 2, e, 2, c, 2, &kLeast, 1, 16, 1, 1), QM_OK);
    EXPECT_EQ(w[0], 65535);
}

// More components than one run of constants holds.
TEST(ConstantKernels, TakeAnyNumberOfComponents) {
    for (const uint32_t components : {383u, 384u, 385u, 1000u}) {
        Random random(components);
        Digest digest;
        const Format words{components, 16, 12}, bytes{components, 8, 8};
        const Round round{0, random, digest};
        check_int(addconstandclip_Nx16, added, words, round);
        check_int(addconstandclip_Nx8, added, bytes, round);
        check_double(divconstandclip_Nx16, divided, words, round);
        check_two(subaddconstandclip_Nx8, bytes, round);
        if (HasFatalFailure()) return;
    }
}

TEST(ConstantKernels, LeaveAnIncompleteLastRowAlone) {
    const std::vector<uint8_t> s(30, 3);
    std::vector<uint8_t> d(30, 9);
    const int32_t k = 4;
    EXPECT_EQ(Entries::AddConstAndClip(d.data(), 10, s.data(), 10, &k, 1, 8, 10, 25), QM_OK);
    EXPECT_EQ(std::count(d.begin(), d.begin() + 20, 7), 20);
    EXPECT_EQ(std::count(d.begin() + 20, d.end(), 9), 10);
}

}  // namespace
}  // namespace qmpic::test
