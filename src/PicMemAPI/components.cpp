#include <algorithm>
#include <cstring>

#include "PicMemAPI/components_kernels.h"
#include "PicMemAPI/frame_kernels.h"
#include "PicMemAPI/grey_kernels.h"
#include "PicMemAPI/pixel_bytes.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Components of pixels moved between pictures: one, a list of them, a range of their bytes.

namespace {

using namespace qmpic;

Team from_rows(uint64_t least, Area area) { return {area.rows >= least}; }

}  // namespace

// One line an exported kernel: name, storage, in which threads.
#define KERNEL(name, Storage, team)                                                                \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, uint32_t uiDstIndex,  \
             const void* pSrc, uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,                 \
             uint32_t uiSrcIndex, uint32_t uiWidth, uint64_t uiSizeInPixels) {                     \
        const Area area = Area::of_pixels(uiWidth, uiSizeInPixels).rows_in_32_bits();              \
        map<Storage, Storage>(                                                                     \
            team, Component<Dst>{{pDst, uiDstWidthBytes}, uiDstComponents, uiDstIndex},            \
            Component<Src>{{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcIndex}, area, Same{});   \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(copycomponent_Nx8_to_Nx8,   uint8_t,  kTeam)
KERNEL(copycomponent_Nx16_to_Nx16, uint16_t, from_rows(1024, area))  // alone of the three
KERNEL(copycomponent_Nx32_to_Nx32, uint32_t, kTeam)
// clang-format on

#undef KERNEL

// Lists of components. Where a list says what becomes of every byte of a small pixel, pixels are
// shuffled; otherwise the moves are made one after the other.

namespace {

/// Have two areas of so many bytes a pixel no byte in common, gaps included? Not for no rows.
bool apart(Dst dst, uint64_t d_pixel, Src src, uint64_t s_pixel, Area area) {
    const auto d = reinterpret_cast<uintptr_t>(dst.first);
    const auto s = reinterpret_cast<uintptr_t>(src.first);
    const uint64_t last = area.rows - 1;
    return d + last * dst.stride + area.width * d_pixel <= s ||
           s + last * src.stride + area.width * s_pixel <= d;
}

/// A list and the picture that it takes components from.
struct Moves {
    Src picture;
    uint32_t components;
    const uint32_t *to, *from;
    uint32_t count;
};

struct Target {
    Dst picture;
    uint32_t components;
    /// Is a list's source this very picture, pixel for pixel?
    bool is(const Moves& m) const {
        return picture.first == m.picture.first && picture.stride == m.picture.stride &&
               components == m.components;
    }
};

/// What a pixel is made of after some lists of moves, as long as it has no more than 16 components
/// and every index is below its count: for each component the source's picture and component.
class Recipe {
  public:
    enum Picture : uint8_t { kNone, kFirst, kSecond };

    explicit Recipe(uint32_t components) : components_(components) {}

    /// `same`: the source is the destination, and a move sees what earlier moves made.
    void add(const Moves& moves, Picture picture, bool same) {
        known_ = known_ && components_ <= 16 && moves.components <= 16;
        for (uint32_t c = 0; same && known_ && c < components_; ++c)
            if (!(named_ >> c & 1)) of_[c] = {picture, static_cast<uint8_t>(c)};
        for (uint32_t k = 0; known_ && k < moves.count; ++k) {
            const uint32_t to = moves.to[k], from = moves.from[k];
            known_ = to < components_ && from < moves.components;
            if (!known_) return;
            of_[to] = same ? of_[from] : Origin{picture, static_cast<uint8_t>(from)};
            named_ |= 1u << to;
        }
    }
    void zero_rest() {
        for (uint32_t c = 0; known_ && c < components_; ++c)
            if (!(named_ >> c & 1)) of_[c] = {kNone, 0};
        named_ = ~0u;
    }
    /// Nothing of the pixel is left as it was.
    bool whole() const { return known_ && (~named_ & ((1u << components_) - 1)) == 0; }

    /// The bytes that come out of one picture, in blocks of so many pixels.
    BlockShuffle shuffle(Picture picture, bool same, uint32_t from, uint32_t bytes,
                         uint32_t pixels) const {
        BlockShuffle s{pixels, components_ * bytes, from * bytes, {}};
        for (uint32_t i = 0; i < 16; ++i) {
            const uint32_t pixel = i / s.to;
            const Origin& origin = of_[i % s.to / bytes];
            const bool ours = pixel < pixels ? origin.picture == picture : same;
            const uint32_t byte =
                pixel < pixels ? pixel * s.from + origin.component * bytes + i % bytes : i;
            s.bytes[i] = static_cast<uint8_t>(ours ? byte : BlockShuffle::kNothing);
        }
        return s;
    }

  private:
    struct Origin {
        Picture picture = kNone;
        uint8_t component = 0;
    };
    uint32_t components_;
    Origin of_[16];
    uint32_t named_ = 0;
    bool known_ = true;
};

struct Rearrange {
    uint64_t pixels;
    BlockShuffle shuffle;
    void operator()(Sample<uint8_t>* d, const Sample<uint8_t>* s) const {
        rearrange_row_avx2(d, s, pixels, shuffle);
    }
};

// Two moves at a time. The steps are numbers of their own: what is reached through a reference
// might change with every byte that is written.
template <class T>
void move(Sample<T>* d, uint64_t d_step, const Sample<T>* s, uint64_t pixels, const Moves& moves) {
    const uint64_t s_step = moves.components;
    for (uint32_t k = 0; k < moves.count; k += 2) {
        const uint32_t also = k + 1 < moves.count ? k + 1 : k;
        const uint64_t to1 = moves.to[k], from1 = moves.from[k];
        const uint64_t to2 = moves.to[also], from2 = moves.from[also];
        for (uint64_t x = 0; x < pixels; ++x) {
            d[x * d_step + to1] = s[x * s_step + from1].value;
            d[x * d_step + to2] = s[x * s_step + from2].value;
        }
    }
}

template <class T>
void clear(Sample<T>* d, uint64_t d_step, uint64_t pixels, const uint32_t* list, uint32_t count) {
    for (uint32_t k = 0; k < count; ++k) {
        Sample<T>* const to = d + list[k];
        for (uint64_t x = 0; x < pixels; ++x) to[x * d_step] = 0;
    }
}

/// The moves of two lists, of which the second may be empty, then zeros for the `rest`.
template <class T>
int make_moves(Team team, Target dst, Moves first, Moves second, const uint32_t* rest,
               uint32_t rest_count, Area area) {
    if (area.rows == 0) return QM_OK;
    const bool same1 = dst.is(first), same2 = second.count != 0 && dst.is(second);
    // Then no pixel meets another one, and moves may be made row by row, else pixel by pixel.
    const auto free_of = [&](const Moves& m) {
        return dst.is(m) || apart(dst.picture, uint64_t{dst.components} * sizeof(T), m.picture,
                                  uint64_t{m.components} * sizeof(T), area);
    };
    const bool free = free_of(first) && (second.count == 0 || free_of(second));
    if (second.count == 0)
        area = joined(team, area,
                      {{dst.picture.stride, uint64_t{dst.components} * sizeof(T)},
                       {first.picture.stride, uint64_t{first.components} * sizeof(T)}});

    const uint64_t most = std::max({dst.components, first.components, second.components});
    if (free && shuffles(most * sizeof(T))) {
        Recipe recipe(dst.components);
        recipe.add(first, Recipe::kFirst, same1);
        recipe.add(second, Recipe::kSecond, same2);
        if (rest != nullptr) recipe.zero_rest();
        const auto pixels = static_cast<uint32_t>(16 / (most * sizeof(T)));
        if (recipe.whole() && second.count == 0) {
            each_row<uint8_t, uint8_t>(
                team, dst.picture, first.picture, area,
                Rearrange{area.width, recipe.shuffle(Recipe::kFirst, same1, first.components,
                                                     sizeof(T), pixels)});
            return QM_OK;
        }
        if (recipe.whole()) {
            const BlockShuffle s1 = recipe.shuffle(Recipe::kFirst, same1, first.components,
                                                   sizeof(T), pixels),
                               s2 = recipe.shuffle(Recipe::kSecond, same2, second.components,
                                                   sizeof(T), pixels);
            walk_rows(team, area.rows, [=](RowRange rows) {  // three pictures
                for (uint64_t y = rows.first; y < rows.last; ++y)
                    merge_row_avx2(dst.picture.row<uint8_t>(y), first.picture.row<uint8_t>(y),
                                   second.picture.row<uint8_t>(y), area.width, s1, s2);
            });
            return QM_OK;
        }
    }

    const uint64_t step = free ? 1024 : 1;
    walk_rows(team, area.rows, [=](RowRange rows) {  // a list a pixel, over three pictures
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += step) {
                const uint64_t pixels = std::min(step, area.width - x);
                Sample<T>* const d = dst.picture.row<T>(y) + x * dst.components;
                move(d, dst.components, first.picture.row<T>(y) + x * first.components, pixels,
                     first);
                move(d, dst.components, second.picture.row<T>(y) + x * second.components, pixels,
                     second);
                clear(d, dst.components, pixels, rest, rest_count);
            }
    });
    return QM_OK;
}

constexpr Moves kNoMoves{{nullptr, 0}, 0, nullptr, nullptr, 0};

template <class T>
int move_and_zero_rest(Team team, Target dst, Moves moves, Area area) {
    if (moves.count >= dst.components) return QM_REJECTED;
    const Scratch<uint32_t> rest(dst.components);  // lists that repeat an index leave more of them
    if (!rest) return QM_NO_MEMORY;
    uint32_t count = 0;
    for (uint32_t c = 0; c < dst.components; ++c)
        if (std::find(moves.to, moves.to + moves.count, c) == moves.to + moves.count)
            rest[count++] = c;
    return make_moves<T>(team, dst, moves, kNoMoves, rest.get(), count, area);
}

template <class T>
int just_move(Team team, Target dst, Moves moves, Area area) {
    return make_moves<T>(team, dst, moves, kNoMoves, nullptr, 0, area);
}

}  // namespace

// One line an exported kernel: name, storage, what becomes of components without a move.
#define KERNEL(name, Storage, what)                                                                \
    int name(void* pDst, uint32_t uiDstComponents, const uint32_t* puiDstIndexes,                  \
             uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,                 \
             const uint32_t* puiSrcIndexes, uint32_t uiSrcWidthBytes, uint32_t uiWidth,            \
             uint32_t uiSizeInPixels, uint32_t uiCount, bool bParallel) {                          \
        return what<Storage>(                                                                      \
            Team{bParallel}, Target{{pDst, uiDstWidthBytes}, uiDstComponents},                     \
            Moves{                                                                                 \
                {pSrc, uiSrcWidthBytes}, uiSrcComponents, puiDstIndexes, puiSrcIndexes, uiCount},  \
            Area::of_pixels(uiWidth, uiSizeInPixels));                                             \
    }

// clang-format off
KERNEL(copycomponents_Nx8_to_Nx8,           uint8_t,  just_move)
KERNEL(copycomponents_Nx16_to_Nx16,         uint16_t, just_move)
KERNEL(copycomponentszerorest_Nx8_to_Nx8,   uint8_t,  move_and_zero_rest)
KERNEL(copycomponentszerorest_Nx16_to_Nx16, uint16_t, move_and_zero_rest)
// clang-format on

#undef KERNEL

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiDstComponents, const uint32_t* puiDstIndexes1,                 \
             const uint32_t* puiDstIndexes2, uint32_t uiDstWidthBytes, const void* pSrc1,          \
             uint32_t uiSrc1Components, const uint32_t* puiSrc1Indexes, uint32_t uiCount1,         \
             uint32_t uiSrc1WidthBytes, const void* pSrc2, uint32_t uiSrc2Components,              \
             const uint32_t* puiSrc2Indexes, uint32_t uiCount2, uint32_t uiSrc2WidthBytes,         \
             uint32_t uiWidth, uint32_t uiSizeInPixels) {                                          \
        return make_moves<Storage>(kTeam, Target{{pDst, uiDstWidthBytes}, uiDstComponents},        \
                                   Moves{{pSrc1, uiSrc1WidthBytes},                                \
                                         uiSrc1Components,                                         \
                                         puiDstIndexes1,                                           \
                                         puiSrc1Indexes,                                           \
                                         uiCount1},                                                \
                                   Moves{{pSrc2, uiSrc2WidthBytes},                                \
                                         uiSrc2Components,                                         \
                                         puiDstIndexes2,                                           \
                                         puiSrc2Indexes,                                           \
                                         uiCount2},                                                \
                                   nullptr, 0, Area::of_pixels(uiWidth, uiSizeInPixels));          \
    }

// clang-format off
KERNEL(mergecomponents_Nx8_to_Nx8,   uint8_t)
KERNEL(mergecomponents_Nx16_to_Nx16, uint16_t)
// clang-format on

#undef KERNEL

// Blocks of bytes, one a pixel.

namespace {

/// Where the blocks lie: bytes from pixel to pixel, and the first one's byte in its row.
template <class Picture>
struct Blocks {
    Picture picture;
    uint64_t step;
    uint32_t first;
};

template <uint32_t known>
struct MoveBlocks {
    uint64_t d_step, s_step;
    uint32_t d_first, s_first;
    uint64_t given, pixels;
    void operator()(Sample<uint8_t>* d, const Sample<uint8_t>* s) const {
        d += d_first, s += s_first;
        const uint64_t bytes = known != 0 ? known : given;
        for (uint64_t x = 0; x < pixels; ++x) std::memmove(d + x * d_step, s + x * s_step, bytes);
    }
};

/// Are the blocks whole destination pixels out of other small pixels, in other memory? Then they
/// are shuffled.
bool shuffle_blocks(Blocks<Dst> dst, Blocks<Src> src, uint64_t bytes, Area area) {
    const uint64_t most = std::max(dst.step, src.step);
    if (dst.first != 0 || bytes != dst.step || src.first + bytes > src.step || !shuffles(most) ||
        !apart(dst.picture, dst.step, src.picture, src.step, area))
        return false;
    area = joined(kCallingThread, area,
                  {{dst.picture.stride, dst.step}, {src.picture.stride, src.step}});
    BlockShuffle shuffle{static_cast<uint32_t>(16 / most),
                         static_cast<uint32_t>(dst.step),
                         static_cast<uint32_t>(src.step),
                         {}};
    for (uint32_t i = 0; i < 16; ++i)
        shuffle.bytes[i] =
            static_cast<uint8_t>(i < shuffle.pixels * shuffle.to
                                     ? i / shuffle.to * shuffle.from + src.first + i % shuffle.to
                                     : BlockShuffle::kNothing);
    each_row<uint8_t, uint8_t>(kCallingThread, dst.picture, src.picture, area,
                               Rearrange{area.width, shuffle});
    return true;
}

template <uint32_t known>
void move_blocks(Blocks<Dst> dst, Blocks<Src> src, uint64_t bytes, Area area) {
    area = joined(kCallingThread, area,
                  {{dst.picture.stride, dst.step}, {src.picture.stride, src.step}});
    each_row<uint8_t, uint8_t>(
        kCallingThread, dst.picture, src.picture, area,
        MoveBlocks<known>{dst.step, src.step, dst.first, src.first, bytes, area.width});
}

}  // namespace

int CQmPicMemAPI_Base::CopyComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                     uint32_t uiDstIndex, const void* pSrc,
                                     uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                     uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const uint32_t bits = uiBpc > 16 ? 32 : storage_bits(uiBpc);  // 33 bits and more are words, too
    return call(kCopyComponent.find_stored(uiSrcComponents, bits), pDst, uiDstComponents,
                uiDstWidthBytes, uiDstIndex, pSrc, uiSrcComponents, uiSrcWidthBytes, uiSrcIndex,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExtractComponent(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                        uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                        uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                        uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;  // no 32-bit class, unlike CopyComponent
    return call(kCopyComponent.find(uiSrcComponents, uiBpc), pDst, 1u, uiDstWidthBytes, 0u, pSrc,
                uiSrcComponents, uiSrcWidthBytes, uiSrcIndex, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::StoreComponent(void* pDst, uint32_t uiDstComponents,
                                      uint32_t uiDstWidthBytes, uint32_t uiDstIndex,
                                      const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiBpc,
                                      uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;  // no 32-bit class, unlike CopyComponent
    return call(kCopyComponent.find(1, uiBpc), pDst, uiDstComponents, uiDstWidthBytes, uiDstIndex,
                pSrc, 1u, uiSrcWidthBytes, 0u, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExpandComponent(void* pDst, uint32_t uiDstComponents,
                                       uint32_t uiDstWidthBytes, const void* pSrc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstComponents == 1)  // any depth
        return copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, 1, uiBpc, uiWidth,
                    uiSizeInPixels);
    if (uiDstComponents == 3)
        return call(kGreyToThree.find(1, uiBpc), pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,
                    uiWidth, uiSizeInPixels);
    // Four, too: the fourth gets the value and not 0.
    return call(kReplicate.find(1, uiBpc), pDst, uiDstComponents, uiDstWidthBytes, pSrc,
                uiSrcWidthBytes, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExtractComponentRange(void* pDst, uint32_t uiDstWidthBytes,
                                             uint32_t uiDstComponents, uint32_t uiDstFirst,
                                             const void* pSrc, uint32_t uiSrcComponents,
                                             uint32_t uiSrcWidthBytes, uint32_t uiSrcFirst,
                                             uint32_t uiSrcLast, uint32_t uiBpc, uint32_t uiWidth,
                                             uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    // Each pixel is one block of bytes, moved from left to right. First components count bytes.
    const uint64_t size = CalcCompSize(uiBpc);
    const uint64_t bytes = uint32_t{uiSrcLast - uiSrcFirst + 1} * size;
    if (bytes == 0) return QM_OK;  // before the rows are walked
    const Blocks<Dst> dst{{pDst, uiDstWidthBytes}, uiDstComponents * size, uiDstFirst};
    const Blocks<Src> src{{pSrc, uiSrcWidthBytes}, uiSrcComponents * size, uiSrcFirst};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0 || shuffle_blocks(dst, src, bytes, area)) return QM_OK;
    switch (bytes) {  // a constant spares a call a pixel
    case 1: move_blocks<1>(dst, src, bytes, area); break;
    case 2: move_blocks<2>(dst, src, bytes, area); break;
    case 3: move_blocks<3>(dst, src, bytes, area); break;
    case 4: move_blocks<4>(dst, src, bytes, area); break;
    case 6: move_blocks<6>(dst, src, bytes, area); break;
    case 8: move_blocks<8>(dst, src, bytes, area); break;
    default: move_blocks<0>(dst, src, bytes, area);
    }
    return QM_OK;
}

namespace {
bool same_lists(const uint32_t* a, const uint32_t* b, uint32_t count) {
    return std::equal(a, a + count, b);
}
}  // namespace

int CQmPicMemAPI_Base::CopyComponents(void* pDst, uint32_t uiDstComponents,
                                      const uint32_t* puiDstIndexes, uint32_t uiDstWidthBytes,
                                      const void* pSrc, uint32_t uiSrcComponents,
                                      const uint32_t* puiSrcIndexes, uint32_t uiSrcWidthBytes,
                                      uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSizeInPixels,
                                      uint32_t uiCount, bool bParallel) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiCount > uiDstComponents || uiCount > uiSrcComponents) return QM_REJECTED;
    if (uiCount == 0) return QM_OK;
    if (uiCount == 1)  // and on: above 16 bits the component has been copied when -2 comes back
        CopyComponent(pDst, uiDstComponents, uiDstWidthBytes, puiDstIndexes[0], pSrc,
                      uiSrcComponents, uiSrcWidthBytes, puiSrcIndexes[0], uiBpc, uiWidth,
                      uiSizeInPixels);
    if (uiCount == uiDstComponents && uiCount == uiSrcComponents &&
        same_lists(puiDstIndexes, puiSrcIndexes, uiCount))
        return copyparallel(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiDstComponents, uiBpc,
                            uiWidth, uiSizeInPixels, bParallel);
    return call(kCopyComponents.find(uiSrcComponents, uiBpc), pDst, uiDstComponents, puiDstIndexes,
                uiDstWidthBytes, pSrc, uiSrcComponents, puiSrcIndexes, uiSrcWidthBytes, uiWidth,
                uiSizeInPixels, uiCount, bParallel);
}

int CQmPicMemAPI_Base::CopyComponentsZeroRest(
    void* pDst, uint32_t uiDstComponents, const uint32_t* puiDstIndexes, uint32_t uiDstWidthBytes,
    const void* pSrc, uint32_t uiSrcComponents, const uint32_t* puiSrcIndexes,
    uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSizeInPixels,
    uint32_t uiCount, bool bParallel) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiCount > uiDstComponents || uiCount > uiSrcComponents) return QM_REJECTED;
    if (uiCount == uiDstComponents && uiCount == uiSrcComponents &&
        same_lists(puiDstIndexes, puiSrcIndexes, uiCount))
        return copyparallel(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiDstComponents, uiBpc,
                            uiWidth, uiSizeInPixels, bParallel);
    if (uiCount == uiDstComponents)  // no rest
        return CopyComponents(pDst, uiDstComponents, puiDstIndexes, uiDstWidthBytes, pSrc,
                              uiSrcComponents, puiSrcIndexes, uiSrcWidthBytes, uiBpc, uiWidth,
                              uiSizeInPixels, uiCount, bParallel);
    return call(kCopyComponentsZeroRest.find(uiSrcComponents, uiBpc), pDst, uiDstComponents,
                puiDstIndexes, uiDstWidthBytes, pSrc, uiSrcComponents, puiSrcIndexes,
                uiSrcWidthBytes, uiWidth, uiSizeInPixels, uiCount, bParallel);
}

int CQmPicMemAPI_Base::MergeComponents(void* pDst, uint32_t uiDstComponents,
                                       const uint32_t* puiDstIndexes1,
                                       const uint32_t* puiDstIndexes2, uint32_t uiDstWidthBytes,
                                       const void* pSrc1, uint32_t uiSrc1Components,
                                       const uint32_t* puiSrc1Indexes, uint32_t uiCount1,
                                       uint32_t uiSrc1WidthBytes, const void* pSrc2,
                                       uint32_t uiSrc2Components, const uint32_t* puiSrc2Indexes,
                                       uint32_t uiCount2, uint32_t uiSrc2WidthBytes, uint32_t uiBpc,
                                       uint32_t uiWidth, uint32_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc1, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uint64_t{uiCount1} + uiCount2 > uiDstComponents || uiCount1 > uiSrc1Components ||
        uiCount2 > uiSrc2Components)
        return QM_REJECTED;
    if (uiCount1 == 0)
        return CopyComponents(pDst, uiDstComponents, puiDstIndexes2, uiDstWidthBytes, pSrc2,
                              uiSrc2Components, puiSrc2Indexes, uiSrc2WidthBytes, uiBpc, uiWidth,
                              uiSizeInPixels, uiCount2, true);
    if (uiCount2 == 0)
        return CopyComponents(pDst, uiDstComponents, puiDstIndexes1, uiDstWidthBytes, pSrc1,
                              uiSrc1Components, puiSrc1Indexes, uiSrc1WidthBytes, uiBpc, uiWidth,
                              uiSizeInPixels, uiCount1, true);
    return call(kMergeComponents.find(uiSrc1Components, uiBpc), pDst, uiDstComponents,
                puiDstIndexes1, puiDstIndexes2, uiDstWidthBytes, pSrc1, uiSrc1Components,
                puiSrc1Indexes, uiCount1, uiSrc1WidthBytes, pSrc2, uiSrc2Components, puiSrc2Indexes,
                uiCount2, uiSrc2WidthBytes, uiWidth, uiSizeInPixels);
}
