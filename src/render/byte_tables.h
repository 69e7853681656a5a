#pragma once

#include <cstdint>

#include "render/lookup.h"

/// Tables of 256 bytes, applied with the processor's byte permutes instead of loads.

namespace qmpic {

/// d[i] = table[s[i]] for `bytes` bytes. d may be s.
using ByteMapper = void(uint8_t* d, const uint8_t* s, uint64_t bytes, const uint8_t* table);
/// The same for pixels of three components, each with its own table.
using TripleMapper = void(uint8_t* d, const uint8_t* s, uint64_t pixels,
                          const uint8_t (*tables)[256]);

// Only with 8 bits is all of a byte table there: with fewer, entries that no value asks for must
// not be read.
inline constexpr uint32_t kWholeByte = 8;

/// Bytes through a table of 2^bits bytes.
void look_up_bytes(Team team, Dst dst, Src src, Area area, FlatTable<uint8_t> table, uint32_t bits);
/// Pixels of three bytes through rows of 256 values.
void look_up_triples(Team team, Dst dst, Src src, Area area, RowTable<uint8_t> table);

/// The fastest of the active level, or null where loads are (SSE2).
ByteMapper* byte_mapper() noexcept;
TripleMapper* triple_mapper() noexcept;

// What the levels offer.
ByteMapper map_bytes_avx2, map_bytes_avx512vbmi;
TripleMapper map_triples_avx2, map_triples_avx512vbmi;

}  // namespace qmpic
