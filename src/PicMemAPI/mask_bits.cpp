#include "PicMemAPI/mask_bits.h"

namespace qmpic {

template <class T>
void write_in_range(MaskCall call, uint32_t components, const void* low, const void* high,
                    bool inside) {
    const auto *l = static_cast<const Sample<T>*>(low), *h = static_cast<const Sample<T>*>(high);
    switch (components) {
    case 1: return write_mask(call, Judge(InRange<T, 1>(l, h, inside)));
    case 2: return write_mask(call, Judge(InRange<T, 2>(l, h, inside)));
    }
    if constexpr (sizeof(T) < 4) {
        switch (components) {
        case 3: return write_mask(call, Judge(InRange<T, 3>(l, h, inside)));
        case 4: return write_mask(call, Judge(InRange<T, 4>(l, h, inside)));
        default: return write_mask(call, JudgeAny<T>{components, l, h, inside});
        }
    }
}

template void write_in_range<uint8_t>(MaskCall, uint32_t, const void*, const void*, bool);
template void write_in_range<uint16_t>(MaskCall, uint32_t, const void*, const void*, bool);
template void write_in_range<uint32_t>(MaskCall, uint32_t, const void*, const void*, bool);

}  // namespace qmpic
