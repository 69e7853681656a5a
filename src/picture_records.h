#pragma once

#include <cstdint>

#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "qmpic/system/Diag.h"

/// What the records of integer and of float pictures have in common: fields of the same names.

namespace qmpic {

template <class Record>
void take(Record& picture, const SQmPicBufDesc& desc) {
    picture.uiWidth = desc.uiWidth;
    picture.uiHeight = desc.uiHeight;
    picture.uiWidthBytes = desc.uiWidthBytes;
    picture.uiBpc = desc.uiBpc;
    picture.uiComponents = desc.uiComponents;
    picture.ui64Size = desc.ui64Size;
}

/// A record keeps the low byte of a depth.
inline SQmPicBufDesc describe(uint32_t width, uint32_t height, uint32_t stride, uint32_t bpc,
                              uint32_t components) {
    return {
        width, height, stride, static_cast<uint8_t>(bpc), components, uint64_t{stride} * height};
}

/// Are the fields equal that an option of the class `Api` names?
template <class Api, class A, class B>
bool alike(const A* a, const B* b, typename Api::CheckOptions option) {
    if (a == nullptr || b == nullptr) return false;
    const bool size = a->uiWidth == b->uiWidth && a->uiHeight == b->uiHeight;
    const bool bpc = a->uiBpc == b->uiBpc;
    const bool components = a->uiComponents == b->uiComponents;
    switch (option) {
    case Api::CheckSize: return size;
    case Api::CheckSizeBpc: return size && bpc;
    case Api::CheckSizeBpcComponents: return size && bpc && components;
    case Api::CheckSizeComponents: return size && components;
    case Api::CheckComponents: return components;
    case Api::CheckBpc: return bpc;
    case Api::CheckBpcComponents: return bpc && components;
    }
    return false;
}

/// Reports that formats do not fit.
inline int refuse(const wchar_t* message, const wchar_t* source, unsigned line) {
    DiagAssertW(false, L"true", message, source, line);
    return QM_BAD_BUFFER;
}

}  // namespace qmpic
