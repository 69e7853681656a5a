#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qmpic/system/LiteVariant.h"
#include "qmpic/system/Variant.h"

/// Stored forms as bytes: those that were made from the documentation, see tests/data/stored, and
/// those that a test puts together.

namespace qmpic::test {

using Bytes = std::vector<uint8_t>;

inline Bytes golden(const std::string& name) {
    std::ifstream file(QMPIC_STORED + name + ".bin", std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}
inline const char* const kGolden[] = {"kinds",
                                      "levels",
                                      "SQmLutParam",
                                      "SQmGradientConfig",
                                      "SQmGradientConfigs",
                                      "SQmGradientConfigs_none",
                                      "SQmRatioDesc",
                                      "SQmRatioDesc_light",
                                      "CQmLutParamMCH",
                                      "CQmLutParamRGB",
                                      "CQmLutParamSpectralTrueColor",
                                      "CQmLutParamSpectralCustomColor",
                                      "CQmLutParamSpectralGrouped"};

template <class Integer>
Bytes little(Integer value) {
    Bytes bytes(sizeof value);
    for (size_t i = 0; i < sizeof value; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    return bytes;
}
inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline Bytes ascii(const std::string& text) { return Bytes(text.begin(), text.end()); }

inline Bytes node(uint8_t kind, const Bytes& name, const Bytes& payload) {
    return Bytes{kind, 0} + little(static_cast<uint16_t>(name.size())) + name + payload;
}
inline Bytes list(const Bytes& name, uint32_t count, const Bytes& children,
                  const std::string& type = "CQmListVariant") {
    return node(5, name,
                little(static_cast<uint16_t>(type.size())) + ascii(type) + little(count) +
                    little(uint64_t{children.size()}) + children);
}
inline Bytes block(const Bytes& outermost) {
    return ascii("QMVT") + Bytes{1, 0, 0, 0} + little(uint64_t{outermost.size()}) + outermost;
}

inline Bytes written(const CQmVariant& variant) {
    Bytes bytes;
    return variant.Write(bytes) == 0 ? bytes : Bytes{};
}
inline Bytes written(const CQmLiteVariantW& levels) {
    Bytes bytes;
    return levels.GetBytes(bytes) == 0 ? bytes : Bytes{};
}
inline CQmVariant tree(const Bytes& bytes) {
    CQmVariant variant;
    return CQmVariant::Read(variant, bytes.data(), bytes.size()) == 0 ? variant : CQmVariant();
}

}  // namespace qmpic::test
