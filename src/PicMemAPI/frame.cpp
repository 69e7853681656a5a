#include <algorithm>
#include <array>
#include <cstring>

#include "PicMemAPI/frame_kernels.h"
#include "core/fill_pixels.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Whole lines, values and comparisons. Lines are blocks of bytes for the C library, which chooses
// instructions of its own.

namespace {

using namespace qmpic;

/// A pixel that is as wide as an integer is one.
template <class Whole>
void change_whole(Dst dst, const void* new_value, const void* old_value, Area area) {
    Whole now, old;
    std::memcpy(&now, new_value, sizeof now);
    std::memcpy(&old, old_value, sizeof old);
    update<Whole>(kCallingThread, dst, area,
                  [=](Whole there) { return there == old ? now : there; });
}

/// Pixels of three samples, one after the other.
template <class T>
void change_each_triple(Sample<T>* d, uint64_t pixels, const T* now, const T* old) {
    const T n0 = now[0], n1 = now[1], n2 = now[2], o0 = old[0], o1 = old[1], o2 = old[2];
#pragma GCC unroll 4
    for (uint64_t x = 0; x < pixels; ++x, d += 3)
        if (d[0] == o0 && d[1] == o1 && d[2] == o2) d[0] = n0, d[1] = n1, d[2] = n2;
}

/// Pixels of three samples, many at a time: a sample starts an old pixel if it and the two behind
/// it say so, and is changed if it or one of the two before it starts one.
template <class T>
struct Triples {
    static constexpr uint64_t kSamples = 192;  // of a block: whole vectors, whole pixels
    static constexpr auto kFirst = [] {        // of each pixel
        std::array<T, kSamples> first{};
        for (uint64_t i = 0; i < kSamples; i += 3) first[i] = 1;
        return first;
    }();
    T old[2 + kSamples], now[kSamples];

    Triples(const void* new_value, const void* old_value) {
        tile(now, new_value);
        tile(old, old_value);
        old[kSamples] = old[0];
        old[kSamples + 1] = old[1];
    }
    static void tile(T* to, const void* value) {  // 192 is 3 doubled six times
        std::memcpy(to, value, 3 * sizeof(T));
        for (uint64_t filled = 3; filled < kSamples; filled *= 2)
            std::memcpy(to + filled, to, filled * sizeof(T));
    }

    /// A block. Reads two samples behind it.
    void change_block(Sample<T>* d) const {
        T starts[2 + kSamples];
        starts[0] = starts[1] = 0;
        T any = 0;
        for (uint64_t i = 0; i < kSamples; ++i) {
            const T differs =
                static_cast<T>((d[i] ^ old[i]) | (d[i + 1] ^ old[i + 1]) | (d[i + 2] ^ old[i + 2]));
            starts[i + 2] = static_cast<T>(kFirst[i] & (differs == 0));
            any = static_cast<T>(any | starts[i + 2]);
        }
        if (any == 0) return;
        for (uint64_t i = 0; i < kSamples; ++i) {
            const T there = d[i], changed = now[i];
            d[i] = (starts[i] | starts[i + 1] | starts[i + 2]) != 0 ? changed : there;
        }
    }

    void change_row(Sample<T>* d, uint64_t samples) const {
        uint64_t x = 0;
        for (; x + kSamples + 2 <= samples; x += kSamples) change_block(d + x);
        if (x != 0) {  // a pixel that is changed twice is what it is changed to
            x = (samples - kSamples - 2) / 3 * 3;
            change_block(d + x);
            x += kSamples;
        }
        change_each_triple(d + x, (samples - x) / 3, now, old);
    }
};

/// From here on blocks are faster: making them ready takes as long as 1000 pixels one by one.
constexpr uint64_t kManyPixels = 2048;

template <class T>
void change_triples(Dst dst, const void* new_value, const void* old_value, Area area) {
    area = joined(kCallingThread, area, {{dst.stride, 3 * sizeof(T)}});
    if (area.width * area.rows < kManyPixels) {
        T now[3], old[3];
        std::memcpy(now, new_value, sizeof now);
        std::memcpy(old, old_value, sizeof old);
        for (uint64_t y = 0; y < area.rows; ++y)
            change_each_triple(dst.row<T>(y), area.width, now, old);
        return;
    }
    const Triples<T> triples(new_value, old_value);
    const Triples<T>* const blocks = &triples;  // too long to be copied along
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            blocks->change_row(dst.row<T>(y), 3 * area.width);
    });
}

/// Pixel by pixel. Most differ in the first sample.
template <class T>
void change_each(Dst dst, uint32_t count, const T* now, const T* old, Area area) {
    area = joined(kCallingThread, area, {{dst.stride, count * sizeof(T)}});
    for (uint64_t y = 0; y < area.rows; ++y) {
        Sample<T>* d = dst.row<T>(y);
        for (uint64_t x = 0; x < area.width; ++x, d += count) {
            bool same = d[0] == old[0];
            for (uint64_t i = 1; same && i < count; ++i) same = d[i] == old[i];
            if (same) std::memcpy(d, now, count * sizeof(T));
        }
    }
}

template <class T>
int change_samples(Dst dst, uint32_t components, const void* new_value, const void* old_value,
                   Area area) {
    const uint64_t bytes = components * sizeof(T);
    const auto change = [=](T* now, T* old) {
        std::memcpy(now, new_value, bytes);
        std::memcpy(old, old_value, bytes);
        change_each(dst, components, now, old, area);
        return QM_OK;
    };
    if (T near[2][192]; components <= 192) return change(near[0], near[1]);
    const Scratch<T> far(2 * uint64_t{components});
    return far ? change(far.get(), far.get() + components) : QM_NO_MEMORY;
}

template <class T>
int change_pixels(void* first, uint32_t components, uint32_t stride, const void* new_value,
                  const void* old_value, uint32_t width, uint64_t size) {
    if (components == 0) return QM_OK;
    const Dst dst{first, stride};
    const Area area = Area::of_pixels(width, size);
    if (components == 3) return change_triples<T>(dst, new_value, old_value, area), QM_OK;
    switch (components * uint64_t{sizeof(T)}) {
    case 1: return change_whole<uint8_t>(dst, new_value, old_value, area), QM_OK;
    case 2: return change_whole<uint16_t>(dst, new_value, old_value, area), QM_OK;
    case 4: return change_whole<uint32_t>(dst, new_value, old_value, area), QM_OK;
    case 8: return change_whole<uint64_t>(dst, new_value, old_value, area), QM_OK;
    default: return change_samples<T>(dst, components, new_value, old_value, area);
    }
}

/// The first pair that differs, looked for in blocks without a branch. Steps of 0 are read.
template <class T, uint32_t known>
int compare_steps(Component<Src> a, Component<Src> b, Area area) {
    constexpr uint64_t kBlock = 256;
    int difference = 0;
    int* const found = &difference;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        const uint64_t a_step = known != 0 ? known : a.step, b_step = known != 0 ? known : b.step;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<T>* s1 = a.picture.row<T>(y) + a.index;
            const Sample<T>* s2 = b.picture.row<T>(y) + b.index;
            for (uint64_t left = area.width, block; left > 0; left -= block) {
                block = std::min(kBlock, left);
                T bits = 0;
                for (uint64_t x = 0; x < block; ++x)
                    bits = static_cast<T>(bits | (s1[x * a_step] ^ s2[x * b_step]));
                if (bits != 0)
                    for (uint64_t x = 0;; ++x)
                        if (T{s1[x * a_step]} != T{s2[x * b_step]}) {
                            *found = int{s1[x * a_step]} - int{s2[x * b_step]};
                            return;
                        }
                s1 += block * a_step;
                s2 += block * b_step;
            }
        }
    });
    return difference;
}

template <class T>
int compare_samples(Component<Src> a, Component<Src> b, Area area) {
    if (a.step == 0 || b.step == 0) return 0;
    area = joined(kCallingThread, area,
                  {{a.picture.stride, a.step * sizeof(T)}, {b.picture.stride, b.step * sizeof(T)}});
    switch (a.step == b.step ? a.step : 0) {
    case 1: return compare_steps<T, 1>(a, b, area);
    case 3: return compare_steps<T, 3>(a, b, area);
    case 4: return compare_steps<T, 4>(a, b, area);
    default: return compare_steps<T, 0>(a, b, area);
    }
}

}  // namespace

int copy(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,
         uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 57);
    copy_lines(kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, line,
               Area::of_pixels(uiWidth, uiSizeInPixels).rows);
    return QM_OK;
}

int copyparallel(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,
                 uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                 bool bParallel) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 84);
    copy_lines(Team{bParallel}, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, line,
               Area::of_pixels(uiWidth, uiSizeInPixels).rows);
    return QM_OK;
}

int set(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiValue, uint32_t uiComponents,
        uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 109);
    const Area area = joined(kCallingThread, {line, Area::of_pixels(uiWidth, uiSizeInPixels).rows},
                             {{uiDstWidthBytes, 1}});
    set_lines(Dst{pDst, uiDstWidthBytes}, area, static_cast<uint8_t>(uiValue));
    return QM_OK;
}

int compare(const void* p1, uint32_t uiWidthBytes1, const void* p2, uint32_t uiWidthBytes2,
            uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line = line_bytes(uiComponents, uiBpc, uiWidth);
    const Area area = joined(kCallingThread, {line, Area::of_pixels(uiWidth, uiSizeInPixels).rows},
                             {{uiWidthBytes1, 1}, {uiWidthBytes2, 1}});
    const Src a{p1, uiWidthBytes1}, b{p2, uiWidthBytes2};
    for (uint64_t y = 0; line != 0 && y < area.rows; ++y)
        if (const int sign = std::memcmp(a.row<uint8_t>(y), b.row<uint8_t>(y), area.width))
            return sign;
    return 0;
}

int set_Nx8(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pValue,
            uint32_t uiWidth, uint64_t uiSizeInPixels) {
    fill_pixels(Dst{pDst, uiDstWidthBytes}, Area::of_pixels(uiWidth, uiSizeInPixels), pValue,
                uiComponents);
    return QM_OK;
}
int set_Nx16(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pValue,
             uint32_t uiWidth, uint64_t uiSizeInPixels) {
    fill_pixels(Dst{pDst, uiDstWidthBytes}, Area::of_pixels(uiWidth, uiSizeInPixels), pValue,
                uint64_t{2} * uiComponents);
    return QM_OK;
}

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,                          \
             uint32_t uiComponentIndex, Storage value, uint32_t uiWidth,                           \
             uint64_t uiSizeInPixels) {                                                            \
        if (uiComponents != 0)                                                                     \
            fill<Storage>(kCallingThread,                                                          \
                          {{pDst, uiDstWidthBytes}, uiComponents, uiComponentIndex},               \
                          Area::of_pixels(uiWidth, uiSizeInPixels), value);                        \
        return QM_OK;                                                                              \
    }

KERNEL(setcomponent_Nx8, uint8_t)
KERNEL(setcomponent_Nx16, uint16_t)

#undef KERNEL
#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pNewValue,   \
             const void* pOldValue, uint32_t uiWidth, uint64_t uiSizeInPixels) {                   \
        return change_pixels<Storage>(pDst, uiComponents, uiDstWidthBytes, pNewValue, pOldValue,   \
                                      uiWidth, uiSizeInPixels);                                    \
    }

KERNEL(change_Nx8, uint8_t)
KERNEL(change_Nx16, uint16_t)

#undef KERNEL
#define KERNEL(name, Storage)                                                                      \
    int name(const void* p1, uint32_t uiComponents1, uint32_t uiWidthBytes1,                       \
             uint32_t uiComponentIndex1, const void* p2, uint32_t uiComponents2,                   \
             uint32_t uiWidthBytes2, uint32_t uiComponentIndex2, uint32_t uiWidth,                 \
             uint64_t uiSizeInPixels) {                                                            \
        return compare_samples<Storage>({{p1, uiWidthBytes1}, uiComponents1, uiComponentIndex1},   \
                                        {{p2, uiWidthBytes2}, uiComponents2, uiComponentIndex2},   \
                                        Area::of_pixels(uiWidth, uiSizeInPixels));                 \
    }

KERNEL(comparecomponent_Nx8_to_Nx8, uint8_t)
KERNEL(comparecomponent_Nx16_to_Nx16, uint16_t)

#undef KERNEL

int CQmPicMemAPI_Base::Copy(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                            uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiComponents, uiBpc, uiWidth,
                uiSizeInPixels);
}

int CQmPicMemAPI_Base::Set(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiValue,
                           uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                           uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return set(pDst, uiDstWidthBytes, uiValue, uiComponents, uiBpc, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::SetValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiDstWidthBytes, const void* pValue, uint32_t uiWidth,
                                uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSetValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes, pValue,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::SetComponentValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                         uint32_t uiDstWidthBytes, uint32_t uiComponentIndex,
                                         unsigned short usValue, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSetComponentValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes,
                uiComponentIndex, usValue, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ChangeValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                   uint32_t uiDstWidthBytes, const void* pNewValue,
                                   const void* pOldValue, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kChangeValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes,
                pNewValue, pOldValue, uiWidth, uiSizeInPixels);
}

// Single pixels: what SetColor stores in words or in four components GetColor does not read back.
int CQmPicMemAPI_Base::SetColor(void* pDst, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                                uint32_t uiBpc, uint32_t uiDstWidthBytes, uint32_t uiColor) {
    const Dst dst{pDst, uiDstWidthBytes};
    const uint64_t first = uint64_t{uiX} * uiComponents;
    if (uiComponents == 1 && uiBpc == 16) {
        dst.row<uint16_t>(uiY)[first] = static_cast<uint16_t>(uiColor);
        return QM_OK;
    }
    if (uiBpc != 8 || (uiComponents != 1 && uiComponents != 3 && uiComponents != 4))
        return QM_NO_KERNEL;
    for (uint32_t i = 0; i < uiComponents; ++i)
        dst.row<uint8_t>(uiY)[first + i] =
            static_cast<uint8_t>(uiColor >> (8 * (uiComponents - 1 - i)));
    return QM_OK;
}

int CQmPicMemAPI_Base::GetColor(const void* pSrc, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                                uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t* puiColor) {
    if (uiBpc != 8 || (uiComponents != 1 && uiComponents != 3)) return QM_NO_KERNEL;
    const auto* const pixel =
        Src{pSrc, uiSrcWidthBytes}.row<uint8_t>(uiY) + uint64_t{uiX} * uiComponents;
    uint32_t color = 0;
    for (uint32_t i = 0; i < uiComponents; ++i) color = color << 8 | pixel[i];
    *puiColor = color;
    return QM_OK;
}

int CQmPicMemAPI_Base::Compare(const void* p1, uint32_t uiWidthBytes1, const void* p2,
                               uint32_t uiWidthBytes2, uint32_t uiBpc, uint32_t uiComponents,
                               uint32_t uiWidth, uint64_t uiSizeInPixels, int* piResult) {
    if (piResult != nullptr) *piResult = QM_OK;
    if (nothing_to_do(p1, p2, uiWidth, uiSizeInPixels)) return 0;
    return compare(p1, uiWidthBytes1, p2, uiWidthBytes2, uiComponents, uiBpc, uiWidth,
                   uiSizeInPixels);
}

// A depth without kernel is told through piResult alone: the return value is the comparison.
int CQmPicMemAPI_Base::CompareComponent(const void* p1, uint32_t uiComponents1,
                                        uint32_t uiWidthBytes1, uint32_t uiComponentIndex1,
                                        const void* p2, uint32_t uiComponents2,
                                        uint32_t uiWidthBytes2, uint32_t uiComponentIndex2,
                                        uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                        int* piResult) {
    if (piResult != nullptr) *piResult = QM_OK;
    if (nothing_to_do(p1, p2, uiWidth, uiSizeInPixels)) return 0;
    const auto kernel = kCompareComponent.find(uiComponents1, uiBpc);
    if (kernel == nullptr) {
        if (piResult != nullptr) *piResult = QM_NO_KERNEL;
        return 0;
    }
    return kernel(p1, uiComponents1, uiWidthBytes1, uiComponentIndex1, p2, uiComponents2,
                  uiWidthBytes2, uiComponentIndex2, uiWidth, uiSizeInPixels);
}
