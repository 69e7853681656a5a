#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "lut/predefined_lists.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/Gradient.h"
#include "qmpic/Histo.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/RatioDesc.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/kernels/golay.h"
#include "qmpic/kernels/spectral.h"
#include "qmpic/kernels/stretch.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

// What becomes of every entry that allocates when memory runs out: each allocation of each call
// fails once, alone and with all that follow.

namespace qmpic::test {
namespace {

// ----- What a call leaves, as text that can be compared ------------------------------------------

class Print {
  public:
    template <class T>
    requires std::is_arithmetic_v<T> Print& operator<<(T value) {
        text_ += std::to_string(value) + ' ';
        return *this;
    }
    template <class T>
    Print& block(const T* values, uint64_t count) {
        if (values == nullptr) text_ += "null ";
        for (uint64_t i = 0; values != nullptr && i < count; ++i) *this << values[i];
        return *this;
    }
    template <class T>
    Print& operator<<(const std::vector<T>& values) {
        return block(values.data(), values.size());
    }
    template <class Record>
    Print& format(const Record& r) {
        return *this << r.uiWidth << r.uiHeight << r.uiWidthBytes << r.uiBpc << r.uiComponents
                     << r.ui64Size;
    }
    Print& operator<<(const SQmPicBuf& r) {
        return format(r).block(static_cast<const uint8_t*>(r.pData), r.ui64Size);
    }
    Print& operator<<(const SQmFloatPicBuf& r) {
        format(r) << r.uiFlags;
        block(r.pfMinComp, r.uiComponents).block(r.pfMaxComp, r.uiComponents);
        return block(r.pfData, r.ui64Size / sizeof(float));
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

// ----- Cases -------------------------------------------------------------------------------------

/// What becomes of a call when one of its allocations fails. Whatever it is, nothing leaks, and the
/// same call gives the right result afterwards.
struct Fate {
    int code;
    bool throws;
    enum Left { kRight, kUntouched, kOther } left;  ///< the result, all as it was before, neither
};
constexpr Fate kUnnoticed{QM_OK, false, Fate::kRight};
constexpr Fate kSilent{QM_OK, false, Fate::kOther};
constexpr Fate kNothingDone{QM_OK, false, Fate::kUntouched};
constexpr Fate kThrows{QM_OK, true, Fate::kUntouched};
constexpr Fate refused(int code) { return {code, false, Fate::kUntouched}; }
constexpr Fate lost(int code) { return {code, false, Fate::kOther}; }

/// Something to call with; its destructor releases what the library allocated for it.
struct Subject {
    virtual ~Subject() = default;
    virtual int call() = 0;
    virtual std::string left() const = 0;
};

struct FailureCase {
    std::string name;
    std::function<std::unique_ptr<Subject>()> make;
    std::vector<Fate> once;          ///< of each allocation that fails alone
    std::vector<Fate> from_then_on;  ///< of each that fails with all that follow
};

void PrintTo(const FailureCase& tested, std::ostream* out) { *out << tested.name; }

std::vector<FailureCase>& failure_cases() {
    static std::vector<FailureCase> cases;
    return cases;
}

/// `call` gets the state and returns a code; `look` prints what is to be compared.
template <class State, class Call, class Look>
void add(std::string name, std::vector<Fate> once, std::vector<Fate> from_then_on, Call call,
         Look look) {
    struct Made : Subject {
        State state;
        Call run;
        Look look;
        Made(Call run_, Look look_) : run(run_), look(look_) {}
        int call() override { return run(state); }
        std::string left() const override {
            Print print;
            look(print, state);
            return print.text();
        }
    };
    failure_cases().push_back({std::move(name), [=] { return std::make_unique<Made>(call, look); },
                               std::move(once), std::move(from_then_on)});
}

/// The same fate in either way of failing.
template <class State, class Call, class Look>
void add(std::string name, const std::vector<Fate>& fates, Call call, Look look) {
    add<State>(std::move(name), fates, fates, call, look);
}

class EveryAllocation : public testing::TestWithParam<FailureCase> {
    void SetUp() override {
        if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
        omp_set_num_threads(2);
        // What is made once in a process or, by OpenMP, for teams of another size than the last.
        GetParam().make()->call();
    }
};

/// Runs, and counts what stays allocated.
template <class Job>
auto counting(int64_t& live, Job job) {
    const FailingAlloc memory(0);
    struct Add {
        int64_t& live;
        const FailingAlloc& memory;
        ~Add() { live += memory.live(); }
    } const add{live, memory};
    return job();
}

TEST_P(EveryAllocation, HasItsFateWhenItFails) {
    const FailureCase& tested = GetParam();
    std::string right;
    {
        const auto subject = tested.make();
        const Outcome fine = with_failing(0, FailingAlloc::kOnce, [&] { return subject->call(); });
        ASSERT_EQ(fine.code, QM_OK);
        ASSERT_EQ(fine.seen, tested.once.size()) << "allocations of a call";
        right = subject->left();
    }
    EXPECT_TRUE(right != tested.make()->left()) << "the call does nothing";
    ASSERT_EQ(tested.once.size(), tested.from_then_on.size());
    for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn})
        for (uint32_t n = 1; n <= tested.once.size(); ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n) +
                         (until == FailingAlloc::kOnce ? " alone" : " and all behind it"));
            const Fate& fate =
                (until == FailingAlloc::kOnce ? tested.once : tested.from_then_on)[n - 1];
            int64_t live = 0;
            auto subject = counting(live, [&] { return tested.make(); });
            const std::string before = subject->left();

            const Outcome outcome = with_failing(n, until, [&] { return subject->call(); });
            live += outcome.live;
            EXPECT_EQ(outcome.code_or_throw(), fate.throws ? Outcome::kThrew : fate.code);
            EXPECT_GE(outcome.failed, 1u);
            const std::string left = subject->left();
            EXPECT_EQ(left == right, fate.left == Fate::kRight) << left.substr(0, 200);
            EXPECT_EQ(left == before, fate.left == Fate::kUntouched) << left.substr(0, 200);

            EXPECT_EQ(counting(live, [&] { return subject->call(); }), QM_OK) << "afterwards";
            EXPECT_EQ(subject->left(), right) << "afterwards";
            counting(live, [&] { return subject.reset(), 0; });
            EXPECT_EQ(live, 0) << "leaks";
        }
}

// ----- Picture buffers ---------------------------------------------------------------------------

struct Picture : SQmPicBuf {
    Picture() { SQmPicBufAPI_Base::Init(this); }
    ~Picture() { SQmPicBufAPI_Base::Free(this); }
};
struct OldPicture : Picture {
    OldPicture() { SQmPicBufAPI_Base::Reinit(this, 4, 4, 0, 8, 1, true); }
};
struct TwoPictures {
    Picture first, second;
};
constexpr auto print_picture = [](Print& print, const SQmPicBuf& picture) { print << picture; };

void add_picture_buffers() {
    using Api = SQmPicBufAPI_Base;
    const auto reinit = [](Picture& p) { return Api::Reinit(&p, 5, 3, 0, 12, 3, true); };
    // Reinit tries once more without the old contents.
    add<Picture>("SQmPicBufAPI_Base::Reinit", {kUnnoticed}, {refused(QM_NO_MEMORY)}, reinit,
                 print_picture);
    add<OldPicture>("SQmPicBufAPI_Base::Reinit of a used record", {kUnnoticed},
                    {lost(QM_NO_MEMORY)}, reinit, print_picture);
    add<TwoPictures>(
        "SQmPicBufAPI_Base::ReinitN", {kUnnoticed, kUnnoticed},
        {refused(QM_NO_MEMORY), lost(QM_NO_MEMORY)},
        [](TwoPictures& p) {
            SQmPicBuf* both[] = {&p.first, &p.second};
            return Api::ReinitN(both, 2, 5, 3, 0, 12, 3, true);
        },
        [](Print& print, const TwoPictures& p) { print << p.first << p.second; });
    struct FromOld {
        OldPicture source;
        Picture copy;
    };
    add<FromOld>(
        "SQmPicBufAPI_Base::ReinitAndCopy", {kUnnoticed}, {refused(QM_NO_MEMORY)},
        [](FromOld& p) { return Api::ReinitAndCopy(&p.copy, &p.source); },
        [](Print& print, const FromOld& p) { print << p.copy; });
}

// ----- Ratio and calcium -------------------------------------------------------------------------

void add_ratio() {
    struct Square {
        uint32_t bpc;
        std::vector<uint8_t> src, dst;
        explicit Square(uint32_t bpc_)
            : bpc(bpc_),
              src(size_t{400} * 400 * 2 * (bpc > 8 ? 2 : 1)),
              dst(size_t{400} * 400 * 3) {
            for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 37 + i / 251);
        }
        uint32_t stride() const { return 400 * 2 * (bpc > 8 ? 2 : 1); }
        int ratio() {
            SQmRatioDesc desc;
            desc.uiDenom = 1;
            return CQmPicMemAPI_Base::RatioImage(dst.data(), 1200, src.data(), 2, bpc, stride(),
                                                 400, 160000, false, &desc, nullptr, 1);
        }
        int calcium() {
            return CQmPicMemAPI_Base::CaImage(dst.data(), 1200, src.data(), 2, bpc, stride(), 400,
                                              160000, false, 0, 1, 0, 0, 1, 1, 1, 1, 0, 8, 0.01,
                                              100, nullptr);
        }
    };
    struct Bytes : Square {
        Bytes() : Square(8) {}
    };
    struct Words : Square {
        Words() : Square(12) {}
    };
    const auto look = [](Print& print, const Square& square) { print << square.dst; };
    // Without a table of all pairs each pixel is computed.
    add<Bytes>(
        "CQmPicMemAPI_Base::RatioImage of bytes", {kUnnoticed}, [](Bytes& s) { return s.ratio(); },
        look);
    add<Bytes>(
        "CQmPicMemAPI_Base::CaImage of bytes", {kUnnoticed}, [](Bytes& s) { return s.calcium(); },
        look);
    add<Words>(
        "CQmPicMemAPI_Base::RatioImage of words", {refused(QM_NO_MEMORY)},
        [](Words& s) { return s.ratio(); }, look);
}

struct FloatPicture : SQmFloatPicBuf {
    FloatPicture() { SQmFloatPicBufAPI_Base::Init(this); }
    ~FloatPicture() { SQmFloatPicBufAPI_Base::Free(this); }
};
struct OldFloatPicture : FloatPicture {
    OldFloatPicture() { SQmFloatPicBufAPI_Base::Reinit(this, 4, 4, 0, 2, true); }
};
constexpr auto print_floats = [](Print& print, const SQmFloatPicBuf& picture) { print << picture; };

void add_float_picture_buffers() {
    using Api = SQmFloatPicBufAPI_Base;
    constexpr Fate no_pixels = lost(QM_NO_MEMORY);
    const auto reinit = [](FloatPicture& p) { return Api::Reinit(&p, 5, 3, 0, 3, true); };
    // Maxima, minima, pixels; nobody asks whether there was memory for the first two.
    const std::vector<Fate> once{kSilent, kSilent, no_pixels},
        from_then_on{refused(QM_NO_MEMORY), no_pixels, no_pixels};
    add<FloatPicture>("SQmFloatPicBufAPI_Base::Reinit", once, from_then_on, reinit, print_floats);
    add<OldFloatPicture>("SQmFloatPicBufAPI_Base::Reinit of a used record", once,
                         {no_pixels, no_pixels, no_pixels}, reinit, print_floats);
    add<FloatPicture>(
        "SQmFloatPicBufAPI_Base::Reinit16", once, from_then_on,
        [](FloatPicture& p) { return Api::Reinit16(&p, 5, 3, 0, 3, true); }, print_floats);
    for (const float value : {0.0f, 1.5f})
        add<FloatPicture>(
            "SQmFloatPicBufAPI_Base::ReinitWithValue " + std::to_string(value), once, from_then_on,
            [=](FloatPicture& p) { return Api::ReinitWithValue(&p, 5, 3, 0, 3, value); },
            print_floats);
    add<FloatPicture>(
        "SQmFloatPicBufAPI_Base::SetDesc", {kSilent, kSilent},
        [](FloatPicture& p) {
            return Api::SetDesc(&p, {5, 4, 60, 32, 3, 240});
        },
        print_floats);
    add<OldFloatPicture>(
        "SQmFloatPicBufAPI_Base::SetValue", {},
        [](FloatPicture& p) { return Api::SetValue(&p, 1.5f); }, print_floats);
    struct Two {
        OldFloatPicture source;
        FloatPicture other;
    };
    add<Two>(
        "SQmFloatPicBufAPI_Base::CopyMinMaxInfo", {kSilent, kSilent}, {kNothingDone, kSilent},
        [](Two& p) { return Api::CopyMinMaxInfo(&p.other, &p.source); },
        [](Print& print, const Two& p) {
            print.block(p.other.pfMinComp, 2).block(p.other.pfMaxComp, 2);
        });
    struct Converted {
        OldPicture source;
        FloatPicture floats;
    };
    add<Converted>(
        "SQmFloatPicBufAPI_Base::ConvertFromPicBuf", once, from_then_on,
        [](Converted& p) {
            p.floats.uiWidth = 0;  // or a picture that lacks an array would be kept
            return Api::ConvertFromPicBuf(&p.floats, &p.source);
        },
        [](Print& print, const Converted& p) { print << p.floats; });
    struct Extremes {
        OldFloatPicture picture;
        float low = 5, high = 6;
    };
    add<Extremes>(
        "SQmFloatPicBufAPI_Base::GetFloatMinMax of all under a mask", {lost(QM_NO_MEMORY)},
        [](Extremes& p) { return Api::GetFloatMinMax(&p.picture, p.low, p.high, nullptr, false); },
        [](Print& print, const Extremes& p) { print << p.low << p.high; });
}

// ----- Raw memory --------------------------------------------------------------------------------

/// Two pictures of so many bytes; the source counts up.
template <uint32_t to, uint32_t from>
struct Memory {
    std::vector<uint8_t> d = std::vector<uint8_t>(to, 7), s = std::vector<uint8_t>(from);
    Memory() {
        for (uint32_t i = 0; i < from; ++i) s[i] = static_cast<uint8_t>(i * 37 + i / 251);
    }
};
constexpr auto print_destination = [](Print& print, const auto& memory) { print << memory.d; };

void add_raw_memory() {
    using Api = CQmPicMemAPI_Base;
    // The two pixels are kept apart from the picture.
    using Pixel = Memory<193 * 2, 193 * 2>;
    const std::vector<Fate> not_changed{refused(QM_NO_MEMORY)};
    add<Pixel>(
        "change_Nx8", not_changed,
        [](Pixel& p) {
            std::fill(p.d.begin(), p.d.end(), uint8_t{7});
            return change_Nx8(p.d.data(), 193, 386, p.s.data(), p.d.data(), 1, 1);
        },
        print_destination);
    add<Pixel>(
        "change_Nx16", not_changed,
        [](Pixel& p) {
            std::fill(p.d.begin(), p.d.end(), uint8_t{7});
            return change_Nx16(p.d.data(), 193, 386, p.s.data(), p.d.data(), 1, 1);
        },
        print_destination);
    for (const uint32_t bpc : {8u, 12u}) {
        add<Pixel>(
            "CQmPicMemAPI_Base::ChangeValue of " + std::to_string(bpc) + " bits", not_changed,
            [=](Pixel& p) {
                std::fill(p.d.begin(), p.d.end(), uint8_t{7});
                return Api::ChangeValue(p.d.data(), 193, bpc, 386, p.s.data(), p.d.data(), 1, 1);
            },
            print_destination);
        add<Pixel>(
            "CQmPicMemAPI_Base::ChangeValue of 192 components of " + std::to_string(bpc) + " bits",
            {},
            [=](Pixel& p) {
                return Api::ChangeValue(p.d.data(), 192, bpc, 386, p.s.data(), p.d.data(), 1, 1);
            },
            print_destination);
    }

    using Small = Memory<16, 16>;
    static constexpr uint32_t kFirst[] = {0}, kLast[] = {2};
    for (const auto& [name, kernel] :
         {std::pair{"copycomponentszerorest_Nx8_to_Nx8", &copycomponentszerorest_Nx8_to_Nx8},
          {"copycomponentszerorest_Nx16_to_Nx16", &copycomponentszerorest_Nx16_to_Nx16}})
        for (const bool parallel : {false, true})
            add<Small>(
                name + std::string(parallel ? " on a team" : ""), {refused(QM_NO_MEMORY)},
                [=, run = kernel](Small& p) {
                    return run(p.d.data(), 3, kFirst, 8, p.s.data(), 3, kLast, 8, 1, 2, 1,
                               parallel);
                },
                print_destination);
    for (const uint32_t bpc : {8u, 16u})
        add<Small>(
            "CQmPicMemAPI_Base::CopyComponentsZeroRest of " + std::to_string(bpc) + " bits",
            {refused(QM_NO_MEMORY)},
            [=](Small& p) {
                return Api::CopyComponentsZeroRest(p.d.data(), 3, kFirst, 8, p.s.data(), 3, kLast,
                                                   8, bpc, 1, 2, 1, false);
            },
            print_destination);
}

// Without references nothing is done. Without a histogram they are the greatest samples, here 255.
void add_shading() {
    struct Lit : Memory<64, 64> {
        std::vector<uint8_t> light = std::vector<uint8_t>(64, 200);
        Lit() { light[5] = 255; }
    };
    for (const uint32_t components : {1u, 2u})
        add<Lit>(
            "CQmPicMemAPI_Base::ApplyMultShading of " + std::to_string(components) + " components",
            {refused(QM_NO_MEMORY), kUnnoticed, kUnnoticed},  // it is tried twice
            {refused(QM_NO_MEMORY), kSilent, kSilent},
            [=](Lit& p) {
                return CQmPicMemAPI_Base::ApplyMultShading(p.d.data(), 8, p.s.data(), 8,
                                                           p.light.data(), 8, components, 8,
                                                           8 / components, 64 / components);
            },
            print_destination);
}

// A pixel that is given as a number is made as long as those of the picture.
void add_binary() {
    using Api = CQmPicMemAPI_Base;
    struct Wide : Memory<400, 400> {
        Wide() { d.assign(400, 0xFF); }
    };
    const std::vector<Fate> no_pixel{refused(QM_NO_MEMORY)};
    const auto pack = [](uint32_t components) {
        return [=](Wide& p) {
            return Api::PackToBinary(p.d.data(), 0, 1, p.s.data(), components, 8, 193, uint64_t{0},
                                     0, 1, 2, 0);
        };
    };
    add<Wide>("CQmPicMemAPI_Base::PackToBinary", no_pixel, pack(193), print_destination);
    add<Wide>("CQmPicMemAPI_Base::PackToBinary of 192 components", {}, pack(192),
              print_destination);
    using Unpack = int(void*, uint32_t, uint32_t, uint64_t, uint32_t, const void*, uint32_t,
                       uint32_t, uint32_t, uint64_t, uint32_t);
    const auto unpack = [](Unpack* how) {
        return [=](Wide& p) { return how(p.d.data(), 193, 8, 5, 193, p.s.data(), 0, 1, 1, 2, 0); };
    };
    add<Wide>("CQmPicMemAPI_Base::UnpackFromBinary", no_pixel, unpack(Api::UnpackFromBinary),
              print_destination);
    add<Wide>("CQmPicMemAPI_Base::UnpackFromBinaryMT", no_pixel, unpack(Api::UnpackFromBinaryMT),
              print_destination);
    const auto threshold = [](uint32_t components) {
        return [=](Wide& p) {
            return Api::ThresholdToBinary(p.d.data(), 0, 1, p.s.data(), components, 8, 193,
                                          uint64_t{0}, uint64_t{99}, true, 1, 2, 0, nullptr);
        };
    };
    add<Wide>("CQmPicMemAPI_Base::ThresholdToBinary",
              {refused(QM_NO_MEMORY), refused(QM_NO_MEMORY)}, threshold(193), print_destination);
    add<Wide>("CQmPicMemAPI_Base::ThresholdToBinary of 192 components", {}, threshold(192),
              print_destination);
}

void add_acquisition() {
    using Api = CQmPicMemAPI_Base;
    add<Memory<12, 12>>(
        "CQmPicMemAPI_Base::ZorbenProcessing", {refused(QM_NO_MEMORY)},
        [](Memory<12, 12>& p) {
            static constexpr double kWeights[] = {1, 1, 1};
            return Api::ZorbenProcessing(p.d.data(), 3, 3, p.s.data(), 3, 3, nullptr, kWeights, 8,
                                         1, 4);
        },
        print_destination);
    // Powers of words and products of bytes are computed again when they cannot be kept.
    using Large = Memory<131072, 131072>;
    for (const uint32_t bpc : {8u, 9u})
        add<Large>(
            "CQmPicMemAPI_Base::MixDicAndFluo of " + std::to_string(bpc) + " bits", {kUnnoticed},
            [=](Large& p) {
                return Api::MixDicAndFluo(p.d.data(), 512, 1, bpc, p.s.data(), 512, 1, bpc,
                                          p.s.data(), 512, 1, bpc, 0, 2.2, bpc == 8 ? 512 : 256,
                                          bpc == 8 ? 131072 : 65536);
            },
            print_destination);

    // What is returned, unless it is a code.
    struct Level : Memory<1, 2048> {
        uint32_t level = 77;
        int take(uint32_t given) {
            if (given == static_cast<uint32_t>(QM_NO_MEMORY)) return QM_NO_MEMORY;
            level = given;
            return QM_OK;
        }
    };
    const auto print_level = [](Print& print, const Level& p) { print << p.level; };
    for (const uint32_t bpc : {8u, 16u}) {
        const std::string bits = " of " + std::to_string(bpc) + " bits";
        add<Level>(
            "CQmPicMemAPI_Base::ThresholdFromIntegralCircularity" + bits, {refused(QM_NO_MEMORY)},
            [=](Level& p) {
                return p.take(Api::ThresholdFromIntegralCircularity(p.s.data(), bpc, 1, 64, 32,
                                                                    1024, true, 0, 0));
            },
            print_level);
        add<Level>(
            "CQmPicMemAPI_Base::ThresholdFromIntegralCircularity under a mask" + bits,
            {refused(QM_NO_MEMORY)},
            [=](Level& p) {
                return p.take(Api::ThresholdFromIntegralCircularity(p.s.data(), bpc, 1, 64,
                                                                    p.s.data(), bpc, 64, 32, 1024,
                                                                    true, 0, 0, 0x12345, false));
            },
            print_level);
    }

    // Ends of 10000 around a gap: F is 10000 * 2 / 256 / 20, which is 3, and so 10.
    struct Torn {
        std::vector<uint32_t> d = std::vector<uint32_t>(256);
        void* histograms[2] = {nullptr, d.data()};
        Torn() { d[10] = d[14] = 10000; }
    };
    add<Torn>(
        "CQmPicMemAPI_Base::GainedProblem", {kNothingDone},
        [](Torn& p) { return Api::GainedProblem(nullptr, p.d.data(), 0, 4, 1, 8); },
        print_destination);
    add<Torn>(
        "CQmPicMemAPI_Base::GainedProblem of several", {kNothingDone},
        [](Torn& p) { return Api::GainedProblem(p.histograms, nullptr, 1, 4, 3, 8); },
        print_destination);
}

struct Floats {
    std::vector<float> d = std::vector<float>(3, 7), s{3, 1, 2, 6, 5, 4, 9, 8, 7, 0, 1, 2};
};

void add_raw_floats() {
    using Api = CQmFloatPicMemAPI_Base;
    add<Floats>(
        "CQmFloatPicMemAPI_Base::MedianComp", {lost(QM_NO_MEMORY)},
        [](Floats& p) { return Api::MedianComp(p.d.data(), p.s.data(), 2, 2, 3); },
        print_destination);
    struct Ranged : Floats {
        Ranged() { d = s; }
    };
    static constexpr float kMin[] = {1, 2, 3}, kMax[] = {5, 4, 9};
    add<Ranged>(
        "CQmFloatPicMemAPI_Base::Normalize", {},
        [](Ranged& p) {
            p.d = p.s;
            return Api::Normalize(p.d.data(), 6, 3, 2, 2, kMin, kMax);
        },
        print_destination);
    struct Shown : Floats {
        SQmLut lut;
        std::vector<uint8_t> bytes = std::vector<uint8_t>(36, 99);
        const std::vector<CQmRangeBase<float>> ranges{{0, 9}};
        Shown() {
            d.assign(36, 7);
            lut.ucComponents = 1, lut.ucDstBpc = 8;
            lut.rmComponents = CQmRangeMask(1, 0, 0, 1);
            SQmLut::ReinitParametric(lut);
            lut.pParams[0].dOffset = 0, lut.pParams[0].dGain = lut.pParams[0].dGamma = 1;
            lut.pParams[0].uiColor = 0xFFFFFF;
        }
    };
    const auto print_shown = [](Print& print, const Shown& p) { print << p.d << p.bytes; };
    add<Shown>(
        "nonspect_render_NxFloat_3x8_float", {refused(QM_NO_MEMORY)},
        [](Shown& p) {
            return nonspect_render_NxFloat_3x8_float(p.bytes.data(), 9, p.s.data(), 12, 1, &p.lut,
                                                     3, 12, p.ranges);
        },
        print_shown);
    add<Shown>(
        "CQmFloatPicMemAPI_Base::ConvertFloatToRGBFloat", {refused(QM_NO_MEMORY)},
        [](Shown& p) {
            return Api::ConvertFloatToRGBFloat(p.d.data(), 36, p.s.data(), 1, 12, &p.lut, 3, 12,
                                               p.ranges);
        },
        print_shown);
    add<Shown>(
        "CQmFloatPicMemAPI_Base::ConvertToTrueColor of parameters", {refused(QM_NO_MEMORY)},
        [](Shown& p) {
            return Api::ConvertToTrueColor(p.bytes.data(), 9, p.s.data(), 1, 12, 3, 12, &p.lut,
                                           p.ranges);
        },
        print_shown);
    add<Shown>(
        "CQmFloatPicMemAPI_Base::ConvertToTrueColor of greys", {refused(QM_NO_MEMORY)},
        [](Shown& p) {
            return Api::ConvertToTrueColor(p.bytes.data(), 9, p.s.data(), 1, 12, 3, 12, nullptr,
                                           p.ranges);
        },
        print_shown);
    add<Shown>(
        "CQmFloatPicMemAPI_Base::ConvertToTrueColor of colours", {},
        [](Shown& p) {
            return Api::ConvertToTrueColor(p.bytes.data(), 9, p.s.data(), 3, 36, 3, 3, nullptr,
                                           p.ranges);
        },
        print_shown);
}

// ----- Tables ------------------------------------------------------------------------------------

void print_tables(Print& print, const SQmLut& lut) {
    print << lut.ucSrcBpc << lut.ucComponents << lut.ucDstBpc << lut.ucDstComponents;
    print << (lut.pLuts != nullptr) << (lut.pOverExpColor != nullptr)
          << (lut.pUnderExpColor != nullptr) << (lut.pOverExpValue != nullptr)
          << (lut.pParams != nullptr);
}
constexpr auto print_set = [](Print& print, const SQmLut& lut) { print_tables(print, lut); };

struct Colours : SQmLut {
    Colours() { Alloc(*this, 8, 3, 8, 3); }
};

void add_tables() {
    const auto made = [](std::string name, std::vector<Fate> fates, auto make) {
        add<SQmLut>(
            std::move(name), fates,
            [=](SQmLut& lut) {
                SQmLut::Free(lut);
                return make(lut);
            },
            print_set);
    };
    constexpr Fate no_tables = lost(QM_NO_MEMORY);  // the shape is there
    made("SQmLut::Alloc", {kSilent, no_tables, no_tables},
         [](SQmLut& lut) { return SQmLut::Alloc(lut, 8, 3, 8, 3); });
    made("SQmLut::AllocColor", {no_tables, no_tables},
         [](SQmLut& lut) { return SQmLut::AllocColor(lut, 8, 8); });
    made("SQmLut::AllocSingle", {no_tables},
         [](SQmLut& lut) { return SQmLut::AllocSingle(lut, 8, 8); });
    made("SQmLut::CustomSpectralLutAlloc", {lost(QM_BAD_BUFFER), no_tables, no_tables},
         [](SQmLut& lut) { return SQmLut::CustomSpectralLutAlloc(lut, 8, 3, 8, 3); });
    made("SQmLut::check_luts", {kSilent, no_tables, no_tables},
         [](SQmLut& lut) { return SQmLut::check_luts(lut, 8, 3, 8, 3); });
    made("SQmLut::check_luts_spectral_ex", {lost(QM_BAD_BUFFER), no_tables, no_tables},
         [](SQmLut& lut) { return SQmLut::check_luts_spectral_ex(lut, 8, 3, 8, 3); });

    static const std::vector<unsigned> references(192, 0x01020304);
    static constexpr uint8_t kEntry[4] = {1, 2, 3, 4};
    for (const auto& [name, set] :
         {std::pair{"Over", &SQmLut::SetOverExpColor}, {"Under", &SQmLut::SetUnderExpColor}})
        add<Colours>(
            "SQmLut::Set" + std::string(name) + "ExpColor", {refused(QM_NO_MEMORY)},
            [run = set](Colours& lut) { return run(lut, references.data()); }, print_set);
    for (const auto& [name, set] :
         {std::pair{"Over", &SQmLut::SetOverExpColorArr}, {"Under", &SQmLut::SetUnderExpColorArr}})
        add<Colours>(
            "SQmLut::Set" + std::string(name) + "ExpColorArr", {refused(QM_NO_MEMORY)},
            [run = set](Colours& lut) { return run(lut, kEntry, 8); }, print_set);
    add<Colours>(
        "SQmLut::SetOverExpValue", {kThrows},
        [](Colours& lut) { return SQmLut::SetOverExpValue(lut, references.data()); }, print_set);
    add<Colours>(
        "SQmLut::ReinitParametric", {kThrows},
        [](Colours& lut) { return SQmLut::ReinitParametric(lut), 0; }, print_set);
    struct Parametric {
        Colours from, to;
        Parametric() { SQmLut::ReinitParametric(from); }
    };
    add<Parametric>(
        "SQmLut::Copy", {kThrows}, [](Parametric& p) { return SQmLut::Copy(p.to, p.from), 0; },
        [](Print& print, const Parametric& p) { print_tables(print, p.to); });
}

// ----- Typed display parameters ------------------------------------------------------------------

constexpr unsigned kSizes[] = {2, 1, 1};
int reinit(CQmLutParamMCH& p) { return p.Reinit(3, 4, kSizes, 8); }
int reinit(CQmLutParamSpectralTrueColor& p) { return p.Reinit(3, 2, 4, kSizes, 8); }
int reinit(CQmLutParamSpectralCustomColor& p) { return p.Reinit(2, 2, 3, 4, kSizes, 8); }
int reinit(CQmLutParamSpectralGrouped& p) { return p.Reinit(2, kSizes, 2, 3, 4, kSizes, 8); }

template <class P>
struct TypedPair {
    P from, to;
    std::optional<P> copy;
    TypedPair() {
        reinit(from);
        constexpr unsigned one = 1;
        if constexpr (std::is_same_v<P, CQmLutParamMCH>) to.Reinit(1, 1, &one, 12);
    }
};

template <class P>
void add_typed_of(const std::string& name, size_t arrays) {
    using Pair = TypedPair<P>;
    const std::vector<Fate> fates(arrays, kThrows);
    const auto look = [](Print& print, const Pair& p) {
        print << p.to.GetBpc() << p.to.GetChannelCount() << p.to.GetComponentCount();
        print.block(p.to.puiComp, p.to.GetChannelCount()) << p.copy.has_value();
    };
    add<Pair>(
        name + "::" + name, fates, [](Pair& p) { return p.copy.emplace(p.from), 0; }, look);
    add<Pair>(
        name + "::operator=", fates, [](Pair& p) { return p.to = p.from, 0; }, look);
    add<Pair>(
        name + "::Reinit", fates, [](Pair& p) { return reinit(p.to); }, look);
}

void add_typed() {
    add_typed_of<CQmLutParamMCH>("CQmLutParamMCH", 4);
    add_typed_of<CQmLutParamSpectralTrueColor>("CQmLutParamSpectralTrueColor", 3);
    add_typed_of<CQmLutParamSpectralCustomColor>("CQmLutParamSpectralCustomColor", 4);
    add_typed_of<CQmLutParamSpectralGrouped>("CQmLutParamSpectralGrouped", 5);
}

// ----- Display parameters ------------------------------------------------------------------------

void print_parameters(Print& print, const SQmLutParam& p) {
    const auto& d = p.sLutDataSpectral;
    print << p.uiGradient << d.uiGroupCount << d.uiSpectralCompCount << d.uiAllocated;
    print.block(d.pdGainTrueColor, 1).block(d.pdOffsetGrayScale, 1);
    for (const double* values :
         {d.pdOffsetCustom, d.pdOffsetGrouped, d.pdGainCustom, d.pdGainGrouped})
        print.block(values, d.uiAllocated);
    print.block(d.puiColorCustom, d.uiAllocated).block(d.puiColorGroup, d.uiAllocated);
    for (const SQmCompLutParam& c : p.sCompLutParam) print << c.uiGroup << c.uiMinSrc;
}

/// Twelve components in so many groups, with something in the arrays; of none there are no arrays.
template <uint32_t groups>
struct Spectral : SQmLutParam {
    Spectral() {
        Init(0, false, 0, 12, 12);
        auto& d = sLutDataSpectral;
        d.Realloc(groups);
        if (groups != 0) d.uiGroupCount = groups;
        for (uint32_t i = 0; i < groups; ++i) d.pdGainGrouped[i] = d.puiColorCustom[i] = i + 2;
    }
};

void add_display_parameters() {
    using Data = SQmLutParam::SQmLUTDataSpectral;
    const std::vector<Fate> four(4, kThrows), six(6, kThrows);  // single values; arrays
    auto ten = six;
    ten.insert(ten.end(), four.begin(), four.end());

    struct Room {
        Spectral<4> source;
        std::optional<SQmLutParam> made;
    };
    const auto print_made = [](Print& print, const Room& r) {
        if (r.made) print_parameters(print, *r.made);
    };
    add<Room>(
        "SQmLutParam::SQmLutParam", four, [](Room& r) { return r.made.emplace(), 0; }, print_made);
    add<Room>(
        "SQmLutParam::SQmLutParam of another", ten,
        [](Room& r) { return r.made.emplace(r.source), 0; }, print_made);

    // A copy, and what CompatibleCopy does behind it: all 12 components are in one group.
    struct Two {
        Spectral<4> source;
        Spectral<2> target;
        Two() { source.uiGradient = 7, source.sCompLutParam[3].uiMinSrc = 5; }
    };
    const auto print_target = [](Print& print, const Two& p) { print_parameters(print, p.target); };
    add<Two>(
        "SQmLutParam::operator=", six,
        [](Two& p) { return p.target.SQmLutParam::operator=(p.source), 0; }, print_target);
    auto copied_first = six;
    copied_first.insert(copied_first.end(), 6, Fate{QM_OK, true, Fate::kOther});
    add<Two>(
        "SQmLutParam::CompatibleCopy", copied_first,
        [](Two& p) { return p.target.CompatibleCopy(p.source); }, print_target);
    add<Two>(
        "SQmLUTDataSpectral::ExtractGroups", six,
        [](Two& p) {
            p.source.sCompLutParam[2].uiGroup = 2;
            p.source.sCompLutParam[3].uiGroup = 3;
            const CQmRangeMask comps(12, 1, 3, 1);
            Data::ExtractGroups(p.target.sLutDataSpectral, p.source.sLutDataSpectral, comps);
            return 0;
        },
        print_target);

    const auto change = [&](const char* name, std::vector<Fate> fates, auto call) {
        add<Spectral<3>>(
            name, std::move(fates), [=](Spectral<3>& p) { return call(p.sLutDataSpectral); },
            print_parameters);
    };
    change("SQmLUTDataSpectral::Realloc", six, [](Data& d) { return d.Realloc(5), 0; });
    change("SQmLUTDataSpectral::Realloc to less", six, [](Data& d) { return d.Realloc(1), 0; });
    change("SQmLUTDataSpectral::Realloc to none", {}, [](Data& d) { return d.Realloc(0), 0; });
    // Once: what fails behind the first insertion leaves four groups.
    auto inserted_first = six;
    inserted_first.insert(inserted_first.end(), 6, Fate{QM_OK, true, Fate::kOther});
    change("SQmLUTDataSpectral::SetGroupCount", inserted_first,
           [](Data& d) { return d.SetGroupCount(5) == 5 ? QM_OK : QM_REJECTED; });
    const auto change_once = [&](const char* name, uint32_t before, auto call) {
        change(name, six, [=](Data& d) { return d.uiGroupCount == before ? call(d) : QM_OK; });
    };
    change_once("SQmLUTDataSpectral::InsertGroup", 3,
                [](Data& d) { return d.InsertGroup(1, nullptr); });
    change_once("SQmLUTDataSpectral::RemoveGroup", 3,
                [](Data& d) { return d.RemoveGroup(1, nullptr); });
    add<Spectral<0>>(
        "SQmLUTDataSpectral::GetAllGroupCount", six,
        [](Spectral<0>& p) {
            return p.sLutDataSpectral.GetAllGroupCount(nullptr, true) == 3 ? QM_OK : QM_REJECTED;
        },
        print_parameters);
}

// ----- Generators --------------------------------------------------------------------------------

void add_generators() {
    static unsigned colors[3] = {0x0000FF, 0x00FF00, 0xFF0000};
    struct Mapped {
        Colours lut;
        SQmLut values;
        Mapped() {
            SQmLut::Alloc(values, 8, 1, 8, 3);
            SQmLut::CreateLinearTable(values, 9, 0, 0, 255, 255);
        }
    };
    const auto print_first_table = [](Print& print, const SQmLut& lut) {
        print.block(static_cast<const uint8_t* const* const*>(lut.pLuts)[0][0], 256 * 3);
    };
    const auto print_cells = [=](Print& print, const Mapped& m) {
        print_first_table(print, m.lut);
    };
    add<Mapped>(
        "SQmLut::CreateMultiColorTable", {kThrows},
        [](Mapped& m) { return SQmLut::CreateMultiColorTable(m.lut, colors, 3); }, print_cells);
    add<Mapped>(
        "SQmLut::CreateMultiColorTableEx", {kThrows},
        [](Mapped& m) {
            return SQmLut::CreateMultiColorTableEx(m.lut, colors, 3, &m.values, true, 1, true, 2);
        },
        print_cells);
    struct Composed {
        Colours lut, outer;
        SQmLut inner;
        Composed() {
            static constexpr uint8_t kEntry[4] = {1, 2, 3, 4};
            SQmLut::SetOverExpColorArr(outer, kEntry, 8);
            SQmLut::SetUnderExpColorArr(outer, kEntry, 8);
            SQmLut::CreateMultiColorTable(outer, colors, 3);
            SQmLut::AllocSingle(inner, 8, 8);
            SQmLut::CreateLinearTable(inner, 0, 0, 0, 255, 255);
        }
    };
    add<Composed>(
        "SQmLut::CreateComposedTable", {kSilent, kSilent},  // without the colours
        [](Composed& c) { return SQmLut::CreateComposedTable(c.lut, c.outer, c.inner); },
        [=](Print& print, const Composed& c) {
            print_tables(print, c.lut);
            print_first_table(print, c.lut);
        });
    struct Gradient {
        void* table = nullptr;
        Gradient() = default;
        Gradient(const Gradient&) = delete;
        Gradient& operator=(const Gradient&) = delete;
        ~Gradient() { SQmLut::FreeGradientTable(table); }
    };
    add<Gradient>(
        "SQmLut::CreateGradientTableC1ToC3", {refused(QM_NO_MEMORY)},
        [](Gradient& g) {
            SQmLut::FreeGradientTable(g.table);
            return SQmLut::CreateGradientTableC1ToC3(g.table, 8, 1, 0.0, 0.0, 0.0, 1.0);
        },
        [](Print& print, const Gradient& g) {
            print.block(static_cast<const uint8_t*>(g.table), 3 * 256);
        });
}

// ----- Tables from display parameters ------------------------------------------------------------

void add_constructions() {
    using Api = SQmPicBufAPI_Base;
    constexpr Fate no_tables = lost(QM_NO_MEMORY);  // the shape is there
    // A spectral set has its shape and its tables when there is no memory for its records.
    constexpr Fate no_records{QM_OK, true, Fate::kOther};
    struct Old {
        SQmLut lut;
        SQmLutParam param;
        unsigned colors[3] = {0x0000FF, 0x00FF00, 0xFF0000};
    };
    const auto old = [](std::string name, std::vector<Fate> once, std::vector<Fate> from_then_on,
                        auto create) {
        add<Old>(
            std::move(name), std::move(once), std::move(from_then_on),
            [=](Old& p) {
                SQmLut::Free(p.lut);
                return create(p);
            },
            [](Print& print, const Old& p) { print_tables(print, p.lut); });
    };
    const std::vector<Fate> one{no_tables, no_tables}, several{no_tables, no_tables, no_tables};
    old("SQmPicBufAPI_Base::CreateLutsMono", one, one,
        [](Old& p) { return Api::CreateLutsMono(&p.lut, &p.param, 8, p.colors, nullptr); });
    old("SQmPicBufAPI_Base::CreateLutsMCH", several, several, [](Old& p) {
        return Api::CreateLutsMCH(&p.lut, &p.param, 8, 3, p.colors, false, false, nullptr, nullptr,
                                  nullptr);
    });
    old("SQmPicBufAPI_Base::CreateLutsMCH_Dst16bit", several, several, [](Old& p) {
        return Api::CreateLutsMCH_Dst16bit(&p.lut, 12, &p.param, 8, 3, p.colors, false, false,
                                           nullptr);
    });
    const std::vector<Fate> shared{lost(QM_BAD_BUFFER), no_tables, no_tables};
    old("SQmPicBufAPI_Base::CreateLutsMCH of one table for all", shared, shared, [](Old& p) {
        p.param.uiGradient = 1;
        p.param.sLutDataSpectral.uiSpectralColorMode = 3;
        return Api::CreateLutsMCH(&p.lut, &p.param, 8, 3, p.colors, true, false, nullptr, nullptr,
                                  nullptr);
    });
    // Colours are split in memory of their own; the set has its tables then.
    const std::vector<Fate> ramps{no_tables, no_tables, no_tables, {QM_OK, true, Fate::kRight}};
    old("SQmPicBufAPI_Base::CreateLutsMCH without parameters", ramps, ramps, [](Old& p) {
        return Api::CreateLutsMCH(&p.lut, nullptr, 8, 3, p.colors, false, false, nullptr, nullptr,
                                  nullptr);
    });
    old("SQmPicBufAPI_Base::CreateLutsRGB without parameters", ramps, ramps,
        [](Old& p) { return Api::CreateLutsRGB(&p.lut, nullptr, 8, nullptr, nullptr, false); });
    old("SQmPicBufAPI_Base::CreateLutsRGB", one, one,
        [](Old& p) { return Api::CreateLutsRGB(&p.lut, &p.param, 8, nullptr, nullptr, true); });
    old("SQmPicBufAPI_Base::CreateLutsSpectral", {no_records}, {no_records}, [](Old& p) {
        p.lut.ucComponents = 0;
        return Api::CreateLutsSpectral(&p.lut, &p.param, p.colors, 3, 3, 1.0);
    });

    static constexpr unsigned kSizes[] = {2, 1}, kGroups[] = {2};
    struct Typed {
        SQmLut lut;
        CQmLutParamMCH channels{2, 3, kSizes, 8};
        CQmLutParamRGB rgb{8};
        CQmLutParamSpectralTrueColor true_color{2, 1, 3, kSizes, 8};
        CQmLutParamSpectralCustomColor custom{1, 1, 2, 3, kSizes, 8};
        CQmLutParamSpectralGrouped grouped{1, kGroups, 1, 2, 3, kSizes, 8};
        unsigned colors[3] = {0x0000FF, 0x00FF00, 0xFF0000};
    };
    const auto typed = [](std::string name, const std::vector<Fate>& fates, auto create) {
        add<Typed>(
            std::move(name), fates,
            [=](Typed& p) {
                SQmLut::Free(p.lut);
                return create(p);
            },
            [](Print& print, const Typed& p) { print_tables(print, p.lut); });
    };
    typed("SQmPicBufAPI_Base::CreateLutsMCH of channels", several,
          [](Typed& p) { return Api::CreateLutsMCH(&p.lut, &p.channels, p.colors); });
    typed("SQmPicBufAPI_Base::CreateLutsRGB of its own parameters", one,
          [](Typed& p) { return Api::CreateLutsRGB(&p.lut, &p.rgb, 7, true); });
    const std::vector<Fate> spectral{no_tables, no_tables, no_tables, no_records};
    typed("SQmPicBufAPI_Base::CreateLutsSpectralTrueColor", spectral, [](Typed& p) {
        return Api::CreateLutsSpectralTrueColor(&p.lut, &p.true_color, p.colors, 1.0);
    });
    typed("SQmPicBufAPI_Base::CreateLutsSpectralCustomColor", spectral,
          [](Typed& p) { return Api::CreateLutsSpectralCustomColor(&p.lut, &p.custom, 1.0); });
    typed("SQmPicBufAPI_Base::CreateLutsSpectralGrouped", spectral,
          [](Typed& p) { return Api::CreateLutsSpectralGrouped(&p.lut, &p.grouped, 1.0); });
}

// ----- Automatic contrast ------------------------------------------------------------------------

void add_contrast() {
    using Api = SQmPicBufAPI_Base;
    struct Shown {
        uint8_t pixels[12] = {9, 7, 8, 20, 30, 40, 20, 30, 40, 90, 80, 99};
        SQmPicBuf picture{4, 1, 12, 8, 3, 12, pixels};
        std::vector<CQmRangeBase<unsigned>> ranges{{9, 90}, {7, 80}, {8, 99}};
        SQmLut lut;
        SQmLutParam param;
        Shown() { param.sCompLutParam[0].uiMinSrc = 5; }
    };
    const auto print = [](Print& out, const Shown& p) {
        print_tables(out, p.lut);
        for (const SQmCompLutParam& c : p.param.sCompLutParam) out << c.uiMinSrc << c.uiMaxSrc;
    };
    // Without a histogram the levels are the ends of the depth; then there may be no tables.
    constexpr Fate no_tables = lost(QM_NO_MEMORY);
    add<Shown>(
        "SQmPicBufAPI_Base::GetAutoContrast", {kSilent, kSilent},
        [](Shown& p) {
            return Api::GetAutoContrast(&p.param, nullptr, &p.picture, 0.1, 0.1, false, false);
        },
        print);
    add<Shown>(
        "SQmPicBufAPI_Base::GetAutoContrast of tables",
        {kUnnoticed, kUnnoticed, no_tables, no_tables},
        {no_tables, no_tables, no_tables, no_tables},
        [](Shown& p) {
            return Api::GetAutoContrast(nullptr, &p.lut, &p.picture, 0.1, 0.1, false, false);
        },
        print);
    add<Shown>(
        "SQmPicBufAPI_Base::GetContrastFromMinMax of tables", {no_tables, no_tables},
        [](Shown& p) {
            return Api::GetContrastFromMinMax(nullptr, &p.lut, &p.picture, p.ranges, 1, 1, false,
                                              false);
        },
        print);
}

// ----- Automatic contrast of spectral pictures, and conversions of parameters --------------------

/// A picture of bytes and one of floats, of two spectral components and a further one.
struct SpectralContrast {
    using Api = SQmPicBufAPI_Base;
    static constexpr unsigned kSizes[] = {1, 1, 1};
    uint8_t pixels[12] = {9, 7, 8, 20, 30, 40, 20, 30, 40, 90, 80, 99};
    float floats[12] = {9, 7, 8, 20, 30, 40, 20, 30, 40, 90, 80, 99};
    SQmPicBuf picture{4, 1, 12, 8, 3, 12, pixels};
    SQmFloatPicBuf float_picture{0, 4, 1, 48, 32, 3, 48, nullptr, nullptr, floats};
    const std::vector<CQmRangeBase<float>> ranges{{7, 99}, {7, 99}, {7, 99}};
    const CQmRangeMask mask{3, 0, 1, 1};
    const unsigned colors[3] = {0x0000FF, 0x0000FF, 0xFFFFFF};
    CQmLutParamSpectralTrueColor true_color{3, 2, 3, kSizes, 8};
    CQmLutParamSpectralCustomColor custom{2, 2, 3, 3, kSizes, 8};
    CQmLutParamSpectralGrouped grouped{2, kSizes, 2, 3, 3, kSizes, 8};
    SQmLutParam param;

    explicit SpectralContrast(uint32_t mode) {
        auto& data = param.sLutDataSpectral;
        data.uiSpectralCompCount = 2;
        data.uiSpectralColorMode = mode;
    }
    int contrast() {
        return Api::GetLutParamSpectAutocontrast(&param, &picture, mask, -1, colors, nullptr, true,
                                                 true, 20, 20);
    }
    int contrast_floats() {
        return Api::GetLutParamSpectAutocontrast(&param, &float_picture, mask, -1, colors, nullptr,
                                                 true, true, 20, 20, ranges);
    }
};
template <uint32_t mode>
struct SpectralContrastIn : SpectralContrast {
    SpectralContrastIn() : SpectralContrast(mode) {}
};
void print_contrast(Print& print, const SpectralContrast& p) {
    const auto print_values = [&](const auto& of) {
        for (unsigned i = 0; i < 3; ++i) print << of.GetGain(i) << of.GetOffset(i);
    };
    print_values(p.true_color);
    print_values(p.custom);
    print_values(p.grouped);
    print_parameters(print, p.param);
}

void add_spectral_contrast() {
    using Api = SQmPicBufAPI_Base;
    using TrueColor = SpectralContrastIn<0>;
    using Grouped = SpectralContrastIn<2>;
    // A measurement has a histogram (2), what it knows of the components, and bins of threads: 4.
    // Another one is made for further channels: 2.
    const auto fates = [](size_t untouched, size_t begun) {
        std::vector<Fate> all(untouched, refused(QM_NO_MEMORY));
        all.insert(all.end(), begun, lost(QM_NO_MEMORY));
        return all;
    };
    add<TrueColor>(
        "SQmPicBufAPI_Base::GetAutoContrastSpectralTrueColor", fates(4 + 2, 0),
        [](TrueColor& p) {
            return Api::GetAutoContrastSpectralTrueColor(&p.true_color, p.colors, &p.picture, true,
                                                         true, 20, 20);
        },
        print_contrast);
    add<TrueColor>(
        "SQmPicBufAPI_Base::GetAutoContrastSpectralCustomColor", fates(4 + 2, 0),
        [](TrueColor& p) {
            return Api::GetAutoContrastSpectralCustomColor(&p.custom, &p.picture, true, true, 20,
                                                           20);
        },
        print_contrast);
    // Each group is written when it is known; then comes the set that they make together.
    constexpr size_t together = 1 + 4;
    add<TrueColor>(
        "SQmPicBufAPI_Base::GetAutoContrastSpectralGrouped", fates(4, 4 + together + 2),
        [](TrueColor& p) {
            return Api::GetAutoContrastSpectralGrouped(&p.grouped, &p.picture, true, true, 20, 20);
        },
        print_contrast);
    add<TrueColor>(
        "SQmPicBufAPI_Base::GetLutParamSpectAutocontrast", fates(4, 0),
        [](TrueColor& p) { return p.contrast(); }, print_contrast);
    add<TrueColor>(
        "SQmPicBufAPI_Base::GetLutParamSpectAutocontrast of floats", fates(4, 0),
        [](TrueColor& p) { return p.contrast_floats(); }, print_contrast);
    // Groups are made first: six arrays.
    add<Grouped>(
        "SQmPicBufAPI_Base::GetLutParamSpectAutocontrast of groups", fates(6, 4 + 4 + together),
        [](Grouped& p) { return p.contrast(); }, print_contrast);
}

void add_conversions() {
    using Api = SQmPicBufAPI_Base;
    static constexpr unsigned kSizes[] = {1, 1, 1, 1};
    struct Converted {
        Spectral<3> old;
        CQmLutParamMCH channels;
        CQmLutParamSpectralTrueColor true_color;
        CQmLutParamSpectralCustomColor custom;
        CQmLutParamSpectralGrouped grouped;
    };
    const auto print = [](Print& out, const Converted& p) {
        out << p.channels.GetChannelCount() << p.true_color.GetChannelCount();
        out << p.custom.GetChannelCount() << p.grouped.GetChannelCount();
        for (unsigned i = 0; i < 3; ++i) out << p.grouped.GetGain(i) << p.custom.GetColor(i);
    };
    const auto convert = [&](const std::string& name, size_t allocations, auto call) {
        add<Converted>(name, std::vector<Fate>(allocations, refused(QM_NO_MEMORY)), call, print);
    };
    convert("SQmPicBufAPI_Base::ConvertOldLutParamToLutParamMCH", 4, [](Converted& p) {
        p.channels.Free();
        return Api::ConvertOldLutParamToLutParamMCH(&p.channels, &p.old, 4, 4, kSizes, 8);
    });
    // The copy of the parameters has ten arrays. Twelve components in one group are shared out anew
    // in it, among as many groups as there are arrays for.
    convert("SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralTrueColor", 10 + 3,
            [](Converted& p) {
                p.true_color.Free();
                return Api::ConvertOldLutParamToLutSpectralTrueColor(&p.true_color, &p.old, 3, 4, 4,
                                                                     kSizes, 8);
            });
    convert("SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralCustomColor", 10 + 4,
            [](Converted& p) {
                p.custom.Free();
                return Api::ConvertOldLutParamToLutSpectralCustomColor(&p.custom, &p.old, 3, 4, 4,
                                                                       kSizes, 8);
            });
    convert("SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralGrouped", 10 + 5, [](Converted& p) {
        p.grouped.Free();
        return Api::ConvertOldLutParamToLutSpectralGrouped(&p.grouped, &p.old, 3, 4, 4, kSizes, 8);
    });
}

// ----- Colour tables -----------------------------------------------------------------------------

/// The lists of colour tables as they are made, and one extended table.
struct ColourTables : NoPredefLuts {
    SQmGradientConfig config = two_nodes(0, 50, true);
    CQmStringW name;
    ColourTables() {
        config.m_sName = L"the name of a configuration";
        SQmLut::InsertExtenedLut(0, L"short", &config);
        config.sNodes[1].m_dNodeVal = 75;
    }
};
void print_extended_tables(Print& print, const ColourTables& /*state*/) {
    print << SQmLut::GetPredefLutsCount(false);
    for (const SQmLut::SQmExtendedLut* table : *SQmLut::vecExtendedLuts) {
        print << table->sName.GetLength() << table->sConfig.m_sName.GetLength();
        print << table->sConfig.sNodes[1].m_dNodeVal << table->dScaledHi;
        print.block(table->pColors, 768).block(table->pScaled, 768);
    }
}

void add_colour_tables() {
    // Two lists and what they hold twice, 46 objects, names (but for two of three letters), and the
    // colours of those that are no constant data.
    add<NoPredefLuts>(
        "SQmLut::InitPredefLuts", std::vector<Fate>(2 + 2 + 46 + 44 + 29, kNothingDone),
        [](NoPredefLuts&) { return SQmLut::InitPredefLuts(); },
        [](Print& print, const NoPredefLuts&) { print << SQmLut::GetPredefLutsCount(true); });
    // The object, two names, the colours, the list.
    add<ColourTables>(
        "SQmLut::InsertExtenedLut", std::vector<Fate>(5, kNothingDone),
        [](ColourTables& p) {
            const bool there = SQmLut::GetExtenedLutsCount() > 1;
            return there ? QM_OK : SQmLut::InsertExtenedLut(1, L"a table", &p.config);
        },
        print_extended_tables);
    add<ColourTables>(
        "SQmLut::InsertExtenedLut over another", {kNothingDone, kNothingDone},
        [](ColourTables& p) { return SQmLut::InsertExtenedLut(0, L"a table", &p.config); },
        print_extended_tables);
    add<ColourTables>(
        "SQmLut::GetPredefLutDescr", {refused(QM_NO_MEMORY)},
        [](ColourTables& p) { return SQmLut::GetPredefLutDescr(p.name, 13); },
        [](Print& print, const ColourTables& p) { print << p.name.GetLength(); });
    add<ColourTables>(
        "SQmExtendedLut::getLuts", {refused(QM_NO_MEMORY)},
        [](ColourTables&) {
            SQmLut::SQmPredefLut* const table = SQmLut::GetPredefLut(46, false);
            return table->getLuts(0, 100) != nullptr ? QM_OK : QM_NO_MEMORY;
        },
        print_extended_tables);
    struct Copies : ColourTables {
        std::optional<SQmLut::SQmPredefLut> plain;
        SQmLut::SQmPredefLut assigned;
    };
    const auto print_copies = [](Print& print, const Copies& p) {
        print << p.plain.has_value() << p.assigned.sName.GetLength();
    };
    add<Copies>(
        "SQmPredefLut::SQmPredefLut of another", {kThrows},
        [](Copies& p) { return p.plain.emplace(*SQmLut::GetPredefLut(13, false)), 0; },
        print_copies);
    add<Copies>(
        "SQmPredefLut::operator=", {kThrows},
        [](Copies& p) { return p.assigned = *SQmLut::GetPredefLut(13, false), 0; }, print_copies);
}

// ----- Rendering ---------------------------------------------------------------------------------

/// A set of colour tables for so many components and bits, with something in all cells.
template <uint8_t components, uint8_t bits, uint32_t edge>
struct Rendered : Memory<3 * edge * edge, components * edge * edge*(bits > 8 ? 2 : 1)> {
    SQmLut lut;
    Rendered() {
        SQmLut::Alloc(lut, bits, components, 8, 3);
        for (uint32_t c = 0; c < components; ++c)
            for (uint32_t v = 0; v < 1u << bits; ++v) {
                auto* const cell = components == 1 ? static_cast<uint8_t**>(lut.pLuts)[v]
                                                   : static_cast<uint8_t***>(lut.pLuts)[c][v];
                for (uint32_t i = 0; i < 3; ++i) cell[i] = static_cast<uint8_t>(v + 3 * c + i);
            }
        if (bits > 8)  // no sample beyond the table
            for (size_t i = 1; i < this->s.size(); i += 2) this->s[i] %= 1 << (bits - 8);
    }
};

void add_rendering() {
    using Api = CQmPicMemAPI_Base;
    // Copies of tables make it faster; without memory for them the tables themselves do.
    using Channels = Rendered<4, 8, 64>;
    add<Channels>(
        "CQmPicMemAPI_Base::MapComponentsMToN", {kUnnoticed},
        [](Channels& p) {
            return Api::MapComponentsMToN(p.d.data(), 3, 8, 3 * 64, p.s.data(), 4, 8, 4 * 64,
                                          &p.lut, 64, 64 * 64);
        },
        print_destination);
    add<Channels>(
        "CQmPicMemAPI_Base::ConvertToTrueColor of channels", {kUnnoticed},
        [](Channels& p) {
            return Api::ConvertToTrueColor(p.d.data(), 3 * 64, p.s.data(), 4, 8, 4 * 64, 64,
                                           64 * 64, &p.lut);
        },
        print_destination);
    using Words = Rendered<1, 12, 128>;
    add<Words>(
        "CQmPicMemAPI_Base::MapValueToComponents", {kUnnoticed},
        [](Words& p) {
            return Api::MapValueToComponents(p.d.data(), 3, 8, 3 * 128, p.s.data(), 12, 2 * 128,
                                             &p.lut, 128, 128 * 128);
        },
        print_destination);
    add<Words>(
        "CQmPicMemAPI_Base::ConvertToTrueColor of one component", {kUnnoticed},
        [](Words& p) {
            return Api::ConvertToTrueColor(p.d.data(), 3 * 128, p.s.data(), 1, 12, 2 * 128, 128,
                                           128 * 128, &p.lut);
        },
        print_destination);
    add<Words>(
        "CQmPicMemAPI_Base::ConvertToTrueColor without tables", {kThrows},
        [](Words& p) {
            return Api::ConvertToTrueColor(p.d.data(), 3 * 128, p.s.data(), 1, 12, 2 * 128, 128,
                                           128 * 128, nullptr);
        },
        print_destination);
    using OneOfWords = Rendered<2, 12, 128>;
    add<OneOfWords>(
        "CQmPicMemAPI_Base::ExtractComponentViaLuts", {kUnnoticed},
        [](OneOfWords& p) {
            return Api::ExtractComponentViaLuts(p.d.data(), 3, 8, 3 * 128, p.s.data(), 2, 12,
                                                4 * 128, 1, &p.lut, 128, 128 * 128);
        },
        print_destination);
}

/// Bands of a spectrum, and what is computed of their sums.
struct Spectrum {
    static constexpr uint32_t kBands = 5, kEdge = 6, kStride = 2 * kBands * kEdge;
    SQmLut lut;
    std::vector<uint16_t> words;
    std::vector<float> floats;
    std::vector<uint8_t> d = std::vector<uint8_t>(3 * kEdge * kEdge, 7);
    uint32_t h[3][4096] = {{7}, {7}, {7}};
    double low[3] = {7, 7, 7}, high[3] = {7, 7, 7};
    uint32_t colours[kBands] = {0xFF, 0xFF00, 0xFF0000, 0x808080, 0x102030}, masks[kBands];
    unsigned short word_masks[kBands];
    std::vector<CQmRangeBase<float>> ranges{{0.0f, 4095.0f}};

    Spectrum() {
        SQmLut::Alloc(lut, 12, kBands, 8, 3);
        SQmLut::ReinitParametric(lut);
        for (uint32_t c = 0; c < kBands; ++c) {
            lut.pParams[c].dOffset = -3;
            lut.pParams[c].dGain = 0.4;
            lut.pParams[c].dGamma = 1;
            lut.pParams[c].uiColor = colours[c];
            masks[c] = word_masks[c] = 0xFFFF;
        }
        for (uint32_t i = 0; i < kBands * kEdge * kEdge; ++i)
            words.push_back(static_cast<uint16_t>(i * 97 % 4096));
        floats.assign(words.begin(), words.end());
    }
};
void print_spectrum(Print& print, const Spectrum& p) {
    print << p.d << p.words;
    for (const auto& bins : p.h) print.block(bins, 4096);
    print.block(p.low, 3).block(p.high, 3);
}

void add_spectra() {
    using Api = CQmPicMemAPI_Base;
    using FloatApi = CQmFloatPicMemAPI_Base;
    constexpr uint32_t n = Spectrum::kBands, edge = Spectrum::kEdge, stride = Spectrum::kStride;
    // Nothing is known before there is memory for the bands, bins and records.
    const auto refuses = [](std::string name, uint32_t allocations, auto call) {
        add<Spectrum>(std::move(name), std::vector<Fate>(allocations, refused(QM_NO_MEMORY)), call,
                      print_spectrum);
    };
    refuses("CQmPicMemAPI_Base::MapComponentsMToN of a spectrum", 1, [](Spectrum& p) {
        return Api::MapComponentsMToN(p.d.data(), 3, 8, 3 * edge, p.words.data(), n, 12, stride,
                                      &p.lut, edge, edge * edge);
    });
    refuses("CQmPicMemAPI_Base::ConvertToTrueColor of a spectrum", 1, [](Spectrum& p) {
        return Api::ConvertToTrueColor(p.d.data(), 3 * edge, p.words.data(), n, 12, stride, edge,
                                       edge * edge, &p.lut);
    });
    refuses("CQmPicMemAPI_Base::SpectralApplyLuts", 1, [](Spectrum& p) {
        return Api::SpectralApplyLuts(p.words.data(), n, 12, stride, &p.lut, edge, edge * edge);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetHistoRGB", 2, [](Spectrum& p) {
        return Api::SpetralGetHistoRGB(p.h[0], p.h[1], p.h[2], p.words.data(), stride, 12, n, edge,
                                       edge * edge, p.colours, p.word_masks, 0.2);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetHistoRGB_Precise", 2, [](Spectrum& p) {
        return Api::SpetralGetHistoRGB_Precise(p.h[0], p.h[1], p.h[2], p.words.data(), stride, 12,
                                               n, edge, edge * edge, p.colours, p.word_masks, 0.2);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetHistoRGBEx", 2, [](Spectrum& p) {
        return Api::SpetralGetHistoRGBEx(p.h[0], p.h[1], p.h[2], p.words.data(), stride, 12, n,
                                         edge, edge * edge, &p.lut);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetLoHiRGB", 4, [](Spectrum& p) {
        return Api::SpetralGetLoHiRGB(p.low, p.high, p.words.data(), stride, 12, n, edge,
                                      edge * edge, p.colours, p.word_masks, 0.2, 1, 1);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetLoHiRGB of the greatest", 2, [](Spectrum& p) {
        return Api::SpetralGetLoHiRGB(p.low, p.high, p.words.data(), stride, 12, n, edge,
                                      edge * edge, p.colours, p.word_masks, 0.2, 0, -1);
    });
    refuses("CQmPicMemAPI_Base::SpetralGetLoHiRGBEx", 4, [](Spectrum& p) {
        return Api::SpetralGetLoHiRGBEx(p.low, p.high, p.words.data(), stride, 12, n, edge,
                                        edge * edge, &p.lut, 1, 1);
    });
    refuses("CQmFloatPicMemAPI_Base::SpetralGetHistoRGB", 2, [](Spectrum& p) {
        return FloatApi::SpetralGetHistoRGB(p.h[0], p.h[1], p.h[2], p.floats.data(), 2 * stride,
                                            p.ranges, n, edge, edge * edge, p.colours, p.masks,
                                            0.2);
    });
    refuses("CQmFloatPicMemAPI_Base::SpetralGetHistoRGBEx", 2, [](Spectrum& p) {
        return FloatApi::SpetralGetHistoRGBEx(p.h[0], p.h[1], p.h[2], p.floats.data(), 2 * stride,
                                              p.ranges, n, edge, edge * edge, &p.lut);
    });
    refuses("CQmFloatPicMemAPI_Base::SpetralGetLoHiRGB", 4, [](Spectrum& p) {
        return FloatApi::SpetralGetLoHiRGB(p.low, p.high, p.floats.data(), 2 * stride, p.ranges, n,
                                           edge, edge * edge, p.colours, p.masks, 0.2, 1, 1);
    });
    refuses("CQmFloatPicMemAPI_Base::SpetralGetLoHiRGBEx", 4, [](Spectrum& p) {
        return FloatApi::SpetralGetLoHiRGBEx(p.low, p.high, p.floats.data(), 2 * stride, p.ranges,
                                             n, edge, edge * edge, &p.lut, 1, 1);
    });
}

// ----- Histograms --------------------------------------------------------------------------------

struct Histogram : SQmHisto {
    Histogram() { CQmHistoAPI_Base::Init(this); }
    ~Histogram() { CQmHistoAPI_Base::Free(this); }
};
void print_histogram(Print& print, const SQmHisto& h) {
    const uint64_t blocks = h.uiComponents == 1 ? 1 : h.uiComponents + 1;
    print << h.uiBinBytes << h.uiComponents << h.uiBits << h.uiWidth << h.uiHeight << h.uiPicWidth
          << h.uiPicHeight << (h.ppCompData != nullptr);
    print.block(static_cast<const uint8_t*>(h.pData), (blocks << h.uiBits) * h.uiBinBytes);
}
constexpr auto print_bins = [](Print& print, const SQmHisto& h) { print_histogram(print, h); };

void add_histograms() {
    using Api = CQmHistoAPI_Base;
    static SQmPicBufDesc desc{5, 4, 60, 8, 3, 240};
    // The blocks, then the array of their addresses: without one there is neither.
    add<Histogram>(
        "CQmHistoAPI_Base::Reinit32", {kSilent, kSilent},
        [](Histogram& h) { return Api::Reinit32(&h, &desc); }, print_bins);
    add<Histogram>(
        "CQmHistoAPI_Base::Reinit64", {kSilent, kSilent},
        [](Histogram& h) { return Api::Reinit64(&h, &desc); }, print_bins);
    struct Two {
        Histogram from, to;
        Two() {
            Api::Reinit32(&from, &desc);
            static_cast<uint32_t*>(from.pData)[9] = 7;
        }
    };
    add<Two>(
        "CQmHistoAPI_Base::Copy", {lost(QM_BAD_BUFFER), lost(QM_BAD_BUFFER)},
        [](Two& p) { return Api::Copy(&p.to, &p.from); },
        [](Print& print, const Two& p) { print_histogram(print, p.to); });
}

/// A picture of three components of 8 bits, large enough to be counted by several threads; its
/// values rise. The record was made for another depth.
struct Counted {
    static constexpr uint32_t kEdge = 256;
    Picture picture;
    Histogram histogram;
    std::vector<int> bins = std::vector<int>(3 * 16);
    uint32_t low[3] = {7, 7, 7}, high[3] = {7, 7, 7};
    Counted() {
        SQmPicBufAPI_Base::Reinit(&picture, kEdge, kEdge, 0, 8, 3, true);
        auto* const bytes = static_cast<uint8_t*>(picture.pData);
        for (uint32_t i = 0; i < 3 * kEdge * kEdge; ++i) bytes[i] = static_cast<uint8_t>(i / 999);
        const SQmPicBufDesc other{5, 4, 10, 12, 1, 40};
        CQmHistoAPI_Base::Reinit32(&histogram, &other);
    }
};

struct CountedFloats {
    OldFloatPicture picture;
    Histogram histogram;
    uint32_t low[2] = {7, 7}, high[2] = {7, 7};
    CountedFloats() {
        for (uint32_t i = 0; i < 32; ++i) picture.pfData[i] = static_cast<float>(i);
        CQmAlloc::Free(picture.pfMinComp);
        CQmAlloc::Free(picture.pfMaxComp);
        picture.pfMinComp = picture.pfMaxComp = nullptr;
        const SQmPicBufDesc desc{4, 4, 32, 4, 2, 128};
        CQmHistoAPI_Base::Reinit32(&histogram, &desc);
    }
};

void add_counting() {
    // Blocks of the record, their addresses; then what threads have for themselves, without which
    // one counts alone.
    std::vector<Fate> fates{kSilent, kSilent}, from_then_on = fates;
    if (omp_get_num_procs() > 1) {
        fates.insert(fates.end(), {kUnnoticed, kUnnoticed});
        from_then_on = fates;
    }
    add<Counted>(
        "CQmHistoAPI_Base::Calculate", fates, from_then_on,
        [](Counted& p) { return CQmHistoAPI_Base::Calculate(&p.histogram, &p.picture, true); },
        [](Print& print, const Counted& p) { print_histogram(print, p.histogram); });
    // Minima and maxima, with which a picture that knows none is left.
    add<CountedFloats>(
        "CQmHistoAPI_Base::Calculate of floats", {kSilent, kSilent},
        [](CountedFloats& p) {
            return CQmHistoAPI_Base::Calculate(&p.histogram, &p.picture, true);
        },
        [](Print& print, const CountedFloats& p) {
            print_histogram(print, p.histogram);
            print << p.picture;
        });

    using Api = SQmPicBufAPI_Base;
    // Tables of the threads, without which all samples go to their bins at once.
    const auto print_counts = [](Print& print, const Counted& p) { print << p.bins; };
    add<Counted>(
        "SQmPicBufAPI_Base::CalculateCompHistogram", {kUnnoticed, kUnnoticed},
        [](Counted& p) {
            std::fill(p.bins.begin(), p.bins.end(), 0);
            int* each[] = {&p.bins[0], &p.bins[16], &p.bins[32]};
            return Api::CalculateCompHistogram(each, 16, p.picture, 0, nullptr, nullptr);
        },
        print_counts);
    add<Counted>(
        "SQmPicBufAPI_Base::CalculateHistogram", {kUnnoticed, kUnnoticed},
        [](Counted& p) {
            std::fill(p.bins.begin(), p.bins.end(), 0);
            return Api::CalculateHistogram(p.bins.data(), 16, p.picture, 1, 0, nullptr, nullptr);
        },
        print_counts);
    add<Counted>(
        "SQmPicBufAPI_Base::CalculateHistogram of few samples", {},
        [](Counted& p) {
            std::fill(p.bins.begin(), p.bins.end(), 0);
            return Api::CalculateHistogram(p.bins.data(), 16, p.picture, 1, 9, nullptr, nullptr);
        },
        print_counts);

    const auto print_levels = [](Print& print, const auto& p) {
        print.block(p.low, std::size(p.low)).block(p.high, std::size(p.high));
    };
    const std::vector<Fate> nothing{kNothingDone, kNothingDone};
    add<Counted>(
        "SQmPicBufAPI_Base::FindLowHighInHistogram", nothing,
        [](Counted& p) { return Api::FindLowHighInHistogram(&p.picture, p.low, p.high, 0.1, 0.1); },
        print_levels);
    add<Counted>(
        "SQmPicBufAPI_Base::FindLowHighAbsInHistogram", nothing,
        [](Counted& p) {
            return Api::FindLowHighAbsInHistogram(&p.picture, p.low, p.high, 50, 50);
        },
        print_levels);
    add<Counted>(
        "SQmPicBufAPI_Base::FindLowHighFreqAbsInHistogram", nothing,
        [](Counted& p) {
            return Api::FindLowHighFreqAbsInHistogram(&p.picture, p.low, p.high, 50, 50);
        },
        print_levels);
    // The histogram, then minima and maxima, which the levels can do without.
    add<CountedFloats>(
        "SQmPicBufAPI_Base::FindLowHighInHistogram of floats",
        {kNothingDone, kNothingDone, kUnnoticed, kUnnoticed},
        [](CountedFloats& p) {
            return Api::FindLowHighInHistogram(&p.picture, p.low, p.high, 0.1, 0.1);
        },
        print_levels);
}

/// Counts of one component, a hill and a plain, and thresholds.
struct Bins : Histogram {
    uint32_t thresholds[3] = {7, 7, 7};
    Bins() {
        SQmPicBufDesc desc{5, 4, 5, 8, 1, 20};
        CQmHistoAPI_Base::Reinit32(this, &desc);
        for (uint32_t i = 0; i < 256; ++i)
            static_cast<uint32_t*>(pData)[i] = i < 40 ? i : i > 200 ? 9 : 1;
    }
};

/// Counts of several components, to be brought to one range.
template <uint32_t components>
struct Ranges {
    Histogram from, to;
    Ranges() {
        SQmPicBufDesc desc{5, 4, 60, 8, components, 240};
        CQmHistoAPI_Base::Reinit32(&from, &desc);
        for (uint32_t i = 0; i < 256; ++i) static_cast<uint32_t*>(from.ppCompData[0])[i] = i;
    }
};

void add_statistics() {
    using Api = CQmHistoAPI_Base;
    for (const uint32_t count : {1u, 2u, 3u})
        add<Bins>(
            "CQmHistoAPI_Base::GetOtsuThreshold " + std::to_string(count), {refused(QM_BAD_BUFFER)},
            [=](Bins& p) { return Api::GetOtsuThreshold(p.thresholds, count, &p); },
            [](Print& print, const Bins& p) { print.block(p.thresholds, 3); });
    // Without memory there is nothing to be brought anywhere; a copy tries once more.
    static constexpr float kMin[] = {0, 1, 2}, kMax[] = {5, 6, 7};
    add<Ranges<1>>(
        "CQmHistoAPI_Base::MakeCommonRange of one component", {kUnnoticed, kUnnoticed},
        {kSilent, kSilent},
        [](Ranges<1>& p) { return Api::MakeCommonRange(&p.to, &p.from, kMin, kMax); },
        [](Print& print, const Ranges<1>& p) { print_histogram(print, p.to); });
    add<Ranges<3>>(
        "CQmHistoAPI_Base::MakeCommonRange", {kSilent, kSilent},
        [](Ranges<3>& p) { return Api::MakeCommonRange(&p.to, &p.from, kMin, kMax); },
        [](Print& print, const Ranges<3>& p) { print_histogram(print, p.to); });

    constexpr uint32_t edge = 384;  // of a long call, which counts in tables of its own first
    struct Pairs : Memory<0, 2 * edge * edge> {
        std::vector<uint32_t> bins = std::vector<uint32_t>(65536);
    };
    add<Pairs>(
        "CQmPicMemAPI_Base::GetHistogram2DEx", {kUnnoticed},
        [](Pairs& p) {
            std::fill(p.bins.begin(), p.bins.end(), 0);
            return CQmPicMemAPI_Base::GetHistogram2DEx(p.bins.data(), 4, p.s.data(), 2 * edge, 2, 8,
                                                       0, 1, 0, 0, edge, edge * edge);
        },
        [](Print& print, const Pairs& p) { print << p.bins; });
}

// ----- Gradients ---------------------------------------------------------------------------------

/// A gradient whose name does not fit into the record, a place for a copy, and the list.
struct Gradients {
    SQmGradientConfig config, copy;
    Gradients() {
        config.m_sName = L"a name that does not fit into the record itself";
        config.m_dCenter = 5;
    }
    ~Gradients() { SQmGradientConfigs::Free(); }
};

void add_gradients() {
    add<Gradients>(
        "SQmGradientConfigs::AddGradientConfig", {kThrows, kThrows},  // the entry, its name
        [](Gradients& p) { return SQmGradientConfigs::AddGradientConfig(&p.config); },
        [](Print& print, const Gradients&) { print << SQmGradientConfigs::GetCount(); });
    const auto look = [](Print& print, const Gradients& p) {
        print << p.copy.m_dCenter << p.copy.m_sName.GetLength();
    };
    // The name comes last.
    add<Gradients>(
        "SQmGradientConfig::operator=", {{QM_OK, true, Fate::kOther}},
        [](Gradients& p) { return p.copy = p.config, 0; }, look);
    add<Gradients>(
        "SQmGradientConfig::SQmGradientConfig", {kThrows},
        [](Gradients& p) {
            SQmGradientConfig made(p.config);
            std::swap(p.copy.m_sName, made.m_sName);
            return 0;
        },
        look);
}

// ----- Filters -----------------------------------------------------------------------------------

void add_filters() {
    const Fate none = refused(QM_BAD_BUFFER);
    using Pictures = Memory<300, 300>;
    // Weights inside, those at the border, their polynomials, sums, rows, items, pointers to these.
    const std::vector<Fate> each(7, none);
    for (const auto& [name, kernel] :
         {std::pair<const char*, GolayKernel8*>{"golay_smooth_1x8", golay_smooth_1x8},
          {"golay_edgeX_1x8", golay_edgeX_1x8},
          {"golay_edgeY_1x8", golay_edgeY_1x8},
          {"golay_edgeXY_1x8", golay_edgeXY_1x8}})
        add<Pictures>(
            name, each,
            [kernel](Pictures& p) { return kernel(p.d.data(), p.s.data(), 20, 15, 20, 1, 2, 2); },
            print_destination);
    for (const auto& [name, kernel] :
         {std::pair<const char*, GolayKernel16*>{"golay_smooth_Nx16", golay_smooth_Nx16},
          {"golay_edgeX_Nx16", golay_edgeX_Nx16},
          {"golay_edgeY_Nx16", golay_edgeY_Nx16},
          {"golay_edgeXY_Nx16", golay_edgeXY_Nx16}})
        add<Pictures>(
            name, each,
            [kernel](Pictures& p) {
                return kernel(p.d.data(), p.s.data(), 5, 15, 20, 16, 2, 2, 2);
            },
            print_destination);
}

// ----- Stretches ---------------------------------------------------------------------------------

/// Floats of 8 x 8 to 5 x 5.
struct FloatSquares {
    std::vector<float> d = std::vector<float>(25, 7), s = std::vector<float>(64);
    FloatSquares() {
        for (uint32_t i = 0; i < 64; ++i) s[i] = static_cast<float>(i * 37 % 64);
    }
};

void add_stretches() {
    using Api = CQmPicMemAPI_Base;
    const Fate none = refused(QM_NO_MEMORY);
    using Pictures = Memory<300, 300>;
    add<Pictures>(
        "CQmPicMemAPI_Base::StretchDisplay quick", {none},
        [](Pictures& p) {
            return Api::StretchDisplay(p.d.data(), 10, 10, 3, 30, 8, 20, 20, 3, 4, p.s.data(), 10,
                                       10, 30, Api::StretchQuick, false, true);
        },
        print_destination);
    add<Pictures>(
        "CQmPicMemAPI_Base::StretchDisplayEx quick", {none},
        [](Pictures& p) {
            const uint8_t background[3] = {1, 2, 3};
            return Api::StretchDisplayEx(p.d.data(), 10, 10, 3, 30, 8, 20, 20, 3, 4, p.s.data(), 0,
                                         0, 10, 5, 10, 10, 30, Api::StretchQuick, background);
        },
        print_destination);
    // Columns, and the bits that are asked for.
    add<Pictures>(
        "stretch_quick_binary", {none, none},
        [](Pictures& p) {
            return stretch_quick_binary(p.d.data(), 20, 160, 10, p.s.data(), 10, 20, 0, 0, 70, 20);
        },
        print_destination);
    add<Pictures>(
        "stretch_quick_binary_display", {none, none},
        [](Pictures& p) {
            return stretch_quick_binary_display(p.d.data(), 160, 10, 20, 200, 30, 5, 6, p.s.data(),
                                                80, 20, 10, true, false);
        },
        print_destination);
    const auto look = [](Print& print, const FloatSquares& p) { print << p.d; };
    add<FloatSquares>(
        "CQmFloatPicMemAPI_Base::StretchDisplay quick", {none},
        [](FloatSquares& p) {
            return CQmFloatPicMemAPI_Base::StretchDisplay(p.d.data(), 5, 5, 1, 20, 32, 9, 9, 1, 1,
                                                          p.s.data(), 8, 8, 32, Api::StretchQuick,
                                                          true, true);
        },
        look);
    add<FloatSquares>(
        "stretch_float_quick_1", {none},
        [](FloatSquares& p) {
            return stretch_float_quick_1(p.d.data(), 1, 20, 5, 5, p.s.data(), 32, 8, 8, 0, 0, 8, 8);
        },
        look);
    // Of each axis where lists begin, in the source and in memory, and the weights; and the rows
    // between the two.
    const std::vector<Fate> lists(3, none), all(7, none);
    add<FloatSquares>(
        "stretch_float_generic_horz_1_validity", lists,
        [](FloatSquares& p) {
            return stretch_float_generic_horz_1_validity(p.d.data(), 1, 20, 5, 5, p.s.data(), 32, 8,
                                                         0, 8, Api::StretchLinear);
        },
        look);
    add<FloatSquares>(
        "stretch_float_generic_vert_1_validity", lists,
        [](FloatSquares& p) {
            return stretch_float_generic_vert_1_validity(p.d.data(), 1, 20, 5, 5, p.s.data(), 32, 0,
                                                         8, 0, Api::StretchSpline);
        },
        look);
    add<FloatSquares>(
        "CQmFloatPicMemAPI_Base::Stretch_WithValidity", all,
        [](FloatSquares& p) {
            return CQmFloatPicMemAPI_Base::Stretch_WithValidity(
                p.d.data(), 1, 20, 5, 5, p.s.data(), 32, 8, 8, 0, 0, 8, 8, Api::StretchLinear);
        },
        look);
}

// Tables of three and four components; divisors. Powers are computed when there is no memory for a
// table that nobody asked for.
void add_constants() {
    using Api = CQmPicMemAPI_Base;
    using Pixels = Memory<4800, 4800>;
    const std::vector<Fate> none, refuses{refused(QM_NO_MEMORY)}, computes{kUnnoticed};
    static constexpr int32_t kInts[] = {1, -2, 3, 4, 5};
    static constexpr double kDoubles[] = {1.5, 2, 0.5, 4, 5};
    static constexpr double kPowers[] = {1.5, 1.2, 0.5, 0.4, 1};
    static constexpr uint8_t kPixel[] = {10, 20, 130, 40, 50, 60, 70, 80, 90, 100};
    // `pixels` of one row.
    const auto add_call = [](const std::string& name, const std::vector<Fate>& fates, auto* run,
                             auto* k, uint32_t components, uint32_t bpc, uint32_t pixels) {
        add<Pixels>(
            name + " of " + std::to_string(pixels) + " x " + std::to_string(components) + " x " +
                std::to_string(bpc),
            fates,
            [=](Pixels& p) {
                return run(p.d.data(), 4800, p.s.data(), 4800, k, components, bpc, pixels, pixels);
            },
            print_destination);
    };
    for (const uint32_t components : {1u, 2u, 3u, 4u}) {
        const auto& table = components > 2 ? refuses : none;
        const auto& quotient = components == 2 ? refuses : table;
        const auto of_bytes = [&](const char* name, const auto& fates, auto* run, auto* k) {
            add_call(name, fates, run, k, components, 8, 20);
        };
        of_bytes("CQmPicMemAPI_Base::AddConstAndClip", table, Api::AddConstAndClip, kInts);
        of_bytes("CQmPicMemAPI_Base::AddConstRotate", table, Api::AddConstRotate, kInts);
        of_bytes("CQmPicMemAPI_Base::SubConstAndClip", table, Api::SubConstAndClip, kInts);
        of_bytes("CQmPicMemAPI_Base::MulConstAndClip", table, Api::MulConstAndClip, kDoubles);
        of_bytes("CQmPicMemAPI_Base::DivConstAndClip", quotient, Api::DivConstAndClip, kDoubles);
        of_bytes("CQmPicMemAPI_Base::MinConstAndClip", table, Api::MinConstAndClip, kPixel);
        of_bytes("CQmPicMemAPI_Base::MaxConstAndClip", table, Api::MaxConstAndClip, kPixel);
        // Words are computed.
        add_call("CQmPicMemAPI_Base::AddConstAndClip", none, Api::AddConstAndClip, kInts,
                 components, 12, 20);
        add_call("CQmPicMemAPI_Base::MulConstAndClip", none, Api::MulConstAndClip, kDoubles,
                 components, 12, 20);
        add_call("CQmPicMemAPI_Base::DivConstAndClip", components == 2 ? refuses : none,
                 Api::DivConstAndClip, kDoubles, components, 12, 20);
        for (const uint32_t pixels : {20u, 600u})
            for (const uint32_t bpc : {8u, 9u}) {
                const bool has_table = pixels > 1u << bpc || (bpc == 8 && components != 2);
                const bool must = components > 2, can_not = components == 1 && bpc == 8;
                add<Pixels>(
                    "CQmPicMemAPI_Base::AddMulPowConstAndClip of " + std::to_string(pixels) +
                        " x " + std::to_string(components) + " x " + std::to_string(bpc),
                    !has_table || can_not ? none
                    : must                ? refuses
                                          : computes,
                    [=](Pixels& p) {
                        return Api::AddMulPowConstAndClip(p.d.data(), 4800, p.s.data(), 4800,
                                                          kDoubles, kDoubles, kPowers, components,
                                                          bpc, pixels, pixels);
                    },
                    print_destination);
            }
    }
    add_call("CQmPicMemAPI_Base::DivConstAndClip", refuses, Api::DivConstAndClip, kDoubles, 5, 24,
             20);
    add_call("divconstandclip_5x32", refuses, divconstandclip_5x32, kDoubles, 5, 24, 20);
}

struct Transfer {
    std::vector<uint16_t> picture = std::vector<uint16_t>(3 * 200, 900);
    std::vector<uint8_t> d = std::vector<uint8_t>(3 * 200, 7);
};

void add_transfer() {
    using Api = CQmPicMemAPI_Base;
    const auto refuses = [](std::string name, uint32_t allocations, auto call) {
        add<Transfer>(std::move(name), std::vector<Fate>(allocations, refused(QM_NO_MEMORY)), call,
                      [](Print& print, const Transfer& p) { print << p.d; });
    };
    // The default colours are those of a set: its parameters, pointers and cells.
    const auto image = [](Transfer& p, uint32_t bpc) {
        return Api::FRETImage(p.d.data(), 30, p.picture.data(), 3, bpc, 60, 10, 200, 0, 1, 2, 3, 0,
                              0, 0, 0, 0.1, 0.1, 0, 0, nullptr, false, 0, 1000, false);
    };
    SQmLut::InitPredefLuts();
    refuses("CQmPicMemAPI_Base::FRETImage of bytes", 6, [=](Transfer& p) { return image(p, 8); });
    refuses("CQmPicMemAPI_Base::FRETImage of words", 6, [=](Transfer& p) { return image(p, 16); });
    // The counters.
    refuses("CQmPicMemAPI_Base::FRET_EffImage", 1, [](Transfer& p) {
        return Api::FRET_EffImage(p.d.data(), 30, p.picture.data(), 3, 16, 60, 10, 200, 0, 1, 2, 3,
                                  0, 0, 0, 0, 0.1, 0.1, 0, 0, 0, 100, nullptr, false, 0, 1);
    });
    refuses("CQmPicMemAPI_Base::FRET_PhotoBleachEffImage", 1, [](Transfer& p) {
        return Api::FRET_PhotoBleachEffImage(p.d.data(), 30, p.picture.data(), p.picture.data(), 3,
                                             16, 60, 10, 200, 0, 0, 100, 0, 0, 0, 0);
    });
}

const std::vector<FailureCase>& all_cases() {
    add_picture_buffers();
    add_ratio();
    add_float_picture_buffers();
    add_raw_memory();
    add_constants();
    add_shading();
    add_binary();
    add_acquisition();
    add_raw_floats();
    add_tables();
    add_typed();
    add_display_parameters();
    add_generators();
    add_constructions();
    add_contrast();
    add_spectral_contrast();
    add_conversions();
    add_colour_tables();
    add_rendering();
    add_spectra();
    add_histograms();
    add_counting();
    add_gradients();
    add_statistics();
    add_filters();
    add_stretches();
    add_transfer();
    return failure_cases();
}

INSTANTIATE_TEST_SUITE_P(Memory, EveryAllocation, testing::ValuesIn(all_cases()),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             for (char& c : name)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

// ----- What is left in detail --------------------------------------------------------------------

/// With the n-th allocation of a Reinit without memory.
void reinit_failing(FloatPicture& picture, uint32_t n) {
    with_failing(n, FailingAlloc::kOnce,
                 [&] { return SQmFloatPicBufAPI_Base::Reinit(&picture, 2, 1, 0, 2, true); });
}

TEST(MemoryFailureOfFloatPictures, LeavesPicturesWithoutMinMaxThatAllOperationsTake) {
    using Api = SQmFloatPicBufAPI_Base;
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    for (const uint32_t n : {1u, 2u}) {
        FloatPicture a, whole;
        reinit_failing(a, n);
        ASSERT_NE(a.pfData, nullptr);
        EXPECT_EQ(a.pfMaxComp == nullptr, n == 1);
        EXPECT_EQ(a.pfMinComp == nullptr, n == 2);
        EXPECT_EQ(a.uiFlags, 16u);
        ASSERT_EQ(Api::Reinit(&whole, 2, 1, 0, 2, true), QM_OK);
        whole.pfMinComp[0] = 5;
        EXPECT_EQ(Api::Copy(&whole, &a), QM_OK);
        EXPECT_EQ(Api::CopyMinMaxInfo(&whole, &a), QM_OK);
        EXPECT_EQ(Api::CopyMinMaxComp(&whole, &a), QM_BAD_BUFFER);
        EXPECT_EQ(whole.pfMinComp[0], 5.0f);
        EXPECT_EQ(Api::Copy(&a, &whole), QM_OK);
        EXPECT_EQ(Api::SetValue(&a, 3), QM_OK);
        float low = 0, high = 0;
        EXPECT_EQ(Api::GetFloatMinMax(&a, low, high), QM_OK);
        EXPECT_EQ(low, 0.0f);
        EXPECT_EQ(high, 3.0f);
        EXPECT_EQ(Api::CopyMinMaxInfo(&a, &whole), QM_OK);
        EXPECT_EQ(Api::CopyMinMaxComp(&a, &whole), QM_OK);
        EXPECT_EQ(a.pfMinComp[0], 5.0f);
    }
}

TEST(MemoryFailureOfFloatPictures, LeavesNoFormatButMinMaxWithoutPixels) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    FloatPicture a;
    reinit_failing(a, 3);
    EXPECT_EQ(a.pfData, nullptr);
    EXPECT_EQ(a.uiWidth + a.uiHeight + a.uiWidthBytes + a.uiBpc + a.uiComponents + a.ui64Size, 0u);
    EXPECT_EQ(a.uiFlags, 0u);
    ASSERT_TRUE(a.pfMinComp != nullptr && a.pfMaxComp != nullptr);
    EXPECT_EQ(a.pfMinComp[1], FLT_MAX);
    EXPECT_EQ(a.pfMaxComp[1], -FLT_MAX);
}

TEST(MemoryFailureOfFloatPictures, LeavesTheStartValuesOfMinMax) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    OldFloatPicture a;
    float low = 5, high = 6;
    const Outcome outcome = with_failing(1, FailingAlloc::kOnce, [&] {
        return SQmFloatPicBufAPI_Base::GetFloatMinMax(&a, low, high, nullptr, false);
    });
    EXPECT_EQ(outcome.code, QM_NO_MEMORY);
    EXPECT_EQ(low, FLT_MAX);
    EXPECT_EQ(high, -FLT_MAX);
}

// ----- Threads of a team -------------------------------------------------------------------------

// Failures in other threads could not be reported by a kernel that has none.
TEST(MemoryOfTeams, IsThatOfTheCallingThread) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    ASSERT_FALSE(Cases::kernels().empty());
    const int before = omp_get_max_threads();
    omp_set_num_threads(3);
    const auto run = [](uint32_t rounds) {
        for (const KernelCase& tested : Cases::kernels()) {
            Random random(7);
            Digest digest;
            for (uint32_t number = 0; number < rounds; ++number)
                tested.check({number, random, digest});
        }
    };
    run(1);  // the runtime makes its threads
    uint32_t seen = 0, control = 0;
    {
        const WatchedThreads watched;
        run(4);
        seen = watched.allocations();
#pragma omp parallel
        CQmAlloc::Free(CQmAlloc::Alloc(0, 100, 16));
        control = watched.allocations();
    }
    omp_set_num_threads(before);
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(control, 2u);
}

}  // namespace
}  // namespace qmpic::test
