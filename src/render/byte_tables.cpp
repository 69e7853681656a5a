#include "render/byte_tables.h"

#include "core/isa.h"

namespace qmpic {
namespace {

// Without VBMI sixteen tables of sixteen bytes are still faster than loads.

/// Three tables of 256 bytes, one behind the other.
struct PlaneTable {
    const uint8_t (*planes)[256];
    uint8_t operator()(uint32_t value, uint64_t cell) const { return planes[cell][value]; }
};

}  // namespace

ByteMapper* byte_mapper() noexcept {
    if (active_isa() == Isa::Sse2) return nullptr;
    return has_vbmi() ? map_bytes_avx512vbmi : map_bytes_avx2;
}

TripleMapper* triple_mapper() noexcept {
    if (active_isa() == Isa::Sse2) return nullptr;
    return has_vbmi() ? map_triples_avx512vbmi : map_triples_avx2;
}

// Shuffles of sixteen would take longer than one load for all three.
TripleMapper* to_triple_mapper() noexcept {
    return has_vbmi() ? map_to_triples_avx512vbmi : nullptr;
}

void look_up_bytes(Team team, Dst dst, Src src, Area area, FlatTable<uint8_t> table,
                   uint32_t bits) {
    ByteMapper* const run = bits == kWholeByte ? byte_mapper() : nullptr;
    if (run == nullptr) return look_up_samples<uint8_t, uint8_t>(team, dst, src, area, table);
    area = joined(team, area, {{dst.stride, 1}, {src.stride, 1}});
    each_row<uint8_t, uint8_t>(
        team, dst, src, area, [=](Sample<uint8_t>* d, const Sample<uint8_t>* s) {
            run(reinterpret_cast<uint8_t*>(d), reinterpret_cast<const uint8_t*>(s), area.width,
                reinterpret_cast<const uint8_t*>(table.cells));
        });
}

void look_up_triples(Team team, Dst dst, Src src, Area area, RowTable<uint8_t> table) {
    uint8_t planes[3][256];
    for (uint32_t value = 0; value < 256; ++value)
        for (uint64_t c = 0; c < 3; ++c) planes[c][value] = table(value, c);
    const uint8_t(*const tables)[256] = planes;
    TripleMapper* const run = triple_mapper();
    if (run == nullptr)
        return look_up_components<uint8_t, uint8_t>(team, dst, src, Count<3>{}, area,
                                                    PlaneTable{tables});
    each_row<uint8_t, uint8_t>(team, dst, src, area,
                               [=](Sample<uint8_t>* d, const Sample<uint8_t>* s) {
                                   run(reinterpret_cast<uint8_t*>(d),
                                       reinterpret_cast<const uint8_t*>(s), area.width, tables);
                               });
}

void look_up_colour_words(Dst dst, Src src, Area area, const uint32_t (&words)[256]) {
    TripleMapper* const run = to_triple_mapper();
    if (run == nullptr)
        return look_up_colours<uint8_t, uint8_t>(dst, {src}, area, ColourWords<uint8_t>{words});
    uint8_t planes[3][256];
    for (uint32_t value = 0; value < 256; ++value)
        for (uint32_t c = 0; c < 3; ++c)
            planes[c][value] = static_cast<uint8_t>(words[value] >> 8 * c);
    const uint8_t(*const tables)[256] = planes;
    area = joined(kCallingThread, area, {{dst.stride, 3}, {src.stride, 1}});
    each_row<uint8_t, uint8_t>(kCallingThread, dst, src, area,
                               [=](Sample<uint8_t>* d, const Sample<uint8_t>* s) {
                                   run(reinterpret_cast<uint8_t*>(d),
                                       reinterpret_cast<const uint8_t*>(s), area.width, tables);
                               });
}

}  // namespace qmpic
