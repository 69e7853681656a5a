#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "qmpic/Histo.h"
#include "support/guarded_picture.h"

namespace qmpic::test {

inline SQmPicBufDesc describe(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components) {
    SQmPicBufDesc desc;
    SQmPicBufAPI_Base::GetDesc(width, height, bpc, components, desc);
    return desc;
}

/// A histogram that releases itself.
class Histo : public SQmHisto {
  public:
    Histo() { CQmHistoAPI_Base::Init(this); }
    Histo(uint32_t bin_bytes, const SQmPicBufDesc& desc) : Histo() {
        const auto reinit =
            bin_bytes == 4 ? CQmHistoAPI_Base::Reinit32 : CQmHistoAPI_Base::Reinit64;
        EXPECT_EQ(reinit(this, &desc), 0);
    }
    ~Histo() { CQmHistoAPI_Base::Free(this); }
    Histo(const Histo&) = delete;
    Histo& operator=(const Histo&) = delete;

    uint32_t blocks() const { return uiComponents < 2 ? 1 : uiComponents + 1; }
    uint64_t get(uint32_t block, uint32_t bin) const {
        uint64_t count = 0;
        std::memcpy(&count, at(block, bin), uiBinBytes);
        return count;
    }
    void set(uint32_t block, uint32_t bin, uint64_t count) {
        std::memcpy(at(block, bin), &count, uiBinBytes);
    }
    /// The bins of all blocks, the intensity's first.
    std::vector<uint64_t> all() const {
        std::vector<uint64_t> counts;
        for (uint32_t b = 0; b < blocks(); ++b)
            for (uint32_t i = 0; i < 1u << uiBits; ++i) counts.push_back(get(b, i));
        return counts;
    }

  private:
    uint8_t* at(uint32_t block, uint32_t bin) const {
        return static_cast<uint8_t*>(pData) + uiBinBytes * ((uint64_t{block} << uiBits) + bin);
    }
};

/// The record of a picture that lies in guarded memory.
inline SQmPicBuf record_of(const GuardedPicture& picture) {
    const auto [width, height, pixels] = picture.size();
    return {width,
            height,
            picture.stride(),
            static_cast<uint8_t>(picture.format().bpc),
            picture.format().components,
            uint64_t{picture.stride()} * height,
            picture.data()};
}

}  // namespace qmpic::test
