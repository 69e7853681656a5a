#include "analysis/focus_kernels.h"
#include "qmpic/PicMemAPI_Base.h"

using namespace qmpic;

int CQmPicMemAPI_Base::GetFocusCriterium(double* pdResult, int iComponent, const void* pData,
                                         uint32_t uiWidthBytes, uint32_t uiComponents,
                                         uint32_t uiBpc, uint32_t uiStepX, uint32_t uiStepY,
                                         uint32_t uiLevelLow, uint32_t uiLevelHigh,
                                         uint32_t uiWidth, uint64_t uiSizeInPixels,
                                         EQmFocusCriterium eCriterium) {
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    const FocusCall given{pdResult, iComponent,     pData,     uiWidthBytes, uiComponents,
                          uiBpc,    uiStepX,        uiStepY,   uiLevelLow,   uiLevelHigh,
                          uiWidth,  uiSizeInPixels, eCriterium};
    const uint32_t bits = bits_of_measure(uiBpc);
    switch (eCriterium) {
    case FocusImmerkaer:  // whole words are read of any greater depth, and no bytes below 8
        return call(kImmerkaerFocus.find_stored(uiComponents, uiBpc < 8    ? 0
                                                              : uiBpc == 8 ? 8
                                                                           : 16),
                    given);
    case FocusAutocorrelation:
        return call(bits == 8    ? focus_by_autocorrelation_8
                    : bits == 16 ? focus_by_autocorrelation_16
                                 : nullptr,
                    given);
    case FocusMultiScale: return call(kMultiScaleFocus.find_stored(uiComponents, bits), given);
    case FocusMaxInt: return call(kMaxIntFocus.find_stored(uiComponents, bits), given);
    default: return call(kGradientFocus.find_stored(uiComponents, bits_of_gradient(uiBpc)), given);
    }
}
