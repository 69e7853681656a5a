#include <cmath>

#include "analysis/correlation_kernels.h"
#include "analysis/pairs.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Linear correlation, component by component. Rows are walked here and in no shape, since nothing
// is written but sums.

namespace {

using namespace qmpic;

struct Samples {  // as they are stored
    template <class T>
    Taken<T> operator()(T value) const {
        return value;
    }
};

/// A first picture of A's and a second one of B's, which may be wider.
template <class A, class B>
class Correlation {
  public:
    Correlation(Rows<A> a, Rows<B> b, uint32_t components, uint32_t width, uint32_t size)
        : a_(a),
          b_(b),
          components_(components),
          area_(joined(kCallingThread, Area::of_pixels(width, size),
                       {stride_of(a, sizeof(A) * uint64_t{components}),
                        stride_of(b, sizeof(B) * uint64_t{components})})),
          pixels_(size) {}

    int find(double& result, const uint64_t* mask) const {
        result = 0.0;
        if (pixels_ == 0) return QM_REJECTED;
        double total = 0;
        uint64_t counted = 0;
        for (uint32_t next = 0; next < components_;) {
            Group group;
            for (; next < components_ && group.count < kTogether; ++next)
                if (mask == nullptr || (mask[next / 64] >> next % 64 & 1) != 0)
                    group.components[group.count++] = next;
            sum(group);
            for (uint32_t i = 0; i < group.count; ++i) {
                const Sums& s = group.sums[i];
                const double n = pixels_;
                const double v = (s.bb() - s.b() * s.b() / n) * (s.aa() - s.a() * s.a() / n);
                if (!(v > 0)) continue;
                total += (s.ab() - s.b() * s.a() / n) / std::sqrt(v);
                ++counted;
            }
        }
        if (counted != 0) total /= static_cast<double>(counted);
        if (counted != 0 && !(total < 0)) result = total;
        return QM_OK;
    }

  private:
    using Sums = PairSums<B, false>;
    static constexpr uint32_t kTogether = 64;
    struct Group {  // of components whose sums are made together
        uint32_t components[kTogether], count = 0;
        Sums sums[kTogether];
    };

    void sum(Group& given) const {
        Group* const group = &given;
        walk_rows(kCallingThread, area_.rows, [group, self = *this](RowRange rows) {
            PairBlock<B> block;
            const uint32_t step = self.components_;
            for (uint64_t y = rows.first; y < rows.last; ++y) {
                const Sample<A>* const a = self.a_.template row<A>(y);
                const Sample<B>* const b = self.b_.template row<B>(y);
                for (uint64_t x = 0; x < self.area_.width; x += kPairs) {
                    const uint64_t count = std::min(kPairs, self.area_.width - x);
                    if constexpr (std::is_same_v<A, uint16_t>)
                        if (step == 1 && count == kPairs) {  // they are a block already
                            if (group->count != 0) group->sums[0].add(a + x, b + x, count);
                            continue;
                        }
                    for (uint32_t i = 0; i < group->count; ++i) {
                        const uint64_t first = x * step + group->components[i];
                        take(a + first, step, count, Samples{}, block.a);
                        take(b + first, step, count, Samples{}, block.b);
                        group->sums[i].add(block, count);
                    }
                }
            }
        });
    }

    Rows<A> a_;
    Rows<B> b_;
    uint32_t components_;
    Area area_;
    uint32_t pixels_;
};

}  // namespace

// One line an exported kernel: name, samples of the first and of the second picture, components.
#define KERNEL(name, A, B, components)                                                             \
    int name(const void* pA, uint32_t uiWidthBytesA, const void* pB, uint32_t uiWidthBytesB,       \
             uint32_t uiWidth, uint32_t uiSize, double& dResult) {                                 \
        return Correlation<A, B>({pA, uiWidthBytesA}, {pB, uiWidthBytesB}, components, uiWidth,    \
                                 uiSize)                                                           \
            .find(dResult, nullptr);                                                               \
    }
#define KERNEL_N(name, A, B)                                                                       \
    int name(const void* pA, uint32_t uiWidthBytesA, const void* pB, uint32_t uiWidthBytesB,       \
             uint32_t uiComponents, uint32_t uiWidth, uint32_t uiSize, double& dResult,            \
             const uint64_t* puiCompMask) {                                                        \
        return Correlation<A, B>({pA, uiWidthBytesA}, {pB, uiWidthBytesB}, uiComponents, uiWidth,  \
                                 uiSize)                                                           \
            .find(dResult, puiCompMask);                                                           \
    }

// clang-format off
KERNEL  (linar_correlation_1x8,    uint8_t,  uint8_t,  1)
KERNEL  (linar_correlation_3x8,    uint8_t,  uint8_t,  3)
KERNEL_N(linar_correlation_Nx8,    uint8_t,  uint8_t)
KERNEL  (linar_correlation_1x16,   uint16_t, uint16_t, 1)
KERNEL  (linar_correlation_3x16,   uint16_t, uint16_t, 3)
KERNEL_N(linar_correlation_Nx16,   uint16_t, uint16_t)
KERNEL  (linar_correlation_1x8_16, uint8_t,  uint16_t, 1)
KERNEL  (linar_correlation_3x8_16, uint8_t,  uint16_t, 3)
KERNEL_N(linar_correlation_Nx8_16, uint8_t,  uint16_t)
KERNEL_N(linar_correlation_Nx32,   float,    float)
// clang-format on

#undef KERNEL
#undef KERNEL_N

int CQmPicMemAPI_Base::LinearCorrelation(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                         uint32_t uiWidthBytesB, uint32_t uiComponents,
                                         uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSize,
                                         double& dResult, const uint64_t* puiCompMask) {
    const uint32_t bits = bits_of_correlation(uiBpc);
    if (bits == 0) return QM_NO_KERNEL;
    if (uiSize != 0 && (pA == nullptr || pB == nullptr)) return QM_OK;
    auto* const known =
        puiCompMask == nullptr ? kCorrelation.find_stored(uiComponents, bits) : nullptr;
    if (known != nullptr)
        return known(pA, uiWidthBytesA, pB, uiWidthBytesB, uiWidth, uiSize, dResult);
    return kCorrelationN.find_stored(uiComponents, bits)(
        pA, uiWidthBytesA, pB, uiWidthBytesB, uiComponents, uiWidth, uiSize, dResult, puiCompMask);
}

int CQmPicMemAPI_Base::LinearCorrelation(const void* pA, uint32_t uiWidthBytesA, uint32_t uiBpcA,
                                         const void* pB, uint32_t uiWidthBytesB, uint32_t uiBpcB,
                                         uint32_t uiComponents, uint32_t uiWidth, uint32_t uiSize,
                                         double& dResult, const uint64_t* puiCompMask) {
    if (uiBpcA > 16 || uiBpcB > 16) return QM_NO_KERNEL;
    // Of unlike pictures the one of bytes comes first, and both are read as bytes. That is meant.
    if (uiBpcA > 8 && uiBpcB <= 8)
        return LinearCorrelation(pB, uiWidthBytesB, pA, uiWidthBytesA, uiComponents, uiBpcB,
                                 uiWidth, uiSize, dResult, puiCompMask);
    return LinearCorrelation(pA, uiWidthBytesA, pB, uiWidthBytesB, uiComponents, uiBpcA, uiWidth,
                             uiSize, dResult, puiCompMask);
}
