#include "PicMemAPI/mask_bits.h"

namespace qmpic {

namespace {
template <uint32_t count, class T>
void write_known(const MaskCall& call, const Sample<T>* low, const Sample<T>* high, bool inside) {
    if (active_isa() == Isa::Avx512)
        write_mask(call, JudgeByAvx512<T, count>(low, high, inside));
    else
        write_mask(call, Judge(InRange<T, count>(low, high, inside)));
}
}  // namespace

template <class T>
void write_in_range(MaskCall call, uint32_t components, const void* low, const void* high,
                    bool inside) {
    const auto *l = static_cast<const Sample<T>*>(low), *h = static_cast<const Sample<T>*>(high);
    switch (components) {
    case 1: return write_known<1>(call, l, h, inside);
    case 2: return write_known<2>(call, l, h, inside);
    }
    if constexpr (sizeof(T) < 4) {
        switch (components) {
        case 3: return write_known<3>(call, l, h, inside);
        case 4: return write_known<4>(call, l, h, inside);
        default: return write_mask(call, JudgeAny<T>{components, l, h, inside});
        }
    }
}

template void write_in_range<uint8_t>(MaskCall, uint32_t, const void*, const void*, bool);
template void write_in_range<uint16_t>(MaskCall, uint32_t, const void*, const void*, bool);
template void write_in_range<uint32_t>(MaskCall, uint32_t, const void*, const void*, bool);

}  // namespace qmpic
