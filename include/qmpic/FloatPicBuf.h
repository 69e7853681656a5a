#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/PicBuf.h"
#include "qmpic/export.h"

/// A picture of floats, and the least and greatest value of each component, which travel with it. A
/// plain record without constructor or destructor: SQmFloatPicBufAPI_Base::Init, Reinit and Free
/// manage its three arrays, which are CQmAlloc's.
struct SQmFloatPicBuf {
    std::uint32_t uiFlags;       ///< Reinit sets bit 4 (value 16) for good
    std::uint32_t uiWidth;       ///< pixels in a row
    std::uint32_t uiHeight;      ///< rows
    std::uint32_t uiWidthBytes;  ///< bytes from the start of one row to the start of the next
    std::uint8_t uiBpc;          ///< 32
    std::uint32_t uiComponents;  ///< interleaved components of a pixel
    std::uint64_t ui64Size;      ///< bytes of the whole picture: uiWidthBytes * uiHeight
    float* pfMinComp;            ///< least value of each component; FLT_MAX when it is not known
    float* pfMaxComp;            ///< greatest value of each; -FLT_MAX when it is not known
    float* pfData;               ///< first float of the first row; rows run from top to bottom
};

static_assert(std::is_standard_layout_v<SQmFloatPicBuf> && sizeof(SQmFloatPicBuf) == 56);
static_assert(offsetof(SQmFloatPicBuf, uiBpc) == 16 && offsetof(SQmFloatPicBuf, ui64Size) == 24);
static_assert(offsetof(SQmFloatPicBuf, pfMinComp) == 32 && offsetof(SQmFloatPicBuf, pfData) == 48);

/// Operations on float picture buffers. Results are codes of qmpic/status.h unless said otherwise.
class QM_API SQmFloatPicBufAPI_Base {
  public:
    /// What Check compares.
    enum CheckOptions : std::uint32_t {
        CheckSize,               ///< width and height
        CheckSizeBpc,            ///< width, height, depth
        CheckSizeBpcComponents,  ///< width, height, depth, components
        CheckSizeComponents,     ///< width, height, components
        CheckComponents,         ///< components
        CheckBpc,                ///< depth
        CheckBpcComponents,      ///< depth, components
    };

    static std::uint32_t CalcWidthBytes(std::uint32_t uiWidth, std::uint32_t uiComponents);
    static void Init(SQmFloatPicBuf* pBuf);
    static int Reinit(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiWidthBytes, std::uint32_t uiComponents, bool bClear);
    static int Reinit16(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                        std::uint32_t uiWidthBytes, std::uint32_t uiComponents, bool bClear);
    static int ReinitWithValue(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                               std::uint32_t uiWidthBytes, std::uint32_t uiComponents,
                               float fValue);
    static int SetDesc(SQmFloatPicBuf* pBuf, const SQmPicBufDesc& desc);
    static void Free(SQmFloatPicBuf* pBuf);
    static int Clear(SQmFloatPicBuf* pBuf);
    static int SetValue(SQmFloatPicBuf* pBuf, float fValue);
    static int Swap(SQmFloatPicBuf* p1, SQmFloatPicBuf* p2);
    static bool Is16ByteAligned(SQmFloatPicBuf* pBuf);
    static bool Check(const SQmFloatPicBuf* p1, const SQmFloatPicBuf* p2, CheckOptions option);
    static bool Check(const SQmFloatPicBuf* p1, const SQmPicBuf* p2, CheckOptions option);
    static bool Check_Ex(const SQmFloatPicBuf* pA, const SQmFloatPicBuf* pB,
                         std::uint32_t uiMaxWidth, std::uint32_t uiMaxHeight);
    static bool Check_Ex(const SQmPicBuf* pA, const SQmFloatPicBuf* pB, std::uint32_t uiMaxWidth,
                         std::uint32_t uiMaxHeight);
    static int Copy(SQmFloatPicBuf* pDst, const SQmFloatPicBuf* pSrc);
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SQmFloatPicBuf* pDst, std::uint32_t uiSrcX,
                        std::uint32_t uiSrcY, const SQmFloatPicBuf* pSrc);
    static int CopyRectComp(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                            std::uint32_t uiHeight, std::uint32_t uiDstComp, SQmFloatPicBuf* pDst,
                            std::uint32_t uiSrcX, std::uint32_t uiSrcY, std::uint32_t uiSrcComp,
                            const SQmFloatPicBuf* pSrc);
    static int CopyMinMaxInfo(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc);
    static int CopyMinMaxComp(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc);
    static int ConvertFromPicBuf(SQmFloatPicBuf* pDst, const SQmPicBuf* pSrc);
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax);
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax);
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax,
                              const SQmPicBuf* pMask, bool bInverse);
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax,
                              const SQmPicBuf* pMask, bool bInverse);
};
