#include <memory>

#include "qmpic/LutParam.h"
#include "qmpic/PredefLuts.h"
#include "support.h"

// Sets of 8 and 16 source bits that are filled from colour tables, and single look-ups. The bytes
// are those of the cells; each row is reached through its pointer. The size of the picture has no
// part in it.

namespace qmpic::bench {
namespace {

struct Sets {
    SQmLut colours, values;
    SQmLutParam param;
    Sets(unsigned char src_bits, unsigned char dst_bits, double gamma) {
        SQmLut::InitPredefLuts();
        SQmLut::AllocColor(colours, src_bits, dst_bits);
        SQmLut::AllocSingle(values, src_bits, src_bits);
        for (uint32_t i = 0; i < 1u << src_bits; ++i)
            if (src_bits > 8)
                static_cast<uint16_t*>(values.pLuts)[i] = static_cast<uint16_t>(i);
            else
                static_cast<uint8_t*>(values.pLuts)[i] = static_cast<uint8_t>(i);
        param.uiMinSrc = 5000;
        param.uiMaxSrc = 60000;
        param.dGammaSrc = gamma;
        param.uiGradient = SQmLut::PredefLutRainbow;
    }
};

template <class Call>
void add_set(const std::string& name, unsigned char src_bits, unsigned char dst_bits, double gamma,
             Call call) {
    add(name + "_" + std::to_string(src_bits) + "_bits", [=](uint32_t) {
        Job job;
        job.bytes = (uint64_t{3} << src_bits) * (dst_bits > 8 ? 2 : 1);
        job.ours = [call, sets = std::make_shared<Sets>(src_bits, dst_bits, gamma)] {
            call(*sets);
        };
        return job;
    });
}

const bool registered = add_family([] {
    using Luts = CQmPredefLUTs;
    for (const unsigned char bits : {uint8_t{8}, uint8_t{16}}) {
        add_set("SQmLut::CreatePredefLut:", bits, 8, 1.0,
                [](Sets& s) { SQmLut::CreatePredefLut(s.colours, 1, 0, 0); });
        for (const double gamma : {1.0, 2.2}) {
            const std::string how = gamma == 1.0 ? ":linear" : ":gamma";
            add_set("SQmLut::CreatePredefLutFromLutParam" + how, bits, 8, gamma,
                    [](Sets& s) { SQmLut::CreatePredefLutFromLutParam(s.colours, &s.param); });
            add_set(
                "SQmLut::CreatePredefSymmetricLutFromLutParam" + how, bits, 8, gamma,
                [](Sets& s) { SQmLut::CreatePredefSymmetricLutFromLutParam(s.colours, &s.param); });
        }
        for (const unsigned char cell : {uint8_t{8}, uint8_t{16}}) {
            const std::string how = cell == 8 ? ":bytes" : ":words";
            add_set("CQmPredefLUTs::CreatePredefLUTTable" + how, bits, cell, 1.0,
                    [](Sets& s) { Luts::CreatePredefLUTTable(s.colours, s.values, 1, 0, 0); });
            add_set("CQmPredefLUTs::CreatePredefLUTTable2" + how, bits, cell, 1.0, [](Sets& s) {
                Luts::CreatePredefLUTTable2(s.colours, s.values, 1, 10, 60000, 0, 65536);
            });
        }
    }
    add("CQmPredefLUTs::GetLUTEntry", [](uint32_t) {
        SQmLut::InitPredefLuts();
        Job job;
        job.bytes = 3 * 1000;
        job.ours = [] {  // a thousand
            for (uint32_t value = 0; value < 1000; ++value)
                benchmark::DoNotOptimize(Luts::GetLUTEntry(1, value, 1000, 0, 0));
        };
        return job;
    });
});

}  // namespace
}  // namespace qmpic::bench
