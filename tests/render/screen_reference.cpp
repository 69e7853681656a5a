#include "render/screen_reference.h"

namespace qmpic::test {
namespace {

/// The three cells to which a value leads.
Bgr cells_at(const SQmLut& lut, uint32_t component, uint32_t value) {
    if (lut.ucComponents == 1 && lut.ucDstComponents == 1) {
        const uint8_t cell = static_cast<const uint8_t*>(lut.pLuts)[value];
        return {cell, cell, cell};
    }
    const uint8_t* row = nullptr;
    if (lut.ucComponents == 1)
        row = static_cast<const uint8_t* const*>(lut.pLuts)[value];
    else
        row = static_cast<const uint8_t* const* const*>(lut.pLuts)[component][value];
    return {row[0], row[1], row[2]};
}

struct Entry {
    Bgr color;
    bool flag;
};
Entry entry(const void* colors, uint32_t component) {
    const auto* const four = static_cast<const uint8_t*>(colors) + 4 * component;
    return {{four[0], four[1], four[2]}, four[3] != 0};
}

uint32_t threshold(const SQmLut& lut, uint32_t component, uint32_t bpc) {
    return lut.pOverExpValue != nullptr ? lut.pOverExpValue[component] : (1u << bpc) - 1;
}

/// The colour of an exposed sample: that of the entry, or the inverse of the brightest of the
/// table.
Bgr signal(const SQmLut& lut, const void* colors, uint32_t component, uint32_t bpc) {
    const Entry found = entry(colors, component);
    if (!found.flag) return found.color;
    Bgr inverse = cells_at(lut, component, (1u << bpc) - 1);
    for (uint8_t& cell : inverse) cell = static_cast<uint8_t>(255 - cell);
    return inverse;
}

/// The signal of a sample that is under- or over-exposed, in this order.
std::optional<Bgr> exposed(const SQmLut& lut, uint32_t component, uint32_t value, uint32_t bpc) {
    if (lut.pUnderExpColor != nullptr && value == 0)
        return signal(lut, lut.pUnderExpColor, component, bpc);
    if (lut.pOverExpColor != nullptr && value >= threshold(lut, component, bpc))
        return signal(lut, lut.pOverExpColor, component, bpc);
    return std::nullopt;
}

/// Each component has a table of its own; their colours are screened over each other.
Bgr composed(const std::vector<uint32_t>& samples, uint32_t bpc, const SQmLut& lut) {
    for (uint32_t c = 0; c < samples.size(); ++c)
        if (lut.rmComponents.Get(c))
            if (const auto found = exposed(lut, c, samples[c], bpc)) return *found;
    Bgr merged{};
    for (uint32_t c = 0; c < samples.size(); ++c) {
        if (!lut.rmComponents.Get(c)) continue;
        const Bgr color = cells_at(lut, c, samples[c]);
        for (size_t i = 0; i < 3; ++i)
            merged[i] = static_cast<uint8_t>(merged[i] + color[i] - merged[i] * color[i] / 255);
    }
    return merged;
}

/// Three components through one table, each through its own column.
std::optional<Bgr> three_through_one(const std::vector<uint32_t>& samples, uint32_t bpc,
                                     const SQmLut& lut) {
    if (lut.ucDstComponents == 3 &&
        (lut.pOverExpColor != nullptr || lut.pUnderExpColor != nullptr)) {
        const uint64_t mask = lut.rmComponents.GetMask()[0];
        std::vector<uint32_t> tested;
        if ((mask & 7) == 7)
            tested = {2, 1, 0};
        else if (mask == 3)
            tested = {1, 0};
        else if (mask == 5)
            tested = {2, 0};
        else if (mask == 6)
            tested = {2, 1};
        else
            return std::nullopt;
        const Bgr fixed[3] = {{0, 255, 255}, {255, 0, 255}, {255, 255, 0}};
        for (const uint32_t c : tested) {
            const uint32_t limit = threshold(lut, c, bpc);
            const bool over = bpc == 8 ? samples[c] == limit : samples[c] >= limit;
            const void* colors = nullptr;
            if (lut.pUnderExpColor != nullptr && samples[c] == 0)
                colors = lut.pUnderExpColor;
            else if (lut.pOverExpColor != nullptr && over)
                colors = lut.pOverExpColor;
            if (colors == nullptr) continue;
            const Entry found = entry(colors, c);
            return found.flag ? fixed[c] : found.color;
        }
    }
    Bgr color;
    for (size_t c = 0; c < 3; ++c) color[c] = cells_at(lut, 0, samples[c])[c];
    return color;
}

}  // namespace

std::optional<Bgr> on_screen(const std::vector<uint32_t>& samples, uint32_t bpc,
                             const SQmLut* lut) {
    if (lut == nullptr) {
        const auto top_byte = [=](uint32_t value) {
            return static_cast<uint8_t>(value >> (bpc - 8));
        };
        if (samples.size() == 1)
            return Bgr{top_byte(samples[0]), top_byte(samples[0]), top_byte(samples[0])};
        return Bgr{top_byte(samples[0]), top_byte(samples[1]), top_byte(samples[2])};
    }
    const uint32_t selected = lut->rmComponents.GetCount();
    if (selected == 0) return Bgr{0, 0, 0};
    if (selected == 1) {
        uint32_t c = 0;
        while (!lut->rmComponents.Get(c)) ++c;
        if (const auto found = exposed(*lut, c, samples[c], bpc)) return found;
        return cells_at(*lut, c, samples[c]);
    }
    if (lut->ucComponents != 1) return composed(samples, bpc, *lut);
    if (samples.size() == 1) return cells_at(*lut, 0, samples[0]);
    return three_through_one(samples, bpc, *lut);
}

}  // namespace qmpic::test
