#include <cmath>
#include <memory>
#include <string>

#include "qmpic/Histo.h"
#include "qmpic/Lut.h"
#include "support.h"

// Tables of 65536 entries, whatever the picture's size is. The peer of the gamma tables is what a
// caller would write: one power of the C library an entry.

namespace qmpic::bench {
namespace {

constexpr int kTop = 65535;

struct Tables {
    SQmLut lut, src, inner;
};

std::shared_ptr<Tables> tables(uint8_t components, uint8_t bits, uint8_t cells,
                               uint8_t src_cells = 1) {
    auto made = std::make_shared<Tables>();
    SQmLut::Alloc(made->lut, 16, components, bits, cells);
    SQmLut::Alloc(made->src, 16, 1, 16, src_cells);
    SQmLut::CreateGammaTable(made->src, 255, 0, 0, kTop, kTop, 2.2);
    SQmLut::AllocSingle(made->inner, 16, 16);
    SQmLut::CreateGammaTable(made->inner, 0, 0, 0, kTop, kTop, 0.45);
    return made;
}

uint64_t bytes_of(const SQmLut& lut) {
    return uint64_t{lut.ucComponents} * lut.ucDstComponents * ((lut.ucDstBpc + 7u) / 8) << 16;
}

template <class Call>
void add_table(std::string_view name, const std::shared_ptr<Tables>& t, Call call,
               const std::function<void()>& peer = {}) {
    add(name, [=](uint32_t) {
        Job job;
        job.bytes = bytes_of(t->lut);
        job.ours = [=] { benchmark::DoNotOptimize(call(*t)); };
        job.peer = peer;
        job.peer_name = "pow";
        return job;
    });
}

void add_gamma(double gamma, uint8_t bits) {
    const auto t = tables(1, bits, 1);
    const int top = (1 << bits) - 1;
    const std::string name = "CreateGammaTable:16_to_" + std::to_string(bits) + "_bits_of_" +
                             std::to_string(gamma).substr(0, 4);
    const auto plain = [=]<class Cell>(Cell* cells) {
        const double d = top;
        for (int i = 0; i < 65536; ++i) {
            const int x = static_cast<int>(int64_t{i} * top / kTop);
            const double value = std::pow(x / d, gamma) * d;
            cells[i] = static_cast<Cell>(value);
        }
        benchmark::ClobberMemory();
    };
    add_table(
        name, t,
        [=](Tables& u) { return SQmLut::CreateGammaTable(u.lut, 0, 0, 0, kTop, top, gamma); },
        [=] {
            if (bits == 8)
                plain(static_cast<uint8_t*>(t->lut.pLuts));
            else
                plain(static_cast<uint16_t*>(t->lut.pLuts));
        });
}

void add_ramps() {
    const auto flat = tables(1, 16, 1);
    add_table("CreateLinearTable", flat,
              [](Tables& t) { return SQmLut::CreateLinearTable(t.lut, 0, 100, 0, 60000, kTop); });
    add_table("CreateLinearTable2", flat,
              [](Tables& t) { return SQmLut::CreateLinearTable2(t.lut, 0, 100, 0, 60000, kTop); });
    for (const double gamma : {0.45, 1.0, 2.2, 10.0}) add_gamma(gamma, 16);
    add_gamma(2.2, 8);
    add_table("CreateGammaTable:one_cell_of_three", tables(1, 8, 3),
              [](Tables& t) { return SQmLut::CreateGammaTable(t.lut, 1, 0, 0, kTop, 255, 2.2); });
    add_table("CreateGammaTable2", flat, [](Tables& t) {
        return SQmLut::CreateGammaTable2(t.lut, 0, 100, 0, 60000, kTop, 2.2);
    });
    add_table("CreateExpTable_1_1", flat,
              [](Tables& t) { return SQmLut::CreateExpTable_1_1(t.lut, 0, 0, 0, kTop, kTop); });
    add_table("CreateLogaritmicTable_1_1", flat, [](Tables& t) {
        return SQmLut::CreateLogaritmicTable_1_1(t.lut, 0, 0, 0, kTop, kTop);
    });
    add_table("CreateEqualizingTable_1_1", flat, [](Tables& t) {
        static std::vector<uint32_t> bins = [] {
            std::vector<uint32_t> all(65536);
            for (uint32_t i = 0; i < all.size(); ++i) all[i] = (i * 2654435761u) >> 20;
            return all;
        }();
        SQmHisto histo;
        CQmHistoAPI_Base::Init(&histo);
        histo.pData = bins.data();
        histo.uiBinBytes = 4;
        histo.uiComponents = 1;
        histo.uiBits = 16;
        return SQmLut::CreateEqualizingTable_1_1(t.lut, 0, &histo);
    });
}

void add_colours() {
    static unsigned colors[4] = {0xFFFFFF, 0x12FF34, 0x0000FF, 0xFF00FF};
    const auto one = tables(1, 8, 3), four = tables(4, 8, 3, 4);
    add_table("CreateColorTable", one,
              [](Tables& t) { return SQmLut::CreateColorTable(t.lut, 0x123456); });
    for (const bool marks : {false, true})
        add_table(marks ? "CreateColorTableEx:marked" : "CreateColorTableEx", one, [=](Tables& t) {
            return SQmLut::CreateColorTableEx(t.lut, 0x123456, &t.src, marks, 1, marks, 2);
        });
    add_table("CreateMultiColorTable:4_of_8_bits", four,
              [](Tables& t) { return SQmLut::CreateMultiColorTable(t.lut, colors, 4); });
    add_table("CreateMultiColorTable:4_of_16_bits", tables(4, 16, 3),
              [](Tables& t) { return SQmLut::CreateMultiColorTable(t.lut, colors, 4); });
    add_table("CreateMultiColorTableEx:4_of_8_bits", four, [](Tables& t) {
        return SQmLut::CreateMultiColorTableEx(t.lut, colors, 4, &t.src, false, 1, false, 2);
    });
    add_table("CreateComposedTable", one, [outer = tables(1, 8, 3)](Tables& t) {
        return SQmLut::CreateComposedTable(t.lut, outer->lut, t.inner);
    });
}

void add_rainbows() {
    SQmLut::InitPredefLuts();
    const auto one = tables(1, 8, 3), four = tables(4, 8, 3);
    add_table("CreateRainbowLUTTable", one,
              [](Tables& t) { return SQmLut::CreateRainbowLUTTable(t.lut, t.src, 1, 0.0, 0.0); });
    add_table("CreateRainbowLUTTable2", one, [](Tables& t) {
        return SQmLut::CreateRainbowLUTTable2(t.lut, t.src, 1, 100, 60000, 0, kTop);
    });
    add_table("CreateRainbowLUTTableSpect_1Channel", four, [](Tables& t) {
        return SQmLut::CreateRainbowLUTTableSpect_1Channel(t.lut, 2, t.src, 1);
    });
    add_table("CreateRainbowLUTTableSpect_SameChannels", four, [](Tables& t) {
        return SQmLut::CreateRainbowLUTTableSpect_SameChannels(t.lut, t.src, 1);
    });
    add_table("CreateGradientTableC1ToC3", one, [](Tables&) {
        void* table = nullptr;
        const int code = SQmLut::CreateGradientTableC1ToC3(table, 16, 1, 0.1, 0.9, 0.0, 1.0);
        SQmLut::FreeGradientTable(table);
        return code;
    });
}

const bool registered = add_family([] {
    add_ramps();
    add_colours();
    add_rainbows();
});

}  // namespace
}  // namespace qmpic::bench
