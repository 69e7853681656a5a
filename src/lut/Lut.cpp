#include "qmpic/Lut.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "lut/cells.h"
#include "qmpic/status.h"

// Table sets. The arrays of pointers and the block of cells come from the plain C heap; the first
// pointer of each array leads to the next one, and so to everything that is to be released.

namespace {

using namespace qmpic;

// The test for the shared shape reads two words of whatever `pLuts` points to.
constexpr std::size_t kTwoWords = 2 * sizeof(void*);

constexpr std::size_t kCells = kColourCells;  // what exposure colours are for

void* zeroed(std::uint64_t bytes) {
    return std::calloc(1, std::max<std::size_t>(bytes, kTwoWords));
}

/// Blocks that are being made: released unless they are handed over.
template <class T>
class Block {
  public:
    explicit Block(std::uint64_t count) : data_(static_cast<T*>(zeroed(count * sizeof(T)))) {}
    ~Block() { std::free(data_); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    explicit operator bool() const { return data_ != nullptr; }
    T* get() const { return data_; }
    T* hand_over() {
        T* const data = data_;
        data_ = nullptr;
        return data;
    }

  private:
    T* data_;
};

bool first_words_differ(const SQmLut& lut) {
    const void* words[2];
    std::memcpy(words, lut.pLuts, sizeof words);
    return words[0] != words[1];
}

bool is_shared(const SQmLut& lut) { return lut.ucComponents > 1 && !first_words_differ(lut); }

void link(Row* rows, std::byte* cells, std::uint64_t count, std::uint64_t bytes) {
    for (std::uint64_t i = 0; i < count; ++i) rows[i] = cells + i * bytes;
}

int build_flat(SQmLut& lut) {
    lut.pLuts = zeroed(table_bytes(lut));
    return lut.pLuts != nullptr ? QM_OK : QM_NO_MEMORY;
}

int build_colour(SQmLut& lut) {
    Block<Row> rows(entries_of(lut));
    if (!rows) return QM_NO_MEMORY;
    Block<std::byte> cells(table_bytes(lut));
    if (!cells) return QM_NO_MEMORY;
    link(rows.get(), cells.hand_over(), entries_of(lut), row_bytes(lut));
    // The first row leads to the cells.
    lut.pLuts = rows.hand_over();  // NOLINT(clang-analyzer-unix.Malloc)
    return QM_OK;
}

int build_per_component(SQmLut& lut) {
    const std::uint64_t entries = entries_of(lut), components = lut.ucComponents;
    Block<Row*> root(components);
    if (!root) {
        lut.pLuts = nullptr;
        return QM_OK;  // alone of all failures: users test the pointer
    }
    Block<Row> rows(components * entries);
    if (!rows) return QM_NO_MEMORY;
    Block<std::byte> cells(components * table_bytes(lut));
    if (!cells) return QM_NO_MEMORY;
    link(rows.get(), cells.hand_over(), components * entries, row_bytes(lut));
    for (std::uint64_t c = 0; c < components; ++c) root.get()[c] = rows.get() + c * entries;
    rows.hand_over();
    lut.pLuts = root.hand_over();
    return QM_OK;
}

int build_shared(SQmLut& lut) {
    Block<Row*> root(lut.ucComponents);
    if (!root) return QM_BAD_BUFFER;  // alone of all failures
    Block<Row> rows(entries_of(lut));
    if (!rows) return QM_NO_MEMORY;
    Block<std::byte> cells(table_bytes(lut));
    if (!cells) return QM_NO_MEMORY;
    link(rows.get(), cells.hand_over(), entries_of(lut), row_bytes(lut));
    // The first row leads to the cells.
    std::fill_n(root.get(), lut.ucComponents, rows.get());  // NOLINT(clang-analyzer-unix.Malloc)
    rows.hand_over();
    lut.pLuts = root.hand_over();
    return QM_OK;
}

int build(SQmLut& lut) {
    if (lut.ucComponents > 1) return build_per_component(lut);
    return is_flat(lut) ? build_flat(lut) : build_colour(lut);
}

void set_shape(SQmLut& lut, unsigned char src_bpc, unsigned char components, unsigned char dst_bpc,
               unsigned char dst_components) {
    lut.ucSrcBpc = src_bpc;
    lut.ucComponents = components;
    lut.ucDstBpc = dst_bpc;
    lut.ucDstComponents = dst_components;
}

bool has_shape(const SQmLut& lut, unsigned char src_bpc, unsigned char components,
               unsigned char dst_bpc, unsigned char dst_components) {
    return lut.ucSrcBpc == src_bpc && lut.ucComponents == components && lut.ucDstBpc == dst_bpc &&
           lut.ucDstComponents == dst_components;
}

/// Made by whoever asks first, unless an application has set a mask of its own.
const CQmRangeMask& full_mask() {
    static CQmRangeMask all(CQmRangeMask::MaxSize, 0, CQmRangeMask::MaxSize - 1, 1);
    const std::atomic_ref<CQmRangeMask*> shared(CQmRangeMask::FULL_MASK);
    CQmRangeMask* mask = nullptr;
    return shared.compare_exchange_strong(mask, &all) ? all : *mask;
}

void release(void*& block) {
    std::free(block);
    block = nullptr;
}

// ----- Exposure colours --------------------------------------------------------------------------

constexpr std::size_t kFields = kCells + 1;  // and the flag

std::uint32_t first_word(const void* p) {
    std::uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

/// Room for all components, and for the three that some renderers read whatever the mask's size.
template <class Field>
Field* new_colours(const SQmLut& lut) {
    const std::uint64_t room = std::max(lut.rmComponents.GetSize(), 3u);
    return static_cast<Field*>(zeroed(room * kFields * sizeof(Field)));
}

template <class Field>
int set_colours(const SQmLut& lut, void*& block, const std::uint32_t* colors) {
    const std::uint32_t count = lut.rmComponents.GetSize();
    Field* const field = new_colours<Field>(lut);
    if (field == nullptr) return QM_NO_MEMORY;
    const auto scaled = [&](std::uint32_t byte) {
        return static_cast<Field>((byte << lut.ucDstBpc) >> 8);
    };
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t color = colors[i];
        Field* const entry = field + kFields * i;
        entry[0] = scaled(color >> 16 & 255);
        entry[1] = scaled(color >> 8 & 255);
        entry[2] = scaled(color & 255);
        entry[3] = static_cast<Field>(color >> 24);
    }
    block = field;
    return QM_OK;
}

int set_colours(const SQmLut& lut, void*& block, const std::uint32_t* colors) {
    release(block);
    if (colors == nullptr || colors[0] == 0) return QM_OK;
    if (lut.ucDstComponents != kCells || lut.ucDstBpc > 16) return QM_NO_KERNEL;
    return lut.ucDstBpc <= 8 ? set_colours<std::uint8_t>(lut, block, colors)
                             : set_colours<std::uint16_t>(lut, block, colors);
}

int set_first_colour(const SQmLut& lut, void*& block, const void* entry, std::uint32_t bits) {
    if (entry == nullptr || first_word(entry) == 0) {
        release(block);
        return QM_OK;
    }
    if (bits != lut.ucDstBpc) return QM_REJECTED;
    if (lut.ucDstComponents != kCells || lut.ucDstBpc > 16) return QM_NO_KERNEL;
    const std::size_t bytes = kFields * cell_bytes(lut);
    if (block == nullptr)
        block = bits <= 8 ? static_cast<void*>(new_colours<std::uint8_t>(lut))
                          : static_cast<void*>(new_colours<std::uint16_t>(lut));
    if (block == nullptr) return QM_NO_MEMORY;
    std::memmove(block, entry, bytes);
    return QM_OK;
}

}  // namespace

SQmLut::SQmParam& SQmLut::SQmParam::operator=(const SQmParam& other) = default;
SQmLut::SQmParam& SQmLut::SQmParam::operator=(SQmParam&& other) noexcept = default;

SQmLut::SQmLut()
    : pLuts(nullptr),
      ucSrcBpc(0),
      ucComponents(0),
      ucDstBpc(0),
      ucDstComponents(0),
      uiReserved(0),
      usReserved(0),
      pOverExpColor(nullptr),
      pUnderExpColor(nullptr),
      pOverExpValue(nullptr),
      pParams(nullptr),
      bParallel(false),
      iPredefLut(-1) {}

// The first constructor makes a whole set: its destructor runs when the copy throws.
SQmLut::SQmLut(const SQmLut& other) : SQmLut() {
    Alloc(*this, other.ucSrcBpc, other.ucComponents, other.ucDstBpc, other.ucDstComponents);
    Copy(*this, other);
}

SQmLut::~SQmLut() { Free(*this); }

const SQmLut& SQmLut::operator=(const SQmLut& other) {
    if (this == &other) return *this;
    Free(*this);
    Alloc(*this, other.ucSrcBpc, other.ucComponents, other.ucDstBpc, other.ucDstComponents);
    Copy(*this, other);
    return *this;
}

int SQmLut::Alloc(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                  unsigned char ucDstBpc, unsigned char ucDstComponents) {
    set_shape(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents);
    lut.pOverExpColor = nullptr;
    lut.pUnderExpColor = nullptr;
    lut.pOverExpValue = nullptr;
    lut.rmComponents = full_mask();
    lut.pParams = nullptr;
    if (ucSrcBpc > 16 || ucComponents == 0 || ucDstComponents == 0) return QM_BAD_BUFFER;
    return build(lut);
}

int SQmLut::AllocColor(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc) {
    return Alloc(lut, ucSrcBpc, 1, ucDstBpc, kCells);
}

int SQmLut::AllocSingle(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc) {
    return Alloc(lut, ucSrcBpc, 1, ucDstBpc, 1);
}

int SQmLut::CustomSpectralLutAlloc(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                                   unsigned char ucDstBpc, unsigned char ucDstComponents) {
    set_shape(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents);
    lut.pOverExpColor = nullptr;
    lut.pUnderExpColor = nullptr;
    if (ucComponents == 0) return QM_BAD_BUFFER;
    constexpr std::uint64_t kMost = 0x7FFFFFFF;  // bytes of a block
    if (ucSrcBpc > 31 || entries_of(lut) * sizeof(Row) > kMost || table_bytes(lut) > kMost)
        return QM_NO_MEMORY;
    // One component shares with nobody: those who walk the tables expect its ordinary shape.
    return ucComponents > 1 ? build_shared(lut) : build(lut);
}

int SQmLut::check_luts(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                       unsigned char ucDstBpc, unsigned char ucDstComponents) {
    if (lut.pLuts != nullptr && has_shape(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents) &&
        first_words_differ(lut))
        return QM_OK;
    Free(lut);
    return Alloc(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents);
}

int SQmLut::check_luts_spectral_ex(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                                   unsigned char ucDstBpc, unsigned char ucDstComponents) {
    if (lut.pLuts != nullptr && has_shape(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents) &&
        !first_words_differ(lut))
        return QM_OK;
    if (lut.pLuts != nullptr) Free(lut);
    // Thresholds and parametric state of a set without tables stay; its colours would be lost.
    release(lut.pOverExpColor);
    release(lut.pUnderExpColor);
    return CustomSpectralLutAlloc(lut, ucSrcBpc, ucComponents, ucDstBpc, ucDstComponents);
}

void SQmLut::Copy(SQmLut& dst, const SQmLut& src) {
    if (&dst == &src || src.ucComponents == 0 || src.ucDstComponents == 0) return;
    if (src.pLuts != nullptr && dst.pLuts != nullptr) {
        const std::uint64_t table = table_bytes(src);
        const std::byte* const from = cells_of(src);
        std::byte* const to = cells_of(dst);
        if (is_shared(dst))
            std::memcpy(to, from, table);
        else if (is_shared(src))
            for (std::uint64_t c = 0; c < src.ucComponents; ++c)
                std::memcpy(to + c * table, from, table);
        else
            std::memcpy(to, from, src.ucComponents * table);
    }
    dst.rmComponents = src.rmComponents;
    dst.bParallel = src.bParallel;
    dst.iPredefLut = src.iPredefLut;
    if (src.pParams == nullptr) return FreeParametric(dst);
    if (dst.pParams == nullptr) ReinitParametric(dst);
    std::copy_n(src.pParams, std::min(dst.ucComponents, src.ucComponents), dst.pParams);
}

void SQmLut::Free(SQmLut& lut) {
    if (lut.pLuts != nullptr) {
        if (!is_flat(lut)) {
            std::free(cells_of(lut));
            if (lut.ucComponents > 1) std::free(*static_cast<Row**>(lut.pLuts));
        }
        release(lut.pLuts);
    }
    release(lut.pOverExpColor);
    release(lut.pUnderExpColor);
    delete[] lut.pOverExpValue;
    lut.pOverExpValue = nullptr;
    FreeParametric(lut);
}

void SQmLut::ReinitParametric(SQmLut& lut) {
    FreeParametric(lut);
    lut.pParams = new SQmParam[lut.ucComponents];
}

void SQmLut::FreeParametric(SQmLut& lut) {
    delete[] lut.pParams;
    lut.pParams = nullptr;
}

int SQmLut::SetOverExpColor(SQmLut& lut, const unsigned int* puiColors) {
    return set_colours(lut, lut.pOverExpColor, puiColors);
}

int SQmLut::SetUnderExpColor(SQmLut& lut, const unsigned int* puiColors) {
    return set_colours(lut, lut.pUnderExpColor, puiColors);
}

int SQmLut::SetOverExpColorArr(SQmLut& lut, const void* pEntry, unsigned int uiBits) {
    return set_first_colour(lut, lut.pOverExpColor, pEntry, uiBits);
}

int SQmLut::SetUnderExpColorArr(SQmLut& lut, const void* pEntry, unsigned int uiBits) {
    return set_first_colour(lut, lut.pUnderExpColor, pEntry, uiBits);
}

int SQmLut::SetOverExpValue(SQmLut& lut, const unsigned int* puiValues) {
    delete[] lut.pOverExpValue;
    lut.pOverExpValue = nullptr;
    if (puiValues == nullptr) return QM_OK;
    const std::uint32_t count = lut.rmComponents.GetSize();
    lut.pOverExpValue = new std::uint32_t[count];
    std::copy_n(puiValues, count, lut.pOverExpValue);
    return QM_OK;
}
