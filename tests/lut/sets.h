#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/status.h"
#include "support/guarded_picture.h"

/// Sets as a user walks them.

namespace qmpic::test {

class Set : public SQmLut {
  public:
    Set() = default;
    Set(uint32_t src_bpc, uint32_t components, uint32_t dst_bpc, uint32_t cells) {
        EXPECT_EQ(Alloc(*this, static_cast<uint8_t>(src_bpc), static_cast<uint8_t>(components),
                        static_cast<uint8_t>(dst_bpc), static_cast<uint8_t>(cells)),
                  QM_OK);
    }
    /// The shape of many components that have one table.
    static void share(Set& set, uint32_t src_bpc, uint32_t components, uint32_t dst_bpc,
                      uint32_t cells) {
        EXPECT_EQ(CustomSpectralLutAlloc(
                      set, static_cast<uint8_t>(src_bpc), static_cast<uint8_t>(components),
                      static_cast<uint8_t>(dst_bpc), static_cast<uint8_t>(cells)),
                  QM_OK);
    }

    uint32_t entries() const { return 1u << ucSrcBpc; }
    uint32_t width() const { return ucDstBpc > 8 ? 2 : 1; }  // bytes of a cell
    uint32_t top() const { return (1u << ucDstBpc) - 1; }

    uint32_t get(uint32_t component, uint32_t value, uint32_t cell) const {
        uint32_t found = 0;
        std::memcpy(&found, at(component, value, cell), width());
        return found;
    }
    uint32_t get(uint32_t value) const { return get(0, value, 0); }
    /// The low bits, as a cell holds them.
    void set(uint32_t component, uint32_t value, uint32_t cell, uint64_t content) {
        std::memcpy(at(component, value, cell), &content, width());
    }
    /// All cells, table after table.
    std::vector<uint32_t> content() const {
        std::vector<uint32_t> all;
        for (uint32_t c = 0; c < ucComponents; ++c)
            for (uint32_t v = 0; v < entries(); ++v)
                for (uint32_t i = 0; i < ucDstComponents; ++i) all.push_back(get(c, v, i));
        return all;
    }
    /// Any bits in all cells.
    void scramble(Random& random) {
        for_each_cell([&](uint32_t c, uint32_t v, uint32_t i) { set(c, v, i, random.any()); });
    }
    /// What its depth allows in all cells, the least and greatest often.
    void fill(Random& random) {
        for_each_cell([&](uint32_t c, uint32_t v, uint32_t i) {
            set(c, v, i, random(0, 3) == 0 ? random.one_of({0u, top()}) : random(0, top()));
        });
    }

    template <class Call>
    void for_each_cell(Call call) const {
        for (uint32_t c = 0; c < ucComponents; ++c)
            for (uint32_t v = 0; v < entries(); ++v)
                for (uint32_t i = 0; i < ucDstComponents; ++i) call(c, v, i);
    }

  private:
    uint8_t* at(uint32_t component, uint32_t value, uint32_t cell) const {
        if (ucComponents > 1)
            return static_cast<uint8_t***>(pLuts)[component][value] + size_t{cell} * width();
        if (ucDstComponents > 1)
            return static_cast<uint8_t**>(pLuts)[value] + size_t{cell} * width();
        return static_cast<uint8_t*>(pLuts) + size_t{value} * width();
    }
};

}  // namespace qmpic::test
