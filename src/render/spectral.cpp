#include <cmath>
#include <optional>

#include "core/arithmetic.h"
#include "qmpic/Lut.h"
#include "render/packed_table.h"
#include "render/spectral_kernels.h"
#include "render/spectral_power.h"
#include "render/spectral_sums.h"

// Spectral pictures as colours.

namespace {

using namespace qmpic;

/// Top of a source depth; a shift by 32 is one by 0.
float top_of(uint32_t bpc) { return static_cast<float>((1u << (bpc & 31)) - 1); }

// ----- Signals -----------------------------------------------------------------------------------

/// Three cells in a word.
template <class Cell>
using Colour = std::conditional_t<sizeof(Cell) == 1, uint32_t, uint64_t>;

template <class Cell>
Colour<Cell> colour_of_cells(uint32_t blue, uint32_t green, uint32_t red) {
    constexpr uint32_t bits = 8 * sizeof(Cell);
    return static_cast<Colour<Cell>>(blue) | static_cast<Colour<Cell>>(green) << bits |
           static_cast<Colour<Cell>>(red) << (2 * bits);
}
template <class Cell>
void write_cells(Sample<Cell>* d, Colour<Cell> colour) {
    for (uint32_t k = 0; k < 3; ++k) d[k] = static_cast<Cell>(colour >> (8 * sizeof(Cell) * k));
}

/// What is tested of the bands, and what a band shows that is badly exposed. A window of a set has
/// no more bands than a mask has bits.
template <class T, class Cell>
struct Signals {
    static constexpr uint32_t kMost = CQmRangeMask::MaxSize + SpectralWindow::kPadding;
    alignas(16) T threshold[kMost] = {};
    alignas(16) T over[kMost] = {}, under[kMost] = {};  // all bits where it is tested
    Colour<Cell> over_colour[kMost], under_colour[kMost];

    /// The colour of an entry of a block; with a flag the inverse of the band's own.
    static Colour<Cell> entry(const void* block, uint32_t component, uint32_t reference,
                              uint32_t dst_bpc) {
        const auto* const cells = static_cast<const Sample<Cell>*>(block) + 4 * uint64_t{component};
        if (cells[3] == 0) return colour_of_cells<Cell>(cells[0], cells[1], cells[2]);
        const auto inverse = [=](uint32_t shift) {
            const uint32_t byte = 255 - (reference >> shift & 255);
            return sizeof(Cell) == 1 ? byte : (byte << (dst_bpc & 31)) >> 8;
        };
        return colour_of_cells<Cell>(inverse(16), inverse(8), inverse(0));
    }

    /// Every band by its own threshold and colours.
    void test_all(const SQmLut& lut, const SpectralWindow& window, uint32_t src_bpc,
                  uint32_t dst_bpc) {
        for (uint32_t p = 0; p < window.used(); ++p) {
            if (!window.bands()[p].selected()) continue;
            const uint32_t c = window.first() + p, reference = lut.pParams[c].uiColor;
            if (lut.pOverExpColor != nullptr) {
                over[p] = static_cast<T>(-1);
                threshold[p] =
                    static_cast<T>(lut.pOverExpValue != nullptr ? lut.pOverExpValue[c]
                                                                : (1u << (src_bpc & 31)) - 1);
                over_colour[p] = entry(lut.pOverExpColor, c, reference, dst_bpc);
            }
            if (lut.pUnderExpColor != nullptr) {
                under[p] = static_cast<T>(-1);
                under_colour[p] = entry(lut.pUnderExpColor, c, reference, dst_bpc);
            }
        }
    }
    /// All bands by one threshold, which a sample may be too narrow for, and one colour.
    void test_over(const void* block, const SpectralWindow& window, uint32_t src_bpc) {
        const uint32_t top = (1u << (src_bpc & 31)) - 1;
        if (top > T(-1)) return;
        const auto* const cells = static_cast<const Sample<Cell>*>(block);
        for (uint32_t p = 0; p < window.used(); ++p) {
            if (!window.bands()[p].selected()) continue;
            over[p] = static_cast<T>(-1);
            threshold[p] = static_cast<T>(top);
            over_colour[p] = colour_of_cells<Cell>(cells[0], cells[1], cells[2]);
        }
    }

    using Vector [[gnu::vector_size(16)]] = T;

    Vector hits(detail::Quad quad, uint32_t p) const {
        const auto at = [p](const T* list) { return (Vector)detail::load_quad(list + p); };
        const auto samples = (Vector)quad;
        return ((Vector)(samples == at(threshold)) & at(over)) |
               ((Vector)(samples == Vector{}) & at(under));
    }

    /// What the first band shows that is hit; 0 to begin with, and one is.
    Colour<Cell> first_hit(const Sample<T>* pixel) const {
        for (uint32_t p = 0;; ++p) {
            if (under[p] != 0 && pixel[p] == 0) return under_colour[p];
            if (over[p] != 0 && pixel[p] == threshold[p]) return over_colour[p];
        }
    }
};

/// The pixels of a block that show a signal.
template <class Cell>
struct Shown {
    uint32_t count = 0;
    uint8_t x[SpectralBlock::kPixels];
    Colour<Cell> colour[SpectralBlock::kPixels];
};

template <class T, class Cell>
void find_signals(const SpectralPicture<T, Src>& picture, const Signals<T, Cell>& signals,
                  const Sample<T>* row, uint64_t x, uint64_t count, Shown<Cell>& shown) {
    using Picture = SpectralPicture<T, Src>;
    shown.count = 0;
    if (picture.used == 0) return;
    const uint64_t whole =
        picture.readable(x, count, (picture.used - 1) / Picture::kSamples * Picture::kSamples);
    const Sample<T>* pixel = picture.pixel(row, x);
    for (uint64_t i = 0; i < count; ++i, pixel += picture.components) {
        typename Signals<T, Cell>::Vector found{};
        for (uint32_t p = 0; p < picture.used; p += Picture::kSamples)
            found |= signals.hits(i < whole || picture.used - p >= Picture::kSamples
                                      ? detail::load_quad(pixel + p)
                                      : picture.load_rest(pixel, p),
                                  p);
        uint64_t halves[2];
        std::memcpy(halves, &found, sizeof halves);
        if ((halves[0] | halves[1]) == 0) continue;
        shown.x[shown.count] = static_cast<uint8_t>(i);
        shown.colour[shown.count++] = signals.first_hit(pixel);
    }
}

// ----- Results -----------------------------------------------------------------------------------

/// What becomes of a sum.
struct Results {
    float part, gamma, full;  ///< 1 / top of the source; top of the destination
    const uint8_t* colours;   ///< 256 x red, green, blue, or null
    uint32_t shift;           ///< bits of a cell beyond a byte

    /// The results of a block become its first three rows of words.
    void convert(SpectralBlock& block, uint64_t count) const {
        const uint64_t end = SpectralBlock::whole_vectors(count);
        for (uint32_t k = 0; k < 3; ++k) {
            float* const sums = block.sums[k];
            for (uint64_t x = 0; x < end; ++x) sums[x] *= part;
            if (gamma != 1.0f && full == 255.0f && BytePower::takes(gamma)) {
                BytePower(gamma).convert(sums, block.words[k], block.words[3], end);
                continue;
            }
            if (gamma != 1.0f)
                for (uint64_t x = 0; x < count; ++x)
                    if (sums[x] > 0) sums[x] = std::pow(sums[x], gamma);
            const Limits<float> limits(0, full);
            for (uint64_t x = 0; x < end; ++x)
                block.words[k][x] =
                    static_cast<uint32_t>(static_cast<int32_t>(limits(sums[x] * full)));
        }
        if (colours == nullptr) return;
        for (uint32_t k = 0; k < 3; ++k)
            for (uint64_t x = 0; x < count; ++x) {
                uint32_t& word = block.words[k][x];
                word = uint32_t{colours[3 * (word >> shift) + 2 - k]} << shift;
            }
    }
};

void write(Sample<uint8_t>* d, SpectralBlock& block, uint64_t count) {
    const uint64_t end = SpectralBlock::whole_vectors(count);
    for (uint64_t x = 0; x < end; ++x)
        block.words[3][x] = block.words[0][x] | block.words[1][x] << 8 | block.words[2][x] << 16;
    write_pixels(d, count, [&](uint64_t x) { return block.words[3][x]; });
}
void write(Sample<uint16_t>* d, SpectralBlock& block, uint64_t count) {
    for (uint64_t x = 0; x < count; ++x)
        for (uint32_t k = 0; k < 3; ++k) d[3 * x + k] = static_cast<uint16_t>(block.words[k][x]);
}

/// Rows of a picture.
template <class T, class Cell, bool marks>
void render_rows(Dst dst, const SpectralPicture<T, Src>& picture, const Results& results,
                 const Signals<T, Cell>* signals, Team team) {
    in_team(team, [=](Member member) {
        on_best_isa([=, rows = rows_of(member, picture.area.rows)] {
            SpectralBlock block;
            Shown<Cell> shown;
            picture.each_block(rows,
                               [&](const Sample<T>* row, uint64_t y, uint64_t x, uint64_t count) {
                                   Sample<Cell>* const d = dst.row<Cell>(y) + 3 * x;
                                   if constexpr (marks)
                                       find_signals(picture, *signals, row, x, count, shown);
                                   if (shown.count < count) {
                                       picture.sum(row, x, count, block);
                                       results.convert(block, count);
                                       write(d, block, count);
                                   }
                                   for (uint32_t i = 0; i < shown.count; ++i)
                                       write_cells(d + 3 * uint64_t{shown.x[i]}, shown.colour[i]);
                               });
        });
    });
}

/// 0, 1, 2 ... of each cell: a table that leaves bytes as they are.
bool changes_nothing(const uint8_t* colours) {
    for (uint32_t i = 0; i < 3 * 256; ++i)
        if (colours[i] != i / 3) return false;
    return true;
}

enum Form { kSse, kFloat, kFloatOver };

template <class T, class Cell>
int render(Form form, const SpectralCall& c) {
    const SQmLut& lut = *c.lut;
    const SpectralWindow window(lut, c.components, ColourUnit::kPart);
    if (!window) return QM_NO_MEMORY;
    const uint32_t dst_bpc = std::clamp<uint32_t>(c.dst_bpc, 8, 8 * sizeof(Cell));
    const float gamma = form == kSse ? static_cast<float>(lut.pParams[0].dGamma) : 1.0f;
    Results results{1.0f / top_of(c.bpc), gamma, static_cast<float>(max_value(dst_bpc)),
                    result_colours(lut, static_cast<double>(uint64_t{1} << (c.bpc & 63))),
                    dst_bpc - 8};
    if (sizeof(Cell) == 1 && results.colours != nullptr && changes_nothing(results.colours))
        results.colours = nullptr;
    const SpectralPicture<T, Src> picture({c.src, c.src_stride}, Area::of_pixels(c.width, c.size),
                                          c.components, window);
    const Dst dst{c.dst, c.dst_stride};
    const Team team = form == kSse ? one_a_processor() : kCallingThread;
    const bool marks = form == kSse ? lut.pOverExpColor != nullptr || lut.pUnderExpColor != nullptr
                                    : form == kFloatOver && lut.pOverExpColor != nullptr;
    if (!marks) {
        render_rows<T, Cell, false>(dst, picture, results, nullptr, team);
        return QM_OK;
    }
    Signals<T, Cell> signals;
    if (form == kSse)
        signals.test_all(lut, window, c.bpc, dst_bpc);
    else
        signals.test_over(lut.pOverExpColor, window, c.bpc);
    render_rows<T, Cell, true>(dst, picture, results, &signals, team);
    return QM_OK;
}

}  // namespace

#define RENDERER(name, T, form)                                                                    \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,            \
             uint32_t uiSrcWidthBytes, uint32_t uiComponents, const SQmLut* pLut,                  \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return render<T, uint8_t>(form, {pDst, 8, uiDstWidthBytes, pSrc, uiComponents, uiSrcBpc,   \
                                         uiSrcWidthBytes, pLut, uiWidth, uiSizeInPixels});         \
    }
#define RENDERER_TO_16(name, T, form)                                                              \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,            \
             uint32_t uiSrcWidthBytes, uint32_t uiComponents, const SQmLut* pLut,                  \
             uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiDstBpc) {                       \
        return render<T, uint16_t>(                                                                \
            form, {pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiComponents, uiSrcBpc, uiSrcWidthBytes, \
                   pLut, uiWidth, uiSizeInPixels});                                                \
    }

// clang-format off
RENDERER      (spect_render_Nx8_3x8_float,                  uint8_t,  kFloat)
RENDERER      (spect_render_Nx16_3x8_float,                 uint16_t, kFloat)
RENDERER      (spect_render_Nx8_3x8_float_overexp,          uint8_t,  kFloatOver)
RENDERER      (spect_render_Nx16_3x8_float_overexp,         uint16_t, kFloatOver)
RENDERER      (spect_render_Nx8_3x8_sse_overexp_underexp,   uint8_t,  kSse)
RENDERER      (spect_render_Nx16_3x8_sse_overexp_underexp,  uint16_t, kSse)
RENDERER_TO_16(spect_render_Nx8_3x16_float,                 uint8_t,  kFloat)
RENDERER_TO_16(spect_render_Nx16_3x16_float,                uint16_t, kFloat)
RENDERER_TO_16(spect_render_Nx8_3x16_sse_overexp_underexp,  uint8_t,  kSse)
RENDERER_TO_16(spect_render_Nx16_3x16_sse_overexp_underexp, uint16_t, kSse)
// clang-format on

#undef RENDERER
#undef RENDERER_TO_16
