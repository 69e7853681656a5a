#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/export.h"

/// The format of a picture: how a block of pixel memory is laid out.
struct SQmPicBufDesc {
    std::uint32_t uiWidth;       ///< pixels in a row
    std::uint32_t uiHeight;      ///< rows
    std::uint32_t uiWidthBytes;  ///< bytes from the start of one row to the start of the next
    std::uint8_t uiBpc;          ///< significant bits of a component: 8, 9 to 16, 17 to 32
    std::uint32_t uiComponents;  ///< interleaved components of a pixel
    std::uint64_t ui64Size;      ///< bytes of the whole picture: uiWidthBytes * uiHeight
};

/// A picture: its format and its pixels. A plain record without constructor or destructor:
/// SQmPicBufAPI_Base::Init, Reinit and Free manage the memory, which is CQmAlloc's.
struct SQmPicBuf {
    std::uint32_t uiWidth;
    std::uint32_t uiHeight;
    std::uint32_t uiWidthBytes;
    std::uint8_t uiBpc;
    std::uint32_t uiComponents;
    std::uint64_t ui64Size;
    void* pData;  ///< first byte of the first row; rows run from top to bottom
};

static_assert(std::is_standard_layout_v<SQmPicBufDesc> && sizeof(SQmPicBufDesc) == 32);
static_assert(std::is_standard_layout_v<SQmPicBuf> && sizeof(SQmPicBuf) == 40);
static_assert(offsetof(SQmPicBuf, uiBpc) == 12 && offsetof(SQmPicBuf, uiComponents) == 16);
static_assert(offsetof(SQmPicBuf, ui64Size) == 24 && offsetof(SQmPicBuf, pData) == 32);

/// Operations on picture buffers. Results are codes of qmpic/status.h unless said otherwise.
class QM_API SQmPicBufAPI_Base {
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

    static void Init(SQmPicBuf* pBuf);
    static void InitN(SQmPicBuf** ppBufs, std::uint32_t uiCount);
    static void Free(SQmPicBuf* pBuf);
    static void FreeN(SQmPicBuf** ppBufs, std::uint32_t uiCount);
    static int Reinit(SQmPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiWidthBytes, std::uint32_t uiBpc, std::uint32_t uiComponents,
                      bool bClear);
    static int ReinitN(SQmPicBuf** ppBufs, std::uint32_t uiCount, std::uint32_t uiWidth,
                       std::uint32_t uiHeight, std::uint32_t uiWidthBytes, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, bool bClear);
    static int ReinitAndCopy(SQmPicBuf* pDst, const SQmPicBuf* pSrc);
    static int GetDesc(std::uint32_t uiWidth, std::uint32_t uiHeight, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, SQmPicBufDesc& desc);
    static int GetDesc(std::uint32_t uiWidth, std::uint32_t uiHeight, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, std::uint32_t uiAlignment, SQmPicBufDesc& desc);
    static int SetDesc(SQmPicBuf* pBuf, const SQmPicBufDesc& desc);
    static std::uint32_t CalcCompSize(std::uint32_t uiBpc);
    static std::uint32_t CalcWidthBytes(std::uint32_t uiWidth, std::uint32_t uiBpc,
                                        std::uint32_t uiComponents, std::uint32_t uiAlignment);
    static bool Check(const SQmPicBuf* p1, const SQmPicBuf* p2, CheckOptions option);
    static int Copy(SQmPicBuf* pDst, const SQmPicBuf* pSrc);
    static int CopyComp(SQmPicBuf* pDst, SQmPicBuf* pSrc);
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SQmPicBuf* pDst, std::uint32_t uiSrcX,
                        std::uint32_t uiSrcY, const SQmPicBuf* pSrc);
    static int CopyRectComp(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                            std::uint32_t uiHeight, std::uint32_t uiDstComponent, SQmPicBuf* pDst,
                            std::uint32_t uiSrcX, std::uint32_t uiSrcY,
                            std::uint32_t uiSrcComponent, const SQmPicBuf* pSrc);
    static int CopyViaBinaryUnpacked(SQmPicBuf* pDst, SQmPicBuf* pSrc, SQmPicBuf* pMask,
                                     bool bInverted);
    static int Swap(SQmPicBuf* p1, SQmPicBuf* p2);
};
