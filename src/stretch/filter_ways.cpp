#include "stretch/filter_ways.h"

#include "core/isa.h"
#include "stretch/filter_levels.h"

namespace qmpic {
namespace {

// Beyond, tables would be larger than what they save.
constexpr uint32_t kMostComponents = 4;

}  // namespace

template <class T>
FilterWindows* choose_windows(Lines lines, uint64_t line_bytes, std::optional<WindowTable>& table) {
    const uint32_t pairs = (lines.runs->longest() + 1) / 2;
    if (active_isa() == Isa::Sse2 || pairs == 0 || pairs > WindowTable::kMostPairs ||
        lines.components > kMostComponents || line_bytes < 16 || line_bytes > UINT32_MAX)
        return nullptr;
    const auto fits = [&](WindowTable::Shape shape) {
        table.emplace(shape, lines, static_cast<uint32_t>(sizeof(T)), line_bytes);
        return table->state() != WindowTable::kDoesNotFit;
    };
    // Elsewhere two shuffles of 16 bytes do, too.
    if (has_vbmi() && line_bytes >= 64 && lines.samples() >= 16) {
        if (fits({64, 64, 16, pairs, true})) return windows_avx512vbmi<T>(pairs, true);
        for (const uint32_t p : {pairs, pairs + 1})
            if (fits({64, 64, 16, p, false})) return windows_avx512vbmi<T>(p, false);
    }
    if (fits({32, 16, 4, pairs, true})) return windows_avx2<T>(4, pairs, true);
    for (const uint32_t p : {pairs, pairs + 1})
        if (fits({32, 16, 4, p, false})) return windows_avx2<T>(4, p, false);
    for (const uint32_t outputs : {3u, 2u, 1u})
        if (fits({32, 16, outputs, pairs, false})) return windows_avx2<T>(outputs, pairs, false);
    table.reset();
    return nullptr;
}
template FilterWindows* choose_windows<uint8_t>(Lines, uint64_t, std::optional<WindowTable>&);
template FilterWindows* choose_windows<uint16_t>(Lines, uint64_t, std::optional<WindowTable>&);

template <class T>
FilterColumns<T>* columns_filter() noexcept {
    switch (active_isa()) {
    case Isa::Avx512: return filter_columns_avx512;
    case Isa::Avx2: return filter_columns_avx2;
    case Isa::Sse2: break;
    }
    return filter_columns_sse2;
}
template FilterColumns<uint8_t>* columns_filter() noexcept;
template FilterColumns<uint16_t>* columns_filter() noexcept;

}  // namespace qmpic
