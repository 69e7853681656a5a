#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "PicMemAPI/mask_bits.h"
#include "core/frame.h"
#include "core/isa.h"
#include "core/prefetch.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "render/byte_tables.h"
#include "render/lookup.h"
#include "render/overlay_blend.h"

// Masks in one colour and annotations over pictures of blue, green and red bytes. Whatever says
// where an overlay is becomes bits, and where there are none nothing else is looked at.

namespace {

using namespace qmpic;

// ----- Where: bits of a block --------------------------------------------------------------------

/// A packed mask, whose rows begin with bit `first_bit` from the left of their first byte.
struct PackedBits {
    Src mask;
    uint32_t first_bit;

    bool is_dense(uint64_t width) const {
        return first_bit == 0 && width % 8 == 0 && mask.stride == width / 8;
    }
    void read(uint64_t y, uint64_t x, uint32_t pixels, OverlayMask& made) const {
        const Sample<uint8_t>* from = mask.row<uint8_t>(y) + x / 8;
        if (first_bit == 0) {
            std::memcpy(made.bytes, from, (pixels + 7) / 8);
        } else {
            uint8_t* to = made.bytes;
            uint32_t left = pixels;
            for (; left >= kOverlayGroup; left -= kOverlayGroup, from += 8, to += 8)
                shift(from, to);
            if (left != 0) {
                Sample<uint8_t> last[9] = {};
                std::memcpy(last, from, (first_bit + left + 7) / 8);
                shift(last, to);
            }
        }
        made.clear_behind(pixels);
    }

  private:
    /// The bytes of a group from nine.
    void shift(const Sample<uint8_t>* from, uint8_t* to) const {
        const uint64_t word = __builtin_bswap64(*reinterpret_cast<const Sample<uint64_t>*>(from));
        *reinterpret_cast<Sample<uint64_t>*>(to) =
            __builtin_bswap64(word << first_bit | from[8] >> (8 - first_bit));
    }
};

/// Pixels that a judge finds, or all others.
template <class Judge, bool others>
struct JudgedBits {
    Src picture;
    Judge judge;

    bool is_dense(uint64_t width) const { return picture.stride == width * judge.pixel_bytes(); }
    void read(uint64_t y, uint64_t x, uint32_t pixels, OverlayMask& made) const {
        const Sample<uint8_t>* s = picture.row<uint8_t>(y) + x * judge.pixel_bytes();
        if (pixels == kOverlayBlock) {
            fetch_ahead(s, kOverlayBlock * judge.pixel_bytes());
            judge.template whole<kOverlayBlock / kGroup>(s, made.bytes);
        } else {
            uint32_t at = 0;
            for (; at + kGroup <= pixels; at += kGroup, s += kGroup * judge.pixel_bytes())
                judge.template whole<1>(s, made.bytes + at / 8);
            if (at != pixels) judge.part(s, 0, pixels - at, made.bytes + at / 8);
        }
        if (others)
            for (uint8_t& byte : made.bytes) byte = static_cast<uint8_t>(~byte);
        made.clear_behind(pixels);
    }
};

// ----- What: pixels of a block -------------------------------------------------------------------

constexpr uint32_t kBlockCells = 3 * kOverlayBlock;

/// One colour.
struct OneColour {
    Sample<uint8_t> cells[kOverlayCells];

    explicit OneColour(uint32_t color) : cells{} {
        for (uint32_t i = 0; i < kOverlayCells; ++i)
            cells[i] = static_cast<uint8_t>(color >> 8 * (2 - i % 3));
    }
    bool is_dense(uint64_t) const { return true; }
    OverlayCells get(uint64_t, uint64_t, uint32_t, const OverlayMask&, Sample<uint8_t>*) const {
        return {cells, 0};
    }
};

/// Another picture.
struct OtherPicture {
    Src picture;

    bool is_dense(uint64_t width) const { return picture.stride == 3 * width; }
    OverlayCells get(uint64_t y, uint64_t x, uint32_t, const OverlayMask&, Sample<uint8_t>*) const {
        return {picture.row<uint8_t>(y) + 3 * x, kOverlayCells};
    }
};

/// Colours for the 256 values of a byte: words of the three cells, the first in the low byte.
struct ByteColours {
    uint32_t words[256];
};

/// Bytes made colours.
struct Painted {
    Src bytes;
    const ByteColours* colours;
    TripleMapper* map;  // null: by loads
    const uint8_t (*planes)[256];

    bool is_dense(uint64_t width) const { return bytes.stride == width; }
    OverlayCells get(uint64_t y, uint64_t x, uint32_t pixels, const OverlayMask& mask,
                     Sample<uint8_t>* made) const {
        const Sample<uint8_t>* const s = bytes.row<uint8_t>(y) + x;
        if (map != nullptr) {
            map(reinterpret_cast<uint8_t*>(made), reinterpret_cast<const uint8_t*>(s), pixels,
                planes);
        } else {
            for (uint32_t first = 0; first < pixels; first += kOverlayGroup)
                if (mask.group(first / kOverlayGroup) != 0)
                    for (uint32_t i = first; i < std::min(first + kOverlayGroup, pixels); ++i)
                        *reinterpret_cast<Sample<uint32_t>*>(made + 3 * i) = colours->words[s[i]];
        }
        return {made, kOverlayCells};
    }
};

// ----- Rows --------------------------------------------------------------------------------------

template <class Bits, class Over, class Overlay>
struct LayOver {
    Dst dst;
    uint64_t width;
    Bits bits;
    Over over;
    Overlay overlay;

    void operator()(RowRange rows) const {
        OverlayMask mask{};
        alignas(64) Sample<uint8_t> made[kBlockCells + 1] = {};  // words are longer than pixels
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < width; x += kOverlayBlock) {
                const auto pixels =
                    static_cast<uint32_t>(std::min<uint64_t>(kOverlayBlock, width - x));
                bits.read(y, x, pixels, mask);
                if (mask.is_empty()) continue;
                overlay.block(dst.row<uint8_t>(y) + 3 * x, over.get(y, x, pixels, mask, made), mask,
                              pixels);
            }
    }
};

/// `stays`: how many 255ths of the picture stay.
template <class Bits, class Over>
void lay_over(Dst dst, Area area, const Bits& bits, const Over& over, uint32_t stays) {
    if (dst.stride == 3 * area.width && bits.is_dense(area.width) && over.is_dense(area.width))
        area = {area.width * area.rows, 1};
    if (active_isa() == Isa::Avx512)
        LayOver<Bits, Over, Avx512Overlay>{dst, area.width, bits, over,
                                           Avx512Overlay(stays)}({0, area.rows});
    else
        walk_rows(kCallingThread, area.rows,
                  LayOver<Bits, Over, GroupedOverlay>{dst, area.width, bits, over,
                                                      GroupedOverlay(stays)});
}

/// Over the pixels that are `value`, `count` samples of T, or over all but those.
template <bool others, uint32_t count, class T, class Over>
void lay_over_where(Dst dst, Area area, Src judged, const Sample<T>* value, const Over& over,
                    uint32_t stays) {
    if (active_isa() == Isa::Avx512) {
        using Judged = JudgedBits<JudgeByAvx512<T, count>, others>;
        lay_over(dst, area, Judged{judged, {value, value, true}}, over, stays);
    } else {
        using Test = InRange<T, count>;
        using Judged = JudgedBits<Judge<Test>, others>;
        lay_over(dst, area, Judged{judged, Judge<Test>(Test(value, value, true))}, over, stays);
    }
}

template <class T>
void lay_over_mask(Dst dst, Area area, Src mask, uint32_t color, uint32_t stays) {
    const Sample<T> zero[1] = {};
    lay_over_where<true, 1>(dst, area, mask, zero, OneColour(color), stays);
}

// ----- Colours that are kept ---------------------------------------------------------------------

/// The colours of a set of 8 bits to 3 x 8.
void read_colours(const void* rows, ByteColours& colours) {
    const RowTable<uint8_t> table(rows);
    for (uint32_t value = 0; value < 256; ++value)
        colours.words[value] =
            table(value, 0) | uint32_t{table(value, 1)} << 8 | uint32_t{table(value, 2)} << 16;
}

/// The colours of the set that was given when the transparency last changed. None are kept for 0.
class KeptColours {
  public:
    /// False when they would have to be read, and there are none.
    bool get(uint32_t transparency, const void* rows, ByteColours& colours) {
        const std::lock_guard lock(mutex_);
        if (transparency != transparency_) {
            if (rows == nullptr) return false;
            read_colours(rows, colours_);
            transparency_ = transparency;
        }
        colours = colours_;
        return true;
    }

  private:
    std::mutex mutex_;
    uint32_t transparency_ = 0;
    ByteColours colours_{};
};
constinit KeptColours kept_colours;

bool makes_colours_of_bytes(const SQmLut* lut) {
    return lut != nullptr && lut->ucDstBpc == 8 && lut->ucDstComponents == 3 &&
           lut->ucSrcBpc == 8 && lut->ucComponents == 1;
}

constexpr uint32_t kInvisible = 255;

}  // namespace

int CQmPicMemAPI_Base::BlendColorWithBinary(void* pDst, uint32_t uiDstWidthBytes,
                                            const void* pBinary, uint32_t uiBitOffset,
                                            uint32_t uiBinaryWidthBytes, uint32_t uiWidth,
                                            uint32_t uiHeight, uint32_t uiColor,
                                            unsigned char ucAlpha) {
    if (nothing_to_do(pDst, pBinary, uiWidth, uiHeight) || ucAlpha == 0) return QM_OK;
    const Src mask{static_cast<const std::byte*>(pBinary) + uiBitOffset / 8, uiBinaryWidthBytes};
    lay_over({pDst, uiDstWidthBytes}, {uiWidth, uiHeight}, PackedBits{mask, uiBitOffset % 8},
             OneColour(uiColor), 255u - ucAlpha);
    return QM_OK;
}

int CQmPicMemAPI_Base::BlendColorWithUnpackedBinary(void* pDst, uint32_t uiDstWidthBytes,
                                                    const void* pMask, uint32_t uiMaskBpc,
                                                    uint32_t uiMaskWidthBytes, uint32_t uiWidth,
                                                    uint32_t uiHeight, uint32_t uiColor,
                                                    unsigned char ucAlpha) {
    if (nothing_to_do(pDst, pMask, uiWidth, uiHeight) || ucAlpha == 0) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src mask{pMask, uiMaskWidthBytes};
    switch (storage_bits(uiMaskBpc)) {
    case 8: lay_over_mask<uint8_t>(dst, {uiWidth, uiHeight}, mask, uiColor, 255u - ucAlpha); break;
    case 16:
        lay_over_mask<uint16_t>(dst, {uiWidth, uiHeight}, mask, uiColor, 255u - ucAlpha);
        break;
    default: break;
    }
    return QM_OK;
}

int CQmPicMemAPI_Base::BlendColorWithAnnotationRefresh(
    void* pDst, uint32_t uiDstWidthBytes, const void* pAnnotation, uint32_t uiAnnotationWidthBytes,
    uint32_t uiWidth, uint32_t uiHeight, uint32_t uiKeyColor, unsigned char ucTransparency) {
    if (nothing_to_do(pDst, pAnnotation, uiWidth, uiHeight) || ucTransparency == kInvisible)
        return QM_OK;
    const Src annotation{pAnnotation, uiAnnotationWidthBytes};
    const OneColour key(uiKeyColor);
    lay_over_where<true, 3>({pDst, uiDstWidthBytes}, {uiWidth, uiHeight}, annotation, key.cells,
                            OtherPicture{annotation}, ucTransparency);
    return QM_OK;
}

// Computed and not looked up, so there is no table to keep from one call to the next.
int CQmPicMemAPI_Base::BlendColorWithAnnotation(void* pDst, uint32_t uiDstWidthBytes,
                                                const void* pAnnotation,
                                                uint32_t uiAnnotationWidthBytes, uint32_t uiWidth,
                                                uint32_t uiHeight, uint32_t uiKeyColor,
                                                unsigned char ucTransparency) {
    return BlendColorWithAnnotationRefresh(pDst, uiDstWidthBytes, pAnnotation,
                                           uiAnnotationWidthBytes, uiWidth, uiHeight, uiKeyColor,
                                           ucTransparency);
}

int CQmPicMemAPI_Base::BlendColorWithAnnotationEx(
    void* pDst, uint32_t uiDstWidthBytes, const void* pAnnotation, uint32_t uiAnnotationWidthBytes,
    uint32_t uiAnnotationBpc, uint32_t uiAnnotationComponents, uint32_t uiWidth, uint32_t uiHeight,
    uint32_t uiKeyColor, unsigned char ucTransparency, const SQmLut* pLut) {
    if (uiAnnotationBpc != 8 || uiAnnotationComponents != 1 || !makes_colours_of_bytes(pLut))
        return BlendColorWithAnnotation(pDst, uiDstWidthBytes, pAnnotation, uiAnnotationWidthBytes,
                                        uiWidth, uiHeight, uiKeyColor, ucTransparency);
    if (nothing_to_do(pDst, pAnnotation, uiWidth, uiHeight) || ucTransparency == kInvisible)
        return QM_OK;
    ByteColours colours;
    if (ucTransparency == 0) {  // grey, whatever the table says
        for (uint32_t value = 0; value < 256; ++value) colours.words[value] = value * 0x010101;
    } else if (!kept_colours.get(ucTransparency, pLut->pLuts, colours)) {
        return QM_OK;
    }
    uint8_t planes[3][256];
    TripleMapper* const map = to_triple_mapper();
    for (uint32_t c = 0; map != nullptr && c < 3; ++c)
        for (uint32_t value = 0; value < 256; ++value)
            planes[c][value] = static_cast<uint8_t>(colours.words[value] >> 8 * c);
    const Src annotation{pAnnotation, uiAnnotationWidthBytes};
    const Sample<uint8_t> key[1] = {{static_cast<uint8_t>(uiKeyColor)}};
    lay_over_where<true, 1>({pDst, uiDstWidthBytes}, {uiWidth, uiHeight}, annotation, key,
                            Painted{annotation, &colours, map, planes}, ucTransparency);
    return QM_OK;
}
