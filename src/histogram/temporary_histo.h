#pragma once

#include <cstdint>

#include "qmpic/Histo.h"

/// A histogram for the length of a call.

namespace qmpic {

struct TemporaryHisto : SQmHisto {
    TemporaryHisto() { CQmHistoAPI_Base::Init(this); }
    ~TemporaryHisto() { CQmHistoAPI_Base::Free(this); }
    TemporaryHisto(const TemporaryHisto&) = delete;
    TemporaryHisto& operator=(const TemporaryHisto&) = delete;

    bool is_empty() const { return pData == nullptr; }

    /// Bins for a picture, as if it had so many bits: of 8 bytes where 4 might not do. The product
    /// of the sides wraps.
    void fit(const SQmPicBuf& picture, uint32_t bits) {
        const SQmPicBufDesc desc = format_of(picture, bits);
        const bool huge = picture.uiWidth * picture.uiHeight == UINT32_MAX;
        (huge ? CQmHistoAPI_Base::Reinit64 : CQmHistoAPI_Base::Reinit32)(this, &desc);
    }
    /// What a histogram is made for.
    template <class Record>
    static SQmPicBufDesc format_of(const Record& picture, uint32_t bits) {
        SQmPicBufDesc desc{};
        desc.uiWidth = picture.uiWidth;
        desc.uiHeight = picture.uiHeight;
        desc.uiBpc = static_cast<uint8_t>(bits);
        desc.uiComponents = picture.uiComponents;
        return desc;
    }
};

}  // namespace qmpic
