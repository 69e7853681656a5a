#include <omp.h>

#include <algorithm>
#include <cstddef>

#include "core/frame.h"
#include "core/rows.h"
#include "histogram/blocks.h"
#include "histogram/counting.h"
#include "histogram/private_blocks.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"

// The histogram of a picture: its rows are split among threads, each of which counts into blocks of
// its own.

namespace {

using namespace qmpic;

/// What is counted of a picture, all of it within the picture: every `step_y`-th row from the
/// first.
struct Pixels {
    Src src;
    uint32_t components, bpc, step_x, step_y, width;
    uint64_t rows;  ///< as many as are counted

    uint64_t samples() const { return rows * ((width - 1) / step_x + 1) * components; }

    void count(RowRange range, void* intensity, void** blocks, uint32_t bin_bytes) const {
        if (range.first == range.last) return;
        count_rows(blocks, intensity, bin_bytes,
                   {src.row<std::byte>(range.first * step_y), src.stride}, components, bpc, step_x,
                   step_y, width, (range.last - range.first - 1) * step_y + 1);
    }
};

/// The rectangle of a record that lies within the picture. `rows` is the height that the record had
/// before it was fitted to the picture, `width` the one that it has now.
Pixels pixels_of(const SQmPicBuf& picture, const SQmHisto& histo, uint32_t rows) {
    const bool whole = histo.uiRoiMode == 0;
    const uint32_t left = whole ? 0 : histo.uiLeft, top = whole ? 0 : histo.uiTop;
    Pixels pixels{{picture.pData, picture.uiWidthBytes},
                  picture.uiComponents,
                  picture.uiBpc,
                  std::max(histo.uiStepX, 1u),
                  std::max(histo.uiStepY, 1u),
                  0,
                  0};
    if (histo.uiRoiMode > 1 || left >= picture.uiWidth || top >= picture.uiHeight) return pixels;
    pixels.width = std::min(whole ? picture.uiWidth : histo.uiWidth, picture.uiWidth - left);
    rows = std::min(rows, picture.uiHeight - top);
    pixels.rows = rows == 0 ? 0 : (rows - 1) / pixels.step_y + 1;
    const uint64_t pixel = (uint64_t{picture.uiBpc} + 7) / 8 * picture.uiComponents;
    pixels.src.first = pixels.src.row<std::byte>(top) + pixel * left;
    return pixels;
}

/// A thread for each processor, but none that would have less to count than its bins cost.
uint32_t threads_for(uint64_t samples, uint64_t bins) {
    const auto processors = static_cast<uint64_t>(std::max(omp_get_num_procs(), 1));
    return static_cast<uint32_t>(std::clamp<uint64_t>(samples / (bins / 2 + 16384), 1, processors));
}

template <class Bin>
void count(const Pixels& pixels, SQmHisto& histo) {
    auto* const sums = static_cast<Bin*>(histo.pData);
    const auto count_into_record = [&](RowRange rows) {
        pixels.count(rows, sums, histo.ppCompData, sizeof(Bin));
    };
    const uint64_t blocks = blocks_of(histo), bins = blocks * bins_of(histo);
    const uint32_t threads = threads_for(pixels.samples(), bins);
    if (threads == 1) return count_into_record({0, pixels.rows});
    const PrivateBlocks<Bin> others(threads - 1, blocks, bins_of(histo));
    if (!others) return count_into_record({0, pixels.rows});
    in_team(Team{true, threads}, [&](Member member) {
        const RowRange rows = member.share(pixels.rows);
        if (member.index == 0) {
            count_into_record(rows);
        } else {
            void** const own = others.cleared(member.index - 1);
            pixels.count(rows, own[0], own + (blocks > 1 ? 1 : 0), sizeof(Bin));
        }
        member.wait();
        others.add_to(sums, 0, member.count - 1, member.share(bins));
    });
}

}  // namespace

int CQmHistoAPI_Base::Calculate(SQmHisto* pHisto, const SQmPicBuf* pBuf, bool bReset) {
    if (pHisto == nullptr) return QM_BAD_BUFFER;
    if (pBuf == nullptr || pBuf->pData == nullptr) return QM_OK;
    const uint32_t rows = pHisto->uiRoiMode != 0 ? pHisto->uiHeight : pBuf->uiHeight;
    const SQmPicBufDesc desc{pBuf->uiWidth, pBuf->uiHeight,     pBuf->uiWidthBytes,
                             pBuf->uiBpc,   pBuf->uiComponents, pBuf->ui64Size};
    if (pHisto->uiBinBytes == 4) Reinit32(pHisto, &desc);
    if (pHisto->uiBinBytes == 8) Reinit64(pHisto, &desc);
    if (bReset) ResetToZero(pHisto);

    const Pixels pixels = pixels_of(*pBuf, *pHisto, rows);
    const uint32_t storage = storage_bits(pixels.bpc);
    if ((storage != 8 && storage != 16) || !has_blocks(*pHisto)) return QM_OK;
    if (pixels.rows == 0 || pixels.width == 0 || pixels.components == 0) return QM_OK;
    if (pHisto->uiBinBytes == 4) count<uint32_t>(pixels, *pHisto);
    if (pHisto->uiBinBytes == 8) count<uint64_t>(pixels, *pHisto);
    return QM_OK;
}
