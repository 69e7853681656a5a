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

    // ----- Memory and format ---------------------------------------------------------------------

    /// uiWidth * uiComponents * 4 in 32 bits: nothing is added, and nothing tested.
    static std::uint32_t CalcWidthBytes(std::uint32_t uiWidth, std::uint32_t uiComponents);
    /// Makes all fields 0 and releases nothing. A record is fit for use after this.
    static void Init(SQmFloatPicBuf* pBuf);
    /// Gives the record a format and memory for it, the old block when its size stays. Pixels are
    /// undefined afterwards, and all minima and maxima unknown, also when the format stays.
    /// @param uiWidthBytes stride; 0 chooses CalcWidthBytes. Another value is taken unchecked.
    /// @param bClear       all bytes become 0, gaps too
    /// @return 0; -3 when there is no memory for the pixels or nothing to allocate (0 bytes): the
    ///         old pixels are released then and the format is 0, but the arrays of minima and
    ///         maxima are there. These are null, without a word, when memory did not suffice for
    ///         them; all operations know that.
    static int Reinit(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiWidthBytes, std::uint32_t uiComponents, bool bClear);
    /// Reinit: its blocks are always aligned.
    static int Reinit16(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                        std::uint32_t uiWidthBytes, std::uint32_t uiComponents, bool bClear);
    /// Reinit, then SetValue. With 0 of either sign all bytes become 0.
    static int ReinitWithValue(SQmFloatPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                               std::uint32_t uiWidthBytes, std::uint32_t uiComponents,
                               float fValue);
    /// Copies a format, its depth as it is, into a record without pixels. Minima and maxima of the
    /// components that it already has stay, others are unknown (2 components to 4: the first two
    /// stay). -9 for null or a record that holds pixels, which is not changed.
    static int SetDesc(SQmFloatPicBuf* pBuf, const SQmPicBufDesc& desc);
    /// Releases pixels, minima and maxima, if there are any. Format and flags stay.
    static void Free(SQmFloatPicBuf* pBuf);
    /// Makes all bytes of the pixels 0, gaps too. -9 for null; 0 without pixels.
    static int Clear(SQmFloatPicBuf* pBuf);
    /// Makes the first uiWidth *floats* of each row `fValue` and all else of it 0, gaps too: meant
    /// for one component. Of 3 components and a width of 10, floats 0 to 9 of a row get the value.
    /// CQmFloatPicMemAPI_Base::SetValue fills pixels. -9 for null and without pixels.
    static int SetValue(SQmFloatPicBuf* pBuf, float fValue);
    /// Exchanges two records, pixels included. Always 0.
    static int Swap(SQmFloatPicBuf* p1, SQmFloatPicBuf* p2);

    // ----- Comparison of formats -----------------------------------------------------------------

    /// True: all blocks are aligned. Null is allowed.
    static bool Is16ByteAligned(SQmFloatPicBuf* pBuf);
    /// Are the fields that the option names equal? False for null and for an unknown option.
    /// Strides are never compared. The depth of a float picture is 32.
    static bool Check(const SQmFloatPicBuf* p1, const SQmFloatPicBuf* p2, CheckOptions option);
    static bool Check(const SQmFloatPicBuf* p1, const SQmPicBuf* p2, CheckOptions option);
    /// Is A no wider and no higher than B, and B no wider and no higher than the limits? False for
    /// null.
    static bool Check_Ex(const SQmFloatPicBuf* pA, const SQmFloatPicBuf* pB,
                         std::uint32_t uiMaxWidth, std::uint32_t uiMaxHeight);
    static bool Check_Ex(const SQmPicBuf* pA, const SQmFloatPicBuf* pB, std::uint32_t uiMaxWidth,
                         std::uint32_t uiMaxHeight);

    // ----- Copies --------------------------------------------------------------------------------

    // Rows are found as in CQmFloatPicMemAPI_Base, by an index that is made in 32 bits. Where
    // formats do not fit the copies report to DiagAssertW (source `FloatPicBufAPI_Base`, and a
    // message that begins with `CQmPicBufAPI`) and return -9; without pixels they return 0.

    /// A picture of the same size, depth and components, without its gaps. Minima and maxima are
    /// copied when both records have both arrays.
    static int Copy(SQmFloatPicBuf* pDst, const SQmFloatPicBuf* pSrc);
    /// A rectangle, between pictures of the same depth and components. Nothing is clipped: it must
    /// lie within both. Minima and maxima stay.
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SQmFloatPicBuf* pDst, std::uint32_t uiSrcX,
                        std::uint32_t uiSrcY, const SQmFloatPicBuf* pSrc);
    /// One component of a rectangle, between pictures of any formats, which are not compared.
    /// Nothing is clipped. Runs in a team of threads.
    static int CopyRectComp(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                            std::uint32_t uiHeight, std::uint32_t uiDstComp, SQmFloatPicBuf* pDst,
                            std::uint32_t uiSrcX, std::uint32_t uiSrcY, std::uint32_t uiSrcComp,
                            const SQmFloatPicBuf* pSrc);

    // ----- Minima and maxima ---------------------------------------------------------------------

    /// Copies minima and maxima into arrays that are made as long as the source's. The
    /// destination's uiComponents stays: where it is another one, the record is fit for Reinit and
    /// Free only. 0, and nothing happens, when the source is null or lacks an array; -9 for a
    /// destination of null. Without memory an array is null afterwards.
    static int CopyMinMaxInfo(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc);
    /// The same without allocating: -9 unless both records have both arrays and as many components.
    static int CopyMinMaxComp(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc);
    /// Converts an integer picture, without scaling: 200 becomes 200.0. Where size and components
    /// fit the destination is kept with its stride, else it is made by Reinit. All minima become
    /// 0.0 and all maxima the greatest value of the depth, whatever the pixels hold: 4095.0 of 12
    /// bits; but 0.0 of 32 bits, whose shift wraps.
    /// @return 0; -9 for null and a source without pixels; -3 when the destination has no pixels
    ///         in the end; -2 above 32 bits, and minima and maxima stay
    static int ConvertFromPicBuf(SQmFloatPicBuf* pDst, const SQmPicBuf* pSrc);

    // Minima and maxima of the pixels. A NaN never counts; of zeros of both signs the first does.
    // Where there is no value, the minimum is FLT_MAX and the maximum -FLT_MAX. All of them leave
    // the record's own minima and maxima as they are.

    /// Of all components together. -9 for null and without pixels.
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax);
    /// Of each component, in arrays of uiComponents.
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax);
    /// Of each component, of the pixels that a mask selects: those with a byte other than 0, or
    /// with `bInverse` those with 0. The mask has 8 bits and the picture's size; it is read as one
    /// byte a pixel however many components it has. A mask that is null or anything else selects
    /// all pixels.
    /// @return 0; -9 when the first component has no value, and for null and without pixels
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax,
                              const SQmPicBuf* pMask, bool bInverse);
    /// Of all components together, of the pixels that a mask selects. With -9, and with -3 when
    /// there is no memory for the values of each, the results are FLT_MAX and -FLT_MAX, whatever
    /// the other components hold.
    static int GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax,
                              const SQmPicBuf* pMask, bool bInverse);
};
