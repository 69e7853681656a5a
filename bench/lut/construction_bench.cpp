#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "support.h"

// Table sets after a change of one level, as a slider makes them: the shape stays. A picture's size
// does not matter. Bytes are those of the cells. Beside it, what a caller would write: the power
// and three products for each entry.

namespace qmpic::bench {
namespace {

using Api = SQmPicBufAPI_Base;

enum Curves { kEqual, kDifferent, kStraight };
const char* const kCurves[] = {"equal", "different", "straight"};

double gamma_of(Curves curves, uint32_t c) {
    return curves == kStraight ? 1.0 : curves == kEqual ? 0.7 : 0.6 + 0.03 * c;
}
/// A black level near 0 that is another one every time.
uint16_t next_level() {
    static uint16_t level = 0;
    return level = static_cast<uint16_t>((level + 300) % 3000);
}

struct Set {
    SQmLut lut;
    SQmLutParam param;
    std::vector<unsigned> colors, sizes;
    CQmLutParamMCH channels;
    Set(uint32_t count, uint32_t bpc, Curves curves) : colors(count), sizes(count, 1) {
        SQmLut::InitPredefLuts();
        channels.Reinit(count, count, sizes.data(), bpc);
        if (count == 1) param.dGammaSrc = gamma_of(curves, 0);  // which is all that counts then
        for (uint32_t c = 0; c < count; ++c) {
            colors[c] = 0x102030 * (c % 7 + 1) & 0xFFFFFF;
            param.sCompLutParam[c].dGammaSrc = gamma_of(curves, c);
            channels.SetGamma(c, gamma_of(curves, c));
        }
    }
};

/// What a caller would write.
void plain(const Set& s, uint32_t bpc, std::vector<uint8_t>& cells, bool equal) {
    const uint32_t entries = 1u << bpc, top = entries - 1;
    std::vector<uint32_t> values(entries);
    uint8_t* to = cells.data();
    for (size_t c = 0; c < s.colors.size(); ++c) {
        const double gamma = s.param.sCompLutParam[c].dGammaSrc;
        if (c == 0 || !equal)
            for (uint32_t i = 0; i < entries; ++i)
                values[i] =
                    static_cast<uint32_t>(std::pow(static_cast<double>(i) / top, gamma) * top);
        for (uint32_t i = 0; i < entries; ++i, to += 3)
            for (uint32_t cell = 0; cell < 3; ++cell)
                to[cell] =
                    static_cast<uint8_t>((s.colors[c] >> (16 - 8 * cell) & 255) * values[i] / top);
    }
    benchmark::DoNotOptimize(to);
}

template <class Call>
void add_set(const std::string& name, uint32_t count, uint32_t bpc, Curves curves,
             const Call& call) {
    add(name + ":" + std::to_string(count) + "x" + std::to_string(bpc) + "_" + kCurves[curves],
        [=](uint32_t) {
            const auto set = std::make_shared<Set>(count, bpc, curves);
            const auto cells = std::make_shared<std::vector<uint8_t>>((size_t{3} << bpc) * count);
            Job job;
            job.bytes = cells->size();
            job.ours = [=] { call(*set, bpc); };
            job.peer = [=] { plain(*set, bpc, *cells, curves == kEqual); };
            job.peer_name = "plain";
            return job;
        });
}

int create(Set& s, uint32_t bpc, bool spectral, unsigned* gradients) {
    s.param.uiMinSrc = next_level();
    return Api::CreateLutsMCH(&s.lut, &s.param, bpc, static_cast<unsigned>(s.colors.size()),
                              s.colors.data(), spectral, false, nullptr, gradients, nullptr);
}

const bool registered = add_family([] {
    for (const uint32_t bpc : {8u, 12u, 16u})
        for (const uint32_t count : {1u, 4u, 32u})
            for (const Curves curves : {kEqual, kDifferent, kStraight}) {
                if (count == 1 && curves == kDifferent) continue;
                add_set("CreateLutsMCH", count, bpc, curves,
                        [](Set& s, uint32_t depth) { create(s, depth, false, nullptr); });
                add_set("CreateLutsMCH_of_channels", count, bpc, curves, [](Set& s, uint32_t) {
                    const uint32_t level = next_level() / 300;
                    for (uint32_t c = 0; c < s.sizes.size(); ++c) s.channels.SetMin(c, level);
                    Api::CreateLutsMCH(&s.lut, &s.channels, s.colors.data());
                });
            }
    for (const uint32_t bpc : {12u, 16u}) {
        add_set("CreateLutsMCH_in_predefined_colours", 4, bpc, kDifferent,
                [](Set& s, uint32_t depth) {
                    unsigned gradients[] = {1, 2, 3, 4};
                    create(s, depth, false, gradients);
                });
        add_set("CreateLutsMCH_in_grey_scale", 32, bpc, kEqual, [](Set& s, uint32_t depth) {
            s.param.uiGradient = 1;
            s.param.sLutDataSpectral.uiSpectralColorMode = 3;
            create(s, depth, true, nullptr);
        });
        add_set("CreateLutsMCH_Dst16bit", 4, bpc, kDifferent, [](Set& s, uint32_t depth) {
            s.param.uiMinSrc = next_level();
            Api::CreateLutsMCH_Dst16bit(&s.lut, 16, &s.param, depth, 4, s.colors.data(), false,
                                        false, nullptr);
        });
    }
    add_set("CreateLutsSpectral", 32, 12, kEqual, [](Set& s, uint32_t) {
        Api::CreateLutsSpectral(&s.lut, &s.param, s.colors.data(), 32, 32, 1.0);
    });
});

}  // namespace
}  // namespace qmpic::bench
