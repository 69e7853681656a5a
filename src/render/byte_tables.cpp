#include "render/byte_tables.h"

#define _Bool bool  // the C library's header is C
#include <sys/platform/x86.h>
#undef _Bool

#include "core/isa.h"

namespace qmpic {
namespace {

// The AVX-512 level does not promise VBMI: processors have the one without the other. There, and at
// AVX2, sixteen tables of sixteen bytes are still twice as fast as loads.
bool has_vbmi() { return active_isa() == Isa::Avx512 && CPU_FEATURE_ACTIVE(AVX512_VBMI); }

}  // namespace

ByteMapper* byte_mapper() noexcept {
    if (active_isa() == Isa::Sse2) return nullptr;
    return has_vbmi() ? map_bytes_avx512vbmi : map_bytes_avx2;
}

TripleMapper* triple_mapper() noexcept {
    if (active_isa() == Isa::Sse2) return nullptr;
    return has_vbmi() ? map_triples_avx512vbmi : map_triples_avx2;
}

}  // namespace qmpic
