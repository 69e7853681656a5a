#include "analysis/fret_channels.h"
#include "core/arithmetic.h"
#include "core/frame.h"
#include "qmpic/PicMemAPI_Base.h"

// The corrected signal of energy transfer, as a picture of one component.

namespace {

using namespace qmpic;

struct LimitedTo {
    Limits<double> limits;
    explicit LimitedTo(double top) : limits(0, top) {}  // below 2^31
    template <class T>
    T to(double signal) const {
        return static_cast<T>(static_cast<int32_t>(limits(signal)));
    }
};
/// Its low byte.
struct WrappedBelow {
    Limits<double> limits;
    explicit WrappedBelow(float top) : limits(0, double{top}) {}
    template <class T>
    T to(double signal) const {
        return static_cast<T>(trunc_i32(limits(signal)));
    }
};

template <class T, class S, uint32_t unit, class Limit>
int store_signal(Dst dst, Source<S, unit> source, std::array<Taken, 3> taken,
                 const Signal<LessSigned<S>>& signal, Limit limit, Area area) {
    each_block<T>(dst, 1, source, taken, area,
                  [=](Sample<T>* d, const Planes<S, 3>& planes, uint64_t count) {
                      const Lights lights(signal, planes, count);
                      const auto& [i1, i2, i3] = lights.values;
                      for (uint64_t i = 0; i < count; ++i)
                          d[i] = limit.template to<T>(signal.correction(i1[i], i2[i], i3[i]));
                  });
    return QM_OK;
}

}  // namespace

int CQmPicMemAPI_Base::FRETImageMono(
    void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
    uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,
    int iDonorComp, int iAcceptorComp, int /*iFourthComp*/, short sFretBg, short sDonorBg,
    short sAcceptorBg, short /*sFourthBg*/, double dDonorBleed, double dAcceptorBleed,
    double dDonorInAcceptor, double dAcceptorInDonor, bool bFloat, float /*fMin*/, float fMax) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const auto run = [&]<class T, class S, uint32_t unit>(T, Source<S, unit> source, auto limit) {
        using Less = LessSigned<S>;
        const std::array<int32_t, 3> backgrounds{sFretBg, sDonorBg, sAcceptorBg};
        return store_signal<T>(Dst{pDst, uiDstWidthBytes}, source, FRET_CHANNELS.taken(pSrc),
                               Signal<Less>{FRET_CHANNELS.less<Less>(backgrounds), FRET_CORRECTION},
                               limit, Area::of_pixels(uiWidth, uiSizeInPixels));
    };
    const auto from = [&]<class S>(S) { return Source<S>{uiComponents, uiSrcWidthBytes}; };
    if (bFloat)  // alone of all, its stride counts samples
        return run(uint8_t{}, Source<float, sizeof(float)>{uiComponents, uiSrcWidthBytes},
                   WrappedBelow{fMax});
    const LimitedTo top{static_cast<double>((uint32_t{1} << (uiBpc & 31)) - 1)};  // 0 at 32 bits
    if (uiBpc == 8) return run(uint8_t{}, from(uint8_t{}), top);
    if (uiBpc <= 16) return run(uint16_t{}, from(uint16_t{}), top);  // depths below 8 too
    if (uiBpc <= 32) return run(uint32_t{}, from(uint32_t{}), top);
    return QM_NO_KERNEL;
}
